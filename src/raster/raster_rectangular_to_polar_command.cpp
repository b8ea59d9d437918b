// SPDX-License-Identifier: Apache-2.0
#include "raster/raster_rectangular_to_polar_command.h"

#include "frame/example.h"
#include "raster/raster_examples.h"

namespace Commands {

Kernel::LocalisedString RasterRectangularToPolarCommand::GetDescription() const {
    return Kernel::LocalisedString("Rectangular To Polar", "Command description");
}

static ExampleRegistration const s_rasterRectangularToPolarExample({
    .className = "RasterRectangularToPolarCommand",
    .prepare = ExampleDocuments::SelectedPixels,
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<RasterRectangularToPolarCommand>();
    },
    .keptByContract = {},
    .untold = {CommandExample::Untold::NodeData},
});

static ExampleRegistration const s_rasterRectangularToPolarLayersExample({
    .className = "RasterRectangularToPolarCommand",
    .prepare = ExampleDocuments::RasterLayers,
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<RasterRectangularToPolarCommand>();
    },
    .keptByContract = {},
    .untold = {CommandExample::Untold::NodeData},
});

} // namespace Commands
