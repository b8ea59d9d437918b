// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/set_master_migrate_pages_setting_command.h"

#include "frame/example.h"
#include "platform/document/document_controller.h"

namespace Commands {

Kernel::LocalisedString SetMasterMigratePagesSettingCommand::GetDescription() const {
    return Kernel::LocalisedString("Set Master Migrate", "Command description");
}

void SetMasterMigratePagesSettingCommand::Do() {
    SetDirection(Direction::Do);
    m_documentController->GetPageManagementOptions()->SetMasterMigrationStrategy(m_strategy);
}

static ExampleRegistration const s_setMasterMigratePagesSettingExample({
    .className = "SetMasterMigratePagesSettingCommand",
    .prepare = [](DocumentController&) {},
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<SetMasterMigratePagesSettingCommand>(MasterMigrationStrategy::Drop);
    },
    .keptByContract = "The setting is outside the history and stays.",
    .untold = {CommandExample::Untold::Setting},
});

} // namespace Commands
