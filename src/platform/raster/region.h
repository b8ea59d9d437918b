// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/geometry_values.h"
#include "platform/raster/channel.h"
#include "platform/raster/tile.h"

#include <atomic>
#include <cstring>
#include <mutex>
#include <span>
#include <vector>

namespace Raster {

// The initial content of a new region.
enum class Default : int { Unspecified = 0, Minimum = 1, Maximum = 2 };

// One plane of a bitmap: a grid of tiles, index (y / 256) * tiles-per-row + x / 256.
//
// Copies share the whole grid. A write copies the list of rows, the row and the tile that it needs, as far as they
// are shared. Several threads may read a region, and several may write to different tiles of it, at the same time; a
// copy that is taken while tiles are being written to holds what was there at some moment.
class REDRAFT_ENGINE RegionBase {
public:
    RegionBase() noexcept = default;
    // All samples are `fillBits`. Exception when the size is not 1 to c_maximumSide both ways.
    RegionBase(int sampleBytes, int width, int height, std::uint32_t fillBits);
    RegionBase(RegionBase const& other);
    RegionBase(RegionBase&& other) noexcept;
    // The tiles that the keys name, in index order, none of them read yet. DamagedDataException when the keys don't
    // fit.
    static RegionBase FromKeys(int sampleBytes, int width, int height, std::span<TileKey const> keys,
                               Kernel::Counted<Kernel::BlobSource> const& source);
    std::vector<TileKey> GetKeys() const;
    // Exception when this is a plane of another size or sample width, or has tiles that are being written to.
    RegionBase& operator=(RegionBase other);
    ~RegionBase();

    int GetSampleBytes() const { return m_sampleBytes; }
    int GetWidth() const { return m_width; }
    int GetHeight() const { return m_height; }
    int GetTilesAcross() const { return (m_width + c_tileSide - 1) >> c_tileShift; }
    int GetTilesDown() const { return (m_height + c_tileSide - 1) >> c_tileShift; }
    // Columns and rows of the tile that lie inside the region.
    int GetTileWidth(int tileX) const { return std::min(c_tileSide, m_width - tileX * c_tileSide); }
    int GetTileHeight(int tileY) const { return std::min(c_tileSide, m_height - tileY * c_tileSide); }

    // The tile as it is now. Tile coordinates beyond the grid: Exception.
    Tile GetConstTile(int tileX, int tileY) const;
    // The place of the tile itself: assigning to it makes the region share the other's samples. Valid until the
    // region is copied or assigned to.
    Tile& GetMutableTile(int tileX, int tileY);
    // The tile, marked as being written to, for accessors: other threads may pin tiles at the same time.
    Tile& PinMutableTile(int tileX, int tileY);
    // The same for a caller that writes all samples inside the region: those there are need not be read.
    Tile& PinTileForOverwriting(int tileX, int tileY);
    void UnpinMutableTile(Tile& tile) noexcept;
    // Without a lock: for a copy of a region that nobody else sees.
    Tile const& PeekTile(int tileX, int tileY) const noexcept;

    bool IsPendingDelayLoad() const;
    // Gives back the memory of tiles that their store can give again and that nobody else holds.
    void ReleaseLoadedTiles();

    // A rectangle of samples, `rowBytes` from one row to the next. The rectangle lies inside the region.
    void ReadSamples(Kernel::RectT<int> const& rect, void* samples, std::size_t rowBytes) const;
    void WriteSamples(Kernel::RectT<int> const& rect, void const* samples, std::size_t rowBytes);
    void FillSamples(Kernel::RectT<int> const& rect, std::uint32_t sampleBits);
    // Copies `rect` of `source` to the place where its top left corner comes to `to`; whole tiles are shared.
    void CopySamples(RegionBase const& source, Kernel::RectT<int> const& rect, Kernel::PointT<int> to);

    // Calls edit(tile, tileX, tileY) for each tile with its place.
    template <class F>
    void ForEachTile(F const& edit) const {
        for (int tileY = 0; tileY < GetTilesDown(); ++tileY) {
            for (int tileX = 0; tileX < GetTilesAcross(); ++tileX)
                edit(GetConstTile(tileX, tileY), tileX, tileY);
        }
    }

private:
    struct Row;
    struct Table;

    void CheckTile(int tileX, int tileY) const;
    void CheckRect(Kernel::RectT<int> const& rect) const;
    bool HasPinnedTiles() const;
    bool ReplaceTile(int tileX, int tileY, Tile const& tile);
    Tile ShareTile(int tileX, int tileY) const;
    Tile& UnshareTilePlace(int tileX, int tileY);
    Tile& PinTile(int tileX, int tileY, bool overwrite);
    template <class F>
    void EditTiles(Kernel::RectT<int> const& rect, F const& edit);

    int m_sampleBytes = 0;
    int m_width = 0;
    int m_height = 0;
    // Tiles that are marked as being written to.
    int m_pinnedTiles = 0;
    Table* m_table = nullptr;
    mutable std::atomic<bool> m_mayBePending{false};
    mutable std::mutex m_mutex;
};

// The longest side of a bitmap in pixels.
inline constexpr int c_maximumSide = 1 << 20;

// Exception with a plain message unless both sides are 1 to c_maximumSide.
REDRAFT_ENGINE void CheckBitmapSize(int width, int height);

// A sample as its bits, for fills.
template <class Sample>
std::uint32_t ToSampleBits(Sample sample) noexcept {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &sample, sizeof sample);
    return bits;
}

// A plane of one channel.
template <class Channel>
class Region : public RegionBase {
public:
    using Sample = typename Channel::Sample;
    // Covers the size of `bounds`, filled with zero or, for Default::Maximum, with full scale.
    Region(Kernel::RectT<int> const& bounds, Default fill)
        : RegionBase(sizeof(Sample), bounds.GetWidth(), bounds.GetHeight(),
                     fill == Default::Maximum ? ToSampleBits(Channel::c_maximum) : 0) {}
};

} // namespace Raster
