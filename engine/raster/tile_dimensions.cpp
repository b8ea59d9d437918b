// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/tile_dimensions.h"

#include "platform/raster/tile.h"

#include <algorithm>
#include <cstdint>

namespace Raster {

void GetVariableTileDimensionsForClipRect(Kernel::RectT<int> const& clip, int leastTiles, int& width, int& height) {
    // 16 MB of the largest pixels.
    constexpr std::int64_t c_pixels = 1 << 20;
    auto const roundUp = [](std::int64_t side) {
        return static_cast<int>((side + c_tileSide - 1) / c_tileSide * c_tileSide);
    };
    std::int64_t const across = std::max(1, clip.GetWidth()), down = std::max(1, clip.GetHeight());
    width = std::min(roundUp(across), static_cast<int>(c_pixels / c_tileSide));
    auto const rows = std::min({c_pixels / width, down, (down + leastTiles - 1) / std::max(1, leastTiles)});
    height = std::max(c_tileSide, roundUp(rows));
}

} // namespace Raster
