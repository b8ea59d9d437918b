// SPDX-License-Identifier: Apache-2.0
#include "publishing/add_css_file_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/document_controller.h"

namespace Commands {

Kernel::LocalisedString AddCssFileCommand::GetDescription() const {
    return Kernel::LocalisedString("Add CSS File", "Command description");
}

void AddCssFileCommand::Do() {
    SetDirection(Direction::Do);
    m_documentController->GetDocument()->AddCssFile(m_cssFile, -1);
}

void AddCssFileCommand::Undo() {
    SetDirection(Direction::Undo);
    m_documentController->GetDocument()->RemoveCssFile(m_cssFile);
}

void AddCssFileCommand::Redo() {
    SetDirection(Direction::Redo);
    m_documentController->GetDocument()->AddCssFile(m_cssFile, -1);
}

void AddCssFileCommand::Notify(Kernel::NotificationList& notifications) {
    notifications.push_back(Kernel::MakeCounted<CSSFilesChangedNotification>(GetDocumentController()));
}

Kernel::Counted<DocumentCommand> AddCssFileCommand::Clone() const {
    return Kernel::MakeCounted<AddCssFileCommand>(m_cssFile);
}

} // namespace Commands
