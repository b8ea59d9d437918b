// SPDX-License-Identifier: Apache-2.0
#include "shapes/fill_holes_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/shape_documents.h"

namespace Commands {

static ExampleRegistration const s_fillHolesExample({
    .className = "FillHolesCommand",
    .prepare = ExampleDocuments::ShapesWithHoles,
    .make = Constructs<FillHolesCommand>(),
    .keptOnAbort = "The shapes that were rebuilt before the abort stay as they are then.",
    // Required: shapes that keep their node fall out of the selection, which is what is told.
    .untold = {CommandExample::Untold::NodeData},
});

static ExampleRegistration const s_fillHolesLinesExample({
    .className = "FillHolesCommand",
    .prepare = ExampleDocuments::ShapesWithHoles,
    .make = Constructs<FillHolesCommand>(true),
    .keptOnAbort = "The shapes that were rebuilt before the abort stay as they are then.",
    // Required: shapes that keep their node fall out of the selection, which is what is told.
    .untold = {CommandExample::Untold::NodeData},
});

} // namespace Commands
