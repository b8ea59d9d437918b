// SPDX-License-Identifier: Apache-2.0
#include "platform/document/set_data_merge_preview_command.h"

#include "platform/document/document_controller.h"

SetDataMergePreviewCommand::SetDataMergePreviewCommand() = default;
SetDataMergePreviewCommand::SetDataMergePreviewCommand(Kernel::JailCounted<DataMergeSource> source, bool enabled,
                                                       int row)
    : m_source(std::move(source)), m_enabled(enabled), m_row(row) {}
SetDataMergePreviewCommand::~SetDataMergePreviewCommand() = default;

Kernel::Counted<SetDataMergePreviewCommand>
SetDataMergePreviewCommand::MakeForceUpdatePreviewCommand(Kernel::JailCounted<DataMergeSource> source) {
    bool const enabled = source && source->IsPreviewEnabled();
    return Kernel::MakeCounted<SetDataMergePreviewCommand>(std::move(source), enabled, -1);
}

Kernel::LocalisedString SetDataMergePreviewCommand::GetDescription() const {
    return Kernel::LocalisedString("Set data merge preview", "Command description");
}

void SetDataMergePreviewCommand::NoteBeforeChange() {
    if (m_source)
        m_areas.Begin(*m_documentController->GetDocument(), *m_source);
}

void SetDataMergePreviewCommand::Show(bool enabled, std::int64_t row) {
    if (!m_source)
        return;
    m_areas.Around(*m_documentController->GetDocument(), *m_source, [&] {
        if (m_source->IsPreviewEnabled() != enabled)
            m_source->SetPreviewEnabled(enabled);
        if (row >= 0 && m_source->GetPreviewRow() != row)
            m_source->SetPreviewRow(static_cast<unsigned>(row));
        m_source->UpdatePreview();
    });
}

void SetDataMergePreviewCommand::Do() {
    SetDirection(Direction::Do);
    if (m_source) {
        m_oldEnabled = m_source->IsPreviewEnabled();
        m_oldRow = m_source->GetPreviewRow();
    }
    Show(m_enabled, m_row);
}

void SetDataMergePreviewCommand::Undo() {
    SetDirection(Direction::Undo);
    Show(m_oldEnabled, m_oldRow);
}

void SetDataMergePreviewCommand::Redo() {
    SetDirection(Direction::Redo);
    Show(m_enabled, m_row);
}

bool SetDataMergePreviewCommand::ShouldStackForUndo() const {
    return m_enabled != m_oldEnabled || (m_row >= 0 && static_cast<std::uint32_t>(m_row) != m_oldRow);
}

void SetDataMergePreviewCommand::Notify(Kernel::NotificationList& notifications) {
    m_areas.Notify(notifications, GetDocumentController(), m_preview);
}

Kernel::Counted<DocumentCommand> SetDataMergePreviewCommand::Clone() const {
    return Kernel::MakeCounted<SetDataMergePreviewCommand>(m_source, m_enabled, static_cast<int>(m_row));
}
