// SPDX-License-Identifier: Apache-2.0
#include "engine/document/catalogues/document_property_collection.h"
#include "engine/document/file/document_file.h"
#include "engine/document/tree/stored_profiles.h"
#include "platform/document/common_property_collections.h"
#include "platform/document/edit_journal.h"
#include "platform/document/generations_property.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/field_value.h"

#include <algorithm>

namespace Kernel {

PropertyCollectionBase::~PropertyCollectionBase() = default;

} // namespace Kernel

// DocumentPropertyCollection

// Whether an object of a document can own the collection that would own it as a property.
static bool CanOwnCollections(Kernel::Counted<Kernel::Serialisable const> const& object) {
    return Kernel::Cast<Node const>(object) || Kernel::Cast<DocumentRoot const>(object) ||
           Kernel::Cast<DocumentPropertyCollection const>(object);
}

DocumentPropertyCollection::Entry const* DocumentPropertyCollection::Find(PropertyNode node) const {
    auto const number = static_cast<std::size_t>(node);
    if (number > m_entries.size())
        throw Kernel::Exception("the node is not in the collection of properties");
    return number == 0 ? nullptr : &m_entries[number - 1];
}

auto DocumentPropertyCollection::Add(Entry entry) -> PropertyNode {
    auto const* const parent = Find(static_cast<PropertyNode>(entry.parent));
    if (parent != nullptr && parent->property)
        throw Kernel::Exception("a leaf of a collection of properties has no children");
    EditJournal::NoteFor(*this, [count = m_entries.size()](DocumentPropertyCollection& collection) {
        collection.m_entries.resize(count);
        collection.MarkChanged();
    });
    m_entries.push_back(std::move(entry));
    MarkChanged();
    return static_cast<PropertyNode>(m_entries.size());
}

auto DocumentPropertyCollection::AddNode(PropertyNode parent, Kernel::String name) -> PropertyNode {
    return Add({static_cast<std::uint32_t>(parent), std::move(name), {}});
}

auto DocumentPropertyCollection::AddLeaf(PropertyNode parent, Kernel::String name,
                                         Kernel::Counted<Kernel::Serialisable const> property) -> PropertyNode {
    if (!property)
        throw Kernel::Exception("a leaf of a collection of properties holds one");
    return Add({static_cast<std::uint32_t>(parent), std::move(name), std::move(property)});
}

auto DocumentPropertyCollection::GetChildren(PropertyNode node) const -> std::vector<PropertyNode> {
    Find(node);
    std::vector<PropertyNode> children;
    for (std::size_t i = 0; i != m_entries.size(); ++i) {
        if (m_entries[i].parent == static_cast<std::uint32_t>(node))
            children.push_back(static_cast<PropertyNode>(i + 1));
    }
    return children;
}

Kernel::String DocumentPropertyCollection::GetName(PropertyNode node) const {
    auto const* const entry = Find(node);
    return entry == nullptr ? Kernel::String() : entry->name;
}

Kernel::Counted<Kernel::Serialisable const> DocumentPropertyCollection::GetProperty(PropertyNode node) const {
    auto const* const entry = Find(node);
    return entry == nullptr ? nullptr : entry->property;
}

std::vector<Kernel::Counted<Kernel::Serialisable const>> DocumentPropertyCollection::GetProperties() const {
    std::vector<Kernel::Counted<Kernel::Serialisable const>> properties;
    for (auto const& entry : m_entries) {
        if (entry.property)
            properties.push_back(entry.property);
    }
    return properties;
}

void DocumentPropertyCollection::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "CUID", m_uid);
    auto stored = m_entries;
    for (auto& entry : stored) {
        if (entry.property && m_strategy != nullptr && !m_strategy->IsStored(*entry.property))
            entry.property.reset();
    }
    Kernel::SaveValue(out, "Entr", stored);
}

// A parent that does not stand before its child is none of its kind: the child then stands below the root. A
// forged collection that holds itself or its document would keep it, and its file, for ever.
bool DocumentPropertyCollection::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "CUID", m_uid);
    m_entries.clear();
    Kernel::LoadValue(in, "Entr", m_entries);
    for (std::size_t i = 0; i != m_entries.size(); ++i) {
        if (m_entries[i].parent > i)
            m_entries[i].parent = 0;
        if (CanOwnCollections(m_entries[i].property))
            m_entries[i].property.reset();
    }
    return true;
}

// CommonPropertyCollections

namespace {

class StoresAll final : public Kernel::PropertySerialisationStrategy {
public:
    bool IsStored(Kernel::Serialisable const&) const override { return true; }
};
StoresAll const s_storesAll;

} // namespace

Kernel::PropertySerialisationStrategy const* const CommonPropertyCollections::pDefaultSerialisationStrategy =
    &s_storesAll;

Kernel::MutablePropertyCollectionSession
CommonPropertyCollections::MakeMutableSession(Kernel::Counted<DocumentController> const& document, Kernel::IDTag uid,
                                              Kernel::PropertySerialisationStrategy const* strategy) {
    if (!document)
        return {};
    auto& root = *document->GetDocument();
    auto collection = root.FindPropertyCollection(uid);
    if (!collection) {
        collection = Kernel::MakeCounted<DocumentPropertyCollection>(uid, strategy);
        root.AddPropertyCollection(collection);
    }
    return Kernel::MutablePropertyCollectionSession(collection);
}

Kernel::Counted<Kernel::PropertyCollectionBase const>
CommonPropertyCollections::Find(DocumentController const& document, Kernel::IDTag uid) {
    return document.GetDocument()->FindPropertyCollection(uid);
}

// GenerationsProperty

GenerationsProperty::GenerationsProperty() = default;
GenerationsProperty::~GenerationsProperty() = default;

GenerationsProperty::GenerationsProperty(Kernel::Counted<Node const> const& node, Raster::Format format,
                                         Raster::ICCManager::ICCProfileSet const& profiles)
    : m_node(node), m_format(format), m_profiles(StoredProfiles::Make(profiles)) {}

Raster::ICCManager::ICCProfileSet GenerationsProperty::GetProfiles() const {
    return m_profiles ? m_profiles->Get() : Raster::ICCManager::ICCProfileSet();
}

Kernel::Counted<Kernel::Serialisable> GenerationsProperty::CreateObject() {
    return Kernel::Counted<Kernel::Serialisable>(new GenerationsProperty);
}

void GenerationsProperty::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Node", m_node);
    Kernel::SaveValue(out, "Frmt", m_format);
    if (m_profiles)
        m_profiles->Save(out);
}

bool GenerationsProperty::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short) {
    m_node.reset();
    Kernel::LoadValue(in, "Node", m_node);
    if (Kernel::Cast<DocumentNode const>(m_node))
        m_node.reset();
    Kernel::LoadValue(in, "Frmt", m_format);
    m_profiles = StoredProfiles::Load(in, files);
    return true;
}
