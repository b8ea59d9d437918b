// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/document/new_selection_notification.h"

// For commands that set the document's selection: the selection before and after. A command lists the two members among
// its fields, with the tags and in the order of its stored form.
class SelectionChange {
protected:
    // Keeps the document's selection as the old one and sets the new one.
    void SetNewSelection(DocumentController& controller, Kernel::Counted<Selection const> selection) {
        m_oldSelection = controller.GetCurrentSelection();
        m_newSelection = std::move(selection);
        controller.SetSelection(m_newSelection, false);
    }
    // Both do nothing for a command that set no selection, as a preview that found nothing to do.
    void UndoSelection(DocumentController& controller) const { SetIfChanged(controller, m_oldSelection); }
    void RedoSelection(DocumentController& controller) const { SetIfChanged(controller, m_newSelection); }
    // That the selection is another one, by what the command did last.
    void NotifySelection(DocumentCommand const& command, Kernel::NotificationList& notifications) const {
        bool const undone = command.GetDirection() == DomainCommand::Direction::Undo;
        notifications.push_back(Kernel::MakeCounted<NewSelectionNotification>(
            undone ? m_oldSelection : m_newSelection, undone ? m_newSelection : m_oldSelection,
            command.GetDocumentController(), command.IsPreview()));
    }

    Kernel::Counted<Selection const> m_newSelection, m_oldSelection;

private:
    void SetIfChanged(DocumentController& controller, Kernel::Counted<Selection const> const& selection) const {
        if (m_newSelection || m_oldSelection)
            controller.SetSelection(selection, false);
    }
};
