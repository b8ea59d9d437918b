// SPDX-License-Identifier: Apache-2.0
#include "platform/document/selection_commands.h"

#include "platform/kernel/cast.h"

SetCurrentSelectionCommand::SetCurrentSelectionCommand(Kernel::Counted<Selection const> selection, bool add, bool order,
                                                       bool mayMerge, CurrentSpreadEnsureVisible ensureVisible,
                                                       SelectionStacking stacking)
    : m_selection(std::move(selection)),
      m_add(add),
      m_order(order),
      m_mayMerge(mayMerge),
      m_ensureVisible(ensureVisible),
      m_stacking(stacking) {}

Kernel::LocalisedString SetCurrentSelectionCommand::GetDescription() const {
    return Kernel::LocalisedString("Set selection", "Command description");
}

void SetCurrentSelectionCommand::Do() {
    SetDirection(Direction::Do);
    auto& controller = *GetDocumentController();
    auto selection = m_selection;
    auto const old = controller.GetCurrentSelection();
    if (m_add && old && selection) {
        auto const all = Kernel::MakeCounted<MutableSelection>();
        for (auto const& part : {old, selection}) {
            for (auto const& item : *part)
                all->AddItem(item, false);
        }
        selection = all->CloneImmutable();
    }
    if (m_order && selection)
        selection = selection->GetOrdered();
    SetNewSelection(controller, selection ? selection : Kernel::MakeCounted<Selection const>());
    if (m_ensureVisible != CurrentSpreadEnsureVisible::Yes || !m_selection)
        return;
    auto const nodes = m_selection->GetNodesInDocument();
    Kernel::JailCounted<SpreadNode> const spread(nodes.empty() ? nullptr : nodes.front()->GetSpread());
    if (spread && spread != controller.GetCurrentSpread())
        controller.SetCurrentSpread(spread);
}

void SetCurrentSelectionCommand::Undo() {
    SetDirection(Direction::Undo);
    UndoSelection(*GetDocumentController());
}

void SetCurrentSelectionCommand::Redo() {
    SetDirection(Direction::Redo);
    RedoSelection(*GetDocumentController());
}

void SetCurrentSelectionCommand::Notify(Kernel::NotificationList& notifications) {
    NotifySelection(*this, notifications);
}

bool SetCurrentSelectionCommand::CanMerge(Kernel::Counted<Command const> newer) const {
    auto const* const other = Kernel::CastPointer<SetCurrentSelectionCommand const>(newer.get());
    return other != nullptr && other != this && m_mayMerge && other->m_mayMerge &&
           GetObjectClassProperties() == other->GetObjectClassProperties();
}

bool SetCurrentSelectionCommand::Merge(Kernel::Counted<Command const> newer) {
    if (!CanMerge(newer))
        return false;
    auto const* const other = Kernel::CastPointer<SetCurrentSelectionCommand const>(newer.get());
    m_selection = other->m_add ? other->m_newSelection : other->m_selection;
    m_newSelection = other->m_newSelection;
    m_add = m_add && other->m_add;
    return true;
}

bool SetCurrentSelectionCommand::ValidateUntrusted() {
    return DocumentCommand::ValidateUntrusted() && m_newSelection && m_oldSelection;
}

Kernel::Counted<DocumentCommand> SetCurrentSelectionCommand::Clone() const {
    return Kernel::MakeCounted<SetCurrentSelectionCommand>(m_selection, m_add, m_order, m_mayMerge, m_ensureVisible,
                                                           m_stacking);
}

CommandAndSetSelectionCommand::CommandAndSetSelectionCommand() : CompoundCommand(false, true, true) {}

CommandAndSetSelectionCommand::CommandAndSetSelectionCommand(Kernel::Counted<DocumentCommand> command,
                                                             Kernel::Counted<Selection const> selection,
                                                             CurrentSpreadEnsureVisible ensureVisible)
    : CommandAndSetSelectionCommand() {
    AppendCommand(std::move(command));
    AppendCommand(
        Kernel::MakeCounted<SetCurrentSelectionCommand>(std::move(selection), false, false, false, ensureVisible));
}

Kernel::LocalisedString CommandAndSetSelectionCommand::GetDescription() const {
    return m_commands.IsEmpty() ? CompoundCommand::GetDescription() : m_commands.Get().front()->GetDescription();
}

Kernel::Counted<DocumentCommand> CommandAndSetSelectionCommand::Clone() const {
    if (WillAddChildNodes())
        return {};
    Kernel::Counted<CommandAndSetSelectionCommand> const clone(new CommandAndSetSelectionCommand);
    clone->m_commands = m_commands.Clone();
    if (clone->m_commands.IsEmpty())
        return {};
    return clone;
}

Kernel::Counted<Kernel::Serialisable> CommandAndSetSelectionCommand::CreateObject() {
    return Kernel::Counted<Kernel::Serialisable>(new CommandAndSetSelectionCommand);
}
