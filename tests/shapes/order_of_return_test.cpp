// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/order_of_return.h"

#include "platform/document/nodes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

namespace {

using namespace Commands;
using Nodes = std::vector<Kernel::Counted<Node>>;

Nodes MakeNodes(std::size_t count) {
    Nodes nodes;
    for (std::size_t i = 0; i != count; ++i)
        nodes.push_back(Kernel::MakeCounted<PolyCurveNode>());
    return nodes;
}

TEST(OrderOfReturn, EachNodeComesAfterItsPreviousSibling) {
    std::mt19937 random(1);
    for (std::size_t count = 1; count != 40; ++count) {
        auto const row = MakeNodes(count + 1);
        std::vector<std::size_t> listed(count);
        std::iota(listed.begin(), listed.end(), 1);
        std::shuffle(listed.begin(), listed.end(), random);
        Nodes nodes, previous;
        for (auto const at : listed) {
            nodes.push_back(row[at]);
            previous.push_back(row[at - 1]);
        }
        auto const order = FindOrderOfReturn(nodes, Nodes(count, row[0]), previous);
        std::vector<std::size_t> places;
        for (auto const i : order)
            places.push_back(listed[i]);
        std::vector<std::size_t> expected(count);
        std::iota(expected.begin(), expected.end(), 1);
        EXPECT_EQ(expected, places);
    }
}

TEST(OrderOfReturn, NodesThatDoNotFollowEachOtherStayInTheirOrder) {
    auto const nodes = MakeNodes(4), others = MakeNodes(2);
    EXPECT_EQ((std::vector<std::size_t>{0, 1, 2, 3}),
              FindOrderOfReturn(nodes, Nodes(4, others[0]), {others[1], {}, others[1], {}}));
}

TEST(OrderOfReturn, ForgedListsGiveEachNodeAtMostOnceAndEnd) {
    auto const row = MakeNodes(4);
    Nodes const parents(3, row[3]);
    EXPECT_EQ(3u, FindOrderOfReturn({row[0], row[1], row[2]}, parents, {row[2], row[0], row[1]}).size()) << "a circle";
    EXPECT_EQ((std::vector<std::size_t>{0}), FindOrderOfReturn({row[0], row[0]}, parents, {{}, row[0]})) << "twice";
    EXPECT_EQ((std::vector<std::size_t>{1}), FindOrderOfReturn({{}, row[1], row[2]}, {row[3], row[3], {}}, Nodes(3)));
    EXPECT_EQ((std::vector<std::size_t>{0}), FindOrderOfReturn({row[0], row[1]}, parents, {row[2]})) << "too short";
    EXPECT_TRUE(FindOrderOfReturn({}, parents, Nodes(3)).empty());
}

} // namespace
