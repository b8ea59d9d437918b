// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/planar_map/property/adversarial_shapes.h"

#include "engine/geometry/planar_map/face_map.h"
#include "engine/geometry/planar_map/flattened_net.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace MapTests;
namespace Planar = Geometry::Planar;

namespace {

std::size_t CountFaces(Planar::FlattenedNet const& flattened, Planar::Monitor& monitor) {
    return Planar::FaceMap(Planar::Node(flattened, monitor), monitor).GetFaceCount();
}

// How many maps of a drawing are sketches; every one of these is compared with the map of many chords.
std::size_t CompareSketches(std::vector<Graph::Input> const& inputs, char const* name) {
    Planar::Monitor monitor(nullptr, nullptr);
    auto const source = Planar::ReadInputs(inputs, Graph::BoolOpMethod::Divide, false, monitor);
    std::size_t sketches = 0;
    for (auto const& group : Planar::SeparateContours(source, monitor)) {
        Planar::CurveNet const net(source, group, monitor);
        if (net.contours.empty())
            continue;
        Planar::FlattenedNet const sketch(net, monitor, Planar::FlattenedNet::Sketch());
        if (sketch.MayCross())
            continue;
        ++sketches;
        Planar::FlattenedNet const full(net, monitor);
        EXPECT_TRUE(std::none_of(full.crossings.begin(), full.crossings.end(), [&](auto const& crossing) {
            return !full.list.segments[crossing.a].dead && !full.list.segments[crossing.b].dead;
        })) << name;
        EXPECT_EQ(CountFaces(sketch, monitor), CountFaces(full, monitor)) << name;
    }
    return sketches;
}

std::vector<Graph::Input> Tiles(int columns, int rows, double radius) {
    std::vector<Graph::Input> inputs;
    for (int i = 0; i != columns * rows; ++i) {
        double const left = 10.0 * (i % columns), top = 10.0 * (i / columns);
        PointDbl const r{radius, radius};
        inputs.push_back(MakeInput(Geometry::MakeRoundedRectangle({left, top, left + 10, top + 10}, {r, r, r, r})));
    }
    return inputs;
}

} // namespace

TEST(Sketch, TilesThatShareEdgesTakeFewChords) {
    Planar::Monitor monitor(nullptr, nullptr);
    // 5: circles that touch their neighbours in points, along the tangent.
    for (double const radius : {1.0, 3.0, 5.0}) {
        auto const inputs = Tiles(6, 5, radius);
        auto const source = Planar::ReadInputs(inputs, Graph::BoolOpMethod::Divide, false, monitor);
        auto const groups = Planar::SeparateContours(source, monitor);
        ASSERT_EQ(groups.size(), 1u);
        Planar::CurveNet const net(source, groups[0], monitor);
        EXPECT_FALSE(Planar::LooksCrossed(net, monitor));
        Planar::FlattenedNet const sketch(net, monitor, Planar::FlattenedNet::Sketch());
        EXPECT_FALSE(sketch.MayCross()) << radius;
        EXPECT_LE(sketch.list.parts.size(), 2 * net.pieces.size()) << radius;
        EXPECT_EQ(CompareSketches(inputs, "tiles"), 1u);
    }
}

TEST(Sketch, CurvesThatCrossAreNoSketch) {
    EXPECT_EQ(CompareSketches({Circle(0, 0, 10), Circle(12, 0, 10)}, "circles"), 0u);
    // Tiles of which one is turned a little about its corner.
    auto inputs = Tiles(6, 5, 2);
    inputs[8].transform = Geometry::Transform::Translation(20, 10) * Geometry::Transform::Rotation(1e-3) *
                          Geometry::Transform::Translation(-20, -10);
    EXPECT_EQ(CompareSketches(inputs, "turned tile"), 0u);
}

TEST(Sketch, NothingCrossesWhereItSaysSoInAdversarialDrawings) {
    std::size_t sketches = 0;
    for (std::uint32_t family = 0; family != AdversarialShapes::GetFamilyCount(); ++family) {
        for (std::uint32_t seed = 1; seed != 26; ++seed)
            sketches +=
                CompareSketches(AdversarialShapes(family, seed).Draw(), AdversarialShapes::GetFamilyName(family));
    }
    // So many that the law is no empty one.
    EXPECT_GT(sketches, 40u);
}
