// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/text_curves_render_target.h"

#include "tests/shapes/scene.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using namespace Support;
using Renderer::Paint;

struct Drawing {
    std::vector<ShapeInput> inputs;
    std::vector<DivideSource> sources;
    Kernel::Counted<Node> text = Kernel::MakeCounted<PolyCurveNode>();
    Params baseToSpread{1, 0, 100, 0, 1, 200};
    Kernel::Counted<TextCurvesRenderTarget> target = Kernel::MakeCounted<TextCurvesRenderTarget>(
        inputs, sources, text, baseToSpread, Raster::FormatRGBA8, Raster::ICCManager::ICCProfileSet());
    Kernel::Counted<Geometry::PolyCurveDbl const> glyph =
        Kernel::MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{0, 0, 2, 3});

    Kernel::Counted<PolyCurveNode> Styled(std::size_t index) const {
        auto node = Kernel::MakeCounted<PolyCurveNode>();
        sources[index].style->Apply(node, {}, false);
        return node;
    }
};

Paint Filled(float alpha = 1) {
    Paint paint;
    paint.mainFill = Renderer::FillDescriptorConst(Renderer::Colour::FromRGB(1, 0, 0, alpha));
    return paint;
}

TEST(TextCurves, EveryOutlineIsOneInputOfTheText) {
    Drawing drawing;
    drawing.target->PushTransform(Geometry::Transform::Scale(5, 5));
    drawing.target->DrawCurves(drawing.glyph, Filled(), Geometry::WindingOrderMode::Alternating);
    drawing.target->PopTransform();
    drawing.target->DrawCurves(drawing.glyph, Filled(0.005f), Geometry::WindingOrderMode::NonZero);
    drawing.target->DrawCurves({}, Filled(), Geometry::WindingOrderMode::NonZero);
    ASSERT_EQ(2u, drawing.inputs.size());
    ASSERT_EQ(2u, drawing.sources.size());
    auto const& input = drawing.inputs[0];
    ASSERT_EQ(1u, input.curves.size());
    EXPECT_EQ(drawing.glyph, input.curves[0].curves);
    EXPECT_EQ(Geometry::Transform::Scale(5, 5), input.curves[0].transform);
    EXPECT_EQ(Geometry::Transform(drawing.baseToSpread), input.transform);
    EXPECT_EQ(Geometry::WindingOrderMode::Alternating, input.windingOrderMode);
    EXPECT_EQ(0u, input.role);
    EXPECT_TRUE(input.filled);
    EXPECT_FALSE(input.strokedFront);
    EXPECT_FALSE(input.strokedBehind);
    EXPECT_EQ(drawing.text, drawing.sources[0].node);
    EXPECT_EQ(Geometry::Transform::Scale(5, 5).GetParams(), drawing.sources[0].renderTransform);
    EXPECT_FALSE(drawing.inputs[1].filled) << "below the tolerance of 0.01";
    EXPECT_TRUE(drawing.Styled(0)->IsBrushFillVisible(0.01));
}

TEST(TextCurves, PolygonsAreNeverFilled) {
    Drawing drawing;
    auto paint = Filled();
    paint.lineFill = Renderer::FillDescriptorConst(Renderer::Colour());
    paint.lineStyle = Renderer::LineStyleDescriptorConst(Kernel::MakeConsolidated<Renderer::LineStyle>(2.0));
    drawing.target->DrawPolygons(
        Kernel::MakeCounted<Geometry::PolyPolygonType<double>>(
            std::vector<Geometry::PolygonType<double>>{{{0, 0}, {1, 0}, {1, 1}}, {{3, 3}, {4, 3}, {4, 4}}}),
        paint);
    drawing.target->DrawPolygons({}, paint);
    ASSERT_EQ(1u, drawing.inputs.size());
    EXPECT_FALSE(drawing.inputs[0].filled);
    EXPECT_TRUE(drawing.inputs[0].strokedFront);
    EXPECT_EQ(Geometry::WindingOrderMode::NonZero, drawing.inputs[0].windingOrderMode);
    EXPECT_EQ(2u, drawing.inputs[0].curves[0].curves->GetCurves().size());
    EXPECT_TRUE(drawing.Styled(0)->IsBrushFillNone());
    EXPECT_TRUE(drawing.Styled(0)->IsLineStyleVisible());
}

TEST(TextCurves, TheWeightOfALineIsBakedAtTheSizeOfTheText) {
    Drawing drawing;
    auto paint = Filled();
    paint.lineFill = Renderer::FillDescriptorConst(Renderer::Colour());
    paint.lineStyle = Renderer::LineStyleDescriptorConst(Kernel::MakeConsolidated<Renderer::LineStyle>(2.0));
    drawing.target->DrawCurves(drawing.glyph, paint, Geometry::WindingOrderMode::NonZero);
    drawing.target->PushTransform(Geometry::Transform::Scale(4, 4));
    drawing.target->DrawCurves(drawing.glyph, paint, Geometry::WindingOrderMode::NonZero);
    auto fixed = Kernel::MakeCounted<Renderer::LineStyleDescriptor>(paint.lineStyle);
    fixed->SetScaleWithObject(false);
    paint.lineStyle = *fixed;
    drawing.target->DrawCurves(drawing.glyph, paint, Geometry::WindingOrderMode::NonZero);
    drawing.target->PopTransform();
    auto const weight = [&](std::size_t i) {
        return drawing.Styled(i)->GetLineStyleDescriptor()->GetLineStyle()->GetWeightOrZero();
    };
    EXPECT_EQ(2, weight(0));
    EXPECT_EQ(8, weight(1));
    EXPECT_EQ(2, weight(2)) << "a line that does not scale takes the target's own scale";
    EXPECT_EQ(paint.lineStyle.GetLineStyle(), drawing.Styled(0)->GetLineStyleDescriptor()->GetLineStyle());
}

TEST(TextCurves, AFillThatStaysOnThePageTakesOnTheTransformOfTheText) {
    Drawing drawing;
    auto const gradient = Kernel::MakeConsolidated<Renderer::LinearGradientFill>(
        Geometry::PointDbl{0, 0}, Geometry::PointDbl{10, 0},
        std::vector<Renderer::GradientStop>{{0, 1, Renderer::Colour::FromGrey(0)},
                                            {1, 1, Renderer::Colour::FromGrey(1)}});
    Params const own{1, 0, 7, 0, 1, 8};
    drawing.target->PushTransform(Geometry::Transform::Scale(3, 3));
    for (bool const scalesWithObject : {false, true}) {
        Paint paint;
        paint.mainFill =
            Renderer::FillDescriptorConst(gradient, scalesWithObject, own, Renderer::BlendMode::Multiply, true);
        drawing.target->DrawCurves(drawing.glyph, paint, Geometry::WindingOrderMode::NonZero);
    }
    drawing.target->DrawCurves(drawing.glyph, Filled(), Geometry::WindingOrderMode::NonZero);
    drawing.target->PopTransform();
    auto const baked = drawing.Styled(0)->GetBrushFillDescriptor(true);
    EXPECT_EQ((Params{3, 0, 21, 0, 3, 24}), baked->GetTransform());
    EXPECT_TRUE(baked->GetScaleWithObject());
    EXPECT_EQ(Renderer::BlendMode::Multiply, baked->GetBlendMode());
    EXPECT_TRUE(baked->GetOverprint());
    EXPECT_EQ(own, drawing.Styled(1)->GetBrushFillDescriptor(true)->GetTransform());
    EXPECT_TRUE(drawing.Styled(2)->GetBrushFillDescriptor(true)->GetTransform().IsIdentity());
}

TEST(TextCurves, WhatIsNoOutlineIsPassedOver) {
    Drawing drawing;
    drawing.target->SetDrawnObject(drawing.text);
    drawing.target->PushClipRectangle({0, 0, 1, 1});
    drawing.target->PushLayer({});
    drawing.target->PopLayer();
    drawing.target->PopClip();
    EXPECT_TRUE(drawing.inputs.empty());
    EXPECT_FALSE(drawing.target->WantsHiddenContent());
}

} // namespace
