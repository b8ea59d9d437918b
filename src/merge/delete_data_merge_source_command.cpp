// SPDX-License-Identifier: Apache-2.0
#include "merge/delete_data_merge_source_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/document_controller.h"
#include "platform/document/inner_commands.h"
#include "platform/kernel/exception.h"

#include <algorithm>

namespace Commands {

void DeleteDataMergeSourceCommand::Do() {
    SetDirection(Direction::Do);
    auto& sources = m_documentController->GetDocument()->GetDataMergeSettings();
    auto const position = std::ranges::find(sources, m_source) - sources.begin();
    if (static_cast<std::size_t>(position) == sources.size())
        return;
    m_updatePreviewCommand = Kernel::MakeCounted<SetDataMergePreviewCommand>(m_source, false, -1);
    InnerCommands::DoOne(*this, *m_updatePreviewCommand);
    m_oldIndex = static_cast<std::uint32_t>(position);
    sources.erase(sources.begin() + position);
}

// Whether there is a preview command tells whether Do found the source.
void DeleteDataMergeSourceCommand::Undo() {
    SetDirection(Direction::Undo);
    if (!m_updatePreviewCommand)
        return;
    auto& sources = m_documentController->GetDocument()->GetDataMergeSettings();
    if (!m_source || std::ranges::find(sources, m_source) != sources.end())
        throw Kernel::Exception(m_source ? "the document has the source already" : "the source to put back is missing");
    sources.insert(sources.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(m_oldIndex, sources.size())),
                   m_source);
    UndoUpdatePreview(m_updatePreviewCommand);
}

void DeleteDataMergeSourceCommand::Redo() {
    SetDirection(Direction::Redo);
    if (!m_updatePreviewCommand)
        return;
    m_updatePreviewCommand->NoteBeforeChange();
    auto& sources = m_documentController->GetDocument()->GetDataMergeSettings();
    std::erase(sources, m_source);
    RedoUpdatePreview(m_updatePreviewCommand);
}

void DeleteDataMergeSourceCommand::Notify(Kernel::NotificationList& notifications) {
    NotifyOfSource(*this, m_source, notifications);
    notifications.push_back(Kernel::MakeCounted<AvailableFieldsChangedNotification>(GetDocumentController(), false));
    NotifyOfUpdatePreview(*this, m_updatePreviewCommand, notifications);
}

} // namespace Commands
