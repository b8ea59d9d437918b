// SPDX-License-Identifier: Apache-2.0
#include "frame/view/flip_canvas_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/example_documents.h"

namespace Commands {

static ExampleRegistration const s_flipCanvasExample({
    .className = "FlipCanvasCommand",
    .prepare = ExampleDocuments::NestedGroups,
    .make = [](auto&) { return Kernel::MakeCounted<FlipCanvasCommand>(true); },
    .tellsWholeDocument = true,
});

} // namespace Commands
