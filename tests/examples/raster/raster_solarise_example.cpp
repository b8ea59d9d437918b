// SPDX-License-Identifier: Apache-2.0
#include "raster/raster_solarise_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/raster_documents.h"

namespace Commands {

static ExampleRegistration const s_rasterSolariseExample({
    .className = "RasterSolariseCommand",
    .prepare = ExampleDocuments::SelectedPixels,
    .make = [](auto&) { return Kernel::MakeCounted<RasterSolariseCommand>(); },
    .untold = {CommandExample::Untold::NodeData},
});

static ExampleRegistration const s_rasterSolariseLayersExample({
    .className = "RasterSolariseCommand",
    .prepare = ExampleDocuments::RasterLayers,
    .make = [](auto&) { return Kernel::MakeCounted<RasterSolariseCommand>(); },
    .untold = {CommandExample::Untold::NodeData},
});

} // namespace Commands
