// SPDX-License-Identifier: Apache-2.0
#include "platform/document/selection_command_base.h"

#include "engine/document/commands/damage_area.h"
#include "platform/document/document_controller.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/in_serialiser.h"
#include "platform/kernel/out_serialiser.h"

SelectionCommandBase::SelectionCommandBase(Kernel::Counted<Selection const> selection)
    : m_selection(std::move(selection)) {}

SelectionCommandBase::~SelectionCommandBase() = default;

// Asking once here is what an ordered command without a given selection needs: it answers from the second time on.
void SelectionCommandBase::Do() {
    GetSelection();
    PrepareUndo();
    MarkChanged();
}

// In each direction a command may come to keep something else. A parent that runs it by hand need not know.
void SelectionCommandBase::Undo() { MarkChanged(); }

void SelectionCommandBase::Redo() {
    GetSelection();
    MarkChanged();
}

bool SelectionCommandBase::CanMerge(Kernel::Counted<Command const> newer) const {
    if (!DocumentCommand::CanMerge(newer))
        return false;
    auto const* const other = Kernel::CastPointer<SelectionCommandBase const>(newer.get());
    return other == nullptr || other->IsSelectionEqualTo(m_selection);
}

bool SelectionCommandBase::ValidateUntrusted() { return DocumentCommand::ValidateUntrusted(); }

void SelectionCommandBase::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    DocumentCommand::PostLoad(controller);
}

void SelectionCommandBase::PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) {
    DocumentCommand::PostDequeueWithMutableController(controller);
}

Kernel::Counted<Selection const> SelectionCommandBase::GetSelection() {
    if (!m_selection && !m_selectionResolved && m_documentController) {
        m_selection = m_documentController->GetCurrentSelection();
        m_selectionFromDocument = true;
        m_selectionResolved = true;
    }
    return m_selection;
}

bool SelectionCommandBase::SelectionContainsArtboards() {
    auto const selection = GetSelection();
    return selection && selection->ContainsArtboards();
}

bool SelectionCommandBase::CanOnlyOperateOnCurrentSpread() const { return true; }

// A command that names no area changed something where its objects are.
Kernel::RectT<double> SelectionCommandBase::GenerateHistoryInterestingRect() const {
    if (auto const damage = FindDamageArea(*this); !damage.IsEmpty())
        return damage;
    Kernel::RectT<double> bounds;
    if (m_selection) {
        for (auto const& node : m_selection->GetNodesInDocument())
            bounds = bounds.United(node->GetBounds(true));
    }
    return bounds.IsEmpty() ? DocumentCommand::GenerateHistoryInterestingRect() : bounds;
}

void SelectionCommandBase::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "SCSe", m_selection);
    out.SaveType("SCFD", m_selectionFromDocument);
    out.SaveType("SCRe", m_selectionResolved);
    DocumentCommand::Save(out);
}

bool SelectionCommandBase::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadValue(in, "SCSe", m_selection);
    in.LoadType("SCFD", m_selectionFromDocument);
    in.LoadType("SCRe", m_selectionResolved);
    return DocumentCommand::Load(in, files, version);
}

bool SelectionCommandBase::ShouldOperateOnMasterItems() { return false; }

void SelectionCommandBase::PrepareUndo() {}

bool SelectionCommandBase::ReservedSelectionQuery() const { return false; }

Kernel::Counted<Selection const> SelectionCommandBase::CreateSelectionOrdered() {
    if (!m_documentController)
        return {};
    auto const selection = m_documentController->GetCurrentSelection();
    return selection ? selection->GetOrdered() : selection;
}

bool SelectionCommandBase::IsSelectionEqualTo(Kernel::Counted<Selection const> const& other) const {
    return m_selection == other || (m_selection && other && m_selection->IsEqualTo(*other));
}
