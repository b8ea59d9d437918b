// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/delete_symbol_command.h"

#include "frame/contract/notifications.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"

namespace Commands {

void DeleteSymbolCommand::Do() {
    SetDirection(Direction::Do);
    if (!m_symbol)
        throw Kernel::Exception("there is no symbol to delete");
    int const count = m_documentController->GetSymbolCount();
    for (int index = 0; index != count; ++index) {
        if (m_documentController->GetSymbolAtIndex(index) != m_symbol)
            continue;
        m_index = index;
        m_documentController->RemoveSymbolAtIndex(index);
        break;
    }
    auto const instances = m_symbol->GetLinkedNodes();
    if (instances.empty())
        return;
    MutableSelection selection(MutableSelection::DuplicateStrategy::Skip);
    for (auto const& instance : instances)
        selection.AddSelectable(instance, false);
    m_detachCommand =
        Kernel::MakeCounted<DetachSymbolCommand>(selection.CloneImmutable(), true, UnlinkRecurse::Instance, false);
    m_detachCommand->PostDequeueWithMutableController(m_documentController);
    m_detachCommand->Do();
}

// The symbol goes back first, so that links can refer to it.
void DeleteSymbolCommand::Undo() {
    SetDirection(Direction::Undo);
    if (m_index != -1)
        m_documentController->InsertSymbolAtIndex(m_symbol, m_index);
    if (m_detachCommand)
        m_detachCommand->Undo();
}

void DeleteSymbolCommand::Redo() {
    SetDirection(Direction::Redo);
    if (m_index != -1)
        m_documentController->RemoveSymbolAtIndex(m_index);
    if (m_detachCommand)
        m_detachCommand->Redo();
}

void DeleteSymbolCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    notifications.push_back(Kernel::MakeCounted<SymbolsChangedNotification>(GetDocumentController()));
    if (m_detachCommand)
        m_detachCommand->Notify(notifications);
}

// Required: the detach command taken over is a clone that has not run; its Undo finds nothing to put back.
bool DeleteSymbolCommand::Merge(Kernel::Counted<Command const> newer) {
    if (!m_preview)
        return false;
    auto const other = Kernel::Cast<DeleteSymbolCommand const>(newer);
    if (!other)
        return false;
    m_index = other->m_index;
    m_symbol = other->m_symbol;
    m_detachCommand = other->m_detachCommand ? Kernel::Cast<DetachSymbolCommand>(other->m_detachCommand->Clone())
                                             : Kernel::Counted<DetachSymbolCommand>();
    return true;
}

void DeleteSymbolCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    if (m_detachCommand)
        m_detachCommand->PostLoad(controller);
    DocumentCommand::PostLoad(controller);
}

void DeleteSymbolCommand::PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) {
    DocumentCommand::PostDequeueWithMutableController(controller);
    if (m_detachCommand)
        m_detachCommand->PostDequeueWithMutableController(controller);
}

} // namespace Commands
