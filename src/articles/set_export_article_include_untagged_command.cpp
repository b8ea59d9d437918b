// SPDX-License-Identifier: Apache-2.0
#include "articles/set_export_article_include_untagged_command.h"

#include "articles/article_command.h"

namespace Commands {

Kernel::LocalisedString SetExportArticleIncludeUntaggedCommand::GetDescription() const {
    return m_include ? Kernel::LocalisedString("Include in Reading Order", "Command Description")
                     : Kernel::LocalisedString("Exclude from Reading Order", "Command Description");
}

void SetExportArticleIncludeUntaggedCommand::ReceiveInterface(Kernel::NonCounted<ExportTaggingInterface> object) {
    switch (m_direction) {
    case Direction::Do:
        m_oldInclude = object->IsIncludeUntagged();
        object->SetIncludeUntagged(m_include);
        break;
    case Direction::Undo:
        object->SetIncludeUntagged(m_oldInclude);
        break;
    case Direction::Redo:
        object->SetIncludeUntagged(m_include);
        break;
    case Direction::Teardown:
        break;
    }
    bool flag = false;
    Kernel::Counted<DocumentController> const controller = m_documentController;
    if (controller)
        controller->UpdateExportArticles(flag);
}

void SetExportArticleIncludeUntaggedCommand::Notify(Kernel::NotificationList& notifications) {
    NotifyOfArticles(*this, notifications);
}

} // namespace Commands
