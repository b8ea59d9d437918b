// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/clip_area.h"

#include "tests/engine/planar_map/shapes_for_maps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace {

using namespace Commands;
using MapTests::AsClip;
using MapTests::MakeInput;
using MapTests::Polyline;
using MapTests::Rectangle;

double AreaOfInput(ShapeInput const& input) {
    double area = 0;
    for (auto const& entry : input.curves) {
        auto const curves = entry.curves->Clone();
        curves->ApplyTransform(input.transform * entry.transform);
        area += curves->GetArea();
    }
    return area;
}

double LengthOfInput(ShapeInput const& input) {
    double length = 0;
    for (auto const& entry : input.curves) {
        for (auto const& curve : entry.curves->GetCurves())
            length += curve->GetLength();
    }
    return length;
}

// Of so many sides that it is nearly a circle.
ShapeInput Polygon(double x, double y, double radius) {
    auto const curve = Kernel::MakeCounted<Geometry::CurveDbl>();
    for (int i = 0; i != 60; ++i) {
        double const angle = i * 3.141592653589793 / 30;
        Geometry::PointDbl const p{x + radius * std::cos(angle), y + radius * std::sin(angle)};
        i == 0 ? curve->MoveTo(p) : curve->LineTo(p);
    }
    curve->Close();
    return MakeInput(curve);
}

double Overlap(double a, double b, double c, double d) { return std::max(0.0, std::min(b, d) - std::max(a, c)); }

TEST(ClipArea, LeavesTheCommonAreaOfAnInputAndAllClips) {
    std::mt19937 random(7);
    std::uniform_int_distribution<int> at(0, 60), size(1, 40);
    for (int i = 0; i != 60; ++i) {
        PlanarMaps maps(nullptr);
        std::vector<ShapeInput> boxes;
        double left = -1e9, right = 1e9, top = -1e9, bottom = 1e9;
        for (int k = 0; k != 3; ++k) {
            double const x = at(random), y = at(random), w = size(random), h = size(random);
            boxes.push_back(k == 0 ? Rectangle(x, y, x + w, y + h) : AsClip(Rectangle(x, y, x + w, y + h)));
            left = std::max(left, x), right = std::min(right, x + w);
            top = std::max(top, y), bottom = std::min(bottom, y + h);
        }
        double const expected = Overlap(left, right, left, right) * Overlap(top, bottom, top, bottom);
        auto apart = boxes[0];
        ClipArea::Of(maps, {boxes[1], boxes[2]}).Apply(maps, apart);
        EXPECT_NEAR(expected, AreaOfInput(apart), 1e-9) << i;
        auto together = boxes[0];
        EXPECT_EQ(expected > 0, ClipInput(maps, {boxes[2], boxes[1]}, together)) << i;
        EXPECT_NEAR(expected, AreaOfInput(together), 1e-9) << i;
    }
}

// An answer without a map is the one that a map would give.
TEST(ClipArea, TellsInsideFromOutsideOnlyWhereItIsSure) {
    PlanarMaps maps(nullptr);
    auto ring = Polygon(50, 50, 45);
    ring.curves.push_back(Polygon(50, 50, 20).curves.front());
    ring.windingOrderMode = Geometry::WindingOrderMode::Alternating;
    auto const clip = AsClip(ring);
    auto const area = ClipArea::Of(maps, {clip});
    std::mt19937 random(3);
    std::uniform_real_distribution<double> at(0, 95), size(0.5, 12);
    int inside = 0, outside = 0, unclear = 0;
    for (int i = 0; i != 300; ++i) {
        double const x = at(random), y = at(random), w = size(random);
        auto const input = Rectangle(x, y, x + w, y + w);
        auto clipped = input;
        ClipInput(maps, {clip}, clipped);
        auto const told = area.LiesInside(input);
        ++(!told ? unclear : *told ? inside : outside);
        if (told) {
            EXPECT_NEAR(*told ? w * w : 0, AreaOfInput(clipped), 1e-9) << i;
        }
    }
    EXPECT_LT(50, inside);
    EXPECT_LT(50, outside);
    EXPECT_LT(20, unclear);
}

TEST(ClipArea, LeavesOfLinesTheStretchesInside) {
    PlanarMaps maps(nullptr);
    auto const clips = {AsClip(Rectangle(0, 0, 50, 50)), AsClip(Rectangle(20, 0, 90, 50))};
    for (auto const& [x, expected] : {std::pair{10.0, 30.0}, {30.0, 20.0}, {60.0, 0.0}}) {
        auto line = Polyline({{x, 25}, {x + 100, 25}}, false, false);
        ClipArea::Of(maps, clips).Apply(maps, line);
        EXPECT_NEAR(expected, LengthOfInput(line), 1e-9) << x;
        EXPECT_FALSE(line.filled);
    }
}

TEST(ClipArea, WithoutClipsAllIsLeftAndClipsWithNothingInCommonLeaveNothing) {
    PlanarMaps maps(nullptr);
    auto const shape = Rectangle(10, 10, 20, 20);
    for (auto const& area :
         {ClipArea(), ClipArea::Of(maps, {}), ClipArea::Of(maps, {AsClip(Rectangle(0, 0, 1e200, 1))})}) {
        auto input = shape;
        area.Apply(maps, input);
        EXPECT_EQ(shape.curves.front().curves, input.curves.front().curves);
    }
    for (auto const& area : {ClipArea::OfNothing(),
                             ClipArea::Of(maps, {AsClip(Rectangle(0, 0, 15, 9)), AsClip(Rectangle(30, 0, 40, 9))})}) {
        auto input = shape;
        area.Apply(maps, input);
        EXPECT_TRUE(input.curves.empty());
    }
}

// The result is given in spread space, whatever the input's own was.
TEST(ClipArea, TakesTransformsIntoAccount) {
    PlanarMaps maps(nullptr);
    auto input = Rectangle(0, 0, 10, 10);
    input.curves.front().transform = Geometry::Transform::Scale(2, 3);
    input.transform = Geometry::Transform::Translation(100, 0);
    ClipArea::Of(maps, {AsClip(Rectangle(110, 0, 300, 12))}).Apply(maps, input);
    EXPECT_NEAR(10 * 12, AreaOfInput(input), 1e-9);
    EXPECT_TRUE(input.transform.IsIdentity());
    EXPECT_TRUE(input.filled);
}

} // namespace
