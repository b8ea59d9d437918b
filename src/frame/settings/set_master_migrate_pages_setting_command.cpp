// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/set_master_migrate_pages_setting_command.h"

#include "platform/document/document_controller.h"

namespace Commands {

Kernel::LocalisedString SetMasterMigratePagesSettingCommand::GetDescription() const {
    return Kernel::LocalisedString("Set Master Migrate", "Command description");
}

void SetMasterMigratePagesSettingCommand::Do() {
    SetDirection(Direction::Do);
    m_documentController->GetPageManagementOptions()->SetMasterMigrationStrategy(m_strategy);
}

} // namespace Commands
