// SPDX-License-Identifier: Apache-2.0
#include "articles/rename_export_article_command.h"

#include "frame/contract/notifications.h"
#include "platform/kernel/cast.h"

namespace Commands {

Kernel::LocalisedString RenameExportArticleCommand::GetDescription() const {
    return Kernel::LocalisedString("Rename Article", "Command Description");
}

void RenameExportArticleCommand::Do() {
    if (m_collector)
        m_oldName = m_collector->GetName();
    Put(Direction::Do, m_name);
}

void RenameExportArticleCommand::Undo() { Put(Direction::Undo, m_oldName); }
void RenameExportArticleCommand::Redo() { Put(Direction::Redo, m_name); }

void RenameExportArticleCommand::Put(Direction direction, Kernel::String const& name) {
    SetDirection(direction);
    if (m_collector)
        m_collector->SetName(name);
}

void RenameExportArticleCommand::Notify(Kernel::NotificationList& notifications) {
    notifications.push_back(Kernel::MakeCounted<ExportArticlesChangedNotification>(GetDocumentController(),
                                                                                   GetDirection() == Direction::Do));
}

bool RenameExportArticleCommand::Merge(Kernel::Counted<Command const> newer) {
    auto const other = Kernel::Cast<RenameExportArticleCommand const>(newer);
    if (!other || !m_collector || !m_collector->Matches(other->m_collector))
        return false;
    m_name = other->m_name;
    return true;
}

} // namespace Commands
