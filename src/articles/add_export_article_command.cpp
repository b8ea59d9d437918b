// SPDX-License-Identifier: Apache-2.0
#include "articles/add_export_article_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/edit_journal.h"

namespace Commands {

void AddExportArticleCommand::Do() {
    auto const controller = Begin(Direction::Do);
    if (m_articleIndex == -1)
        m_articleIndex = Helpers::GetHighestArticleNumber(controller) + 1;
    Helpers::RenumberArticles(controller, m_articleIndex, 1);
    m_article = Kernel::MakeCounted<ExportArticle>();
    controller->GetDocument()->SetArticle(m_articleIndex, m_article);
    End(controller);
}

void AddExportArticleCommand::Undo() {
    auto const controller = Begin(Direction::Undo);
    controller->GetDocument()->SetArticle(m_articleIndex, {});
    Helpers::RenumberArticles(controller, m_articleIndex, -1);
    End(controller);
}

void AddExportArticleCommand::Redo() {
    auto const controller = Begin(Direction::Redo);
    Helpers::RenumberArticles(controller, m_articleIndex, 1);
    if (!m_article) {
        EditJournal::NoteValue(*this, m_article);
        m_article = Kernel::MakeCounted<ExportArticle>();
    }
    controller->GetDocument()->SetArticle(m_articleIndex, m_article);
    End(controller);
}

void AddExportArticleCommand::Notify(Kernel::NotificationList& notifications) {
    if (GetDirection() != Direction::Do)
        return NotifyOfArticles(*this, notifications);
    notifications.push_back(Kernel::MakeCounted<ExportArticlesChangedNotification>(
        GetDocumentController(), false, Kernel::MakeCounted<ExportArticleCollector>(m_article)));
}

} // namespace Commands
