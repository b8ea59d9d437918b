// SPDX-License-Identifier: Apache-2.0
#include "raster/raster_polar_to_rectangular_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/raster_documents.h"

namespace Commands {

static ExampleRegistration const s_rasterPolarToRectangularExample({
    .className = "RasterPolarToRectangularCommand",
    .prepare = ExampleDocuments::SelectedPixels,
    .make = [](auto&) { return Kernel::MakeCounted<RasterPolarToRectangularCommand>(); },
    .untold = {CommandExample::Untold::NodeData},
});

static ExampleRegistration const s_rasterPolarToRectangularLayersExample({
    .className = "RasterPolarToRectangularCommand",
    .prepare = ExampleDocuments::RasterLayers,
    .make = [](auto&) { return Kernel::MakeCounted<RasterPolarToRectangularCommand>(); },
    .untold = {CommandExample::Untold::NodeData},
});

} // namespace Commands
