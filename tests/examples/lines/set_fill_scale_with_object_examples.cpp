// SPDX-License-Identifier: Apache-2.0
#include "lines/set_fill_scale_with_object_commands.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/line_documents.h"

namespace Commands {

namespace {

ExampleRegistration const s_setBrushScaleExample({
    .className = "SetBrushFillScaleWithObjectCommand",
    .prepare = ExampleDocuments::Lines,
    .make =
        [](auto&) {
            return Kernel::MakeCounted<SetBrushFillScaleWithObjectCommand>(false, Kernel::Counted<Selection const>());
        },
    // No pixel changes.
    .untold = {CommandExample::Untold::Area},
});

ExampleRegistration const s_setPenScaleExample({
    .className = "SetPenFillScaleWithObjectCommand",
    .prepare = ExampleDocuments::Lines,
    .make =
        [](auto&) {
            return Kernel::MakeCounted<SetPenFillScaleWithObjectCommand>(false, Kernel::Counted<Selection const>());
        },
    // No pixel changes.
    .untold = {CommandExample::Untold::Area},
});

} // namespace

} // namespace Commands
