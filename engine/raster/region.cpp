// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/region.h"

#include "engine/raster/tile_block.h"
#include "platform/kernel/exception.h"

#include <memory>
#include <string>

namespace Raster {

// Rows and the list of rows are shared between copies of a region, as the tiles are.
struct RegionBase::Row {
    explicit Row(std::vector<Tile> content) : tiles(std::move(content)) {}
    void Release() noexcept {
        if (references.fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete this;
    }
    std::atomic<std::uint32_t> references{1};
    std::vector<Tile> tiles;
};

struct RegionBase::Table {
    Table() = default;
    Table(Table const& other) : rows(other.rows) {
        for (Row* const row : rows)
            row->references.fetch_add(1, std::memory_order_relaxed);
    }
    ~Table() {
        for (Row* const row : rows)
            row->Release();
    }
    void Release() noexcept {
        if (references.fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete this;
    }
    std::atomic<std::uint32_t> references{1};
    std::vector<Row*> rows;
};

void CheckBitmapSize(int width, int height) {
    if (width < 1 || height < 1 || width > c_maximumSide || height > c_maximumSide)
        throw Kernel::Exception("a bitmap cannot be " + std::to_string(width) + " x " + std::to_string(height) +
                                " pixels: each side is 1 to " + std::to_string(c_maximumSide));
}

RegionBase::RegionBase(int sampleBytes, int width, int height, std::uint32_t fillBits)
    : m_sampleBytes(sampleBytes), m_width(width), m_height(height) {
    CheckBitmapSize(width, height);
    auto table = std::make_unique<Table>();
    auto const rowCount = static_cast<std::size_t>(GetTilesDown());
    table->rows.reserve(rowCount);
    // One row stands for all.
    auto* const row = new Row(
        std::vector<Tile>(static_cast<std::size_t>(GetTilesAcross()), Tile::MakeConstant(sampleBytes, fillBits)));
    row->references.store(static_cast<std::uint32_t>(rowCount), std::memory_order_relaxed);
    table->rows.assign(rowCount, row);
    m_table = table.release();
}

RegionBase::RegionBase(RegionBase const& other)
    : m_sampleBytes(other.m_sampleBytes),
      m_width(other.m_width),
      m_height(other.m_height),
      m_mayBePending(other.m_mayBePending.load(std::memory_order_relaxed)) {
    std::lock_guard const lock(other.m_mutex);
    if (other.m_table == nullptr)
        return;
    if (other.m_pinnedTiles == 0) {
        other.m_table->references.fetch_add(1, std::memory_order_relaxed);
        m_table = other.m_table;
        return;
    }
    auto table = std::make_unique<Table>(*other.m_table);
    for (Row*& row : table->rows) {
        auto const isBeingWritten = [](Tile const& tile) { return tile.IsBeingWritten(); };
        if (std::none_of(row->tiles.begin(), row->tiles.end(), isBeingWritten))
            continue;
        std::vector<Tile> tiles = row->tiles;
        for (Tile& tile : tiles) {
            if (tile.IsBeingWritten())
                tile = tile.GetCopy();
        }
        Row* const copy = new Row(std::move(tiles));
        row->Release();
        row = copy;
    }
    m_table = table.release();
}

RegionBase::RegionBase(RegionBase&& other) noexcept
    : m_sampleBytes(other.m_sampleBytes),
      m_width(other.m_width),
      m_height(other.m_height),
      m_table(std::exchange(other.m_table, nullptr)),
      m_mayBePending(other.m_mayBePending.load(std::memory_order_relaxed)) {}

RegionBase& RegionBase::operator=(RegionBase other) {
    if (m_table != nullptr &&
        (m_sampleBytes != other.m_sampleBytes || m_width != other.m_width || m_height != other.m_height))
        throw Kernel::Exception("a plane cannot be replaced by one of another size");
    std::lock_guard const lock(m_mutex);
    if (m_pinnedTiles != 0)
        throw Kernel::Exception("a plane cannot be replaced while it is being written to");
    m_sampleBytes = other.m_sampleBytes;
    m_width = other.m_width;
    m_height = other.m_height;
    std::swap(m_table, other.m_table);
    m_mayBePending.store(other.m_mayBePending.load(std::memory_order_relaxed), std::memory_order_relaxed);
    return *this;
}

RegionBase::~RegionBase() {
    if (m_table != nullptr)
        m_table->Release();
}

RegionBase RegionBase::FromKeys(int sampleBytes, int width, int height, std::span<TileKey const> keys,
                                Kernel::Counted<Kernel::BlobSource> const& source) {
    CheckBitmapSize(width, height);
    RegionBase region;
    region.m_sampleBytes = sampleBytes;
    region.m_width = width;
    region.m_height = height;
    auto const across = static_cast<std::size_t>(region.GetTilesAcross());
    auto const down = static_cast<std::size_t>(region.GetTilesDown());
    if (keys.size() != across * down)
        throw Kernel::DamagedDataException("a bitmap's tile list is damaged");
    auto table = std::make_unique<Table>();
    table->rows.reserve(down);
    for (std::size_t tileY = 0; tileY != down; ++tileY) {
        std::vector<Tile> tiles;
        tiles.reserve(across);
        int const tileHeight = region.GetTileHeight(static_cast<int>(tileY));
        for (std::size_t tileX = 0; tileX != across; ++tileX)
            tiles.push_back(MakeTileOfKey(sampleBytes, keys[tileY * across + tileX],
                                          region.GetTileWidth(static_cast<int>(tileX)), tileHeight, source));
        table->rows.push_back(new Row(std::move(tiles)));
    }
    region.m_table = table.release();
    region.m_mayBePending.store(true, std::memory_order_relaxed);
    return region;
}

std::vector<TileKey> RegionBase::GetKeys() const {
    std::vector<TileKey> keys;
    keys.reserve(static_cast<std::size_t>(GetTilesAcross()) * static_cast<std::size_t>(GetTilesDown()));
    RegionBase const snapshot(*this);
    snapshot.ForEachTile([&](Tile const& tile, int tileX, int tileY) {
        keys.push_back(tile.GetKey(GetTileWidth(tileX), GetTileHeight(tileY)));
    });
    return keys;
}

void RegionBase::CheckTile(int tileX, int tileY) const {
    if (tileX < 0 || tileY < 0 || tileX >= GetTilesAcross() || tileY >= GetTilesDown())
        throw Kernel::Exception("a tile outside its bitmap was asked for");
}

void RegionBase::CheckRect(Kernel::RectT<int> const& rect) const {
    if (rect.left < 0 || rect.top < 0 || rect.right > m_width || rect.bottom > m_height || rect.left > rect.right ||
        rect.top > rect.bottom)
        throw Kernel::Exception("pixels outside their bitmap were asked for");
}

Tile const& RegionBase::PeekTile(int tileX, int tileY) const noexcept {
    return m_table->rows[static_cast<std::size_t>(tileY)]->tiles[static_cast<std::size_t>(tileX)];
}

Tile RegionBase::ShareTile(int tileX, int tileY) const {
    CheckTile(tileX, tileY);
    std::lock_guard const lock(m_mutex);
    return PeekTile(tileX, tileY);
}

Tile RegionBase::GetConstTile(int tileX, int tileY) const {
    Tile tile = ShareTile(tileX, tileY);
    return tile.IsBeingWritten() ? tile.GetCopy() : tile;
}

// The caller holds the lock.
Tile& RegionBase::UnshareTilePlace(int tileX, int tileY) {
    if (m_table->references.load(std::memory_order_acquire) != 1) {
        auto* const copy = new Table(*m_table);
        m_table->Release();
        m_table = copy;
    }
    Row*& row = m_table->rows[static_cast<std::size_t>(tileY)];
    if (row->references.load(std::memory_order_acquire) != 1) {
        auto* const copy = new Row(row->tiles);
        row->Release();
        row = copy;
    }
    return row->tiles[static_cast<std::size_t>(tileX)];
}

Tile& RegionBase::GetMutableTile(int tileX, int tileY) {
    CheckTile(tileX, tileY);
    std::lock_guard const lock(m_mutex);
    // Whatever is assigned to the tile may be pending.
    m_mayBePending.store(true, std::memory_order_relaxed);
    return UnshareTilePlace(tileX, tileY);
}

Tile& RegionBase::PinTile(int tileX, int tileY, bool overwrite) {
    CheckTile(tileX, tileY);
    // Loading may take long, and others need the lock.
    if (!overwrite)
        ShareTile(tileX, tileY).Load();
    std::lock_guard const lock(m_mutex);
    Tile& tile = UnshareTilePlace(tileX, tileY);
    if (overwrite)
        tile.GetBufferForOverwriting();
    tile.IncrementRefCountMutable();
    ++m_pinnedTiles;
    return tile;
}

Tile& RegionBase::PinMutableTile(int tileX, int tileY) { return PinTile(tileX, tileY, false); }

Tile& RegionBase::PinTileForOverwriting(int tileX, int tileY) {
    Tile& tile = PinTile(tileX, tileY, true);
    if (GetTileWidth(tileX) < c_tileSide || GetTileHeight(tileY) < c_tileSide)
        std::memset(tile.GetMutableBuffer(), 0, tile.GetBytes());
    return tile;
}

void RegionBase::UnpinMutableTile(Tile& tile) noexcept {
    std::lock_guard const lock(m_mutex);
    tile.DecrementRefCountMutable();
    --m_pinnedTiles;
}

bool RegionBase::HasPinnedTiles() const {
    std::lock_guard const lock(m_mutex);
    return m_pinnedTiles != 0;
}

bool RegionBase::IsPendingDelayLoad() const {
    if (!m_mayBePending.load(std::memory_order_relaxed))
        return false;
    std::lock_guard const lock(m_mutex);
    for (Row const* const row : m_table->rows) {
        for (Tile const& tile : row->tiles) {
            if (tile.IsPendingDelayLoad())
                return true;
        }
    }
    m_mayBePending.store(false, std::memory_order_relaxed);
    return false;
}

void RegionBase::ReleaseLoadedTiles() {
    std::lock_guard const lock(m_mutex);
    if (m_table->references.load(std::memory_order_acquire) != 1)
        return;
    for (Row* const row : m_table->rows) {
        if (row->references.load(std::memory_order_acquire) != 1)
            continue;
        for (Tile const& tile : row->tiles)
            tile.GetBlock()->UnloadIfUnshared();
    }
    m_mayBePending.store(true, std::memory_order_relaxed);
}

} // namespace Raster
