// SPDX-License-Identifier: Apache-2.0
#include "text/rename_custom_field_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/custom_field_source.h"
#include "platform/document/document_controller.h"
#include "platform/kernel/cast.h"

namespace Commands {

Kernel::LocalisedString RenameCustomFieldCommand::GetDescription() const {
    return Kernel::LocalisedString("Rename Custom Field", "Command description");
}

void RenameCustomFieldCommand::Do() {
    SetDirection(Direction::Do);
    auto& source = m_documentController->GetDocument()->GetCustomFieldSource();
    m_oldName = source.GetFieldName(m_guid);
    source.SetFieldName(m_guid, m_name);
}

void RenameCustomFieldCommand::Undo() {
    SetDirection(Direction::Undo);
    m_documentController->GetDocument()->GetCustomFieldSource().SetFieldName(m_guid, m_oldName);
}

void RenameCustomFieldCommand::Redo() {
    SetDirection(Direction::Redo);
    m_documentController->GetDocument()->GetCustomFieldSource().SetFieldName(m_guid, m_name);
}

void RenameCustomFieldCommand::Notify(Kernel::NotificationList& notifications) {
    notifications.push_back(Kernel::MakeCounted<AvailableFieldsChangedNotification>(GetDocumentController(), false));
}

bool RenameCustomFieldCommand::Merge(Kernel::Counted<Command const> newer) {
    auto const other = Kernel::Cast<RenameCustomFieldCommand const>(newer);
    if (!other || other->m_guid != m_guid)
        return false;
    m_name = other->m_name;
    return true;
}

Kernel::Counted<DocumentCommand> RenameCustomFieldCommand::Clone() const {
    return Kernel::MakeCounted<RenameCustomFieldCommand>(m_guid, m_name);
}

} // namespace Commands
