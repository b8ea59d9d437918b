// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/kernel/geometry_values.h"

namespace Raster {

// Size of the tiles that a long run over a rectangle of pixels goes by: so large that each keeps all processors busy,
// and so small that its pixels take little memory. `leastTiles` is the least number of tiles, as far as there are
// enough rows. Tiles are as wide as the rectangle where that is possible, and of whole bitmap tiles.
REDRAFT_ENGINE void GetVariableTileDimensionsForClipRect(Kernel::RectT<int> const& clip, int leastTiles, int& width,
                                                         int& height);

} // namespace Raster
