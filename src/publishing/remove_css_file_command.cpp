// SPDX-License-Identifier: Apache-2.0
#include "publishing/remove_css_file_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/document_controller.h"

namespace Commands {

Kernel::LocalisedString RemoveCssFileCommand::GetDescription() const {
    return Kernel::LocalisedString("Remove CSS File", "Command description");
}

// Which file it is, is read once the document has let it go: a place that does not exist is refused there.
void RemoveCssFileCommand::Do() {
    SetDirection(Direction::Do);
    auto const document = m_documentController->GetDocument();
    auto const files = document->GetCssFiles();
    document->RemoveCssFile(m_index);
    m_cssFile = files[static_cast<std::size_t>(m_index)];
}

void RemoveCssFileCommand::Undo() {
    SetDirection(Direction::Undo);
    m_documentController->GetDocument()->AddCssFile(m_cssFile, m_index);
}

void RemoveCssFileCommand::Redo() {
    SetDirection(Direction::Redo);
    m_documentController->GetDocument()->RemoveCssFile(m_index);
}

void RemoveCssFileCommand::Notify(Kernel::NotificationList& notifications) {
    notifications.push_back(Kernel::MakeCounted<CSSFilesChangedNotification>(GetDocumentController()));
}

Kernel::Counted<DocumentCommand> RemoveCssFileCommand::Clone() const {
    return Kernel::MakeCounted<RemoveCssFileCommand>(m_index);
}

} // namespace Commands
