// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/kernel/file_store.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace Raster {

class TileBlock;

inline constexpr int c_tileSide = 256;
inline constexpr int c_tileShift = 8;
inline constexpr int c_tileSamples = c_tileSide * c_tileSide;

// Names the samples of a tile by their content: the key of its bytes, where samples beyond the bitmap's edge count as
// zero. A key whose first twelve bytes are zero is a tile of one value, which stands in the last four bytes, least
// significant first: such tiles are never stored.
using TileKey = Kernel::BlobKey;

// 256 x 256 samples of one channel, row by row: sample (x, y) of the tile is at y * 256 + x.
//
// A Tile is a handle. Copies share the samples until one of them is written to: a write gives the handle that is
// written through samples of its own. Tiles of one value need no memory until they are written to (reading one other
// than zero or full scale through a pointer makes one buffer for all its copies). Counting is atomic; a handle itself
// belongs to one thread at a time.
class REDRAFT_ENGINE Tile {
public:
    // All samples zero. sampleBytes is 1, 2 or 4.
    explicit Tile(int sampleBytes) noexcept;
    // All samples of one value, given as its bits.
    static Tile MakeConstant(int sampleBytes, std::uint32_t sampleBits);
    explicit Tile(TileBlock* adopted) noexcept : m_block(adopted) {}
    Tile(Tile const& other) noexcept;
    Tile(Tile&& other) noexcept;
    Tile& operator=(Tile other) noexcept {
        std::swap(m_block, other.m_block);
        return *this;
    }
    ~Tile();

    int GetSampleBytes() const noexcept;
    std::size_t GetBytes() const noexcept { return static_cast<std::size_t>(GetSampleBytes()) * c_tileSamples; }
    // True when the samples still have to be read from the document's store.
    bool IsPendingDelayLoad() const noexcept;
    // Reads them now, for all handles that share them. DamagedDataException when the store cannot give them.
    void Load() const;
    // The value of a tile that is known to have one value; tiles that only happen to have one are not looked through.
    std::optional<std::uint32_t> GetConstant() const noexcept;
    bool SharesSamplesWith(Tile const& other) const noexcept { return m_block == other.m_block; }

    // The key of the part of the tile that lies inside its bitmap: columns below width, rows below height, each 1 to
    // 256. Kept until the tile is written to; a tile that is pending answers without being loaded.
    TileKey GetKey(int width, int height) const;

    // Holds the samples as they are now. Loads a pending tile. Given back on the same handle, which is not assigned
    // to in between.
    void IncrementRefCountConst() const;
    void DecrementRefCountConst() const noexcept;
    // Makes the samples this handle's own and marks them as being written to. Copies that are taken of the bitmap
    // meanwhile get copied samples.
    void IncrementRefCountMutable();
    void DecrementRefCountMutable() noexcept;
    // Valid while the samples are held, or as long as this handle is not written through or assigned to.
    void const* GetConstBuffer() const;
    // Copies the samples first when they are shared. Valid until the handle is copied, assigned to or asked for its
    // key; between IncrementRefCountMutable and DecrementRefCountMutable until the latter.
    void* GetMutableBuffer();
    // The same for a caller that overwrites all samples: they need not be read or copied, and hold anything.
    void* GetBufferForOverwriting();
    // Samples of its own with the same content, also when they are being written to.
    Tile GetCopy() const;
    bool IsBeingWritten() const noexcept;

    // Bytes of samples that all tiles of the process hold now.
    static std::size_t GetAllocatedBytes() noexcept;

    TileBlock* GetBlock() const noexcept { return m_block; }

private:
    TileBlock* m_block;
};

} // namespace Raster
