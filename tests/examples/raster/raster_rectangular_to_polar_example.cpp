// SPDX-License-Identifier: Apache-2.0
#include "raster/raster_rectangular_to_polar_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/raster_documents.h"

namespace Commands {

static ExampleRegistration const s_rasterRectangularToPolarExample({
    .className = "RasterRectangularToPolarCommand",
    .prepare = ExampleDocuments::SelectedPixels,
    .make = [](auto&) { return Kernel::MakeCounted<RasterRectangularToPolarCommand>(); },
    .untold = {CommandExample::Untold::NodeData},
});

static ExampleRegistration const s_rasterRectangularToPolarLayersExample({
    .className = "RasterRectangularToPolarCommand",
    .prepare = ExampleDocuments::RasterLayers,
    .make = [](auto&) { return Kernel::MakeCounted<RasterRectangularToPolarCommand>(); },
    .untold = {CommandExample::Untold::NodeData},
});

} // namespace Commands
