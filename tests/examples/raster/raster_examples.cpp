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

// Of an effect without arguments.
template <class T>
CommandExample Effect(char const* className, decltype(CommandExample::prepare) prepare) {
    return {
        .className = className,
        .prepare = prepare,
        .make = Constructs<T>(),
        .untold = {CommandExample::Untold::NodeData},
    };
}

ExampleRegistration const s_rasterPolarToRectangularExample(
    Effect<RasterPolarToRectangularCommand>("RasterPolarToRectangularCommand", ExampleDocuments::SelectedPixels));
ExampleRegistration const s_rasterPolarToRectangularLayersExample(
    Effect<RasterPolarToRectangularCommand>("RasterPolarToRectangularCommand", ExampleDocuments::RasterLayers));
ExampleRegistration const s_rasterRectangularToPolarExample(
    Effect<RasterRectangularToPolarCommand>("RasterRectangularToPolarCommand", ExampleDocuments::SelectedPixels));
ExampleRegistration const s_rasterRectangularToPolarLayersExample(
    Effect<RasterRectangularToPolarCommand>("RasterRectangularToPolarCommand", ExampleDocuments::RasterLayers));
ExampleRegistration const s_rasterSolariseExample(Effect<RasterSolariseCommand>("RasterSolariseCommand",
                                                                                ExampleDocuments::SelectedPixels));
ExampleRegistration const s_rasterSolariseLayersExample(Effect<RasterSolariseCommand>("RasterSolariseCommand",
                                                                                      ExampleDocuments::RasterLayers));
ExampleRegistration const s_rasterWebSafeDitherExample(
    Effect<RasterWebSafeDitherCommand>("RasterWebSafeDitherCommand", ExampleDocuments::SelectedPixels));
ExampleRegistration const s_rasterWebSafeDitherLayersExample(
    Effect<RasterWebSafeDitherCommand>("RasterWebSafeDitherCommand", ExampleDocuments::RasterLayers));

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
