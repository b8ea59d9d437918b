// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/divide_inputs.h"

#include "tests/examples/scenes/text_documents.h"
#include "tests/shapes/scene.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using namespace Support;
using namespace ExampleDocuments;

struct Gathering {
    Scene scene;
    PlanarMaps maps{nullptr};
    DivideInputs inputs{scene.controller->GetDocument(), maps};

    void Add(Kernel::Counted<CurvesNode> const& shape) {
        scene.Put(*scene.spread, {shape});
        inputs.AddShape(*shape, *shape);
    }
    std::size_t Count() const {
        EXPECT_EQ(inputs.GetInputs().size(), inputs.GetSources().size());
        return inputs.GetInputs().size();
    }
};

TEST(DivideInputs, AShapeIsOneInputAndItsOwnSource) {
    Gathering gathering;
    auto const shape = Box(10, 20, 30, 60);
    SetLine(*shape, 2);
    shape->SetTransform({1, 0, 5, 0, 1, 0}, false);
    gathering.Add(shape);
    ASSERT_EQ(1u, gathering.Count());
    auto const& input = gathering.inputs.GetInputs()[0];
    EXPECT_TRUE(input.filled);
    EXPECT_TRUE(input.strokedFront);
    EXPECT_FALSE(input.strokedBehind);
    auto const outline = input.curves.at(0).curves->Clone();
    outline->ApplyTransform(input.transform * input.curves[0].transform);
    EXPECT_EQ((Geometry::RectDbl{15, 20, 35, 60}), outline->GetBounds().value());
    EXPECT_EQ(shape, gathering.inputs.GetSources()[0].node);
    EXPECT_TRUE(gathering.inputs.GetSources()[0].style->GetBrush());
}

TEST(DivideInputs, OnlyAFillOrAPictureMakesAShapeFilled) {
    Gathering gathering;
    gathering.Add(OpenLine({{0, 0}, {10, 10}}));
    EXPECT_FALSE(gathering.inputs.HasFilledShape());
    auto const frame = MakePath({{{0, 0}, {10, 0}, {10, 10}}}, true);
    auto const picture = Kernel::MakeCounted<ImageNode>();
    picture->SetImage(Kernel::MakeCounted<Raster::DynamicBitmap>(2, 2, Raster::FormatRGBA8), {});
    Append(*frame, picture);
    gathering.Add(frame);
    EXPECT_TRUE(gathering.inputs.HasFilledShape());
    ASSERT_EQ(2u, gathering.Count());
    EXPECT_FALSE(gathering.inputs.GetInputs()[0].filled);
    EXPECT_TRUE(gathering.inputs.GetInputs()[1].filled);
}

TEST(DivideInputs, AShapeOfWhichNothingIsLeftIsNoInputAndCountsAsFilledAllTheSame) {
    Gathering gathering;
    gathering.Add(Kernel::MakeCounted<PolyCurveNode>());
    EXPECT_FALSE(gathering.inputs.HasFilledShape());
    auto const clipped = Box(0, 0, 10, 10);
    Clip(*clipped, Box(50, 50, 60, 60));
    gathering.Add(clipped);
    EXPECT_EQ(0u, gathering.Count());
    EXPECT_TRUE(gathering.inputs.HasFilledShape());
}

TEST(DivideInputs, ATextIsItsFrameAndThenItsGlyphsAsFarAsTheyAreSeen) {
    Gathering gathering;
    auto const text = MakeTextFrame({0, 0, 200, 40}, "mmm mmm");
    SetFill(*text, 1, 1, 0);
    text->SetBrushFillContentType(ContentType::Frame);
    gathering.scene.Put(*gathering.scene.spread, {text});
    gathering.inputs.AddText(*text);
    auto const all = gathering.Count();
    ASSERT_LT(1u, all);
    EXPECT_FALSE(gathering.inputs.HasFilledShape());
    for (auto const& source : gathering.inputs.GetSources())
        EXPECT_EQ(text, source.node);
    EXPECT_EQ(text->GetTextFrameAsCurves()->GetBounds(),
              gathering.inputs.GetInputs()[0].curves.at(0).curves->GetBounds());

    // A clip that leaves a strip beside the glyphs leaves the frame alone, with its own source.
    Gathering clipped;
    clipped.scene.Put(*clipped.scene.spread, {text->RemoveFromParent()});
    Clip(*text, Box(190, 0, 200, 40));
    clipped.inputs.AddText(*text);
    ASSERT_EQ(1u, clipped.Count());
    EXPECT_TRUE(clipped.inputs.GetSources()[0].renderTransform.IsIdentity());
}

} // namespace
