// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/region.h"

#include <unordered_map>

namespace Raster {

// Meets the tiles of one bitmap after another and remembers one of each content.
class REDRAFT_ENGINE BlockDeduplicationSupport {
public:
    // Makes tiles of the plane share the samples of an equal tile that was met before, and takes tiles of one value
    // out of memory. Pixels stay as they are. Tiles that are pending are not read. Returns early when *abort becomes
    // true.
    void Deduplicate(RegionBase& plane, bool* abort);
    // How many tiles have been made to share so far.
    std::size_t GetSharedTiles() const { return m_sharedTiles; }

private:
    struct Name {
        TileKey key;
        int sampleBytes;
        // Samples beyond the edge differ between tiles of one key.
        int width;
        int height;
        friend bool operator==(Name const&, Name const&) = default;
    };
    struct HashName {
        std::size_t operator()(Name const& name) const noexcept { return std::hash<TileKey>()(name.key); }
    };
    std::unordered_map<Name, Tile, HashName> m_tiles;
    std::size_t m_sharedTiles = 0;
};

} // namespace Raster
