// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/kernel/everything.h"

#include "platform/kernel/hash_accumulator.h"
#include "platform/kernel/hashed_by_content.h"

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

// As Node, but a value.
class ValueNode final : public Node {
public:
    explicit ValueNode(int value, Counted<Node> left = {}) : Node(value) { m_left = std::move(left); }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return &s_valueProperties; }
    static Kernel::ClassProperties const s_valueProperties;
};
Kernel::ClassProperties const ValueNode::s_valueProperties("TsVN", nullptr, 1, nullptr, nullptr, "ValueNode");
Kernel::HashedByContent const c_valueNode(&ValueNode::s_valueProperties);

Counted<Node> Pair(Counted<Node> left, Counted<Node> right) {
    auto pair = MakeCounted<Node>();
    pair->m_left = std::move(left);
    pair->m_right = std::move(right);
    return pair;
}

TEST(Hash, OfValuesCountsWhatTheyHoldAndNotWhetherTheyAreShared) {
    auto const value = [](int number) { return MakeCounted<ValueNode>(number); };
    auto const one = value(1);
    EXPECT_EQ(HashOf({Pair(one, one)}), HashOf({Pair(value(1), value(1))}));
    EXPECT_NE(HashOf({Pair(one, one)}), HashOf({Pair(value(1), value(2))}));
    EXPECT_NE(HashOf({Pair(value(1), value(2))}), HashOf({Pair(value(2), value(1))}));
    EXPECT_NE(HashOf({Pair(one, one)}), HashOf({Pair(MakeCounted<Node>(1), MakeCounted<Node>(1))}));
    EXPECT_TRUE(Pair(one, one)->CompareMembers(*Pair(value(1), value(1)), CompareContext()));
    EXPECT_FALSE(Pair(one, one)->CompareMembers(*Pair(value(1), value(2)), CompareContext()));
    // Values within values, and among the roots.
    auto const nested = [&](int number) { return MakeCounted<ValueNode>(5, value(number)); };
    auto const five = nested(1);
    EXPECT_EQ(HashOf({Pair(five, five->m_left)}), HashOf({Pair(nested(1), value(1))}));
    EXPECT_EQ(HashOf({Pair(five, one)}), HashOf({Pair(five, five->m_left)}));
    EXPECT_NE(HashOf({Pair(five, nested(2))}), HashOf({Pair(five, nested(1))}));
    EXPECT_EQ(HashOf({one, one}), HashOf({one, value(1)}));
}

TEST(Hash, ValuesThatReferToObjectsAreEqualWhereTheseAreTheSame) {
    auto const object = MakeCounted<Node>(9), other = MakeCounted<Node>(9);
    auto const of = [](Counted<Node> const& node) { return MakeCounted<ValueNode>(1, node); };
    EXPECT_EQ(HashOf({Pair(of(object), of(object))}), HashOf({Pair(of(other), of(other))}));
    EXPECT_NE(HashOf({Pair(of(object), of(object))}), HashOf({Pair(of(object), of(other))}));
}

TEST(Hash, ForgedCyclesAndLongChainsOfValuesHarmNobody) {
    auto const self = MakeCounted<ValueNode>(1);
    self->m_left = self;
    auto const first = MakeCounted<ValueNode>(1), second = MakeCounted<ValueNode>(2, first);
    first->m_left = second;
    EXPECT_NE(HashOf({self}), HashOf({first}));
    EXPECT_EQ(HashOf({self}), HashOf({self}));
    self->m_left.reset();
    first->m_left.reset();
    auto chain = MakeCounted<ValueNode>(0);
    for (int i = 1; i != 100; ++i)
        chain = MakeCounted<ValueNode>(i, chain);
    EXPECT_EQ(HashOf({Pair(chain, chain)}), HashOf({Pair(chain, chain)}));
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
