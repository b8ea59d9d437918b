// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/set_guides_fill_command.h"
#include "tests/examples/command_example.h"

namespace Commands {

static ExampleRegistration const s_setGuidesFillExample({
    .className = "SetGuidesFillCommand",
    .make =
        [](auto&) {
            return Kernel::MakeCounted<SetGuidesFillCommand>(
                Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromRGB(0.2, 0.6, 1.0)));
        },
    .keptByContract = SetGuidesFillCommand::c_keptByUndo,
});

} // namespace Commands
