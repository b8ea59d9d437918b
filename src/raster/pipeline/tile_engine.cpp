// SPDX-License-Identifier: Apache-2.0
#include "raster/pipeline/tile_engine.h"

namespace Commands {

void ShareTilePart(Raster::RegionBase const& from, Raster::RegionBase& to, Kernel::RectT<int> const& part) {
    int const x = part.left >> Raster::c_tileShift, y = part.top >> Raster::c_tileShift;
    if (!from.GetConstTile(x, y).SharesSamplesWith(std::as_const(to).GetConstTile(x, y)))
        to.CopySamples(from, part, {part.left, part.top});
}

} // namespace Commands
