// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "raster/polar_command_base.h"

namespace Commands {

// Reads a layer as circles about the middle of the spread and lays them out as rows, the smallest at the top.
class REDRAFT_API RasterPolarToRectangularCommand final : public PolarCommandBase<RasterPolarToRectangularCommand> {
public:
    static constexpr PolarDirection c_direction = PolarDirection::PolarToRectangular;
    static constexpr auto c_description = Kernel::Localisable("Polar To Rectangular", "Command description");
};

} // namespace Commands
