// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/planar_map/property/map_checks.h"
#include "tests/engine/planar_map/property/random_shapes.h"

#include "engine/geometry/planar_map/flattened_net.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>

using namespace MapTests;
namespace Planar = Geometry::Planar;

namespace {

struct Chords {
    std::size_t coarse = 0, fine = 0, spentPairs = 0;
};

// The work of telling the curves of a drawing apart, counted in chords, which no machine's speed changes.
Chords CountChords(std::vector<Graph::Input> const& inputs) {
    Planar::Monitor monitor(nullptr, nullptr);
    auto const source = Planar::ReadInputs(inputs, Graph::BoolOpMethod::Divide, false, monitor);
    Chords chords;
    for (auto const& group : Planar::SeparateContours(source, monitor)) {
        Planar::CurveNet const net(source, group, monitor);
        if (net.contours.empty())
            continue;
        Planar::FlattenedNet const flattened(net, monitor);
        Planar::PartList coarse;
        for (std::uint32_t i = 0; i != net.pieces.size(); ++i) {
            auto const& piece = net.pieces[i];
            if (piece.same == i)
                coarse.AddFlattened(net.GetGridCurve(piece.curve), i, piece.t0, piece.t1, net.vertices[piece.from].at,
                                    net.vertices[piece.to].at);
        }
        chords.coarse += coarse.parts.size();
        for (auto const& segment : flattened.list.segments)
            chords.fine += segment.dead ? 0 : 1;
        chords.spentPairs += flattened.GetSpentPairs();
    }
    return chords;
}

// The drawing with every coordinate, in the common space, changed.
template <class Change>
std::vector<Graph::Input> WithCoordinates(std::vector<Graph::Input> inputs, Change change) {
    for (auto& input : inputs) {
        auto result = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
        auto const outline = InPlace(input);
        for (auto const& curve : outline->GetCurves()) {
            auto changed = Kernel::MakeCounted<Geometry::CurveDbl>();
            auto const point = [&](PointDbl p) { return PointDbl{change(p.x), change(p.y)}; };
            changed->MoveTo(point(curve->GetStart()));
            for (auto const& s : curve->GetSegments()) {
                if (s.kind == Geometry::SegmentKind::Line)
                    changed->LineTo(point(s.end));
                else
                    changed->CubicTo(point(s.control1), point(s.control2), point(s.end));
            }
            if (curve->IsClosed())
                changed->Close();
            result->AddCurve(changed);
        }
        input.curves = {{result, {}}};
        input.transform = {};
    }
    return inputs;
}

std::vector<Graph::Input> RoundedTo(int places, std::vector<Graph::Input> const& inputs) {
    double const unit = std::pow(10.0, places);
    return WithCoordinates(inputs, [&](double x) { return std::nearbyint(x * unit) / unit; });
}

std::vector<Graph::Input> Shaken(double gap, std::vector<Graph::Input> const& inputs) {
    std::mt19937 random(11);
    return WithCoordinates(inputs, [&](double x) { return x + gap * (2 * (random() / 4294967296.0) - 1); });
}

std::vector<Graph::Input> Over(std::vector<Graph::Input> lower, std::vector<Graph::Input> const& upper) {
    lower.insert(lower.end(), upper.begin(), upper.end());
    return lower;
}

// Overlapping circles on about 200 by 200 units.
std::vector<Graph::Input> Circles(int count) {
    RandomShapes random(3);
    std::vector<Graph::Input> inputs;
    for (int i = 0; i != count; ++i) {
        double const x = random.Number(0, 200), y = random.Number(0, 200);
        inputs.push_back(Circle(x, y, random.Number(15, 62)));
    }
    return inputs;
}

double AreaOf(Graph::Input const& input) { return InPlace(input)->GetArea(); }

double LengthOf(std::vector<Graph::Input> const& inputs) {
    double length = 0;
    for (auto const& input : inputs)
        length += InPlace(input)->GetLength();
    return length;
}

} // namespace

// Of a shape and the same one moved by a small gap the lower keeps a lune of the gap times its height.
// Three curves within 1e-7 of each other that a line crosses: the line's crossings lie on the line, although they
// follow each other there in another order than on the chords.
TEST(NearlyCoincident, ALineThatCrossesABundleStaysStraight) {
    std::vector<Graph::Input> const inputs = {
        MakeInput(Geometry::ReadPathData(
                      "M40.14525724844504 29.923406436206214C36.92689413376959 32.0958034986641 34.34327365069333 "
                      "35.59911752457019 33.39468769241188 35.655828244252206 32.033039132680386 35.737233697392426 "
                      "34.04041070642051 28.7168466472729 42.375439980900474 0.46384083768855805L90.01182704232633 "
                      "6.641215039417148Z")
                      .curves),
        MakeInput(Geometry::ReadPathData(
                      "M40.1452572317794 29.92340645287186C36.31478176101379 32.50897972848011 33.383457959512235 "
                      "36.979878094544794 33.03775994051627 35.28128843591724 32.676068434749894 33.50411466705236 "
                      "35.14478143618725 24.9733933313363 42.37543996423483 0.46384085435420275 97.75072154588997 "
                      "23.561569559387863 6.582464557141066 26.21042989194393 6.582464557141066 26.21042989194393Z")
                      .curves),
        MakeInput(Geometry::ReadPathData(
                      "M40.145257262111926 29.923406422539333C32.307091944449866 35.21417278557149 28.233852430776974 "
                      "48.3991680363479 42.37543999456736 0.4638408240216752 22.61060825549066 55.76594022568315 "
                      "21.464631892740726 78.07422075420618 21.464631892740726 78.07422075420618Z")
                      .curves)};
    EXPECT_EQ(FindFault(inputs), "");
}

TEST(NearlyCoincident, ShapesMovedByNextToNothingGiveTheirLunes) {
    for (double const relative : {1e-10, 2e-10, 5e-10, 1e-9, 3e-9, 1e-8, 1e-7, 1e-6, 1e-5}) {
        double const gap = 200 * relative;
        std::vector<Graph::Input> const inputs = {Circle(0, 0, 100), Circle(gap, 0, 100)};
        auto const division = Divide(inputs);
        EXPECT_LE(division.TotalPieces(), 3u) << relative;
        if (relative >= 5e-10) {
            EXPECT_EQ(division.TotalPieces(), 3u) << relative;
        }
        double const bound = 1e-10 * LengthOf(inputs) * 200;
        EXPECT_NEAR(division.AreaOf(1), AreaOf(inputs[1]), bound) << relative;
        EXPECT_NEAR(division.AreaOf(0), 200 * gap, bound) << relative;
        auto const chords = CountChords(inputs);
        EXPECT_LE(chords.fine, 6 * chords.coarse) << relative;
        EXPECT_EQ(chords.spentPairs, 0u);
    }
}

TEST(NearlyCoincident, ShapesTurnedByNextToNothingCrossFourTimes) {
    auto ellipse = Circle(0, 0, 1);
    ellipse.transform = Geometry::Transform::Scale(100, 40);
    for (double const angle : {1e-10, 1e-9, 1e-8, 1e-7, 1e-6, 1e-5}) {
        auto turned = ellipse;
        turned.transform = Geometry::Transform::Rotation(angle) * ellipse.transform;
        std::vector<Graph::Input> const inputs = {ellipse, turned};
        auto const division = Divide(inputs);
        EXPECT_LE(division.TotalPieces(), 5u) << angle;
        if (angle >= 1e-8) {
            EXPECT_EQ(division.TotalPieces(), 5u) << angle;
        }
        EXPECT_NEAR(division.AreaOf(1), AreaOf(turned), 1e-10 * LengthOf(inputs) * 200) << angle;
        auto const chords = CountChords(inputs);
        EXPECT_LE(chords.fine, 6 * chords.coarse) << angle;
        EXPECT_EQ(chords.spentPairs, 0u);
    }
}

TEST(NearlyCoincident, ManyRingsStayAsManyRings) {
    for (double const step : {1e-7, 1e-6, 1e-5, 1e-4, 1e-3}) {
        std::vector<Graph::Input> inputs;
        for (int i = 50; i-- != 0;)
            inputs.push_back(Circle(0, 0, 100 + i * step));
        auto const division = Divide(inputs);
        EXPECT_EQ(division.TotalPieces(), 50u) << step;
        for (unsigned i = 0; i != 50; ++i) {
            double const inner = i == 49 ? 0 : AreaOf(inputs[i + 1]);
            // Within the coincidence distance, on both sides of a ring.
            EXPECT_NEAR(division.AreaOf(i), AreaOf(inputs[i]) - inner, 2 * 1e-10 * 630 * 200) << step << " " << i;
        }
        EXPECT_LE(CountChords(inputs).fine, 50u * 60u) << step;
    }
}

// Programs write a few decimals. Such a copy is taken for the shape that it is a copy of, whichever lies on top, if the
// decimals are many beside the drawing.
TEST(NearlyCoincident, RoundedCopiesCutLikeExactOnes) {
    auto const inputs = Circles(20);
    auto const exact = Divide(Over(inputs, inputs));
    for (int const places : {5, 6, 7, 8, 9}) {
        for (bool const above : {false, true}) {
            auto const copies = RoundedTo(places, inputs);
            auto const both = above ? Over(inputs, copies) : Over(copies, inputs);
            auto const division = Divide(both);
            EXPECT_EQ(division.TotalPieces(), exact.TotalPieces()) << places;
            EXPECT_NEAR(division.TotalArea(), exact.TotalArea(), std::pow(10.0, -places) * LengthOf(inputs)) << places;
        }
    }
    // Some of the points moved on purpose, by a little more than rounding explains: both shapes are there.
    auto moved = RoundedTo(5, inputs);
    moved[0].transform = Geometry::Transform::Translation(2e-5, 0);
    auto const division = Divide(Over(inputs, moved));
    EXPECT_GT(division.TotalPieces(), exact.TotalPieces());
}

TEST(NearlyCoincident, AnUnmatchedNeighbourFollowsTheEndsOfARoundedCopy) {
    // Of the lower shape three sides are a rounded copy and the fourth is its own.
    auto const shape =
        Polyline({{1.0 / 3, 2.0 / 3}, {100.0 / 3, 2.0 / 7}, {100.0 / 7, 200.0 / 7}, {1.0 / 7, 50.0 / 3}}, true, true);
    auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
    auto const rounded = RoundedTo(6, {shape});
    std::vector<Geometry::Segment> sides;
    for (auto const& side : rounded[0].curves[0].curves->GetCurves()[0]->GetSegments())
        sides.push_back(side);
    ASSERT_EQ(sides.size(), 4u);
    curve->MoveTo(sides[0].start);
    for (std::size_t i = 0; i != 3; ++i)
        curve->LineTo(sides[i].end);
    curve->CubicTo({-20, 10}, {-20, 5}, sides[0].start);
    curve->Close();
    auto const inputs = std::vector<Graph::Input>{MakeInput(curve), shape};
    auto const division = Divide(inputs);
    EXPECT_EQ(division.TotalPieces(), 2u);
    EXPECT_NEAR(division.AreaOf(1), AreaOf(shape), 1e-9);
    EXPECT_NEAR(division.TotalArea(), AreaOf(inputs[0]), 1e-4);
}

// A path that comes back to its start without being closed encloses its area as well. Restoring its two ends from
// different points would let it leak, and all of its map would contradict itself.
TEST(NearlyCoincident, AnOpenPathThatEndsWhereItBeganStaysWhole) {
    auto const written = Polyline({{0.12345, 0}, {100.00001, 7.5}, {80.7, 60.00009}, {0.12345, 0}}, false, true);
    for (double const gap : {1e-7, 1e-6}) {
        auto const inputs = Over({written}, Shaken(gap, {written}));
        Planar::Monitor monitor(nullptr, nullptr);
        auto const source = Planar::ReadInputs(inputs, Graph::BoolOpMethod::Divide, false, monitor);
        auto const& contour = source.contours.front();
        for (std::uint32_t i = 0; i != contour.segmentCount; ++i) {
            auto const& next = source.segments[contour.firstSegment + (i + 1) % contour.segmentCount];
            EXPECT_EQ(source.segments[contour.firstSegment + i].end, next.start) << gap << " " << i;
        }
        EXPECT_EQ(FindFault(inputs), "") << gap;
    }
}

// Copies with all digits of a double are shapes of their own, however near: pieces and areas are those of the true
// curves, and the cost is in proportion to what there is to find.
TEST(NearlyCoincident, ShakenCopiesGiveTrueAreasAtACostInProportion) {
    auto const inputs = Circles(5);
    auto const exact = Divide(Over(inputs, inputs));
    for (double const gap : {1e-8, 1e-7, 1e-6, 1e-5, 1e-4, 1e-3}) {
        auto const both = Over(inputs, Shaken(gap, inputs));
        EXPECT_EQ(FindFault(both, {true, false, true}), "") << gap;
        EXPECT_LE(Divide(both).TotalPieces(), 8 * exact.TotalPieces()) << gap;
        auto const chords = CountChords(both);
        EXPECT_LE(chords.fine, 16 * chords.coarse) << gap;
        EXPECT_EQ(chords.spentPairs, 0u) << gap;
    }
}

// A pair that costs too much is told, and no other pair pays for it.
TEST(NearlyCoincident, APairThatCostsTooMuchIsCountedAlone) {
    auto const circles = Circles(6);
    auto const inputs = Over({Circle(1000, 0, 100), Circle(1000.001, 0.0003, 100)}, circles);
    Planar::Monitor monitor(nullptr, nullptr);
    auto const source = Planar::ReadInputs(inputs, Graph::BoolOpMethod::Divide, false, monitor);
    std::vector<std::uint32_t> all(source.contours.size());
    std::iota(all.begin(), all.end(), 0u);
    Planar::CurveNet const net(source, all, monitor);
    Planar::FlattenedNet const usual(net, monitor), poor(net, monitor, 0);
    EXPECT_EQ(usual.GetSpentPairs(), 0u);
    EXPECT_FALSE(poor.IsTooComplex());
    EXPECT_GT(poor.GetSpentPairs(), 0u);
    EXPECT_LT(poor.GetSpentPairs(), net.pieces.size() * 4);
    EXPECT_EQ(Build(inputs)->GetUnresolvedPairCount(), 0u);
}
