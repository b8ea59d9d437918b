// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/planar_maps.h"

#include "platform/kernel/exception.h"
#include "tests/engine/planar_map/shapes_for_maps.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using MapTests::AsClip;
using MapTests::Rectangle;

class CountingReporter final : public PlanarMaps::Graph::ProgressReporter {
public:
    void Progress(float) override { ++count; }
    int count = 0;
};

TEST(PlanarMaps, TheOutlineIsOfTheAreaInsideAllClips) {
    PlanarMaps maps(nullptr);
    auto const outline = maps.FindOutline({Rectangle(0, 0, 20, 20), AsClip(Rectangle(10, 0, 40, 40))});
    ASSERT_TRUE(outline && *outline);
    EXPECT_DOUBLE_EQ(200, (*outline)->GetArea());
    auto const none = maps.FindOutline({Rectangle(0, 0, 20, 20), AsClip(Rectangle(30, 0, 40, 40))});
    ASSERT_TRUE(none);
    EXPECT_EQ(nullptr, *none);
    EXPECT_FALSE(maps.LacksMap());
}

TEST(PlanarMaps, HavingNoCurvesIsNoFaultAndCurvesOutOfRangeAreOne) {
    PlanarMaps maps(nullptr);
    EXPECT_FALSE(maps.FindOutline({}));
    EXPECT_FALSE(maps.LacksMap());
    EXPECT_FALSE(maps.FindOutline({Rectangle(0, 0, 1e200, 1e200)}));
    EXPECT_TRUE(maps.LacksMap());
    EXPECT_TRUE(maps.FindOutline({Rectangle(0, 0, 1, 1)}));
    EXPECT_TRUE(maps.LacksMap()) << "one of the maps was lacking";
}

TEST(PlanarMaps, AnAbortEndsEveryMap) {
    bool abort = false;
    PlanarMaps maps(&abort);
    EXPECT_TRUE(maps.Make({Rectangle(0, 0, 1, 1)}, PlanarMaps::Graph::BoolOpMethod::Divide));
    EXPECT_NO_THROW(maps.ThrowIfAborted());
    abort = true;
    EXPECT_TRUE(maps.IsAborted());
    EXPECT_THROW(maps.ThrowIfAborted(), Kernel::AbortException);
    EXPECT_THROW(maps.FindOutline({Rectangle(0, 0, 1, 1)}), Kernel::AbortException);
    EXPECT_FALSE(maps.LacksMap());
}

TEST(PlanarMaps, ProgressGoesToTheReporter) {
    auto const reporter = Kernel::MakeCounted<CountingReporter>();
    PlanarMaps maps(nullptr, reporter.get());
    maps.Make({Rectangle(0, 0, 1, 1)}, PlanarMaps::Graph::BoolOpMethod::Divide);
    EXPECT_LT(0, reporter->count);
}

} // namespace
