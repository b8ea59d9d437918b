// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/engine/kernel/test_classes.h"

#include "platform/kernel/index_range_list.h"

#include <optional>

// A class with a member of every type that a field list takes.
namespace KernelTest {

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
inline Kernel::ClassProperties const WithFace::s_properties("WthF", &Create<WithFace>, 1, nullptr, nullptr, "WithFace");

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
inline Kernel::ClassProperties const Everything::s_properties("Evry", &Create<Everything>, 1, nullptr, nullptr,
                                                              "Everything");

inline Counted<Everything> MakeEverything() {
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

} // namespace KernelTest
