// SPDX-License-Identifier: Apache-2.0
#include "engine/document/tree/layout_epoch.h"
#include "platform/document/document_controller.h"
#include "platform/document/edit_journal.h"
#include "platform/document/slice_page.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/in_serialiser.h"
#include "platform/kernel/out_serialiser.h"

#include <string>
#include <utility>

SpreadNode::SpreadNode() : SpreadNode(Kernel::RectT<double>()) {}

SpreadNode::SpreadNode(Kernel::RectT<double> box) : m_box(box) { Own(Kernel::MakeCounted<SlicePage>()); }

SpreadNode::~SpreadNode() { Own({}); }

Kernel::RectT<double> SpreadNode::GetBaseBox(bool) const { return m_box; }

void SpreadNode::SetBaseBox(Kernel::RectT<double> box) {
    if (m_box == box)
        return;
    EditJournal::NoteValue(*this, m_box);
    m_box = box;
    MarkChanged();
    LayoutEpoch::Advance();
}

void SpreadNode::AddPage(Kernel::Counted<PageNode> page) {
    InsertChild(NodeChildListType::Pages, std::move(page), nullptr);
}

void SpreadNode::SetSlicePage(Kernel::Counted<SlicePage> slice) {
    if (slice == m_slicePage)
        return;
    if (slice && slice->m_spread != nullptr)
        throw Kernel::Exception("the slice belongs to another spread");
    EditJournal::NoteFor(*this, [old = m_slicePage](SpreadNode& spread) mutable { spread.Own(std::move(old)); });
    Own(std::move(slice));
    MarkChanged();
}

void SpreadNode::Own(Kernel::Counted<SlicePage> slice) {
    if (m_slicePage)
        m_slicePage->m_spread = nullptr;
    m_slicePage = std::move(slice);
    if (m_slicePage)
        m_slicePage->m_spread = this;
}

void SpreadNode::CopyMembersFrom(Node const& other) {
    Node::CopyMembersFrom(other);
    auto const* peer = Kernel::CastPointer<SpreadNode const>(&other);
    if (peer == nullptr)
        return;
    m_box = peer->m_box;
    auto slice = peer->m_slicePage ? Kernel::MakeCounted<SlicePage>() : Kernel::Counted<SlicePage>();
    if (slice) {
        slice->m_filename = peer->m_slicePage->m_filename;
        slice->m_isIncluded = peer->m_slicePage->m_isIncluded;
        slice->m_isAssistantSetUp = peer->m_slicePage->m_isAssistantSetUp;
    }
    Own(std::move(slice));
}

// A slice that nothing was set on makes no difference between two documents: older ones have none.
void SpreadNode::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "SBox", m_box);
    if (m_slicePage && !(out.IsForHash() && m_slicePage->IsDefault()))
        Kernel::SaveValue(out, "Slic", m_slicePage);
    Node::Save(out);
}

bool SpreadNode::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadValue(in, "SBox", m_box);
    Kernel::Counted<SlicePage> slice;
    Kernel::LoadValue(in, "Slic", slice);
    if (slice && slice->m_spread == nullptr)
        Own(std::move(slice));
    return Node::Load(in, files, version);
}

SlicePage::~SlicePage() = default;

void SlicePage::NoteChange() {
    MarkChanged();
    if (m_spread != nullptr)
        m_spread->MarkChanged();
}

void SlicePage::SetExportFilename(Kernel::String name) {
    if (m_filename == name)
        return;
    EditJournal::NoteValue(*this, m_filename);
    m_filename = std::move(name);
    NoteChange();
}

void SlicePage::SetIncludedInExport(bool include) {
    if (m_isIncluded == include)
        return;
    EditJournal::NoteValue(*this, m_isIncluded);
    m_isIncluded = include;
    NoteChange();
}

void SlicePage::SetAssistantSetUp(bool setUp) {
    if (m_isAssistantSetUp == setUp)
        return;
    EditJournal::NoteValue(*this, m_isAssistantSetUp);
    m_isAssistantSetUp = setUp;
    NoteChange();
}

Kernel::String SlicePage::GenerateDefaultFilename(DocumentController const& controller) const {
    std::size_t last = 0;
    for (auto const& spread : controller.GetDocument()->GetSpreads()) {
        auto const count = spread->CountChildren(NodeChildListType::Pages);
        if (spread.get() == m_spread && count == 1)
            return "page-" + std::to_string(last + 1);
        if (spread.get() == m_spread && count > 1)
            return "pages-" + std::to_string(last + 1) + "-" + std::to_string(last + count);
        last += count;
    }
    return {};
}

void SlicePage::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Name", m_filename);
    Kernel::SaveValue(out, "Incl", m_isIncluded);
    Kernel::SaveValue(out, "AsSU", m_isAssistantSetUp);
}

bool SlicePage::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Name", m_filename);
    Kernel::LoadValue(in, "Incl", m_isIncluded);
    Kernel::LoadValue(in, "AsSU", m_isAssistantSetUp);
    return true;
}
