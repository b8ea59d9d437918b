// SPDX-License-Identifier: Apache-2.0
#include "platform/geometry/kept_contours.h"

#include "tests/engine/planar_map/shapes_for_maps.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace MapTests;
using Geometry::KeepContours;

using Corners = std::vector<PointDbl>;
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

Graph::Input InputOf(std::vector<CurvePointer> const& contours) {
    auto const curves = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
    for (auto const& contour : contours)
        curves->AddCurve(contour->Clone());
    auto input = MakeInput(curves);
    input.windingOrderMode = Geometry::WindingOrderMode::Alternating;
    return input;
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

TEST(KeptContours, AnOutlineOfOneContourIsWalkedAsThatContour) {
    for (auto const& contour : MakeContours()) {
        auto const input = InputOf({contour});
        auto const kept = KeepContours(Outline({input}), input);
        ASSERT_EQ(1u, kept->GetCurves().size());
        ExpectSameWalk(*contour, *kept->GetCurves()[0]);
    }
}

TEST(KeptContours, ContoursAreTakenInTheirPlaceOnThePage) {
    auto const drop = Drop(0, 0, 10);
    Geometry::Transform const inner({0, -2, 5, 2, 0, 7}), outer({1, 0.5, -3, 0, 1, 4});
    auto input = InputOf({drop});
    input.curves.front().transform = inner;
    input.transform = outer;
    auto const kept = KeepContours(Outline({input}), input);
    ASSERT_EQ(1u, kept->GetCurves().size());
    auto const expected = drop->Clone();
    expected->ApplyTransform(inner);
    expected->ApplyTransform(outer);
    ExpectSameWalk(*expected, *kept->GetCurves()[0]);
}

TEST(KeptContours, ContoursOfTheInputThatTheOutlineLacksAreLeftOut) {
    for (auto const& contour : MakeContours()) {
        auto const hole = contour->Clone();
        auto const bounds = contour->GetBounds().value();
        auto const x = (bounds.left + bounds.right) / 2, y = bounds.top + (bounds.bottom - bounds.top) * 0.3;
        hole->ApplyTransform(Geometry::Transform({0.01, 0, x * 0.99, 0, 0.01, y * 0.99}));
        auto const input = InputOf({hole, contour});
        auto const graph = Build({input});
        graph->EnableAllAreas();
        auto const kept = KeepContours(graph->GetEnabledOutline(true, true, true, false), input);
        ASSERT_EQ(1u, kept->GetCurves().size());
        ExpectSameWalk(*contour, *kept->GetCurves()[0]);
    }
}

TEST(KeptContours, AnOutlineWithAContourOfItsOwnComesBackAsItIs) {
    auto const first = Polygon({{0, 0}, {30, 0}, {30, 30}, {0, 30}}), apart = Polygon({{90, 0}, {99, 0}, {99, 9}});
    auto input = InputOf({first, Polygon({{20, 20}, {50, 20}, {50, 50}, {20, 50}}), apart});
    input.windingOrderMode = Geometry::WindingOrderMode::NonZero;
    auto const outline = Outline({input});
    ASSERT_EQ(2u, outline->GetCurves().size());
    EXPECT_EQ(outline, KeepContours(outline, input));
    EXPECT_EQ(nullptr, KeepContours(nullptr, input));
}

// A ring whose rims turn alike is painted as one in one mode only, and its outline is not to depend on that.
TEST(KeptContours, HolesGoOnTurningAgainstTheirRims) {
    auto const input =
        InputOf({Polygon({{0, 0}, {60, 0}, {60, 60}, {0, 60}}), Polygon({{20, 20}, {40, 20}, {40, 40}, {20, 40}})});
    auto const kept = KeepContours(Outline({input}), input);
    ASSERT_EQ(2u, kept->GetCurves().size());
    EXPECT_LT(kept->GetCurves()[0]->GetArea() * kept->GetCurves()[1]->GetArea(), 0);
}

} // namespace
