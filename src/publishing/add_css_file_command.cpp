// SPDX-License-Identifier: Apache-2.0
#include "publishing/add_css_file_command.h"

#include "frame/contract/notifications.h"

namespace Commands {

void AddCssFileCommand::Run(Direction direction) {
    auto const document = m_documentController->GetDocument();
    if (direction == Direction::Undo)
        document->RemoveCssFile(m_cssFile);
    else
        document->AddCssFile(m_cssFile, -1);
}

void AddCssFileCommand::Notify(Kernel::NotificationList& notifications) {
    notifications.push_back(Kernel::MakeCounted<CSSFilesChangedNotification>(GetDocumentController()));
}

} // namespace Commands
