// SPDX-License-Identifier: Apache-2.0
#include "raster/raster_rectangular_to_polar_command.h"

namespace Commands {

Kernel::LocalisedString RasterRectangularToPolarCommand::GetDescription() const {
    return Kernel::LocalisedString("Rectangular To Polar", "Command description");
}

} // namespace Commands
