// SPDX-License-Identifier: Apache-2.0
#include "raster/raster_web_safe_dither_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/raster_documents.h"

namespace Commands {

static ExampleRegistration const s_rasterWebSafeDitherExample({
    .className = "RasterWebSafeDitherCommand",
    .prepare = ExampleDocuments::SelectedPixels,
    .make = [](auto&) { return Kernel::MakeCounted<RasterWebSafeDitherCommand>(); },
    .untold = {CommandExample::Untold::NodeData},
});

static ExampleRegistration const s_rasterWebSafeDitherLayersExample({
    .className = "RasterWebSafeDitherCommand",
    .prepare = ExampleDocuments::RasterLayers,
    .make = [](auto&) { return Kernel::MakeCounted<RasterWebSafeDitherCommand>(); },
    .untold = {CommandExample::Untold::NodeData},
});

} // namespace Commands
