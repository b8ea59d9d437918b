// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/set_guides_fill_command.h"

#include "frame/contract/notifications.h"

namespace Commands {

Kernel::LocalisedString SetGuidesFillCommand::GetDescription() const {
    return Kernel::LocalisedString("Set Guides Colour", "Command Description");
}

void SetGuidesFillCommand::Do() {
    SetDirection(Direction::Do);
    m_oldFill = m_documentController->GetDocument()->GetGuidesFill();
    m_documentController->GetDocument()->SetGuidesFill(m_newFill);
    m_documentController->GetDocumentDefaults()->SetGuidesFillDescriptor(m_newFill);
}

// Required: the defaults keep the command's colour after Undo, and Redo does not set them again.
void SetGuidesFillCommand::Undo() {
    SetDirection(Direction::Undo);
    m_documentController->GetDocument()->SetGuidesFill(m_oldFill);
}

void SetGuidesFillCommand::Redo() {
    SetDirection(Direction::Redo);
    m_documentController->GetDocument()->SetGuidesFill(m_newFill);
}

void SetGuidesFillCommand::Notify(Kernel::NotificationList& notifications) {
    notifications.push_back(Kernel::MakeCounted<UIColoursChangedNotification>());
    notifications.push_back(Kernel::MakeCounted<GuidesChangedNotification>(GetDocumentController(), m_preview));
}

Kernel::Counted<DocumentCommand> SetGuidesFillCommand::Clone() const {
    return Kernel::MakeCounted<SetGuidesFillCommand>(m_newFill);
}

} // namespace Commands
