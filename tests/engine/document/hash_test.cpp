// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/document/doubles.h"

#include "platform/renderer/line_style.h"

#include <gtest/gtest.h>

using namespace Doubles;

namespace {

enum class Sharing { Shared, Apart };

Kernel::Counted<Renderer::FillDescriptor const> Gradient() {
    std::vector<Renderer::GradientStop> const stops{{0, 1, Renderer::Colour::FromRGB(1, 0, 0)},
                                                    {1, 0.5, Renderer::Colour::FromRGB(0, 0, 1)}};
    auto const fill = Kernel::Counted<Renderer::Fill const>(
        new Renderer::LinearGradientFill(Geometry::PointDbl{0, 0}, Geometry::PointDbl{1, 0}, stops));
    return Kernel::MakeCounted<Renderer::FillDescriptor>(Kernel::Consolidated<Renderer::Fill>(fill), true,
                                                         Raster::AffineTransform::Params(), Renderer::BlendMode::Normal,
                                                         false);
}

Kernel::Counted<Renderer::LineStyleDescriptor const> Line(double weight) {
    return Kernel::MakeCounted<Renderer::LineStyleDescriptor>(Kernel::MakeConsolidated<Renderer::LineStyle>(weight));
}

Kernel::Counted<Geometry::PolyCurveDbl const> Outline() {
    return Kernel::MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{0, 0, 10, 20});
}

// Three nodes that look the same.
Kernel::Counted<DocumentController> MakeLikeNodes(Sharing sharing, double lastWeight) {
    auto const document = MakeDocument();
    auto const fill = Gradient();
    auto const line = Line(3);
    auto const outline = Outline();
    bool const shares = sharing == Sharing::Shared;
    for (double const weight : {3.0, 3.0, lastWeight}) {
        auto const node = Kernel::MakeCounted<PolyCurveNode>();
        node->SetCurves(shares ? outline : Outline());
        node->SetBrushFillDescriptor(shares ? fill : Gradient());
        node->SetPenFillDescriptor(shares ? fill : Gradient());
        node->SetLineStyleDescriptor(shares && weight == 3 ? line : Line(weight));
        document->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, node, nullptr);
    }
    return document;
}

} // namespace

TEST(DocumentHash, FillsCurvesAndLinesCountByContentHoweverTheyAreShared) {
    auto const shared = MakeLikeNodes(Sharing::Shared, 3), apart = MakeLikeNodes(Sharing::Apart, 3);
    EXPECT_EQ(shared->GetHash(false), apart->GetHash(false));
    EXPECT_NE(shared->GetHash(false), MakeLikeNodes(Sharing::Shared, 4)->GetHash(false));
    EXPECT_EQ(MakeLikeNodes(Sharing::Apart, 4)->GetHash(false), MakeLikeNodes(Sharing::Shared, 4)->GetHash(false));
}

TEST(DocumentHash, ReplacingAValueByAnEqualOneChangesNothing) {
    auto const document = MakeLikeNodes(Sharing::Shared, 3);
    auto const before = document->GetHash(true);
    auto* const node = Kernel::CastPointer<PolyCurveNode>(
        document->GetCurrentSpread()->GetFirstChild(NodeChildListType::Plain)->GetNextSibling());
    node->SetBrushFillDescriptor(Gradient());
    node->SetCurves(Outline());
    EXPECT_EQ(document->GetHash(true), before);
    node->SetLineStyleDescriptor(Line(4));
    EXPECT_NE(document->GetHash(true), before);
    node->SetLineStyleDescriptor(Line(3));
    EXPECT_EQ(document->GetHash(true), before);
}

TEST(DocumentHash, PressureProfilesOfEqualShapeCountAlikeWhetherTheyAreOneObject) {
    auto const profile = [] {
        auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
        curve->MoveTo({0, 0.5});
        curve->LineTo({1, 1});
        return curve;
    };
    auto const one = MakeDocument(), two = MakeDocument();
    auto const same = profile();
    one->AddPressureProfile(same);
    one->AddPressureProfile(same);
    two->AddPressureProfile(profile());
    two->AddPressureProfile(profile());
    EXPECT_EQ(one->GetHash(false), two->GetHash(false));
}
