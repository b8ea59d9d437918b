// SPDX-License-Identifier: Apache-2.0
#include "publishing/remove_css_file_command.h"

#include "frame/contract/notifications.h"

namespace Commands {

// Which file it is, is read once the document has let it go: a place that does not exist is refused there.
void RemoveCssFileCommand::Run(Direction direction) {
    auto const document = m_documentController->GetDocument();
    if (direction == Direction::Undo)
        return document->AddCssFile(m_cssFile, m_index);
    auto const files = document->GetCssFiles();
    document->RemoveCssFile(m_index);
    if (direction == Direction::Do)
        m_cssFile = files[static_cast<std::size_t>(m_index)];
}

void RemoveCssFileCommand::Notify(Kernel::NotificationList& notifications) {
    notifications.push_back(Kernel::MakeCounted<CSSFilesChangedNotification>(GetDocumentController()));
}

} // namespace Commands
