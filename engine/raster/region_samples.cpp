// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/tile_block.h"
#include "platform/kernel/exception.h"
#include "platform/raster/region.h"

namespace Raster {

namespace {

// Calls visit(tileX, tileY, part) for the tiles that a rectangle touches; `part` is what it has of the tile, in pixels
// of the region.
template <class F>
void VisitTiles(Kernel::RectT<int> const& rect, F const& visit) {
    if (rect.IsEmpty())
        return;
    for (int tileY = rect.top >> c_tileShift; tileY << c_tileShift < rect.bottom; ++tileY) {
        for (int tileX = rect.left >> c_tileShift; tileX << c_tileShift < rect.right; ++tileX) {
            int const left = tileX << c_tileShift, top = tileY << c_tileShift;
            visit(tileX, tileY, rect.Intersected({left, top, left + c_tileSide, top + c_tileSide}));
        }
    }
}

// Whether all samples of a rectangle are one value; rows are `rowBytes` apart.
bool HasOneValue(std::byte const* samples, std::size_t rowBytes, int width, int height, std::size_t sampleBytes) {
    auto const bytes = static_cast<std::size_t>(width) * sampleBytes;
    if (std::memcmp(samples, samples + sampleBytes, bytes - sampleBytes) != 0)
        return false;
    for (int y = 1; y < height; ++y) {
        if (std::memcmp(samples, samples + static_cast<std::size_t>(y) * rowBytes, bytes) != 0)
            return false;
    }
    return true;
}

// Where a sample lies in its tile, in bytes.
std::size_t GetTileOffset(int x, int y, int sampleBytes) {
    int const mask = c_tileSide - 1;
    return static_cast<std::size_t>(((y & mask) * c_tileSide + (x & mask)) * sampleBytes);
}

} // namespace

// Calls edit(buffer, part) for each tile that the rectangle touches, with the tile's samples to write to.
template <class F>
void RegionBase::EditTiles(Kernel::RectT<int> const& rect, F const& edit) {
    VisitTiles(rect, [&](int tileX, int tileY, Kernel::RectT<int> const& part) {
        int const width = GetTileWidth(tileX), height = GetTileHeight(tileY);
        bool const overwrite = part.GetWidth() == width && part.GetHeight() == height;
        Tile& tile = overwrite ? PinTileForOverwriting(tileX, tileY) : PinMutableTile(tileX, tileY);
        // Editing copies memory and may load from another bitmap.
        struct Unpin {
            RegionBase& region;
            Tile& tile;
            ~Unpin() { region.UnpinMutableTile(tile); }
        } const unpin{*this, tile};
        edit(static_cast<std::byte*>(tile.GetMutableBuffer()), part);
    });
}

void RegionBase::ReadSamples(Kernel::RectT<int> const& rect, void* samples, std::size_t rowBytes) const {
    CheckRect(rect);
    auto* const to = static_cast<std::byte*>(samples);
    auto const sampleBytes = static_cast<std::size_t>(m_sampleBytes);
    VisitTiles(rect, [&](int tileX, int tileY, Kernel::RectT<int> const& part) {
        Tile const tile = ShareTile(tileX, tileY);
        auto const constant = tile.GetConstant();
        auto const* const buffer = constant ? nullptr : static_cast<std::byte const*>(tile.GetConstBuffer());
        auto const width = static_cast<std::size_t>(part.GetWidth());
        for (int y = part.top; y != part.bottom; ++y) {
            std::byte* const row = to + static_cast<std::size_t>(y - rect.top) * rowBytes +
                                   static_cast<std::size_t>(part.left - rect.left) * sampleBytes;
            if (constant)
                Raster::FillSamples(row, m_sampleBytes, width, *constant);
            else
                std::memcpy(row, buffer + GetTileOffset(part.left, y, m_sampleBytes), width * sampleBytes);
        }
    });
}

// A tile of one value has no samples of its own. Where it stays one, none are made for it.
void RegionBase::WriteSamples(Kernel::RectT<int> const& rect, void const* samples, std::size_t rowBytes) {
    CheckRect(rect);
    auto const sampleBytes = static_cast<std::size_t>(m_sampleBytes);
    // Neighbours of one value share it.
    Tile lastConstant = Tile::MakeConstant(m_sampleBytes, 0);
    VisitTiles(rect, [&](int tileX, int tileY, Kernel::RectT<int> const& part) {
        auto const* const from = static_cast<std::byte const*>(samples) +
                                 static_cast<std::size_t>(part.top - rect.top) * rowBytes +
                                 static_cast<std::size_t>(part.left - rect.left) * sampleBytes;
        if (HasOneValue(from, rowBytes, part.GetWidth(), part.GetHeight(), sampleBytes)) {
            std::uint32_t bits = 0;
            std::memcpy(&bits, from, sampleBytes);
            if (ShareTile(tileX, tileY).GetConstant() == bits)
                return;
            if (lastConstant.GetConstant() != bits)
                lastConstant = Tile::MakeConstant(m_sampleBytes, bits);
            bool const isWhole = part.GetWidth() == GetTileWidth(tileX) && part.GetHeight() == GetTileHeight(tileY);
            if (isWhole && ReplaceTile(tileX, tileY, lastConstant))
                return;
        }
        EditTiles(part, [&](std::byte* buffer, Kernel::RectT<int> const& inTile) {
            for (int y = inTile.top; y != inTile.bottom; ++y)
                std::memcpy(buffer + GetTileOffset(inTile.left, y, m_sampleBytes),
                            from + static_cast<std::size_t>(y - part.top) * rowBytes,
                            static_cast<std::size_t>(inTile.GetWidth()) * sampleBytes);
        });
    });
}

// False when somebody holds pointers to the samples that are there: those are to be written to.
bool RegionBase::ReplaceTile(int tileX, int tileY, Tile const& tile) {
    std::lock_guard const lock(m_mutex);
    Tile const& present = PeekTile(tileX, tileY);
    if (present.IsBeingWritten())
        return false;
    // Samples that are the same already need not be taken out of those that copies share.
    if (present.SharesSamplesWith(tile))
        return true;
    if (tile.IsPendingDelayLoad())
        m_mayBePending.store(true, std::memory_order_relaxed);
    UnshareTilePlace(tileX, tileY) = tile;
    return true;
}

void RegionBase::FillSamples(Kernel::RectT<int> const& rect, std::uint32_t sampleBits) {
    CheckRect(rect);
    if (rect == Kernel::RectT<int>{0, 0, m_width, m_height} && !HasPinnedTiles()) {
        *this = RegionBase(m_sampleBytes, m_width, m_height, sampleBits);
        return;
    }
    Tile const whole = Tile::MakeConstant(m_sampleBytes, sampleBits);
    VisitTiles(rect, [&](int tileX, int tileY, Kernel::RectT<int> const& part) {
        if (part.GetWidth() == GetTileWidth(tileX) && part.GetHeight() == GetTileHeight(tileY) &&
            ReplaceTile(tileX, tileY, whole))
            return;
        EditTiles(part, [&](std::byte* buffer, Kernel::RectT<int> const& inTile) {
            for (int y = inTile.top; y != inTile.bottom; ++y)
                Raster::FillSamples(buffer + GetTileOffset(inTile.left, y, m_sampleBytes), m_sampleBytes,
                                    static_cast<std::size_t>(inTile.GetWidth()), sampleBits);
        });
    });
}

void RegionBase::CopySamples(RegionBase const& source, Kernel::RectT<int> const& rect, Kernel::PointT<int> to) {
    source.CheckRect(rect);
    CheckRect({to.x, to.y, to.x + rect.GetWidth(), to.y + rect.GetHeight()});
    if (source.m_sampleBytes != m_sampleBytes)
        throw Kernel::Exception("samples of different widths cannot be copied");
    // Also keeps a copy within one region right when the rectangles overlap.
    RegionBase const snapshot(source);
    int const dx = to.x - rect.left, dy = to.y - rect.top;
    bool const onGrid = (dx & (c_tileSide - 1)) == 0 && (dy & (c_tileSide - 1)) == 0;
    Kernel::RectT<int> const target{to.x, to.y, to.x + rect.GetWidth(), to.y + rect.GetHeight()};
    VisitTiles(target, [&](int tileX, int tileY, Kernel::RectT<int> const& part) {
        if (onGrid && part.GetWidth() == GetTileWidth(tileX) && part.GetHeight() == GetTileHeight(tileY)) {
            Tile const tile = snapshot.PeekTile(tileX - (dx >> c_tileShift), tileY - (dy >> c_tileShift));
            if (ReplaceTile(tileX, tileY, tile))
                return;
        }
        // Samples that cannot be read must be known before the target's samples are given up.
        VisitTiles({part.left - dx, part.top - dy, part.right - dx, part.bottom - dy},
                   [&](int x, int y, Kernel::RectT<int> const&) { snapshot.PeekTile(x, y).Load(); });
        EditTiles(part, [&](std::byte* buffer, Kernel::RectT<int> const& inTile) {
            snapshot.ReadSamples({inTile.left - dx, inTile.top - dy, inTile.right - dx, inTile.bottom - dy},
                                 buffer + GetTileOffset(inTile.left, inTile.top, m_sampleBytes),
                                 static_cast<std::size_t>(m_sampleBytes) * c_tileSide);
        });
    });
}

} // namespace Raster
