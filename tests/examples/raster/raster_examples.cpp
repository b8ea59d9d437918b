// SPDX-License-Identifier: Apache-2.0
#include "raster/inflate_untrusted_raster_nodes_command.h"
#include "raster/raster_polar_to_rectangular_command.h"
#include "raster/raster_rectangular_to_polar_command.h"
#include "raster/raster_solarise_command.h"
#include "raster/raster_web_safe_dither_command.h"
#include "raster/replace_bitmap_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/raster_documents.h"

namespace Commands {

namespace {

ExampleRegistration const s_rasterPolarToRectangularExample({
    .className = "RasterPolarToRectangularCommand",
    .prepare = ExampleDocuments::SelectedPixels,
    .make = Constructs<RasterPolarToRectangularCommand>(),
    .untold = {CommandExample::Untold::NodeData},
});

ExampleRegistration const s_rasterPolarToRectangularLayersExample({
    .className = "RasterPolarToRectangularCommand",
    .prepare = ExampleDocuments::RasterLayers,
    .make = Constructs<RasterPolarToRectangularCommand>(),
    .untold = {CommandExample::Untold::NodeData},
});

ExampleRegistration const s_rasterRectangularToPolarExample({
    .className = "RasterRectangularToPolarCommand",
    .prepare = ExampleDocuments::SelectedPixels,
    .make = Constructs<RasterRectangularToPolarCommand>(),
    .untold = {CommandExample::Untold::NodeData},
});

ExampleRegistration const s_rasterRectangularToPolarLayersExample({
    .className = "RasterRectangularToPolarCommand",
    .prepare = ExampleDocuments::RasterLayers,
    .make = Constructs<RasterRectangularToPolarCommand>(),
    .untold = {CommandExample::Untold::NodeData},
});

ExampleRegistration const s_rasterSolariseExample({
    .className = "RasterSolariseCommand",
    .prepare = ExampleDocuments::SelectedPixels,
    .make = Constructs<RasterSolariseCommand>(),
    .untold = {CommandExample::Untold::NodeData},
});

ExampleRegistration const s_rasterSolariseLayersExample({
    .className = "RasterSolariseCommand",
    .prepare = ExampleDocuments::RasterLayers,
    .make = Constructs<RasterSolariseCommand>(),
    .untold = {CommandExample::Untold::NodeData},
});

ExampleRegistration const s_rasterWebSafeDitherExample({
    .className = "RasterWebSafeDitherCommand",
    .prepare = ExampleDocuments::SelectedPixels,
    .make = Constructs<RasterWebSafeDitherCommand>(),
    .untold = {CommandExample::Untold::NodeData},
});

ExampleRegistration const s_rasterWebSafeDitherLayersExample({
    .className = "RasterWebSafeDitherCommand",
    .prepare = ExampleDocuments::RasterLayers,
    .make = Constructs<RasterWebSafeDitherCommand>(),
    .untold = {CommandExample::Untold::NodeData},
});

ExampleRegistration const s_inflateUntrustedRasterNodesExample({
    .className = "InflateUntrustedRasterNodesCommand",
    .prepare = ExampleDocuments::TwoLayers,
    .make = [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<InflateUntrustedRasterNodesCommand>(controller.GetCurrentSelection());
    },
});

ExampleRegistration const s_replaceBitmapExample({
    .className = "ReplaceBitmapCommand",
    .prepare = ExampleDocuments::TwoLayers,
    .make =
        [](auto&) {
            return Kernel::MakeCounted<ReplaceBitmapCommand>(ExampleDocuments::MakePicture(90, 40, Raster::FormatIA8),
                                                             Kernel::Counted<Selection const>());
        },
});

} // namespace

} // namespace Commands
