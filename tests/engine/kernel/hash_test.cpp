// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/kernel/everything.h"

#include "platform/kernel/hash_accumulator.h"

#include <gtest/gtest.h>

namespace {

using namespace KernelTest;
using Kernel::CompareContext;
using Kernel::Hash128;
using Kernel::HashAccumulator;

Hash128 HashOf(std::initializer_list<Counted<Serialisable>> objects) {
    HashAccumulator hash;
    for (auto const& object : objects)
        hash.AddObject(*object);
    return hash.GetHash();
}

TEST(Hash, DependsOnContentAndShapeAndNotOnIdentity) {
    EXPECT_EQ(HashOf({MakeEverything()}), HashOf({MakeEverything()}));
    auto const changed = MakeEverything();
    changed->m_node->m_name = "x";
    EXPECT_NE(HashOf({changed}), HashOf({MakeEverything()}));

    auto const shared = MakeCounted<Node>(), apart = MakeCounted<Node>();
    shared->m_left = shared->m_right = MakeCounted<Node>(1);
    apart->m_left = MakeCounted<Node>(1);
    apart->m_right = MakeCounted<Node>(1);
    EXPECT_NE(HashOf({shared}), HashOf({apart}));
}

TEST(Hash, OrderAndRepetitionOfRootsCount) {
    auto const a = MakeCounted<Node>(1), b = MakeCounted<Node>(2);
    EXPECT_NE(HashOf({a, b}), HashOf({b, a}));
    EXPECT_NE(HashOf({a}), HashOf({a, a}));
    auto const other = MakeCounted<Node>(1);
    EXPECT_EQ(HashOf({a, a}), HashOf({other, other}));
    EXPECT_NE(HashOf({a, a}), HashOf({a, other}));
    HashAccumulator first, second;
    a->AccumulateHash(first);
    second.AddBytes(std::as_bytes(std::span("abc")));
    EXPECT_NE(first.GetHash(), second.GetHash());
}

TEST(Hash, IsTheSameEverywhere) {
    // Changes only with the form in which objects are stored.
    auto const node = MakeCounted<Node>(42);
    node->m_left = MakeCounted<Node>(7);
    node->m_right = node->m_left;
    EXPECT_EQ(HashOf({node}).ToString(), "0156e524d21ec1ea3b011e4fd076b333");
}

TEST(Hash, StateThatIsNoPartOfEqualityIsLeftOut) {
    class Selecting final : public Node {
    public:
        void Save(OutSerialiser& out) const override {
            Node::Save(out);
            if (!out.IsForHash())
                Kernel::SaveValue(out, "Selc", m_selection);
            EXPECT_EQ(out.GetBlobSink(), nullptr);
        }
        int m_selection = 0;
    };
    auto const a = MakeCounted<Selecting>(), b = MakeCounted<Selecting>();
    b->m_selection = 5;
    EXPECT_EQ(HashOf({a}), HashOf({b}));
    EXPECT_TRUE(a->CompareMembers(*b, CompareContext()));
}

TEST(Compare, TakesReferencesByContentOrByIdentity) {
    auto const makeTree = [] {
        auto tree = MakeCounted<Node>(1);
        tree->m_left = MakeCounted<Node>(2);
        tree->m_left->m_right = tree->m_left;
        return tree;
    };
    auto const a = makeTree(), b = makeTree();
    CompareContext const byContent, byIdentity(CompareContext::References::SameObject);
    EXPECT_TRUE(a->CompareMembers(*b, byContent));
    EXPECT_FALSE(a->CompareMembers(*b, byIdentity));
    auto const c = MakeCounted<Node>(1);
    c->m_left = a->m_left;
    EXPECT_TRUE(a->CompareMembers(*c, byIdentity));
    b->m_left->m_value = 3;
    EXPECT_FALSE(a->CompareMembers(*b, byContent));
    EXPECT_TRUE(a->CompareMembers(*a, byIdentity));
    EXPECT_FALSE(a->CompareMembers(*MakeCounted<WithFace>(), byContent));
    a->m_left->m_right.reset();
    b->m_left->m_right.reset();
}

} // namespace
