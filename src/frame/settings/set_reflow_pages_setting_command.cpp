// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/set_reflow_pages_setting_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/reflow_pages_command.h"

namespace Commands {

void SetReflowPagesSettingCommand::Do() {
    SetDirection(Direction::Do);
    m_oldValue = m_documentController->GetShouldReflowPages();
    m_documentController->SetShouldReflowPages(m_newValue);
    if (m_newValue)
        AddAndDoCommand(Kernel::MakeCounted<ReflowPagesCommand>(0));
}

// The reflow is undone while the setting is still on.
void SetReflowPagesSettingCommand::Undo() {
    CompoundCommand::Undo();
    m_documentController->SetShouldReflowPages(m_oldValue);
}

void SetReflowPagesSettingCommand::Redo() {
    SetDirection(Direction::Redo);
    m_documentController->SetShouldReflowPages(m_newValue);
    CompoundCommand::Redo();
}

void SetReflowPagesSettingCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    notifications.push_back(Kernel::MakeCounted<ReflowPagesSettingChangedNotification>(GetDocumentController()));
    CompoundCommand::Notify(notifications);
}

Kernel::Counted<DocumentCommand> SetReflowPagesSettingCommand::Clone() const {
    return Kernel::MakeCounted<SetReflowPagesSettingCommand>(m_newValue);
}

} // namespace Commands
