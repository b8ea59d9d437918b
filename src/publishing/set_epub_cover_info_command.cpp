// SPDX-License-Identifier: Apache-2.0
#include "publishing/set_epub_cover_info_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/document_controller.h"

namespace Commands {

Kernel::LocalisedString SetEPubCoverInfoCommand::GetDescription() const {
    return Kernel::LocalisedString("Set EPub cover info", "Command description");
}

void SetEPubCoverInfoCommand::Do() {
    SetDirection(Direction::Do);
    m_oldInfo = m_documentController->GetDocument()->GetEPubCoverInfo();
    m_documentController->GetDocument()->SetEPubCoverInfo(m_info);
}

void SetEPubCoverInfoCommand::Undo() {
    SetDirection(Direction::Undo);
    m_documentController->GetDocument()->SetEPubCoverInfo(m_oldInfo);
}

void SetEPubCoverInfoCommand::Redo() {
    SetDirection(Direction::Redo);
    m_documentController->GetDocument()->SetEPubCoverInfo(m_info);
}

void SetEPubCoverInfoCommand::Notify(Kernel::NotificationList& notifications) {
    notifications.push_back(
        Kernel::MakeCounted<Notifications::EPubCoverInfoChangedNotification>(GetDocumentController()));
}

Kernel::Counted<DocumentCommand> SetEPubCoverInfoCommand::Clone() const {
    return Kernel::MakeCounted<SetEPubCoverInfoCommand>(m_info);
}

} // namespace Commands
