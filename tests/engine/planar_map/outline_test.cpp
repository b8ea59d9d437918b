// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/planar_map/shapes_for_maps.h"

#include <gtest/gtest.h>

#include <numbers>

using namespace MapTests;
using Geometry::WindingOrderMode;

TEST(Outline, UnionOfOrdinaryInputs) {
    auto const outline = Outline({Rectangle(0, 0, 10, 10), Rectangle(5, 5, 15, 15)});
    ASSERT_TRUE(outline);
    EXPECT_EQ(outline->GetCurves().size(), 1u);
    EXPECT_EQ(outline->GetSegmentCount(), 8u);
    EXPECT_DOUBLE_EQ(outline->GetArea(), 175);
}

TEST(Outline, UnfilledInputsTakeNoPart) {
    EXPECT_FALSE(Outline({Rectangle(0, 0, 10, 10, false)}));
    EXPECT_DOUBLE_EQ(Outline({Rectangle(0, 0, 10, 10), Rectangle(5, 5, 15, 15, false)})->GetArea(), 100);
}

TEST(Outline, ClipsBoundWhatTheContentCovers) {
    auto const outline = Outline({Rectangle(0, 0, 10, 10), AsClip(Rectangle(5, 5, 15, 15))});
    ASSERT_TRUE(outline);
    EXPECT_DOUBLE_EQ(outline->GetArea(), 25);
}

TEST(Outline, EveryClipHasToCover) {
    auto const content = Rectangle(0, 0, 100, 100);
    auto const a = AsClip(Rectangle(0, 0, 10, 10)), b = AsClip(Rectangle(5, 5, 15, 15));
    EXPECT_DOUBLE_EQ(Outline({content, a, b})->GetArea(), 25);
    EXPECT_DOUBLE_EQ(Outline({a, b})->GetArea(), 25);
    EXPECT_DOUBLE_EQ(Outline({a})->GetArea(), 100);
    EXPECT_FALSE(Outline({content, a, AsClip(Rectangle(50, 50, 60, 60))}));
}

TEST(Outline, ClipThatIsNotFilledLeavesNothing) {
    EXPECT_FALSE(Outline({Rectangle(0, 0, 10, 10), AsClip(Rectangle(2, 2, 5, 5, false))}));
}

TEST(Outline, ContoursTurnPositivelyAndHolesNegatively) {
    auto donut = Circle(0, 0, 10);
    donut.curves.push_back(Circle(0, 0, 5).curves[0]);
    donut.windingOrderMode = WindingOrderMode::Alternating;
    auto const outline = Outline({donut});
    ASSERT_EQ(outline->GetCurves().size(), 2u);
    EXPECT_NEAR(std::max(outline->GetCurves()[0]->GetArea(), outline->GetCurves()[1]->GetArea()),
                100 * std::numbers::pi, 0.2);
    EXPECT_NEAR(std::min(outline->GetCurves()[0]->GetArea(), outline->GetCurves()[1]->GetArea()),
                -25 * std::numbers::pi, 0.1);
    for (auto const mode : {WindingOrderMode::NonZero, WindingOrderMode::Alternating}) {
        EXPECT_TRUE(Geometry::Contains(*outline, {7, 0}, mode));
        EXPECT_FALSE(Geometry::Contains(*outline, {2, 0}, mode));
    }
}

TEST(Outline, StraightPiecesOfOneLineBecomeOne) {
    auto const outline = Outline({Rectangle(0, 0, 10, 10), Rectangle(10, 0, 25, 10), Rectangle(5, 0, 12, 10)});
    EXPECT_EQ(outline->GetSegmentCount(), 4u);
    EXPECT_DOUBLE_EQ(outline->GetArea(), 250);
}

TEST(Outline, CurvesThatOtherEdgesCrossComeBackWhole) {
    auto const outline = Outline({Circle(0, 0, 10), Rectangle(-3, -9, 3, 9), Circle(1, 1, 8)});
    ASSERT_TRUE(outline);
    EXPECT_EQ(outline->GetSegmentCount(), 4u);
    auto const whole = Geometry::MakeEllipse({-10, -10, 10, 10});
    EXPECT_DOUBLE_EQ(outline->GetArea(), whole->GetArea());
}

TEST(Outline, WithoutJoiningEveryCrossingStaysAPoint) {
    auto const graph = Build({Rectangle(0, 0, 10, 10), Rectangle(2, -5, 4, 15)});
    EXPECT_EQ(graph->GetEnabledOutline(true, true, true, false)->GetSegmentCount(), 12u);
    EXPECT_EQ(graph->GetEnabledOutline(false, true, true, false)->GetSegmentCount(), 12u);
    auto const inside = Build({Rectangle(0, 0, 10, 10), Rectangle(2, 0, 4, 5)});
    EXPECT_EQ(inside->GetEnabledOutline(true, true, true, false)->GetSegmentCount(), 4u);
    EXPECT_EQ(inside->GetEnabledOutline(false, true, true, false)->GetSegmentCount(), 6u);
}

TEST(Outline, ContoursThatTouchThemselvesComeApartWhereAsked) {
    auto const graph = Build({Rectangle(0, 0, 10, 10), Rectangle(10, 10, 20, 20)});
    EXPECT_EQ(graph->GetEnabledOutline(true, true, true, false)->GetCurves().size(), 2u);
    // A hole that touches the outline with one corner.
    auto holed = Rectangle(0, 0, 10, 10);
    holed.curves.push_back(Polyline({{0, 0}, {4, 2}, {2, 4}}, true, true).curves[0]);
    holed.windingOrderMode = WindingOrderMode::Alternating;
    auto const touching = Build({holed});
    EXPECT_EQ(touching->GetEnabledOutline(true, true, true, false)->GetCurves().size(), 2u);
    EXPECT_EQ(touching->GetEnabledOutline(true, false, true, false)->GetCurves().size(), 1u);
    EXPECT_DOUBLE_EQ(touching->GetEnabledOutline(true, true, true, false)->GetArea(), 94);
    EXPECT_DOUBLE_EQ(touching->GetEnabledOutline(true, false, true, false)->GetArea(), 94);
}

TEST(Outline, HolesAndLinesAreIncludedWhereAsked) {
    auto donut = Rectangle(0, 0, 10, 10);
    donut.curves.push_back(Rectangle(3, 3, 6, 6).curves[0]);
    donut.windingOrderMode = WindingOrderMode::Alternating;
    auto const graph = Build({donut, Polyline({{-5, 1}, {15, 1}}, false, false)});
    EXPECT_DOUBLE_EQ(graph->GetEnabledOutline(true, true, true, false)->GetArea(), 91);
    EXPECT_DOUBLE_EQ(graph->GetEnabledOutline(true, true, false, false)->GetArea(), 100);
    auto const withLines = graph->GetEnabledOutline(true, true, true, true);
    ASSERT_EQ(withLines->GetCurves().size(), 4u);
    EXPECT_DOUBLE_EQ(withLines->GetCurves()[2]->GetLength() + withLines->GetCurves()[3]->GetLength(), 10);
}

TEST(Outline, EnablingAllAreasFillsHoles) {
    auto donut = Circle(0, 0, 10);
    donut.curves.push_back(Circle(0, 0, 5).curves[0]);
    donut.windingOrderMode = WindingOrderMode::Alternating;
    auto const graph = Build({donut});
    graph->PrepareShapeBuilder();
    EXPECT_EQ(graph->GetEnabledOutline(true, true, true, false)->GetCurves().size(), 2u);
    graph->EnableAllAreas();
    auto const outline = graph->GetEnabledOutline(true, true, true, false);
    ASSERT_EQ(outline->GetCurves().size(), 1u);
    EXPECT_EQ(outline->GetSegmentCount(), 4u);
    EXPECT_DOUBLE_EQ(outline->GetArea(), Geometry::MakeEllipse({-10, -10, 10, 10})->GetArea());
    graph->PrepareShapeBuilder();
    EXPECT_EQ(graph->GetEnabledOutline(true, true, true, false)->GetCurves().size(), 2u);
}

TEST(Outline, EnabledAreasOfAnOpenPathLeaveItsTails) {
    // A loop with two ends that stick out, and one that ends inside.
    auto loop = Polyline({{-5, 0}, {10, 0}, {10, 10}, {0, 10}, {0, -5}}, false, false);
    loop.curves.push_back(Polyline({{5, 0}, {5, 5}}, false, false).curves[0]);
    auto const graph = Build({loop});
    graph->PrepareShapeBuilder();
    EXPECT_FALSE(graph->GetEnabledOutline(true, true, true, false));
    graph->EnableAllAreas();
    auto const outline = graph->GetEnabledOutline(true, true, true, false);
    ASSERT_TRUE(outline);
    EXPECT_DOUBLE_EQ(outline->GetArea(), 100);
    EXPECT_EQ(outline->GetSegmentCount(), 4u);
    auto const tails = graph->GetExternalTails(true, true, true);
    ASSERT_TRUE(tails);
    ASSERT_EQ(tails->GetCurves().size(), 2u);
    EXPECT_EQ(tails->GetCurves()[0]->GetStart(), (PointDbl{-5, 0}));
    EXPECT_EQ(tails->GetCurves()[0]->GetEnd(), (PointDbl{0, 0}));
    EXPECT_EQ(tails->GetCurves()[1]->GetEnd(), (PointDbl{0, -5}));
    // From the area outwards.
    EXPECT_EQ(graph->GetExternalTails(true, false, true)->GetCurves()[0]->GetStart(), (PointDbl{0, 0}));
}

TEST(Outline, TailsThatTouchNoAreaAreIncludedWhereAsked) {
    auto path = Rectangle(0, 0, 10, 10, false);
    path.curves.push_back(Polyline({{20, 0}, {30, 0}}, false, false).curves[0]);
    auto const graph = Build({path});
    graph->EnableAllAreas();
    EXPECT_EQ(graph->GetExternalTails(true, true, true)->GetCurves().size(), 1u);
    EXPECT_FALSE(graph->GetExternalTails(true, true, false));
}

TEST(Outline, LinesInsideAShapeThatIsRebuiltGo) {
    auto circle = Circle(0, 0, 10, false);
    circle.curves.push_back(Polyline({{-10, 0}, {10, 0}}, false, false).curves[0]);
    auto const graph = Build({circle});
    graph->EnableAllAreas();
    EXPECT_EQ(graph->GetEnabledOutline(true, true, true, false)->GetSegmentCount(), 4u);
    EXPECT_FALSE(graph->GetExternalTails(true, true, true));
}

TEST(ClippedEdges, PartsOfALineThatLieInAShape) {
    auto const graph =
        Build({Polyline({{-5, 5}, {15, 5}, {15, 7}, {-5, 7}}, false, false), AsClip(Rectangle(0, 0, 10, 10))});
    auto const edges = graph->DivideClippedEdges(0, 1, true);
    ASSERT_TRUE(edges);
    ASSERT_EQ(edges->GetCurves().size(), 2u);
    EXPECT_EQ(edges->GetCurves()[0]->GetStart(), (PointDbl{0, 5}));
    EXPECT_EQ(edges->GetCurves()[0]->GetEnd(), (PointDbl{10, 5}));
    EXPECT_EQ(edges->GetCurves()[1]->GetStart(), (PointDbl{10, 7}));
    EXPECT_EQ(edges->GetCurves()[1]->GetEnd(), (PointDbl{0, 7}));
}

TEST(ClippedEdges, ClosedContourInsideStaysClosed) {
    auto const graph = Build({Circle(5, 5, 3, false), AsClip(Rectangle(0, 0, 10, 10))});
    auto const edges = graph->DivideClippedEdges(0, 1, true);
    ASSERT_TRUE(edges);
    ASSERT_EQ(edges->GetCurves().size(), 1u);
    EXPECT_TRUE(edges->GetCurves()[0]->IsClosed());
    EXPECT_EQ(edges->GetSegmentCount(), 4u);
}

TEST(ClippedEdges, ClosedContourThatSticksOutIsOneOpenStretch) {
    auto const graph = Build({Circle(0, 5, 3, false), AsClip(Rectangle(0, 0, 10, 10))});
    auto const edges = graph->DivideClippedEdges(0, 1, true);
    ASSERT_TRUE(edges);
    ASSERT_EQ(edges->GetCurves().size(), 1u);
    EXPECT_FALSE(edges->GetCurves()[0]->IsClosed());
    EXPECT_NEAR(edges->GetLength(), 3 * std::numbers::pi, 0.01);
}

TEST(ClippedEdges, StretchesAlongTheBorderCountWhereAsked) {
    auto const graph = Build({Polyline({{-5, 0}, {15, 0}}, false, false), AsClip(Rectangle(0, 0, 10, 10))});
    ASSERT_TRUE(graph->DivideClippedEdges(0, 1, true));
    EXPECT_DOUBLE_EQ(graph->DivideClippedEdges(0, 1, true)->GetLength(), 10);
    EXPECT_FALSE(graph->DivideClippedEdges(0, 1, false));
}

TEST(ClippedEdges, NothingInsideIsNull) {
    auto const graph = Build({Polyline({{-5, -5}, {-1, -1}}, false, false), AsClip(Rectangle(0, 0, 10, 10))});
    EXPECT_FALSE(graph->DivideClippedEdges(0, 1, true));
    EXPECT_FALSE(graph->DivideClippedEdges(0, 7, true));
}

TEST(ClippedEdges, SelfCrossingLineIsNotSplitAtItsCrossing) {
    auto const graph =
        Build({Polyline({{1, 1}, {9, 1}, {9, 5}, {5, 5}, {5, -5}}, false, false), AsClip(Rectangle(0, 0, 10, 10))});
    auto const edges = graph->DivideClippedEdges(0, 1, true);
    ASSERT_EQ(edges->GetCurves().size(), 1u);
    EXPECT_EQ(edges->GetSegmentCount(), 4u);
    EXPECT_EQ(edges->GetCurves()[0]->GetEnd(), (PointDbl{5, 0}));
}
