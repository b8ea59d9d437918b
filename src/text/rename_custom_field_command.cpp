// SPDX-License-Identifier: Apache-2.0
#include "text/rename_custom_field_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/custom_field_source.h"

namespace Commands {

Kernel::String RenameCustomFieldCommand::Read() {
    return m_documentController->GetDocument()->GetCustomFieldSource().GetFieldName(m_guid);
}

void RenameCustomFieldCommand::Write(Kernel::String const& name) {
    m_documentController->GetDocument()->GetCustomFieldSource().SetFieldName(m_guid, name);
}

void RenameCustomFieldCommand::Notify(Kernel::NotificationList& notifications) {
    notifications.push_back(Kernel::MakeCounted<AvailableFieldsChangedNotification>(GetDocumentController(), false));
}

} // namespace Commands
