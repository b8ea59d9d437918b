// SPDX-License-Identifier: Apache-2.0
#include "platform/document/nodes.h"
#include "platform/document/structure_command_helper.h"

#include <gtest/gtest.h>

namespace {

class Helper final : public StructureCommandHelper {
public:
    using StructureCommandHelper::AddChildBack;
    using StructureCommandHelper::AddChildFront;
    using StructureCommandHelper::RemoveChildren;
    using StructureCommandHelper::RemoveFromParent;
    using StructureCommandHelper::UndoStructureChanges;
};

} // namespace

TEST(StructureCommandHelper, NewNodesStandOnceEachInTheOrderInWhichTheyCame) {
    Kernel::Counted<Node> const group = Kernel::MakeCounted<GroupNode>();
    std::vector<Kernel::Counted<Node>> nodes;
    for (int i = 0; i != 40; ++i)
        nodes.push_back(Kernel::MakeCounted<GroupNode>());
    Kernel::Counted<Node> const moved = Kernel::MakeCounted<GroupNode>();
    Helper helper;
    helper.AddChildBack(group, NodeChildListType::Plain, moved, true, false);
    for (auto const& node : nodes)
        helper.AddChildFront(group, NodeChildListType::Plain, node, false, false);
    // Put elsewhere a second time, and taken out and put back.
    helper.AddChildBack(group, NodeChildListType::Plain, nodes[7], false, false);
    helper.RemoveFromParent(nodes[9], false, false, {});
    helper.AddChildBack(group, NodeChildListType::Plain, nodes[9], false, false);
    std::vector<Kernel::Counted<Node>> found;
    helper.GetNewNodes(found);
    EXPECT_EQ(found, nodes);
    helper.RemoveFromParent(nodes[3], false, false, {});
    nodes.erase(nodes.begin() + 3);
    found.clear();
    helper.GetNewNodes(found);
    EXPECT_EQ(found, nodes);
}

namespace {

Kernel::Counted<Node> MakeGroup(std::initializer_list<Kernel::Counted<Node>> children) {
    auto group = Kernel::MakeCounted<GroupNode>();
    for (auto const& child : children)
        group->InsertChild(NodeChildListType::Plain, child, nullptr);
    return group;
}

std::vector<Node const*> ChildrenOf(Node const& parent) {
    std::vector<Node const*> children;
    for (Node const* child = parent.GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling())
        children.push_back(child);
    return children;
}

} // namespace

TEST(StructureCommandHelper, UndoOfANodeBringsBackAllThatWasTakenFromItAndBelow) {
    auto const a = MakeGroup({}), b = MakeGroup({}), c = MakeGroup({}), d = MakeGroup({});
    auto const inner = MakeGroup({a, b});
    auto const top = MakeGroup({c, inner, d}), beside = MakeGroup({MakeGroup({})});
    auto const before = ChildrenOf(*top), beforeInside = ChildrenOf(*inner);
    Helper helper;
    helper.RemoveChildren(inner, NodeChildListType::Plain, false);
    helper.RemoveChildren(top, NodeChildListType::Plain, false);
    helper.RemoveChildren(beside, NodeChildListType::Plain, false);
    auto const added = MakeGroup({});
    helper.AddChildBack(top, NodeChildListType::Plain, added, false, false);
    EXPECT_EQ(std::vector<Node const*>{added.get()}, ChildrenOf(*top));
    helper.UndoStructureChanges(added);
    helper.UndoStructureChanges(top);
    EXPECT_EQ(before, ChildrenOf(*top));
    EXPECT_EQ(beforeInside, ChildrenOf(*inner));
    // Of another node nothing comes back.
    EXPECT_TRUE(ChildrenOf(*beside).empty());
    helper.UndoStructureChanges(beside);
    EXPECT_EQ(1u, ChildrenOf(*beside).size());
}

TEST(StructureCommandHelper, RemovalsAreOfOneListOnly) {
    auto const top = MakeGroup({MakeGroup({}), MakeGroup({})});
    auto const clip = MakeGroup({});
    top->InsertChild(NodeChildListType::Clipping, clip, nullptr);
    Helper helper;
    helper.RemoveChildren(top, NodeChildListType::Plain, false);
    EXPECT_TRUE(ChildrenOf(*top).empty());
    EXPECT_EQ(top.get(), clip->GetParent());
    // Once more there is nothing, and both are taken back.
    helper.RemoveChildren(top, NodeChildListType::Plain, false);
    helper.UndoStructureChanges(top);
    EXPECT_EQ(2u, ChildrenOf(*top).size());
}
