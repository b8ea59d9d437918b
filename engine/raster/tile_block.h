// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/tile.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <span>

namespace Raster {

class DevicePixels;
struct DeviceLink;

// The samples that Tile handles share, with their count.
//
// A block is one of: samples; one value, whose buffer is made when a reader wants a pointer; a key whose samples are
// read from a store when they are wanted; a place on a device, whose samples are fetched when they are wanted. While
// more than one handle stands, what a block means never changes, so readers need no lock. Blocks for zero and full
// scale are never freed and never counted.
class TileBlock {
public:
    // Samples of its own, not filled.
    static TileBlock* MakeSamples(int sampleBytes);
    static TileBlock* MakeConstant(int sampleBytes, std::uint32_t sampleBits);
    // `width` and `height` say which part of the tile the key was made for. Blocks of one key and source are one
    // block while it lives, so that the bitmaps of a history share what they load.
    static TileBlock* MakeStored(int sampleBytes, TileKey const& key, int width, int height,
                                 Kernel::Counted<Kernel::BlobSource> const& source);
    // The samples that a device holds at that place of `pixels` (see there), as far as it lies inside the bitmap; zero
    // beyond.
    static TileBlock* MakeOnDevice(int sampleBytes, std::shared_ptr<DevicePixels> pixels, std::size_t slot);
    TileBlock(TileBlock const&) = delete;
    TileBlock& operator=(TileBlock const&) = delete;

    void Acquire() noexcept {
        if (!m_immortal)
            m_references.fetch_add(1, std::memory_order_relaxed);
    }
    void Release() noexcept {
        if (!m_immortal && m_references.fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete this;
    }
    // For one who finds a block without holding a handle: false when its last handle has gone.
    bool TryAcquire() noexcept;
    // True when the samples may be written to in place. Stored blocks may not: others can find them by their key; nor
    // may blocks on a device, which their device can find.
    bool IsWritable() const noexcept {
        return !m_immortal && m_kind < Kind::Stored && m_references.load(std::memory_order_acquire) == 1;
    }

    int GetSampleBytes() const noexcept { return m_sampleBytes; }
    std::size_t GetBytes() const noexcept { return static_cast<std::size_t>(m_sampleBytes) * c_tileSamples; }
    bool IsConstant() const noexcept { return m_kind == Kind::Constant; }
    std::uint32_t GetConstant() const noexcept { return m_constant; }
    bool IsPending() const noexcept {
        return m_kind == Kind::Stored && m_samples.load(std::memory_order_acquire) == nullptr;
    }
    // True when only a device has the samples.
    bool IsOnlyOnDevice() const noexcept {
        return m_kind == Kind::OnDevice && m_samples.load(std::memory_order_acquire) == nullptr;
    }
    // True when a store can give the samples again.
    bool IsStored() const noexcept { return m_kind == Kind::Stored; }
    Kernel::Counted<Kernel::BlobSource> const& GetSource() const noexcept { return m_source; }

    // Loads or makes the buffer when there is none.
    void const* GetSamples() {
        void const* samples = m_samples.load(std::memory_order_acquire);
        return samples != nullptr ? samples : MakeBuffer();
    }
    // For a block that IsWritable: turns it into samples.
    void* GetOwnSamples(bool overwrite);
    // For a block that only a device has: keeps the samples that fill(buffer) writes, unless another thread has been
    // quicker. What it throws leaves the block as it is.
    void SetFetchedSamples(std::function<void(std::byte*)> const& fill);
    // Gives the memory of a stored block back when the caller holds its only handle.
    void UnloadIfUnshared() noexcept;

    TileKey GetKey(int width, int height);
    // The same without keeping it: the block is being written to.
    TileKey ComputeKey(int width, int height);

    // Names what the block holds now among all blocks of the process: a value, or a number that no other content ever
    // gets. Never 0.
    std::uint64_t GetContentName();
    // Where devices have the samples, too; null before the first GetContentName, for blocks of one value and after a
    // write. Belongs to the block.
    DeviceLink* GetDeviceLink() const noexcept { return m_link.load(std::memory_order_acquire); }

    void BeginWriting() noexcept { m_writers.fetch_add(1, std::memory_order_relaxed); }
    void EndWriting() noexcept {
        ForgetContent();
        m_writers.fetch_sub(1, std::memory_order_release);
    }
    bool IsBeingWritten() const noexcept { return m_writers.load(std::memory_order_acquire) != 0; }

    static std::size_t GetAllocatedBytes() noexcept;

private:
    // From Stored on, blocks are never written to in place.
    enum class Kind : std::uint8_t { Samples, Constant, Stored, OnDevice };

    TileBlock(int sampleBytes, Kind kind) : m_sampleBytes(static_cast<std::uint8_t>(sampleBytes)), m_kind(kind) {}
    ~TileBlock();
    struct StoredBlocks;
    static StoredBlocks& GetStoredBlocks();
    void const* MakeBuffer();
    // The samples change, or are about to: what was known of them holds no more.
    void ForgetContent() noexcept {
        m_keyExtent.store(0, std::memory_order_release);
        if (m_link.load(std::memory_order_relaxed) != nullptr)
            ForgetDevices();
    }
    void ForgetDevices() noexcept;

    std::atomic<std::uint32_t> m_references{1};
    std::atomic<std::uint32_t> m_writers{0};
    std::uint8_t m_sampleBytes;
    Kind m_kind;
    bool m_immortal = false;
    // Set under s_keyMutex; the columns and rows that m_key is for, 0 when there is none. At most 256 each.
    std::atomic<std::uint32_t> m_keyExtent{0};
    std::uint32_t m_constant = 0;
    std::atomic<void*> m_samples{nullptr};
    std::atomic<DeviceLink*> m_link{nullptr};
    TileKey m_key;
    Kernel::Counted<Kernel::BlobSource> m_source;
};

// Reading and writing the keys of tiles of one value.
bool IsConstantKey(TileKey const& key) noexcept;
TileKey MakeConstantKey(std::uint32_t sampleBits) noexcept;
std::uint32_t GetConstantOfKey(TileKey const& key) noexcept;

// The handle for a key: of one value, or pending from `source`.
Tile MakeTileOfKey(int sampleBytes, TileKey const& key, int width, int height,
                   Kernel::Counted<Kernel::BlobSource> const& source);

// The bytes that the key of this part of a tile names: a copy with zeros beyond the part, or the tile itself when the
// part is all of it. `scratch` holds the copy.
std::span<std::byte const> GetCanonicalBytes(Tile const& tile, int width, int height, std::vector<std::byte>& scratch);

// Fills `count` samples with one value.
void FillSamples(void* samples, int sampleBytes, std::size_t count, std::uint32_t sampleBits) noexcept;

} // namespace Raster
