// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/cast.h"
#include "tests/engine/document/doubles.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace Doubles;

namespace {

using Rect = Kernel::RectT<double>;
using Params = Raster::AffineTransform::Params;

Kernel::Counted<ShapeNode> MakeMember(Rect const& box, unsigned constraints) {
    auto const shape = Kernel::MakeCounted<RectangleShape>();
    shape->box = box;
    auto node = Kernel::MakeCounted<ShapeNode>(shape);
    node->SetTransformConstraints(constraints);
    return node;
}

constexpr unsigned Both(unsigned axis) { return axis | axis << c_transformConstraintBits; }

// A group of the box 0, 0, 100, 50 with a member that fills it and one of the box 20, 10, 60, 20.
struct Group {
    explicit Group(unsigned constraints) : member(MakeMember({20, 10, 60, 20}, constraints)) {
        controller->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, node, nullptr);
        node->InsertChild(NodeChildListType::Plain, MakeMember({0, 0, 100, 50}, 18), nullptr);
        node->InsertChild(NodeChildListType::Plain, member, nullptr);
        node->SetBaseBox({0, 0, 100, 50});
    }
    // In the group's space, whatever its transform is.
    Rect GetMemberBox() const {
        node->SetTransform({}, false);
        return member->GetBounds(false);
    }
    Kernel::Counted<DocumentController> controller = MakeDocument();
    Kernel::Counted<ConstraintsGroupNode> node = Kernel::MakeCounted<ConstraintsGroupNode>();
    Kernel::Counted<ShapeNode> member;
};

TEST(ConstraintsGroup, HasTheBoxOfItsMembersUntilItIsGivenOne) {
    auto const group = Kernel::MakeCounted<ConstraintsGroupNode>();
    EXPECT_TRUE(group->GetBaseBox(true).IsEmpty());
    group->InsertChild(NodeChildListType::Plain, MakeMember({0, 0, 10, 10}, 18), nullptr);
    auto const moved = MakeMember({0, 0, 10, 10}, 18);
    moved->SetTransform({2, 0, 30, 0, 2, 5}, false);
    group->InsertChild(NodeChildListType::Plain, moved, nullptr);
    group->SetTransform({3, 0, 100, 0, 3, 100}, false);
    EXPECT_EQ(group->GetBaseBox(true), (Rect{0, 0, 50, 25}));
    group->SetBaseBox({0, 0, 100, 25});
    EXPECT_EQ(group->GetBaseBox(true), (Rect{0, 0, 100, 25}));
    EXPECT_EQ(moved->GetMatrix(), (Params{4, 0, 60, 0, 2, 5}));
}

TEST(ConstraintsGroup, ItsMembersFollowByTheirConstraintsWhenTheBoxChanges) {
    struct {
        unsigned axis;
        Rect expected;
    } const cases[] = {
        // The box goes to -10, 0, 190, 25: twice as wide, half as high. Of 100 units, 20, 40 and 40 are those before
        // the member, in it and behind it; of 50, 10, 10 and 30.
        {c_sizeFollows, {30, 5, 110, 10}},
        {0, {-10 + 20 + 100 * 20 / 60.0, 10 - 25 * 10 / 40.0, -10 + 60 + 100 * 20 / 60.0, 20 - 25 * 10 / 40.0}},
        {c_nearDistanceStays, {10, 10, 50, 20}},
        {c_nearDistanceStays | c_sizeFollows, {10, 10, 10 + 40 * 2.25, 10 + 10 * 15 / 40.0}},
        {c_farDistanceStays, {110, -15, 150, -5}},
        {c_farDistanceStays | c_sizeFollows, {150 - 40 * 160 / 60.0, -5 + 10 * -5 / 20.0, 150, -5}},
        {c_nearDistanceStays | c_sizeFollows | c_farDistanceStays, {10, 10, 150, 10.01}},
        {c_nearDistanceStays | c_farDistanceStays, {10, 10, 150, 10.01}},
    };
    for (auto const& one : cases) {
        SCOPED_TRACE(one.axis);
        Group group(Both(one.axis));
        bool const shrinksToNothing = one.axis == (c_farDistanceStays | c_sizeFollows);
        group.node->SetBaseBox({-10, 0, 190, 25});
        auto const box = group.GetMemberBox();
        EXPECT_NEAR(box.left, one.expected.left, 1e-9);
        EXPECT_NEAR(box.right, one.expected.right, 1e-9);
        if (shrinksToNothing)
            continue;
        EXPECT_NEAR(box.top, one.expected.top, 1e-9);
        EXPECT_NEAR(box.bottom, one.expected.bottom, 1e-9);
    }
}

TEST(ConstraintsGroup, AxesHaveConstraintsOfTheirOwn) {
    Group group(c_farDistanceStays | c_sizeFollows << c_transformConstraintBits);
    group.node->SetBaseBox({0, 0, 150, 100});
    EXPECT_EQ(group.GetMemberBox(), (Rect{70, 20, 110, 40}));
}

TEST(ConstraintsGroup, NoTransformHeedsConstraints) {
    for (unsigned const constraints : {0u, 1u, 5u, 9u, 18u, 63u}) {
        Group group(constraints);
        auto const before = group.member->GetMatrix();
        auto const box = group.node->GetBaseBox(true);
        group.node->SetTransform({3, 1, 7, 0, 2, 5}, false);
        group.node->Transform({2, 0, 0, 0, 4, 1}, false);
        group.node->Transform({2, 0, 0, 0, 4, 1}, true);
        group.node->SetTransform({1, 0, 7, 0, 2, 5}, true);
        EXPECT_EQ(group.member->GetMatrix(), before);
        group.member->SetTransform({1, 0, 500, 0, 1, 0}, false);
        group.member->Transform({2, 0, 0, 0, 2, 0}, false);
        EXPECT_EQ(group.member->GetMatrix(), (Params{2, 0, 1000, 0, 2, 0}));
        EXPECT_EQ(group.node->GetBaseBox(true), box);
    }
}

TEST(ConstraintsGroup, ABoxThatIsNoneChangesNothing) {
    Group group(18);
    auto const before = group.controller->GetHash(false);
    for (Rect const& box : {Rect{}, Rect{5, 5, 5, 9}, Rect{9, 0, 1, 5}, Rect{0, 0, 1.0 / 0.0, 5}, Rect{0, 0, 100, 50}})
        group.node->SetBaseBox(box);
    EXPECT_EQ(group.controller->GetHash(false), before);
}

TEST(ConstraintsGroup, ItsBoxIsSavedAndCopied) {
    Group group(c_nearDistanceStays);
    auto const path = std::filesystem::temp_directory_path() / ("constraints-" + std::to_string(getpid()) + ".redraft");
    group.controller->Save(path);
    auto const loaded = DocumentController::Open(path, true);
    EXPECT_EQ(loaded->GetHash(false), group.controller->GetHash(false));
    auto const* const node =
        Kernel::CastPointer<ConstraintsGroupNode>(loaded->GetCurrentSpread()->GetFirstChild(NodeChildListType::Plain));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->GetBaseBox(true), (Rect{0, 0, 100, 50}));
    CloneContext context(CloneType::Copy);
    auto const copy = Kernel::Cast<ConstraintsGroupNode>(node->Clone(context));
    EXPECT_EQ(copy->GetBaseBox(true), (Rect{0, 0, 100, 50}));
    std::filesystem::remove(path);
}

} // namespace
