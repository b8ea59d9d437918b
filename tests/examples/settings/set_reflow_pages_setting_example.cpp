// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/set_reflow_pages_setting_command.h"
#include "tests/examples/command_example.h"

namespace Commands {

static ExampleRegistration const s_setReflowPagesSettingExample({
    .className = "SetReflowPagesSettingCommand",
    .prepare =
        [](DocumentController& controller) {
            auto const spread = controller.GetCurrentSpread();
            spread->AddPage(Kernel::MakeCounted<PageNode>(Kernel::RectT<double>{900, 50, 1200, 450}));
        },
    .make = [](auto&) { return Kernel::MakeCounted<SetReflowPagesSettingCommand>(true); },
});

} // namespace Commands
