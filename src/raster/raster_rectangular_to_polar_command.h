// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "raster/polar_command_base.h"

namespace Commands {

// Bends the rows of a layer to circles about the middle of the spread, the top row being the smallest.
class REDRAFT_API RasterRectangularToPolarCommand final : public PolarCommandBase<RasterRectangularToPolarCommand> {
public:
    static constexpr PolarDirection c_direction = PolarDirection::RectangularToPolar;
    static constexpr auto c_description = Kernel::Localisable("Rectangular To Polar", "Command description");
};

} // namespace Commands
