// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/deduplication.h"

#include "engine/raster/tile_block.h"
#include "platform/kernel/abortable.h"

namespace Raster {

void BlockDeduplicationSupport::Deduplicate(RegionBase& plane, bool* abort) {
    Kernel::Abortable flag;
    flag.SetAbortPointer(abort);
    RegionBase const snapshot(plane);
    for (int tileY = 0; tileY != snapshot.GetTilesDown(); ++tileY) {
        for (int tileX = 0; tileX != snapshot.GetTilesAcross(); ++tileX) {
            if (flag.IsAborted())
                return;
            Tile const& tile = snapshot.PeekTile(tileX, tileY);
            if (tile.GetConstant())
                continue;
            int const width = snapshot.GetTileWidth(tileX), height = snapshot.GetTileHeight(tileY);
            TileKey const key = tile.GetKey(width, height);
            Tile const met = IsConstantKey(key)
                                 ? Tile::MakeConstant(tile.GetSampleBytes(), GetConstantOfKey(key))
                                 : m_tiles.try_emplace({key, tile.GetSampleBytes(), width, height}, tile).first->second;
            if (met.SharesSamplesWith(tile))
                continue;
            plane.GetMutableTile(tileX, tileY) = met;
            ++m_sharedTiles;
        }
    }
}

} // namespace Raster
