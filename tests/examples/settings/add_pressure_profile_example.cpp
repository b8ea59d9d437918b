// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/add_pressure_profile_command.h"
#include "tests/examples/command_example.h"

namespace Commands {

static ExampleRegistration const s_addPressureProfileExample({
    .className = "AddPressureProfileCommand",
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        auto const profile = Kernel::MakeCounted<Geometry::CurveDbl>();
        profile->MoveTo({0, 0});
        profile->CubicTo({0.3, 1}, {0.7, 1}, {1, 0.2});
        return Kernel::MakeCounted<AddPressureProfileCommand>(profile);
    },
    .untold = {CommandExample::Untold::Setting},
});

} // namespace Commands
