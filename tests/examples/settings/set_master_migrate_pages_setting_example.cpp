// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/set_master_migrate_pages_setting_command.h"
#include "tests/examples/command_example.h"

namespace Commands {

static ExampleRegistration const s_setMasterMigratePagesSettingExample({
    .className = "SetMasterMigratePagesSettingCommand",
    .make =
        [](auto&) { return Kernel::MakeCounted<SetMasterMigratePagesSettingCommand>(MasterMigrationStrategy::Drop); },
    .keptByContract = SetMasterMigratePagesSettingCommand::c_keptByUndo,
    .untold = {CommandExample::Untold::Setting},
});

} // namespace Commands
