// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/set_guides_fill_command.h"

#include "frame/contract/notifications.h"

namespace Commands {

// Required: the defaults keep the command's colour after Undo, and Redo does not set them again.
void SetGuidesFillCommand::Run(Direction direction) {
    auto const document = m_documentController->GetDocument();
    if (direction == Direction::Do)
        m_oldFill = document->GetGuidesFill();
    document->SetGuidesFill(direction == Direction::Undo ? m_oldFill : m_newFill);
    if (direction == Direction::Do)
        m_documentController->GetDocumentDefaults()->SetGuidesFillDescriptor(m_newFill);
}

void SetGuidesFillCommand::Notify(Kernel::NotificationList& notifications) {
    notifications.push_back(Kernel::MakeCounted<UIColoursChangedNotification>());
    notifications.push_back(Kernel::MakeCounted<GuidesChangedNotification>(GetDocumentController(), m_preview));
}

} // namespace Commands
