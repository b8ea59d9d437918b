// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/planar_map/shapes_for_maps.h"

#include <gtest/gtest.h>

#include <numbers>

using namespace MapTests;
using Geometry::WindingOrderMode;

namespace {

Graph::Input Stroked(Graph::Input input) {
    input.strokedFront = true;
    return input;
}

Graph::Input Merge(Graph::Input first, Graph::Input const& second) {
    first.curves.insert(first.curves.end(), second.curves.begin(), second.curves.end());
    return first;
}

// A five-pointed star drawn in one stroke, whose middle it goes round twice.
Graph::Input Pentagram(bool filled) {
    auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
    for (int i = 0; i != 5; ++i) {
        double const angle = 4 * std::numbers::pi / 5 * i;
        PointDbl const p{100 * std::sin(angle), -100 * std::cos(angle)};
        i == 0 ? curve->MoveTo(p) : curve->LineTo(p);
    }
    curve->Close();
    return MakeInput(curve, filled);
}

} // namespace

TEST(Ownership, OverlapOfTwoRectanglesBelongsToTheTopMost) {
    auto const division = Divide({Rectangle(0, 0, 10, 10), Rectangle(5, 5, 15, 15)});
    EXPECT_TRUE(division.divided);
    ASSERT_EQ(division.PieceCount(0), 1u);
    ASSERT_EQ(division.PieceCount(1), 2u);
    EXPECT_DOUBLE_EQ(division.AreaOf(0), 75);
    EXPECT_DOUBLE_EQ(division.AreaOf(1), 100);
    EXPECT_EQ(division.LineCount(0) + division.LineCount(1), 0u);
}

TEST(Ownership, PiecesAreClosedOutlinesOfStraightLinesAndKeepTheirCorners) {
    auto const division = Divide({Rectangle(0, 0, 10, 10), Rectangle(5, 5, 15, 15)});
    auto const& curves = division.pieces.at(0).areas.front()->GetCurves();
    ASSERT_EQ(curves.size(), 1u);
    EXPECT_TRUE(curves[0]->IsClosed());
    EXPECT_EQ(curves[0]->GetSegmentCount(), 6u);
    for (auto const& segment : curves[0]->GetSegments())
        EXPECT_EQ(segment.kind, Geometry::SegmentKind::Line);
}

TEST(Ownership, PiecesOfCirclesStayCurves) {
    auto const division = Divide({Circle(0, 0, 10), Circle(10, 0, 10)});
    EXPECT_EQ(division.TotalPieces(), 3u);
    for (auto const& [input, result] : division.pieces) {
        for (auto const& area : result.areas) {
            EXPECT_LE(area->GetSegmentCount(), 8u);
            for (auto const& segment : area->GetCurves()[0]->GetSegments())
                EXPECT_EQ(segment.kind, Geometry::SegmentKind::Cubic);
        }
    }
}

TEST(Ownership, SeparateShapesAreNotDivided) {
    auto const graph = Build({Circle(0, 0, 10), Rectangle(20, 0, 30, 10)});
    auto const division = Divide(*graph);
    EXPECT_FALSE(division.divided);
    EXPECT_EQ(graph->GetTopNodeCount(), 2u);
    EXPECT_EQ(division.TotalPieces(), 2u);
}

TEST(Ownership, ShapeInsideAnotherMakesAHole) {
    auto const graph = Build({Rectangle(0, 0, 10, 10), Rectangle(3, 3, 6, 6)});
    auto const division = Divide(*graph);
    EXPECT_TRUE(division.divided);
    EXPECT_EQ(graph->GetTopNodeCount(), 1u);
    ASSERT_EQ(division.PieceCount(0), 1u);
    auto const& ring = *division.pieces.at(0).areas[0];
    ASSERT_EQ(ring.GetCurves().size(), 2u);
    EXPECT_DOUBLE_EQ(ring.GetCurves()[0]->GetArea(), 100);
    EXPECT_DOUBLE_EQ(ring.GetCurves()[1]->GetArea(), -9);
    EXPECT_DOUBLE_EQ(division.AreaOf(1), 9);
}

TEST(Ownership, ShapeHiddenUnderAnotherCutsItAndOwnsNothing) {
    auto const division = Divide({Rectangle(3, 3, 6, 6), Rectangle(0, 0, 10, 10)});
    EXPECT_TRUE(division.divided);
    EXPECT_EQ(division.PieceCount(0), 0u);
    EXPECT_EQ(division.PieceCount(1), 2u);
    EXPECT_DOUBLE_EQ(division.AreaOf(1), 100);
}

TEST(Ownership, EqualShapesGoToTheTopMost) {
    auto const division = Divide({Circle(0, 0, 10), Circle(0, 0, 10), Circle(0, 0, 10)});
    EXPECT_TRUE(division.divided);
    EXPECT_EQ(division.TotalPieces(), 1u);
    EXPECT_EQ(division.PieceCount(2), 1u);
}

TEST(Ownership, CrossingOpenLinesAreSplitAtTheCrossing) {
    auto const division =
        Divide({Polyline({{0, 0}, {10, 10}}, false, false), Polyline({{0, 10}, {10, 0}}, false, false)});
    EXPECT_EQ(division.TotalPieces(), 0u);
    ASSERT_EQ(division.LineCount(0), 2u);
    ASSERT_EQ(division.LineCount(1), 2u);
    auto const& lines = division.pieces.at(0).lines;
    EXPECT_EQ(lines[0]->GetStart(), (PointDbl{0, 0}));
    EXPECT_EQ(lines[0]->GetEnd(), (PointDbl{5, 5}));
    EXPECT_EQ(lines[1]->GetEnd(), (PointDbl{10, 10}));
}

TEST(Ownership, LineCutsAShapeAndKeepsItsParts) {
    auto const division = Divide({Rectangle(0, 0, 10, 10), Polyline({{-5, 5}, {15, 5}}, false, false)});
    EXPECT_TRUE(division.divided);
    EXPECT_EQ(division.PieceCount(0), 2u);
    EXPECT_EQ(division.LineCount(1), 3u);
    EXPECT_DOUBLE_EQ(division.LineLength(1), 20);
}

TEST(Ownership, LineThatEndsInsideAShapeDoesNotCutIt) {
    auto const division = Divide({Rectangle(0, 0, 10, 10), Polyline({{-5, 5}, {5, 5}}, false, false)});
    ASSERT_EQ(division.PieceCount(0), 1u);
    EXPECT_DOUBLE_EQ(division.AreaOf(0), 100);
    EXPECT_EQ(division.LineCount(1), 2u);
}

TEST(Ownership, LinesAreLeftOutWhenNotAskedFor) {
    auto const graph = Build({Polyline({{0, 0}, {10, 10}}, false, false)});
    EXPECT_TRUE(Divide(*graph, false).pieces.empty());
    EXPECT_EQ(Divide(*graph, true).LineCount(0), 1u);
}

TEST(Ownership, UnfilledClosedShapeIsOneClosedLine) {
    auto const division = Divide({Circle(0, 0, 10, false)});
    ASSERT_EQ(division.LineCount(0), 1u);
    EXPECT_TRUE(division.pieces.at(0).lines[0]->IsClosed());
    EXPECT_EQ(division.pieces.at(0).lines[0]->GetSegmentCount(), 4u);
}

TEST(Ownership, SharedLineBelongsToTheTopMostThatIsSeen) {
    auto const line = Polyline({{0, 0}, {10, 0}}, false, false);
    auto division = Divide({line, line});
    EXPECT_EQ(division.LineCount(0), 0u);
    EXPECT_EQ(division.LineCount(1), 1u);
    division = Divide({Stroked(line), line});
    EXPECT_EQ(division.LineCount(0), 1u);
    EXPECT_EQ(division.LineCount(1), 0u);
}

TEST(Ownership, WindingModesDecideWhatASelfCrossingShapeCovers) {
    auto star = Pentagram(true);
    auto division = Divide({star});
    EXPECT_EQ(division.PieceCount(0), 1u);
    EXPECT_EQ(division.pieces.at(0).areas[0]->GetSegmentCount(), 10u);
    EXPECT_TRUE(division.divided);
    star.windingOrderMode = WindingOrderMode::Alternating;
    division = Divide({star});
    EXPECT_EQ(division.PieceCount(0), 5u);
    EXPECT_TRUE(division.divided);
}

TEST(Ownership, LineInFrontOfTheFillCutsItsOwnShape) {
    auto star = Pentagram(true);
    star.strokedBehind = true;
    EXPECT_EQ(Divide({star}).PieceCount(0), 1u);
    EXPECT_EQ(Divide({Stroked(star)}).PieceCount(0), 6u);
}

TEST(Ownership, OpenFilledCurveIsClosedByALineThatIsNoLine) {
    auto const open = Stroked(Polyline({{0, 0}, {10, 0}, {10, 10}}, false, true));
    auto const graph = Build({open});
    auto const division = Divide(*graph);
    EXPECT_FALSE(division.divided);
    EXPECT_EQ(graph->GetTopNodeCount(), 1u);
    EXPECT_DOUBLE_EQ(division.AreaOf(0), 50);
    EXPECT_EQ(division.LineCount(0), 0u);
    // Taken as a line it is what was drawn, and not closed.
    auto unfilled = open;
    unfilled.filled = false;
    auto const lines = Divide({unfilled});
    ASSERT_EQ(lines.LineCount(0), 1u);
    EXPECT_FALSE(lines.pieces.at(0).lines[0]->IsClosed());
    EXPECT_DOUBLE_EQ(lines.LineLength(0), 20);
}

TEST(Ownership, FilledStraightLineCoversNothingAndIsALineWhereStroked) {
    auto const line = Polyline({{0, 0}, {10, 3}}, false, true);
    auto division = Divide({line, Rectangle(20, 0, 30, 10)});
    EXPECT_FALSE(division.divided);
    EXPECT_EQ(division.LineCount(0), 0u);
    division = Divide({Stroked(line), Rectangle(20, 0, 30, 10)});
    EXPECT_FALSE(division.divided);
    EXPECT_EQ(division.LineCount(0), 1u);
    EXPECT_EQ(Build({line, Rectangle(20, 0, 30, 10)})->GetTopNodeCount(), 2u);
}

TEST(Ownership, ShapeOfWhichItsWindingModeLeavesNothingCountsAsDivided) {
    auto twice = Rectangle(0, 0, 10, 10);
    twice.curves.push_back(twice.curves.front());
    for (auto const mode : {Geometry::WindingOrderMode::NonZero, Geometry::WindingOrderMode::Alternating}) {
        bool const covers = mode == Geometry::WindingOrderMode::NonZero;
        twice.windingOrderMode = mode;
        auto const division = Divide({twice});
        EXPECT_EQ(division.AreaOf(0), covers ? 100 : 0);
        EXPECT_EQ(division.PieceCount(0), covers ? 1u : 0u);
        EXPECT_TRUE(division.divided);
    }
}

TEST(Ownership, ShapeWithAHoleCountsAsDivided) {
    auto donut = Merge(Circle(0, 0, 10), Circle(0, 0, 5));
    donut.windingOrderMode = WindingOrderMode::Alternating;
    auto const graph = Build({donut});
    auto const division = Divide(*graph);
    EXPECT_TRUE(division.divided);
    ASSERT_EQ(division.PieceCount(0), 1u);
    EXPECT_EQ(division.pieces.at(0).areas[0]->GetCurves().size(), 2u);
    EXPECT_EQ(graph->GetTopNodeCount(), 1u);
}

TEST(Ownership, PartsOfOneShapeThatLieApartComeApart) {
    auto const two = Merge(Circle(0, 0, 10), Circle(30, 0, 5));
    auto const graph = Build({two});
    EXPECT_TRUE(Divide(*graph).divided);
    EXPECT_EQ(Divide(*graph).PieceCount(0), 2u);
    EXPECT_EQ(graph->GetTopNodeCount(), 2u);
}

TEST(Ownership, LinesThatMeetOnlyEachOtherLeaveShapesUndivided) {
    auto const division = Divide({Rectangle(20, 0, 30, 10), Polyline({{0, 0}, {10, 10}}, false, false),
                                  Polyline({{0, 10}, {10, 0}}, false, false)});
    EXPECT_FALSE(division.divided);
    EXPECT_EQ(division.LineCount(1), 2u);
}

TEST(Ownership, TouchingNeighboursAreDivided) {
    auto const graph = Build({Rectangle(0, 0, 10, 10), Rectangle(10, 2, 20, 8)});
    auto const division = Divide(*graph);
    EXPECT_TRUE(division.divided);
    EXPECT_EQ(division.TotalPieces(), 2u);
    EXPECT_EQ(graph->GetTopNodeCount(), 1u);
    // Both hold the same points on the common border.
    EXPECT_EQ(division.pieces.at(0).areas[0]->GetSegmentCount(), 6u);
    EXPECT_EQ(division.pieces.at(1).areas[0]->GetSegmentCount(), 4u);
}

TEST(Ownership, KeepHiddenTogetherLeavesOutEdgesUnderTheOwner) {
    std::vector<Graph::Input> const inputs = {Rectangle(0, 0, 10, 10), Rectangle(5, 5, 15, 15)};
    auto const graph = Graph::Create(inputs, Graph::BoolOpMethod::Divide, true, false, nullptr, nullptr, true).first;
    auto const division = Divide(*graph);
    EXPECT_EQ(division.PieceCount(0), 1u);
    EXPECT_EQ(division.PieceCount(1), 1u);
    EXPECT_DOUBLE_EQ(division.AreaOf(1), 100);
}

TEST(Ownership, KeepHiddenTogetherStillCutsAlongLinesOnTop) {
    auto const line = Polyline({{-5, 7}, {20, 7}}, false, false);
    auto const pieces = [](std::vector<Graph::Input> const& inputs) {
        auto const graph =
            Graph::Create(inputs, Graph::BoolOpMethod::Divide, true, false, nullptr, nullptr, true).first;
        return Divide(*graph).TotalPieces();
    };
    EXPECT_EQ(pieces({Rectangle(0, 0, 10, 10), line}), 2u);
    EXPECT_EQ(pieces({line, Rectangle(0, 0, 10, 10)}), 1u);
}

TEST(Ownership, CloseOpenCurvesMakesFacesOfUnfilledCurves) {
    std::vector<Graph::Input> const inputs = {Polyline({{0, 0}, {10, 0}, {10, 10}}, false, false)};
    for (bool const close : {false, true}) {
        auto const graph =
            Graph::Create(inputs, Graph::BoolOpMethod::Divide, false, close, nullptr, nullptr, true).first;
        graph->EnableAllAreas();
        EXPECT_EQ(static_cast<bool>(graph->GetEnabledOutline(true, true, true, false)), close);
        EXPECT_DOUBLE_EQ(Divide(*graph).LineLength(0), 20);
    }
}
