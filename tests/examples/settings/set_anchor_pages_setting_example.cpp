// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/set_anchor_pages_setting_command.h"
#include "tests/examples/command_example.h"

namespace Commands {

static ExampleRegistration const s_setAnchorPagesSettingExample({
    .className = "SetAnchorPagesSettingCommand",
    .make = [](auto&) { return Kernel::MakeCounted<SetAnchorPagesSettingCommand>(false); },
    .keptByContract = SetAnchorPagesSettingCommand::c_keptByUndo,
    .untold = {CommandExample::Untold::Setting},
});

} // namespace Commands
