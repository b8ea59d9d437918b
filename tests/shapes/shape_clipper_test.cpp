// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/shape_clipper.h"

#include "platform/kernel/exception.h"
#include "tests/shapes/scene.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using namespace Support;
using namespace ExampleDocuments;

// Area of what the clipper leaves of a shape.
double AreaLeftOf(CurvesNode const& shape) {
    PlanarMaps maps(nullptr);
    auto input = MakeShapeInput(shape);
    input->filled = true;
    ShapeClipper(maps).Clip(shape, *input);
    double area = 0;
    for (auto const& entry : input->curves) {
        auto const curves = entry.curves->Clone();
        curves->ApplyTransform(input->transform * entry.transform);
        area += std::abs(curves->GetArea());
    }
    return area;
}

TEST(ShapeClipper, OwnClipsAndThoseOfAllGroupsAroundCount) {
    Scene scene;
    auto const shape = Box(0, 0, 100, 100);
    auto const inner = Kernel::MakeCounted<GroupNode>(), outer = Kernel::MakeCounted<GroupNode>();
    scene.Put(*scene.spread, {outer});
    scene.Put(*outer, {inner});
    scene.Put(*inner, {shape});
    EXPECT_DOUBLE_EQ(10000, AreaLeftOf(*shape));
    Clip(*shape, Box(0, 0, 50, 100));
    EXPECT_DOUBLE_EQ(5000, AreaLeftOf(*shape));
    Clip(*inner, Box(0, 0, 100, 40));
    EXPECT_DOUBLE_EQ(2000, AreaLeftOf(*shape));
    Clip(*outer, Box(10, 0, 100, 100));
    EXPECT_DOUBLE_EQ(1600, AreaLeftOf(*shape));
    Clip(*outer, Box(200, 200, 300, 300));
    EXPECT_EQ(0, AreaLeftOf(*shape)) << "two clips that have nothing in common";
}

TEST(ShapeClipper, ClipsLieWhereTheyAreDrawn) {
    Scene scene;
    auto const group = Kernel::MakeCounted<GroupNode>();
    auto const shape = Box(0, 0, 100, 100);
    scene.Put(*scene.spread, {group});
    scene.Put(*group, {shape});
    auto const clip = Box(0, 0, 10, 10);
    Clip(*group, clip);
    group->SetTransform({3, 0, 500, 0, 2, 0}, false);
    clip->SetTransform({1, 0, 5, 0, 1, 0}, false);
    EXPECT_DOUBLE_EQ(3 * 2 * 100, AreaLeftOf(*shape));
}

TEST(ShapeClipper, HiddenClipsDoNotCountAndUnpaintedOnesLeaveNothing) {
    Scene scene;
    auto const shape = Box(0, 0, 100, 100);
    scene.Put(*scene.spread, {shape});
    auto const hidden = Box(0, 0, 10, 10);
    hidden->SetVisible(false);
    Clip(*shape, hidden);
    EXPECT_DOUBLE_EQ(10000, AreaLeftOf(*shape));
    Clip(*shape, MakePath({{{0, 0}, {50, 0}, {0, 50}}}, true));
    EXPECT_EQ(0, AreaLeftOf(*shape));
}

TEST(ShapeClipper, AGroupClipsAsWhatItsContentsCoverTogether) {
    Scene scene;
    auto const shape = Box(0, 0, 100, 100), member = Box(20, 0, 60, 10);
    auto const clip = Kernel::MakeCounted<GroupNode>(), nested = Kernel::MakeCounted<GroupNode>();
    scene.Put(*scene.spread, {shape});
    Clip(*shape, clip);
    EXPECT_DOUBLE_EQ(10000, AreaLeftOf(*shape)) << "a group of nothing is no clip";
    scene.Put(*clip, {Box(0, 0, 40, 10), nested});
    scene.Put(*nested, {member});
    EXPECT_DOUBLE_EQ(600, AreaLeftOf(*shape));
    Clip(*member, Box(0, 0, 50, 100));
    EXPECT_DOUBLE_EQ(500, AreaLeftOf(*shape));
    Clip(*nested, Box(0, 0, 45, 100));
    EXPECT_DOUBLE_EQ(450, AreaLeftOf(*shape));
}

TEST(ShapeClipper, OneClipperServesManyMembersOfAGroup) {
    Scene scene;
    auto const group = Kernel::MakeCounted<GroupNode>();
    scene.Put(*scene.spread, {group});
    Clip(*group, Box(0, 0, 55, 100));
    for (int i = 0; i != 10; ++i)
        scene.Put(*group, {Box(10 * i, 0, 10 * i + 10, 10)});
    PlanarMaps maps(nullptr);
    ShapeClipper clipper(maps);
    std::size_t left = 0;
    for (auto const& child : ChildrenOf(*group)) {
        auto input = MakeShapeInput(*Kernel::CastPointer<ConstCurvesInterface const>(child.get()));
        input->filled = true;
        clipper.Clip(*child, *input);
        left += input->curves.size();
    }
    EXPECT_EQ(6u, left);
}

TEST(ShapeClipper, EndlessClipsOfClipsAreRefused) {
    Scene scene;
    auto const shape = Box(0, 0, 100, 100);
    scene.Put(*scene.spread, {shape});
    Node* last = shape.get();
    for (int i = 0; i != 600; ++i) {
        auto const clip = Box(0, 0, 100, 100);
        Clip(*last, clip);
        last = clip.get();
    }
    EXPECT_THROW(AreaLeftOf(*shape), Kernel::Exception);
}

} // namespace
