// SPDX-License-Identifier: Apache-2.0
#include "platform/document/nodes.h"

#include "engine/document/catalogues/document_property_collection.h"
#include "engine/document/tree/layout_epoch.h"
#include "engine/document/tree/stored_profiles.h"
#include "platform/document/data_merge_source.h"
#include "platform/document/edit_journal.h"
#include "platform/document/epub_cover_info.h"
#include "platform/document/export_article.h"
#include "platform/document/generations_property.h"
#include "platform/epub/css_file.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/in_serialiser.h"
#include "platform/kernel/out_serialiser.h"
#include "platform/story/story_index.h"

#include <algorithm>
#include <typeinfo>
#include <vector>

void DocumentNode::SetFormat(Raster::Format format) {
    EditJournal::NoteValue(*this, m_format);
    m_format = format;
    MarkChanged();
}

Raster::ICCProfileSet DocumentNode::GetProfiles() const {
    return m_profiles ? m_profiles->Get() : Raster::ICCProfileSet();
}

void DocumentNode::SetProfiles(Raster::ICCProfileSet const& profiles) {
    EditJournal::NoteValue(*this, m_profiles);
    m_profiles = StoredProfiles::Make(profiles);
    MarkChanged();
}

void DocumentNode::SetGuidesFill(Kernel::Counted<Renderer::FillDescriptor const> fill) {
    EditJournal::NoteValue(*this, m_guidesFill);
    m_guidesFill = std::move(fill);
    MarkChanged();
}

void DocumentNode::SetViewPoints(std::vector<ViewPointData> viewPoints) {
    EditJournal::NoteValue(*this, m_viewPoints);
    m_viewPoints = std::move(viewPoints);
    MarkChanged();
}

Kernel::Counted<Story::StyleSheet const> DocumentNode::GetTextStyleSheet() const {
    return m_textStyles ? m_textStyles : Story::StyleSheet::GetEmpty();
}

void DocumentNode::SetTextStyleSheet(Kernel::Counted<Story::StyleSheet const> styles) {
    EditJournal::NoteValue(*this, m_textStyles);
    m_textStyles = std::move(styles);
    MarkChanged();
    LayoutEpoch::AdvanceForPlaces();
}

void DocumentNode::AddCustomCaptionCounterType(Kernel::String const& name) {
    auto const place = std::ranges::lower_bound(m_captionCounterTypes, name);
    if (place != m_captionCounterTypes.end() && *place == name)
        return;
    EditJournal::NoteValue(*this, m_captionCounterTypes);
    m_captionCounterTypes.insert(place, name);
    MarkChanged();
}

void DocumentNode::RemoveCustomCaptionCounterType(Kernel::String const& name) {
    auto const place = std::ranges::lower_bound(m_captionCounterTypes, name);
    if (place == m_captionCounterTypes.end() || *place != name)
        return;
    EditJournal::NoteValue(*this, m_captionCounterTypes);
    m_captionCounterTypes.erase(place);
    MarkChanged();
}

Kernel::Counted<DocumentPropertyCollection> DocumentNode::FindPropertyCollection(Kernel::IDTag uid) const {
    auto const found = std::ranges::find_if(m_propertyCollections,
                                            [&](auto const& collection) { return collection->GetUID() == uid; });
    return found == m_propertyCollections.end() ? nullptr : *found;
}

void DocumentNode::AddPropertyCollection(Kernel::Counted<DocumentPropertyCollection> collection) {
    EditJournal::NoteValue(*this, m_propertyCollections);
    m_propertyCollections.push_back(std::move(collection));
    MarkChanged();
}

std::vector<Kernel::Counted<SpreadNode>> DocumentNode::GetSpreads() const {
    std::vector<Kernel::Counted<SpreadNode>> spreads;
    for (Node* child = GetFirstChild(NodeChildListType::Plain); child != nullptr; child = child->GetNextSibling()) {
        if (auto* spread = Kernel::CastPointer<SpreadNode>(child))
            spreads.emplace_back(spread);
    }
    return spreads;
}

Kernel::Counted<Node> DocumentNode::FindNode(NodeId id) const {
    Kernel::Counted<Node> found;
    ForEachNode(const_cast<DocumentNode&>(*this), [&](Node& node) {
        if (node.GetId() == id)
            found = Kernel::Counted<Node>(&node);
    });
    return found;
}

void DocumentNode::AdoptIds(Node& top) {
    ForEachNode(top, [&](Node& node) {
        if (node.m_id != 0)
            return;
        node.m_id = m_nextId++;
        node.MarkChanged();
        if (auto const* box = Kernel::CastPointer<CloudSyncedNode>(&node); box != nullptr && box->GetBoxContents())
            AdoptIds(*box->GetBoxContents());
    });
    MarkChanged();
}

namespace {

// Whether all ids are given once each, 0 not at all. `end` is above all of them.
bool AreDistinct(std::vector<NodeId>& ids, NodeId end) {
    // A bit for each id that was ever given, unless a forged document pretends that there were more than memory holds.
    if (end <= 64 * (ids.size() + 1024)) {
        std::vector<bool> met(end);
        met[0] = true;
        for (NodeId const id : ids) {
            if (met[id])
                return false;
            met[id] = true;
        }
        return true;
    }
    std::ranges::sort(ids);
    return ids.front() != 0 && std::ranges::adjacent_find(ids) == ids.end();
}

// A property keeps a node of its own, which does not keep the document alive in turn.
void CheckKeptNode(DocumentNode const& document, Kernel::Serialisable const& property) {
    auto const* const generations = Kernel::CastPointer<GenerationsProperty const>(&property);
    auto const* const node = generations == nullptr ? nullptr : generations->GetNode().get();
    if (node != nullptr && (node->GetParent() != nullptr || node->Holds(document)))
        throw Kernel::DamagedDataException("the tree is damaged: a node of it is kept as generated");
}

} // namespace

void DocumentNode::CheckInvariants() const {
    std::vector<NodeId> ids;
    ForEachNode(const_cast<DocumentNode&>(*this), [&](Node& node) {
        ids.push_back(node.GetId());
        if (node.GetId() >= m_nextId)
            throw Kernel::DamagedDataException("the tree is damaged: a node's id was never given");
        // Final classes: the dynamic type itself decides.
        auto const& type = typeid(node);
        bool const isSpread = type == typeid(SpreadNode);
        if (isSpread != (node.GetParent() == this && node.GetChildListType() == NodeChildListType::Plain))
            throw Kernel::DamagedDataException("the tree is damaged: spreads stand below the document only");
        if (type == typeid(DocumentNode) && &node != this)
            throw Kernel::DamagedDataException("the tree is damaged: a document stands in a document");
    });
    if (!AreDistinct(ids, m_nextId))
        throw Kernel::DamagedDataException("the tree is damaged: two nodes have one id");
    for (auto const& collection : m_propertyCollections) {
        for (auto const& property : collection->GetProperties())
            CheckKeptNode(*this, *property);
    }
}

// The next id is no part of the document's state: it goes on from where it was when an edit is undone.
void DocumentNode::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Frmt", m_format);
    if (m_profiles)
        m_profiles->Save(out);
    Kernel::SaveValue(out, "GFil", m_guidesFill);
    Kernel::SaveValue(out, "VwPs", m_viewPoints);
    if (m_textStyles)
        Kernel::SaveValue(out, "TxSt", m_textStyles);
    if (!m_captionCounterTypes.empty())
        Kernel::SaveValue(out, "CapC", m_captionCounterTypes);
    m_customFields.Save(out);
    m_index->Save(out);
    if (!m_articles.empty())
        Kernel::SaveValue(out, "ExAr", m_articles);
    if (!m_cssFiles.empty())
        Kernel::SaveValue(out, "CSSF", m_cssFiles);
    if (m_ePubCover)
        Kernel::SaveValue(out, "EPCv", m_ePubCover);
    if (!m_mergeSources.empty())
        Kernel::SaveValue(out, "DtMg", m_mergeSources);
    if (!m_propertyCollections.empty())
        Kernel::SaveValue(out, "PrCo", m_propertyCollections);
    if (!out.IsForHash())
        Kernel::SaveValue(out, "NxId", m_nextId);
    Node::Save(out);
}

bool DocumentNode::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadValue(in, "Frmt", m_format);
    m_profiles = StoredProfiles::Load(in, files);
    Kernel::LoadValue(in, "GFil", m_guidesFill);
    Kernel::LoadValue(in, "VwPs", m_viewPoints);
    Kernel::LoadValue(in, "TxSt", m_textStyles);
    Kernel::LoadValue(in, "CapC", m_captionCounterTypes);
    std::ranges::sort(m_captionCounterTypes);
    m_captionCounterTypes.erase(std::unique(m_captionCounterTypes.begin(), m_captionCounterTypes.end()),
                                m_captionCounterTypes.end());
    m_customFields.Load(in);
    m_index->Load(in);
    Articles articles;
    Kernel::LoadValue(in, "ExAr", articles);
    PutArticles(std::move(articles));
    Kernel::LoadValue(in, "CSSF", m_cssFiles);
    std::erase(m_cssFiles, nullptr);
    Kernel::LoadValue(in, "EPCv", m_ePubCover);
    Kernel::LoadValue(in, "DtMg", m_mergeSources);
    std::erase(m_mergeSources, nullptr);
    Kernel::LoadValue(in, "PrCo", m_propertyCollections);
    std::erase(m_propertyCollections, nullptr);
    Kernel::LoadValue(in, "NxId", m_nextId);
    return Node::Load(in, files, version);
}
