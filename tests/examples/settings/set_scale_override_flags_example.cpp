// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/set_scale_override_flags_command.h"
#include "tests/examples/command_example.h"

namespace Commands {

static ExampleRegistration const s_setScaleOverrideFlagsFlagsExample({
    .className = "SetScaleOverrideFlagsCommand",
    .make = [](auto&) { return Kernel::MakeCounted<SetScaleOverrideFlagsCommand>(5); },
});

static ExampleRegistration const s_setScaleOverrideFlagsToggleExample({
    .className = "SetScaleOverrideFlagsCommand",
    .make = [](auto&) { return Kernel::MakeCounted<SetScaleOverrideFlagsCommand>(true); },
});

} // namespace Commands
