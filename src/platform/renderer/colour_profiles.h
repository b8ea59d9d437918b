// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/icc_manager.h"
#include "platform/renderer/colour.h"

namespace Renderer {

// A colour that is meant in one set of profiles as the same colour in another format or profile. By the plain rules
// where both sets are the defaults; unchanged where format and profile stay. Alpha stays.
REDRAFT_ENGINE Colour ConvertColour(Colour const& colour, Raster::ICCProfileSet const& from, ColourFormat format,
                                    Raster::ICCProfileSet const& to);

} // namespace Renderer
