// SPDX-License-Identifier: Apache-2.0
#include "raster/inflate_untrusted_raster_nodes_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/raster_documents.h"

namespace Commands {

static ExampleRegistration const s_inflateUntrustedRasterNodesExample({
    .className = "InflateUntrustedRasterNodesCommand",
    .prepare = ExampleDocuments::TwoLayers,
    .make = [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<InflateUntrustedRasterNodesCommand>(controller.GetCurrentSelection());
    },
});

} // namespace Commands
