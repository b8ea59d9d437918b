// SPDX-License-Identifier: Apache-2.0
#include "shapes/divide_shapes_command.h"
#include "shapes/fill_holes_command.h"
#include "tests/shapes/scene.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace Commands;
using namespace Support;
using namespace ExampleDocuments;

using Corners = std::vector<Kernel::PointT<double>>;
using CurvePointer = Kernel::Counted<Geometry::CurveDbl>;

CurvePointer Polygon(Corners const& corners) {
    auto const curve = Kernel::MakeCounted<Geometry::CurveDbl>();
    curve->MoveTo(corners.front());
    for (std::size_t i = 1; i != corners.size(); ++i)
        curve->LineTo(corners[i]);
    curve->Close();
    return curve;
}

CurvePointer Drop(double x, double y, double size) {
    auto const curve = Kernel::MakeCounted<Geometry::CurveDbl>();
    curve->MoveTo({x, y});
    curve->CubicTo({x + size / 3, y + size / 7}, {x + size, y + size / 2}, {x + size / 2, y + size});
    curve->LineTo({x - size / 3, y + size});
    curve->CubicTo({x - size, y + size / 2}, {x - size / 3, y + size / 7}, {x, y});
    curve->Close();
    return curve;
}

// Contours that nothing crosses, from every start and in both directions.
std::vector<CurvePointer> MakeContours() {
    std::vector<CurvePointer> contours;
    Corners corners{{10.3, 7}, {90.1, 12.7}, {77, 80.25}, {41.4, 55.5}, {13, 91}};
    for (std::size_t i = 0; i != corners.size(); ++i) {
        contours.push_back(Polygon(corners));
        std::rotate(corners.begin(), corners.begin() + 1, corners.end());
    }
    // A point in the middle of a side, and the same one twice.
    contours.push_back(Polygon({{0, 0}, {30, 0}, {60, 0}, {60, 40}, {60, 40}, {0, 40}}));
    contours.push_back(Polygon({{30, 0}, {60, 0}, {60, 40}, {0, 40}, {0, 0}}));
    contours.push_back(Drop(50, 10, 40));
    contours.push_back(Drop(1e5 + 0.1, -3e4, 70));
    auto const count = contours.size();
    for (std::size_t i = 0; i != count; ++i) {
        auto const reversed = contours[i]->Clone();
        reversed->Reverse();
        contours.push_back(reversed);
    }
    return contours;
}

Kernel::Counted<PolyCurveNode> MakeNode(std::vector<CurvePointer> const& contours, Geometry::WindingOrderMode mode) {
    auto const curves = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
    for (auto const& contour : contours)
        curves->AddCurve(contour->Clone());
    auto node = Kernel::MakeCounted<PolyCurveNode>();
    node->SetCurves(curves);
    node->SetWindingOrderMode(mode);
    SetFill(*node, 1, 0, 0);
    SetLine(*node, 1);
    return node;
}

// The same point after the same way, so that dashes fall where they fell.
void ExpectSameWalk(Geometry::CurveDbl const& expected, Geometry::CurveDbl const& actual) {
    ASSERT_EQ(expected.GetSegmentCount(), actual.GetSegmentCount());
    auto const points = expected.GetPoints(), others = actual.GetPoints();
    ASSERT_EQ(points.size(), others.size());
    for (std::size_t i = 0; i != points.size(); ++i) {
        EXPECT_NEAR(points[i].x, others[i].x, 1e-9) << i;
        EXPECT_NEAR(points[i].y, others[i].y, 1e-9) << i;
    }
}

TEST(KeptContours, AShapeThatFillHolesLeavesAloneIsWalkedAsBefore) {
    for (auto const& contour : MakeContours()) {
        for (bool const lines : {false, true}) {
            Scene scene;
            auto const node = MakeNode({contour}, Geometry::WindingOrderMode::Alternating);
            scene.PutAndSelect({node});
            scene.controller->Run(Kernel::MakeCounted<FillHolesCommand>(lines));
            ASSERT_EQ(1u, node->GetCurves()->GetCurves().size());
            ExpectSameWalk(*contour, *node->GetCurves()->GetCurves()[0]);
        }
    }
}

TEST(KeptContours, TheRimOfAFilledRingIsWalkedAsBefore) {
    for (auto const& contour : MakeContours()) {
        Scene scene;
        auto const hole = contour->Clone();
        auto const bounds = contour->GetBounds().value();
        auto const x = (bounds.left + bounds.right) / 2, y = bounds.top + (bounds.bottom - bounds.top) * 0.3;
        hole->ApplyTransform(Geometry::Transform({0.01, 0, x * 0.99, 0, 0.01, y * 0.99}));
        auto const node = MakeNode({hole, contour}, Geometry::WindingOrderMode::Alternating);
        scene.PutAndSelect({node});
        scene.controller->Run(Kernel::MakeCounted<FillHolesCommand>());
        ASSERT_EQ(1u, node->GetCurves()->GetCurves().size());
        ExpectSameWalk(*contour, *node->GetCurves()->GetCurves()[0]);
    }
}

TEST(KeptContours, AShapeThatADivideLeavesWholeIsWalkedAsBefore) {
    for (bool const overlaps : {false, true}) {
        for (auto const& contour : MakeContours()) {
            Scene scene;
            auto const node = MakeNode({contour}, Geometry::WindingOrderMode::NonZero);
            node->SetUserDescription("whole");
            auto const far = contour->GetBounds().value().right + 1000;
            auto const other = Box(far, 0, far + 50, 50);
            auto const third = overlaps ? Box(far + 20, 20, far + 70, 70) : Box(far + 200, 0, far + 250, 50);
            scene.PutAndSelect({node, other, third});
            scene.controller->Run(Kernel::MakeCounted<DivideShapesCommand>(false, scene.Selected()));
            auto const pieces = PiecesIn(*scene.spread);
            ASSERT_LE(3u, pieces.size());
            ASSERT_EQ(1u, pieces[0]->GetCurves()->GetCurves().size());
            ExpectSameWalk(*contour, *pieces[0]->GetCurves()->GetCurves()[0]);
        }
    }
}

// A ring whose rims turn alike is painted as one in one mode only, and its piece is not to depend on that.
TEST(KeptContours, HolesGoOnTurningAgainstTheirRims) {
    Scene scene;
    auto const rim = Polygon({{0, 0}, {60, 0}, {60, 60}, {0, 60}});
    auto const hole = Polygon({{20, 20}, {40, 20}, {40, 40}, {20, 40}});
    scene.PutAndSelect(
        {MakeNode({rim, hole}, Geometry::WindingOrderMode::Alternating), Box(200, 0, 250, 50), Box(220, 20, 270, 70)});
    scene.controller->Run(Kernel::MakeCounted<DivideShapesCommand>(false, scene.Selected()));
    auto const* const piece = PiecesIn(*scene.spread).at(0);
    ASSERT_EQ(2u, piece->GetCurves()->GetCurves().size());
    EXPECT_LT(piece->GetCurves()->GetCurves()[0]->GetArea() * piece->GetCurves()->GetCurves()[1]->GetArea(), 0);
}

} // namespace
