// SPDX-License-Identifier: Apache-2.0
#include "lines/set_scale_line_style_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/line_documents.h"

namespace Commands {

namespace {

ExampleRegistration const s_setScaleLineExample({
    .className = "SetScaleLineStyleCommand",
    .prepare = ExampleDocuments::Lines,
    .make =
        [](auto&) {
            return Kernel::MakeCounted<SetScaleLineStyleCommand>(false, ContentType::Object, false, true,
                                                                 LineCommandDefaultsMode::SelectionOnly,
                                                                 Kernel::Counted<Selection const>());
        },
});

} // namespace

} // namespace Commands
