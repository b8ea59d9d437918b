// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/kernel/record_surgery.h"
#include "tests/engine/kernel/test_classes.h"

#include "platform/kernel/exception.h"
#include "platform/kernel/hash_accumulator.h"
#include "platform/kernel/index_range_list.h"

#include <gtest/gtest.h>

namespace {

using namespace KernelTest;

enum class Shade : int { Dark = 3, Light = 4 };

class Shades final : public Kernel::EnumSerialiser {
public:
    static Shades const& GetInstance() {
        static Shades const s_instance;
        return s_instance;
    }

private:
    Shades() { RegisterEnumSet(c_entries, 2); }
    static constexpr EnumEntry c_entries[] = {{3, "dark"}, {4, "light"}};
};

// A value class with a field list, which it keeps to itself.
class ChildRecord {
public:
    static constexpr Kernel::ClassUID GetClassUID() { return "UndR"; }
    Counted<Node> m_node;
    Raster::AffineTransform::Params m_transform;

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        return FieldList{Field{"Node", &ChildRecord::m_node}, Field{"Xfrm", &ChildRecord::m_transform}};
    }
};

struct Record {
    static constexpr Kernel::ClassUID GetClassUID() { return "UndR"; }
    Counted<Node> group;
    std::vector<ChildRecord> children;
    static constexpr auto Fields() {
        return FieldList{Field{"Grou", &Record::group}, Field{"Chil", &Record::children}};
    }
};

// A value class with operations of its own and a schema that can be told to be newer than this program's.
struct Versioned {
    static inline unsigned short s_version = 2;
    static Kernel::ClassUID GetClassUID() { return "Vers"; }
    static unsigned short GetSchemaVersion() { return s_version; }
    int value = 0;
    void Save(OutSerialiser& out) const { Kernel::SaveValue(out, "Valu", value); }
    bool Load(InSerialiser const& in, Kernel::ClassUID, unsigned short version) {
        if (version > 2)
            return false;
        Kernel::LoadValue(in, "Valu", value);
        return true;
    }
};

// A face of objects that is not the one by which they are saved.
class CountedFace : public virtual Kernel::Countable {
public:
    virtual int Answer() const = 0;
};
class WithFace final : public Node, public CountedFace {
public:
    int Answer() const override { return 43; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return &s_properties; }
    static Kernel::ClassProperties const s_properties;
};
Kernel::ClassProperties const WithFace::s_properties("WthF", &Create<WithFace>, 1, nullptr, nullptr, "WithFace");

class Everything final : public Serialisable {
public:
    void Save(OutSerialiser& out) const override { Kernel::SaveFields(*this, out); }
    bool Load(InSerialiser const& in, Kernel::FileStore&, unsigned short) override {
        Kernel::LoadFields(*this, in);
        return true;
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return &s_properties; }
    static Kernel::ClassProperties const s_properties;

    bool m_bool = false;
    String m_string;
    int m_int = 0;
    unsigned m_unsigned = 0;
    Shade m_plainEnum = Shade::Dark, m_namedEnum = Shade::Dark;
    std::int64_t m_int64 = 0;
    std::uint64_t m_uint64 = 0;
    double m_double = 0;
    float m_float = 0;
    Kernel::PointT<double> m_point;
    Kernel::SizeT<double> m_size;
    Kernel::RectT<double> m_rect;
    Raster::AffineTransform::Params m_transform;
    Kernel::BlobKey m_key;
    std::vector<int> m_ints;
    std::deque<Raster::AffineTransform::Params> m_transforms;
    std::vector<bool> m_bools;
    std::vector<String> m_strings;
    std::vector<Shade> m_shades, m_namedShades;
    Counted<Node> m_node;
    Counted<Node const> m_constNode;
    Counted<CountedFace> m_face;
    std::vector<Counted<CountedFace>> m_faces;
    std::vector<Counted<Node>> m_nodes;
    Kernel::IndexRangeList m_ranges;
    Versioned m_versioned;
    std::vector<Record> m_records;
    std::optional<Versioned> m_maybe;
    std::map<int, Counted<Node>> m_map;
    std::map<String, Record> m_recordMap;

    static constexpr auto Fields() {
        using E = Everything;
        return FieldList{Field{"Bool", &E::m_bool},
                         Field{"Strg", &E::m_string},
                         Field{"Intg", &E::m_int},
                         Field{"Unsi", &E::m_unsigned},
                         Field{"PlnE", &E::m_plainEnum},
                         Field{"NamE", &E::m_namedEnum}.EnumBy(&Shades::GetInstance),
                         Field{"In64", &E::m_int64},
                         Field{"Ui64", &E::m_uint64},
                         Field{"Doub", &E::m_double},
                         Field{"Flot", &E::m_float},
                         Field{"Poin", &E::m_point},
                         Field{"Size", &E::m_size},
                         Field{"Rect", &E::m_rect},
                         Field{"Affi", &E::m_transform},
                         Field{"Keyy", &E::m_key},
                         Field{"Ints", &E::m_ints},
                         Field{"Xfms", &E::m_transforms},
                         Field{"Boos", &E::m_bools},
                         Field{"Strs", &E::m_strings},
                         Field{"Shas", &E::m_shades},
                         Field{"NShs", &E::m_namedShades}.EnumBy(&Shades::GetInstance),
                         Field{"Node", &E::m_node},
                         Field{"CNod", &E::m_constNode},
                         Field{"Face", &E::m_face},
                         Field{"Facs", &E::m_faces},
                         Field{"Nods", &E::m_nodes},
                         Field{"Rang", &E::m_ranges},
                         Field{"Vers", &E::m_versioned},
                         Field{"Recs", &E::m_records},
                         Field{"Mayb", &E::m_maybe},
                         Field{"Mapp", &E::m_map},
                         Field{"RMap", &E::m_recordMap}};
    }
};
Kernel::ClassProperties const Everything::s_properties("Evry", &Create<Everything>, 1, nullptr, nullptr, "Everything");

Counted<Everything> MakeEverything() {
    auto everything = MakeCounted<Everything>();
    auto& e = *everything;
    auto const node = MakeCounted<Node>(11);
    auto const face = MakeCounted<WithFace>();
    face->m_value = 12;
    e.m_bool = true;
    e.m_string = "text";
    e.m_int = -1;
    e.m_unsigned = 0xFFFFFFFF;
    e.m_plainEnum = e.m_namedEnum = Shade::Light;
    e.m_int64 = -2;
    e.m_uint64 = 1ull << 63;
    e.m_double = 0.1;
    e.m_float = 0.2f;
    e.m_point = {1, 2};
    e.m_size = {3, 4};
    e.m_rect = {1, 2, 3, 4};
    e.m_transform = {1, 2, 3, 4, 5, 6};
    e.m_key.bytes[15] = std::byte{9};
    e.m_ints = {1, 2, 3};
    e.m_transforms.resize(3, e.m_transform);
    e.m_bools = {true, false};
    e.m_strings = {"a", "b"};
    e.m_shades = e.m_namedShades = {Shade::Light, Shade::Dark};
    e.m_node = node;
    e.m_constNode = node;
    e.m_face = face;
    e.m_faces = {face, nullptr};
    e.m_nodes = {node, nullptr, face};
    e.m_ranges.Add(3, 9);
    e.m_versioned.value = 5;
    e.m_records.resize(2);
    e.m_records[1].group = node;
    e.m_records[1].children.resize(2);
    e.m_records[1].children[1].m_node = face;
    e.m_records[1].children[1].m_transform = e.m_transform;
    e.m_maybe.emplace().value = 6;
    e.m_map = {{1, node}, {-2, nullptr}};
    e.m_recordMap["k"].group = node;
    return everything;
}

struct Classes {
    Registered node{Node::s_properties}, everything{Everything::s_properties}, face{WithFace::s_properties};
};

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
Kernel::ClassProperties const Before::s_properties("Hist", &Create<Before>, 1, nullptr, nullptr, "Before");

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
Kernel::ClassProperties const Now::s_properties("Hist", &Create<Now>, 1, nullptr, nullptr, "Now");

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
