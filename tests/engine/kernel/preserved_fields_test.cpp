// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/kernel/record_surgery.h"
#include "tests/engine/kernel/test_classes.h"

#include "platform/kernel/hash_accumulator.h"

#include <gtest/gtest.h>

namespace {

using namespace KernelTest;
using Kernel::MemoryChunkStorage;
using Kernel::ObjectGraph;

struct OldPart {
    static Kernel::ClassUID GetClassUID() { return "Part"; }
    int m_a = 0;
    static constexpr auto Fields() { return FieldList{Field{"Aaaa", &OldPart::m_a}}; }
};

struct NewPart {
    static Kernel::ClassUID GetClassUID() { return "Part"; }
    int m_a = 0;
    Counted<Serialisable> m_b;
    std::vector<Counted<Serialisable>> m_c;
    static constexpr auto Fields() {
        return FieldList{Field{"Bbbb", &NewPart::m_b}, Field{"Aaaa", &NewPart::m_a}, Field{"Cccc", &NewPart::m_c}};
    }
};

// A class as a newer program has it, and as this one has it.
class NewThing final : public Serialisable {
public:
    NewThing() { ++s_alive; }
    ~NewThing() override { --s_alive; }
    void Save(OutSerialiser& out) const override { Kernel::SaveFields(*this, out); }
    bool Load(InSerialiser const& in, Kernel::FileStore&, unsigned short) override {
        Kernel::LoadFields(*this, in);
        return true;
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return &s_properties; }
    static Kernel::ClassProperties const s_properties;

    int m_value = 0;
    Counted<Serialisable> m_extra;
    std::vector<Counted<Serialisable>> m_extras;
    NewPart m_part, m_extraPart;
    std::vector<NewPart> m_parts, m_extraParts;
    Counted<Serialisable> m_node;
    std::vector<Counted<Serialisable>> m_nodes;
    static constexpr auto Fields() {
        using T = NewThing;
        return FieldList{Field{"Extr", &T::m_extra}, Field{"Valu", &T::m_value},     Field{"Exts", &T::m_extras},
                         Field{"Part", &T::m_part},  Field{"ExPt", &T::m_extraPart}, Field{"Prts", &T::m_parts},
                         Field{"Node", &T::m_node},  Field{"Nods", &T::m_nodes},     Field{"ExPs", &T::m_extraParts}};
    }
};
Kernel::ClassProperties const NewThing::s_properties("Thng", &Create<NewThing>, 1, nullptr, nullptr, "NewThing");

class OldThing final : public Serialisable {
public:
    OldThing() { ++s_alive; }
    ~OldThing() override { --s_alive; }
    void Save(OutSerialiser& out) const override { Kernel::SaveFields(*this, out); }
    bool Load(InSerialiser const& in, Kernel::FileStore&, unsigned short) override {
        if (!s_isReadable)
            return false;
        Kernel::LoadFields(*this, in);
        return true;
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return &s_properties; }
    static Kernel::ClassProperties const s_properties;
    static inline bool s_isReadable = true;

    int m_value = 0;
    OldPart m_part;
    std::vector<OldPart> m_parts;
    Counted<Node> m_node;
    std::vector<Counted<Node>> m_nodes;
    static constexpr auto Fields() {
        using T = OldThing;
        return FieldList{Field{"Valu", &T::m_value}, Field{"Part", &T::m_part}, Field{"Prts", &T::m_parts},
                         Field{"Node", &T::m_node}, Field{"Nods", &T::m_nodes}};
    }
};
Kernel::ClassProperties const OldThing::s_properties("Thng", &Create<OldThing>, 1, nullptr, nullptr, "OldThing");

// A class that only the newer program knows.
class Stranger final : public Serialisable {
public:
    Stranger() { ++s_alive; }
    ~Stranger() override { --s_alive; }
    void Save(OutSerialiser& out) const override { Kernel::SaveFields(*this, out); }
    bool Load(InSerialiser const& in, Kernel::FileStore&, unsigned short) override {
        Kernel::LoadFields(*this, in);
        return true;
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return &s_properties; }
    static Kernel::ClassProperties const s_properties;
    String m_text;
    Counted<Serialisable> m_object;
    static constexpr auto Fields() {
        return FieldList{Field{"Text", &Stranger::m_text}, Field{"Objc", &Stranger::m_object}};
    }
};
Kernel::ClassProperties const Stranger::s_properties("Strg", &Create<Stranger>, 4, nullptr, nullptr, "Stranger");

Kernel::Hash128 HashOf(Serialisable const& object) {
    Kernel::HashAccumulator hash;
    hash.AddObject(object);
    return hash.GetHash();
}

Counted<Stranger> MakeStranger(char const* text, Counted<Serialisable> object) {
    auto stranger = MakeCounted<Stranger>();
    stranger->m_text = text;
    stranger->m_object = std::move(object);
    return stranger;
}

// The document as the newer program saves it.
Counted<NewThing> MakeNewThing() {
    auto thing = MakeCounted<NewThing>();
    auto const only = MakeCounted<Node>(7);
    only->m_left = MakeCounted<Node>(8);
    thing->m_value = 1;
    thing->m_extra = only;
    thing->m_extras = {only->m_left, nullptr, MakeStranger("array", only)};
    thing->m_part.m_a = 5;
    thing->m_part.m_b = MakeCounted<Node>(9);
    thing->m_part.m_c = {only, thing->m_part.m_b};
    thing->m_extraPart = thing->m_part;
    thing->m_parts.resize(200);
    for (int i = 0; i != 200; ++i)
        thing->m_parts[static_cast<std::size_t>(i)].m_b = MakeCounted<Node>(1000 + i);
    thing->m_extraParts = thing->m_parts;
    thing->m_node = MakeStranger("held by a node's member", MakeStranger("deeper", only));
    thing->m_nodes = {only, MakeStranger("among nodes", nullptr), nullptr};
    return thing;
}

// Loads with the older program, lets it work, saves, and loads with the newer one.
Counted<NewThing> PassThroughOldProgram(MemoryChunkStorage& storage,
                                        std::function<void(ObjectGraph&, Counted<OldThing> const&)> const& work) {
    {
        Registered const old(OldThing::s_properties), node(Node::s_properties);
        ObjectGraph graph;
        auto const thing = LoadOne<OldThing>(graph, storage);
        work(graph, thing);
        SaveOne(graph, thing, storage);
    }
    Registered const thing(NewThing::s_properties), node(Node::s_properties), stranger(Stranger::s_properties);
    ObjectGraph graph;
    return LoadOne<NewThing>(graph, storage);
}

MemoryChunkStorage SaveNewThing() {
    MemoryChunkStorage storage;
    ObjectGraph graph;
    SaveOne(graph, MakeNewThing(), storage);
    return storage;
}

TEST(PreservedFields, WhatAnOlderProgramDoesNotKnowComesThroughItsFullSave) {
    auto storage = SaveNewThing();
    EXPECT_EQ(s_alive, 0);
    auto const loaded = PassThroughOldProgram(storage, [](ObjectGraph& graph, Counted<OldThing> const& thing) {
        EXPECT_EQ(thing->m_value, 1);
        EXPECT_EQ(thing->m_part.m_a, 5);
        EXPECT_EQ(thing->m_parts.size(), 200u);
        EXPECT_FALSE(thing->m_node);
        EXPECT_FALSE(thing->m_nodes.at(1));
        graph.RequireFullSave();
    });
    // The fields stand in another order now, so that the hashes of objects differ and their content has to be compared.
    auto const made = MakeNewThing();
    ASSERT_TRUE(loaded->m_extra);
    EXPECT_EQ(HashOf(*loaded->m_extra), HashOf(*made->m_extra));
    ASSERT_EQ(loaded->m_extras.size(), 3u);
    EXPECT_EQ(HashOf(*loaded->m_extras[2]), HashOf(*made->m_extras[2]));
    EXPECT_EQ(HashOf(*loaded->m_part.m_b), HashOf(*made->m_part.m_b));
    ASSERT_EQ(loaded->m_part.m_c.size(), 2u);
    EXPECT_EQ(loaded->m_part.m_c[0], loaded->m_extra);
    EXPECT_EQ(loaded->m_extraPart.m_b, loaded->m_part.m_b);
    ASSERT_EQ(loaded->m_parts.size(), 200u);
    EXPECT_EQ(Kernel::Cast<Node>(loaded->m_parts[199].m_b)->m_value, 1199);
    EXPECT_EQ(loaded->m_extraParts[150].m_b, loaded->m_parts[150].m_b);
    EXPECT_EQ(HashOf(*loaded->m_node), HashOf(*made->m_node));
    EXPECT_EQ(HashOf(*loaded->m_nodes.at(1)), HashOf(*made->m_nodes.at(1)));
}

TEST(PreservedFields, SavingTwiceInAnOlderProgramSettles) {
    auto storage = SaveNewThing();
    PassThroughOldProgram(storage, [](ObjectGraph& graph, Counted<OldThing> const&) { graph.RequireFullSave(); });
    auto again = storage;
    PassThroughOldProgram(again, [](ObjectGraph& graph, Counted<OldThing> const&) { graph.RequireFullSave(); });
    EXPECT_EQ(storage, again);
    EXPECT_EQ(s_alive, 0);
}

TEST(PreservedFields, TheyComeThroughASaveByChangesToo) {
    auto storage = SaveNewThing();
    auto const loaded = PassThroughOldProgram(storage, [](ObjectGraph&, Counted<OldThing> const& thing) {
        thing->m_value = 2;
        thing->m_parts.pop_back();
        thing->m_nodes.push_back(MakeCounted<Node>(55));
        thing->MarkChanged();
    });
    EXPECT_EQ(loaded->m_value, 2);
    EXPECT_EQ(loaded->m_parts.size(), 199u);
    EXPECT_EQ(Kernel::Cast<Node>(loaded->m_parts[198].m_b)->m_value, 1198);
    EXPECT_TRUE(Kernel::Cast<Stranger>(loaded->m_nodes.at(1)));
    EXPECT_EQ(loaded->m_nodes.size(), 4u);
    EXPECT_TRUE(loaded->m_extra);
}

TEST(PreservedFields, ANewValueTakesTheUnknownObjectsPlace) {
    auto storage = SaveNewThing();
    auto const loaded = PassThroughOldProgram(storage, [](ObjectGraph&, Counted<OldThing> const& thing) {
        thing->m_node = MakeCounted<Node>(66);
        thing->MarkChanged();
    });
    ASSERT_TRUE(Kernel::Cast<Node>(loaded->m_node));
    EXPECT_EQ(Kernel::Cast<Node>(loaded->m_node)->m_value, 66);
}

TEST(PreservedFields, TheyCountInTheHash) {
    auto storage = SaveNewThing();
    Registered const old(OldThing::s_properties), node(Node::s_properties);
    ObjectGraph graph;
    auto const thing = LoadOne<OldThing>(graph, storage);
    auto const plain = MakeCounted<OldThing>();
    plain->m_value = thing->m_value;
    plain->m_part = thing->m_part;
    plain->m_parts = thing->m_parts;
    plain->m_nodes = thing->m_nodes;
    EXPECT_NE(HashOf(*thing), HashOf(*plain));
    EXPECT_FALSE(thing->CompareMembers(*plain, Kernel::CompareContext()));
}

TEST(PreservedFields, AnObjectThatCannotBeReadIsSavedAsItWas) {
    auto storage = SaveNewThing();
    OldThing::s_isReadable = false;
    auto const loaded = PassThroughOldProgram(storage, [](ObjectGraph& graph, Counted<OldThing> const& thing) {
        EXPECT_EQ(thing->m_value, 0);
        ASSERT_EQ(graph.GetUnreadable().size(), 1u);
        EXPECT_EQ(graph.GetUnreadable()[0], thing);
        graph.RequireFullSave();
    });
    auto const passedOnce = storage;
    PassThroughOldProgram(storage, [](ObjectGraph& graph, Counted<OldThing> const&) { graph.RequireFullSave(); });
    OldThing::s_isReadable = true;
    EXPECT_EQ(HashOf(*loaded), HashOf(*MakeNewThing()));
    EXPECT_EQ(storage, passedOnce) << "the record grows with each save";
}

TEST(PreservedFields, UnknownObjectsInACycleGoWithTheirGraph) {
    MemoryChunkStorage storage;
    {
        auto const one = MakeStranger("one", nullptr);
        one->m_object = MakeStranger("two", one);
        ObjectGraph graph;
        auto const thing = MakeCounted<NewThing>();
        thing->m_extra = one;
        SaveOne(graph, thing, storage);
        one->m_object.reset();
    }
    Registered const old(OldThing::s_properties), node(Node::s_properties);
    Kernel::Weak<Serialisable> weak;
    {
        ObjectGraph graph;
        weak = Counted<Serialisable>(LoadOne<OldThing>(graph, storage));
    }
    EXPECT_TRUE(weak.IsExpired());
    EXPECT_EQ(s_alive, 0);
}

} // namespace
