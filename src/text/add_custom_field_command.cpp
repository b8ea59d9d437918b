// SPDX-License-Identifier: Apache-2.0
#include "text/add_custom_field_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/custom_field_source.h"
#include "platform/document/document_controller.h"
#include "platform/document/text_commands.h"
#include "platform/kernel/cast.h"
#include "text/rename_custom_field_command.h"

namespace Commands {

void AddCustomFieldCommand::Do() {
    SetDirection(Direction::Do);
    m_documentController->GetDocument()->GetCustomFieldSource().AddField(m_guid, m_name, m_value);
}

void AddCustomFieldCommand::Undo() {
    SetDirection(Direction::Undo);
    m_documentController->GetDocument()->GetCustomFieldSource().DeleteField(m_guid);
}

void AddCustomFieldCommand::Redo() {
    SetDirection(Direction::Redo);
    m_documentController->GetDocument()->GetCustomFieldSource().AddField(m_guid, m_name, m_value);
}

void AddCustomFieldCommand::Notify(Kernel::NotificationList& notifications) {
    notifications.push_back(Kernel::MakeCounted<AvailableFieldsChangedNotification>(GetDocumentController(), true));
}

bool AddCustomFieldCommand::TakeOver(Kernel::Counted<Command const> const& newer, Kernel::String const& guid,
                                     Kernel::String& name, Kernel::String& value) {
    if (auto const rename = Kernel::Cast<RenameCustomFieldCommand const>(newer); rename && rename->GetGuid() == guid) {
        name = rename->GetName();
        return true;
    }
    if (auto const set = Kernel::Cast<SetCustomFieldValueCommand const>(newer); set && set->GetGuid() == guid) {
        value = set->GetValue();
        return true;
    }
    return false;
}

bool AddCustomFieldCommand::Merge(Kernel::Counted<Command const> newer) {
    return TakeOver(newer, m_guid, m_name, m_value);
}

} // namespace Commands
