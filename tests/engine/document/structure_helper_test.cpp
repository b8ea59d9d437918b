// SPDX-License-Identifier: Apache-2.0
#include "platform/document/nodes.h"
#include "platform/document/structure_command_helper.h"

#include <gtest/gtest.h>

namespace {

class Helper final : public StructureCommandHelper {
public:
    using StructureCommandHelper::AddChildBack;
    using StructureCommandHelper::AddChildFront;
    using StructureCommandHelper::RemoveFromParent;
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
