// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/kernel/everything.h"
#include "tests/engine/kernel/record_surgery.h"

#include "platform/kernel/exception.h"
#include "platform/kernel/hash_accumulator.h"

#include <gtest/gtest.h>

namespace {

using namespace KernelTest;

TEST(FieldList, GivesBackEveryTypeOfMember) {
    Classes const classes;
    auto const saved = MakeEverything();
    Kernel::MemoryChunkStorage storage;
    Kernel::ObjectGraph graph, second;
    SaveOne(graph, saved, storage);
    auto const loaded = LoadOne<Everything>(second, storage);
    ASSERT_TRUE(loaded);
    EXPECT_TRUE(saved->CompareMembers(*loaded, Kernel::CompareContext()));
    EXPECT_EQ(loaded->m_uint64, 1ull << 63);
    EXPECT_EQ(loaded->m_float, 0.2f);
    EXPECT_EQ(loaded->m_transforms, saved->m_transforms);
    EXPECT_EQ(loaded->m_namedShades, saved->m_namedShades);
    EXPECT_EQ(loaded->m_key, saved->m_key);
    EXPECT_EQ(loaded->m_ranges, saved->m_ranges);
    ASSERT_TRUE(loaded->m_face);
    EXPECT_EQ(loaded->m_face->Answer(), 43);
    EXPECT_EQ(loaded->m_faces[0], loaded->m_face);
    EXPECT_EQ(loaded->m_constNode.get(), loaded->m_node.get());
    EXPECT_EQ(loaded->m_nodes[2]->m_value, 12);
    ASSERT_EQ(loaded->m_records.size(), 2u);
    EXPECT_EQ(loaded->m_records[1].children[1].m_node, loaded->m_nodes[2]);
    EXPECT_EQ(loaded->m_records[1].children[1].m_transform, saved->m_transform);
    EXPECT_EQ(loaded->m_maybe->value, 6);
    EXPECT_EQ(loaded->m_map.at(1), loaded->m_node);
    EXPECT_EQ(loaded->m_recordMap.at("k").group, loaded->m_node);
}

Counted<Everything> s_full;
Counted<Serialisable> MakeFull() { return s_full = MakeEverything(); }
// The same class, whose objects are full before they are loaded.
Kernel::ClassProperties const s_fullProperties("Evry", &MakeFull, 1, nullptr, nullptr, "Everything");

TEST(FieldList, EmptyValuesReplaceFullOnes) {
    Kernel::MemoryChunkStorage storage;
    Kernel::ObjectGraph graph, second;
    auto const empty = MakeCounted<Everything>();
    SaveOne(graph, empty, storage);
    Registered const node(Node::s_properties), face(WithFace::s_properties), full(s_fullProperties);
    auto const loaded = LoadOne<Everything>(second, storage);
    EXPECT_TRUE(empty->CompareMembers(*loaded, Kernel::CompareContext()));
    EXPECT_TRUE(loaded->m_records.empty());
    EXPECT_TRUE(loaded->m_map.empty());
    EXPECT_FALSE(loaded->m_maybe);
    EXPECT_FALSE(loaded->m_node);
    s_full.reset();
}

TEST(FieldList, EachMissingTagLeavesItsMemberAndNoOther) {
    Kernel::MemoryChunkStorage storage;
    Kernel::ObjectGraph graph;
    SaveOne(graph, MakeCounted<Everything>(), storage);
    Registered const node(Node::s_properties), face(WithFace::s_properties), full(s_fullProperties);
    std::size_t const fieldCount = TakeApart(storage.ReadChunk(1)).at(0).fields.size();
    EXPECT_EQ(fieldCount, 32u);
    for (std::size_t missing = 0; missing != fieldCount; ++missing) {
        auto damaged = storage;
        Operate(damaged, [&](auto& records) { records[0].fields.erase(records[0].fields.begin() + missing); });
        Kernel::ObjectGraph second, third;
        auto const loaded = LoadOne<Everything>(second, damaged);
        // Saved again, all fields but one are those of the empty object and that one is of the full object.
        Kernel::MemoryChunkStorage again, fullStorage;
        SaveOne(second, loaded, again);
        second.RequireFullSave();
        SaveOne(second, loaded, again);
        SaveOne(third, MakeEverything(), fullStorage);
        auto const fields = TakeApart(again.ReadChunk(1)).at(0).fields;
        auto const emptyFields = TakeApart(storage.ReadChunk(1)).at(0).fields;
        auto const fullFields = TakeApart(fullStorage.ReadChunk(1)).at(0).fields;
        ASSERT_EQ(fields.size(), fieldCount);
        for (std::size_t i = 0; i != fieldCount; ++i) {
            if (i != missing)
                EXPECT_EQ(fields[i], emptyFields[i]) << missing << " " << i;
            else
                EXPECT_EQ(fields[i].size(), fullFields[i].size()) << missing;
        }
    }
    s_full.reset();
}

// How a class was once, and how it is now.
class Before final : public Serialisable {
public:
    void Save(OutSerialiser& out) const override { Kernel::SaveFields(*this, out); }
    bool Load(InSerialiser const&, Kernel::FileStore&, unsigned short) override { return true; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return &s_properties; }
    static Kernel::ClassProperties const s_properties;
    double m_width = 7;
    std::vector<int> m_points = {1, 2};
    int m_unset = 0;
    static constexpr auto Fields() {
        return FieldList{Field{"Widt", &Before::m_width}, Field{"IPnt", &Before::m_points},
                         Field{"Unse", &Before::m_unset}.OnlyWhenSet()};
    }
};
Kernel::ClassProperties const Before::s_properties("TWas", &Create<Before>, 1, nullptr, nullptr, "Before");

class Now final : public Serialisable {
public:
    void Save(OutSerialiser& out) const override { Kernel::SaveFields(*this, out); }
    bool Load(InSerialiser const& in, Kernel::FileStore&, unsigned short) override {
        Kernel::LoadFields(*this, in);
        return true;
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return &s_properties; }
    static Kernel::ClassProperties const s_properties;
    Kernel::SizeT<double> m_size;
    std::vector<int> m_points;
    bool m_relax = true;
    int m_unset = 5;
    static constexpr auto Fields() {
        return FieldList{
            Field{"Size", &Now::m_size}.FromOlderTag<double>("Widt",
                                                             [](double width) {
                                                                 return Kernel::SizeT<double>{width, 2 * width};
                                                             }),
            Field{"IPts", &Now::m_points}.FromOlderTag("IPnt"), Field{"RACs", &Now::m_relax}.WhenMissing(false),
            Field{"Unse", &Now::m_unset}};
    }
};
Kernel::ClassProperties const Now::s_properties("TWas", &Create<Now>, 1, nullptr, nullptr, "Now");

TEST(FieldList, ReadsOlderTagsAndSetsWhatIsMissing) {
    Registered const now(Now::s_properties);
    Kernel::MemoryChunkStorage storage;
    Kernel::ObjectGraph graph, second, third;
    SaveOne(graph, MakeCounted<Before>(), storage);
    EXPECT_EQ(TakeApart(storage.ReadChunk(1)).at(0).fields.size(), 2u);
    auto const loaded = LoadOne<Now>(second, storage);
    EXPECT_EQ(loaded->m_size, (Kernel::SizeT<double>{7, 14}));
    EXPECT_EQ(loaded->m_points, (std::vector<int>{1, 2}));
    EXPECT_FALSE(loaded->m_relax);
    EXPECT_EQ(loaded->m_unset, 5);
    loaded->m_relax = true;
    second.RequireFullSave();
    SaveOne(second, loaded, storage);
    EXPECT_EQ(TakeApart(storage.ReadChunk(1)).at(0).fields.size(), 4u);
    EXPECT_TRUE(LoadOne<Now>(third, storage)->m_relax);
}

TEST(FieldList, AValueOfANewerSchemaRefusesTheGraph) {
    Classes const classes;
    Kernel::MemoryChunkStorage storage;
    Kernel::ObjectGraph graph, second;
    Versioned::s_version = 3;
    SaveOne(graph, MakeEverything(), storage);
    Versioned::s_version = 2;
    try {
        LoadOne<Everything>(second, storage);
        ADD_FAILURE();
    } catch (Kernel::FutureVersionException const& exception) {
        EXPECT_TRUE(exception.IsRecoverable());
    }
    EXPECT_EQ(s_alive, 0);
}

TEST(FieldList, AnArrayOfAnotherElementTagLeavesTheMemberAlone) {
    Classes const classes;
    Kernel::MemoryChunkStorage storage;
    Kernel::ObjectGraph graph, second;
    SaveOne(graph, MakeEverything(), storage);
    Operate(storage, [](auto& records) {
        for (auto& field : records[0].fields) {
            // The element tag follows the header and the length.
            if (Kernel::Detail::LoadTag(field.data()) == Kernel::IDTag("Recs").GetValue())
                Kernel::Detail::StoreTag(field.data() + (field[5] >= std::byte{0x80} ? 7 : 6),
                                         Kernel::IDTag("Othe").GetValue());
        }
    });
    auto const loaded = LoadOne<Everything>(second, storage);
    EXPECT_TRUE(loaded->m_records.empty());
    EXPECT_EQ(loaded->m_recordMap.size(), 1u);
}

TEST(FieldList, AnAbsentElementEndsTheArray) {
    Classes const classes;
    Kernel::MemoryChunkStorage storage;
    Kernel::ObjectGraph graph, second;
    auto const saved = MakeCounted<Everything>();
    saved->m_records.resize(4);
    SaveOne(graph, saved, storage);
    Operate(storage, [](auto& records) {
        for (auto& field : records[0].fields) {
            if (Kernel::Detail::LoadTag(field.data()) != Kernel::IDTag("Recs").GetValue())
                continue;
            // Header, length, element tag, version, then the third of four equal elements.
            std::size_t const first = 5 + 1 + 4 + 1, size = (field.size() - first) / 4;
            field.erase(field.begin() + first + 2 * size, field.begin() + first + 3 * size);
            field.insert(field.begin() + first + 2 * size, std::byte{0});
            field[5] = static_cast<std::byte>(field.size() - 6);
        }
    });
    EXPECT_EQ(LoadOne<Everything>(second, storage)->m_records.size(), 2u);
}

TEST(FieldList, APathOnlyPassMeetsObjectsInEveryForm) {
    class Path final : public Node {
    public:
        void Save(OutSerialiser& out) const override {
            Node::Save(out);
            out.AddFilePath(m_name);
        }
    };
    auto const everything = MakeEverything();
    auto const makePath = [](char const* name) {
        auto path = MakeCounted<Path>();
        path->m_name = name;
        return path;
    };
    everything->m_node = makePath("object");
    everything->m_nodes.push_back(makePath("array"));
    everything->m_records[0].group = makePath("element");
    everything->m_records[0].children.resize(1);
    everything->m_records[0].children[0].m_node = makePath("nested");
    everything->m_map[7] = makePath("map");
    everything->m_node->m_left = makePath("deep");
    everything->m_node->m_right = makePath("deep");
    Counted<Serialisable const> const root = everything;
    EXPECT_EQ(Kernel::GatherFilePaths({&root, 1}),
              (std::vector<String>{"object", "array", "element", "nested", "map", "deep"}));
}

} // namespace
