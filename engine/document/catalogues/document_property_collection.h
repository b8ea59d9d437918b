// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/field_list.h"
#include "platform/kernel/property_collection.h"

// A collection of a document. Its nodes stand in one list, parents before children, so that no forged document can make
// a node its own ancestor.
class DocumentPropertyCollection final : public Kernel::PropertyCollectionBase {
public:
    DocumentPropertyCollection() = default;
    DocumentPropertyCollection(Kernel::IDTag uid, Kernel::PropertySerialisationStrategy const* strategy)
        : m_uid(uid.GetValue()), m_strategy(strategy) {}

    Kernel::IDTag GetUID() const { return Kernel::IDTag::FromValue(m_uid); }
    PropertyNode AddNode(PropertyNode parent, Kernel::String name) override;
    PropertyNode AddLeaf(PropertyNode parent, Kernel::String name,
                         Kernel::Counted<Kernel::Serialisable const> property) override;
    std::vector<PropertyNode> GetChildren(PropertyNode node) const override;
    Kernel::String GetName(PropertyNode node) const override;
    Kernel::Counted<Kernel::Serialisable const> GetProperty(PropertyNode node) const override;
    // Of all leaves.
    std::vector<Kernel::Counted<Kernel::Serialisable const>> GetProperties() const;

    static Kernel::Counted<Kernel::Serialisable> CreateObject() {
        return Kernel::MakeCounted<DocumentPropertyCollection>();
    }
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    // One node; the root has none.
    struct Entry {
        std::uint32_t parent = 0;
        Kernel::String name;
        Kernel::Counted<Kernel::Serialisable const> property;
        static constexpr Kernel::ClassUID GetClassUID() { return {"PrpE"}; }
        static constexpr auto Fields() {
            return Kernel::FieldList{Kernel::Field{"Pare", &Entry::parent}, Kernel::Field{"Name", &Entry::name},
                                     Kernel::Field{"Prop", &Entry::property}};
        }
    };

    PropertyNode Add(Entry entry);
    // Null for the root.
    Entry const* Find(PropertyNode node) const;

    std::uint32_t m_uid = 0;
    // Node n is the entry n - 1.
    std::vector<Entry> m_entries;
    // Null: all are stored.
    Kernel::PropertySerialisationStrategy const* m_strategy = nullptr;
};
