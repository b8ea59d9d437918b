// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/tile_block.h"

#include "engine/raster/device_pixels.h"
#include "engine/raster/tile_memory.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <unordered_map>

namespace Raster {

static_assert(std::endian::native == std::endian::little, "keys are made from little-endian samples");

namespace {

std::atomic<std::size_t> s_allocatedBytes{0};

struct FreeSamples {
    std::size_t bytes;
    void operator()(void* samples) const noexcept {
        TileMemory::Free(samples, bytes);
        s_allocatedBytes.fetch_sub(bytes, std::memory_order_relaxed);
    }
};
using SampleBuffer = std::unique_ptr<void, FreeSamples>;

SampleBuffer AllocateSamples(std::size_t bytes) {
    void* const samples = TileMemory::Allocate(bytes);
    if (samples == nullptr)
        throw Kernel::Exception("there is not enough memory for the pixels");
    s_allocatedBytes.fetch_add(bytes, std::memory_order_relaxed);
    return SampleBuffer(samples, FreeSamples{bytes});
}

// Full scale of each sample width. Floats have 4 bytes, and 1.0 is their full scale.
std::uint32_t GetFullScaleBits(int sampleBytes) noexcept {
    return sampleBytes == 1 ? 0xFF : sampleBytes == 2 ? 0xFFFF : std::bit_cast<std::uint32_t>(1.0f);
}

// Pages of this array that are only read share the system's zero page.
alignas(64) std::byte s_zeroSamples[4 * c_tileSamples] = {};

// Keys are kept rarely and for long: one lock for all blocks will do.
std::mutex s_keyMutex;

std::uint32_t ToExtent(int width, int height) noexcept {
    return static_cast<std::uint32_t>(width) << 16 | static_cast<std::uint32_t>(height);
}

// True when the part of the tile has one value.
bool HasOneValue(std::byte const* samples, std::size_t sampleBytes, int width, int height) noexcept {
    std::size_t const rowBytes = static_cast<std::size_t>(width) * sampleBytes;
    std::size_t const pitch = sampleBytes * c_tileSide;
    if (std::memcmp(samples, samples + sampleBytes, rowBytes - sampleBytes) != 0)
        return false;
    for (int y = 1; y < height; ++y) {
        if (std::memcmp(samples, samples + static_cast<std::size_t>(y) * pitch, rowBytes) != 0)
            return false;
    }
    return true;
}

std::span<std::byte const> Canonicalise(std::byte const* samples, std::size_t sampleBytes, int width, int height,
                                        std::vector<std::byte>& scratch) {
    std::size_t const pitch = sampleBytes * c_tileSide;
    if (width == c_tileSide && height == c_tileSide)
        return {samples, pitch * c_tileSide};
    scratch.assign(pitch * c_tileSide, std::byte(0));
    for (int y = 0; y < height; ++y) {
        std::size_t const row = static_cast<std::size_t>(y) * pitch;
        std::memcpy(scratch.data() + row, samples + row, static_cast<std::size_t>(width) * sampleBytes);
    }
    return scratch;
}

} // namespace

TileBlock* TileBlock::MakeSamples(int sampleBytes) {
    auto buffer = AllocateSamples(static_cast<std::size_t>(sampleBytes) * c_tileSamples);
    auto* const block = new TileBlock(sampleBytes, Kind::Samples);
    block->m_samples.store(buffer.release(), std::memory_order_release);
    return block;
}

TileBlock* TileBlock::MakeConstant(int sampleBytes, std::uint32_t sampleBits) {
    auto const make = [](int bytes, std::uint32_t bits) {
        auto* const block = new TileBlock(bytes, Kind::Constant);
        block->m_constant = bits;
        return block;
    };
    auto const makeImmortal = [&make](int bytes, std::uint32_t bits) {
        TileBlock* const block = make(bytes, bits);
        block->m_immortal = true;
        if (bits == 0)
            block->m_samples.store(s_zeroSamples, std::memory_order_release);
        return block;
    };
    static TileBlock* const s_zero[] = {makeImmortal(1, 0), makeImmortal(2, 0), makeImmortal(4, 0)};
    static TileBlock* const s_full[] = {makeImmortal(1, GetFullScaleBits(1)), makeImmortal(2, GetFullScaleBits(2)),
                                        makeImmortal(4, GetFullScaleBits(4))};
    auto const index = static_cast<std::size_t>(sampleBytes) / 2;
    if (sampleBits == 0)
        return s_zero[index];
    if (sampleBits == GetFullScaleBits(sampleBytes))
        return s_full[index];
    return make(sampleBytes, sampleBits);
}

// Finds stored blocks by what they stand for. Entries hold no reference: a block takes itself out.
struct TileBlock::StoredBlocks {
    struct Name {
        Kernel::BlobSource const* source;
        TileKey key;
        std::uint32_t extent;
        int sampleBytes;
        friend bool operator==(Name const&, Name const&) = default;
    };
    struct HashName {
        // Keys are hashes already.
        std::size_t operator()(Name const& name) const noexcept { return std::hash<TileKey>()(name.key); }
    };
    static Name GetName(TileBlock const& block) {
        return {block.m_source.get(), block.m_key, block.m_keyExtent.load(std::memory_order_relaxed),
                block.m_sampleBytes};
    }

    std::mutex mutex;
    std::unordered_map<Name, TileBlock*, HashName> blocks;
};

// Never destroyed: bitmaps in static objects may outlive it.
TileBlock::StoredBlocks& TileBlock::GetStoredBlocks() {
    static auto& s_blocks = *new StoredBlocks;
    return s_blocks;
}

bool TileBlock::TryAcquire() noexcept {
    auto count = m_references.load(std::memory_order_relaxed);
    while (count != 0) {
        if (m_references.compare_exchange_weak(count, count + 1, std::memory_order_acq_rel))
            return true;
    }
    return false;
}

TileBlock* TileBlock::MakeStored(int sampleBytes, TileKey const& key, int width, int height,
                                 Kernel::Counted<Kernel::BlobSource> const& source) {
    auto& stored = GetStoredBlocks();
    StoredBlocks::Name const name{source.get(), key, ToExtent(width, height), sampleBytes};
    std::lock_guard const lock(stored.mutex);
    auto& entry = stored.blocks[name];
    if (entry != nullptr && entry->TryAcquire())
        return entry;
    auto* const block = new TileBlock(sampleBytes, Kind::Stored);
    block->m_key = key;
    block->m_keyExtent.store(name.extent, std::memory_order_release);
    block->m_source = source;
    entry = block;
    return block;
}

TileBlock::~TileBlock() {
    if (m_kind == Kind::Stored) {
        auto& stored = GetStoredBlocks();
        std::lock_guard const lock(stored.mutex);
        auto const entry = stored.blocks.find(StoredBlocks::GetName(*this));
        // A block that was made for the same key after this one lost its last handle stays.
        if (entry != stored.blocks.end() && entry->second == this)
            stored.blocks.erase(entry);
    }
    // Before the samples go: until then the device may look at the block.
    if (m_link.load(std::memory_order_relaxed) != nullptr)
        ForgetDevices();
    if (void* const samples = m_samples.load(std::memory_order_relaxed))
        FreeSamples{GetBytes()}(samples);
}

TileBlock* TileBlock::MakeOnDevice(int sampleBytes, std::shared_ptr<DevicePixels> pixels, std::size_t slot) {
    auto link = std::make_unique<DeviceLink>(std::move(pixels), slot);
    auto* const block = new TileBlock(sampleBytes, Kind::OnDevice);
    DeviceLink const& place = *link;
    block->m_link.store(link.release(), std::memory_order_release);
    place.origin->AddBlock(slot, *block, place.contentName);
    return block;
}

std::uint64_t TileBlock::GetContentName() {
    if (m_kind == Kind::Constant)
        return DeviceLink::GetNameOfConstant(m_constant);
    DeviceLink* link = GetDeviceLink();
    if (link == nullptr) {
        auto made = std::make_unique<DeviceLink>();
        // Another thread may have been quicker.
        if (m_link.compare_exchange_strong(link, made.get(), std::memory_order_acq_rel))
            link = made.release();
    }
    return link->contentName.load(std::memory_order_relaxed);
}

void TileBlock::ForgetDevices() noexcept {
    std::unique_ptr<DeviceLink> const link(m_link.exchange(nullptr, std::memory_order_acq_rel));
    if (link->origin != nullptr)
        link->origin->RemoveBlock(link->originSlot, *this);
}

void TileBlock::SetFetchedSamples(std::function<void(std::byte*)> const& fill) {
    auto buffer = AllocateSamples(GetBytes());
    fill(static_cast<std::byte*>(buffer.get()));
    void* expected = nullptr;
    if (m_samples.compare_exchange_strong(expected, buffer.get(), std::memory_order_acq_rel))
        static_cast<void>(buffer.release());
}

void const* TileBlock::MakeBuffer() {
    if (m_kind == Kind::OnDevice) {
        TileBlock* const blocks[] = {this};
        GetDeviceLink()->origin->Fetch(blocks);
        return m_samples.load(std::memory_order_acquire);
    }
    auto buffer = AllocateSamples(GetBytes());
    if (m_kind == Kind::Constant) {
        FillSamples(buffer.get(), m_sampleBytes, c_tileSamples, m_constant);
    } else {
        if (!m_source)
            throw Kernel::DamagedDataException("a bitmap's pixels are not in its document");
        auto const bytes = m_source->Get(m_key);
        if (bytes.size() != GetBytes())
            throw Kernel::DamagedDataException("a bitmap's pixels are damaged");
        std::memcpy(buffer.get(), bytes.data(), bytes.size());
    }
    // Another thread may have been quicker; both buffers hold the same.
    void* expected = nullptr;
    if (m_samples.compare_exchange_strong(expected, buffer.get(), std::memory_order_acq_rel))
        return buffer.release();
    return expected;
}

void* TileBlock::GetOwnSamples(bool overwrite) {
    if (m_kind != Kind::Samples) {
        if (!overwrite)
            GetSamples();
        else if (m_samples.load(std::memory_order_acquire) == nullptr)
            m_samples.store(AllocateSamples(GetBytes()).release(), std::memory_order_release);
        m_kind = Kind::Samples;
    }
    ForgetContent();
    return m_samples.load(std::memory_order_acquire);
}

void TileBlock::UnloadIfUnshared() noexcept {
    if (m_kind != Kind::Stored)
        return;
    // Under the lock nobody finds the block by its key.
    std::lock_guard const lock(GetStoredBlocks().mutex);
    if (m_references.load(std::memory_order_acquire) != 1)
        return;
    if (void* const samples = m_samples.exchange(nullptr, std::memory_order_acq_rel))
        FreeSamples{GetBytes()}(samples);
}

TileKey TileBlock::GetKey(int width, int height) {
    if (m_kind == Kind::Constant)
        return MakeConstantKey(m_constant);
    std::uint32_t const extent = ToExtent(width, height);
    {
        std::lock_guard const lock(s_keyMutex);
        if (m_keyExtent.load(std::memory_order_acquire) == extent)
            return m_key;
    }
    TileKey const key = ComputeKey(width, height);
    // The key of stored samples is also their address; it stays.
    if (m_kind != Kind::Stored) {
        std::lock_guard const lock(s_keyMutex);
        m_key = key;
        m_keyExtent.store(extent, std::memory_order_release);
    }
    return key;
}

TileKey TileBlock::ComputeKey(int width, int height) {
    auto const* samples = static_cast<std::byte const*>(GetSamples());
    if (HasOneValue(samples, m_sampleBytes, width, height)) {
        std::uint32_t value = 0;
        std::memcpy(&value, samples, m_sampleBytes);
        return MakeConstantKey(value);
    }
    std::vector<std::byte> scratch;
    return Kernel::ComputeBlobKey(Canonicalise(samples, m_sampleBytes, width, height, scratch));
}

std::size_t TileBlock::GetAllocatedBytes() noexcept { return s_allocatedBytes.load(std::memory_order_relaxed); }

bool IsConstantKey(TileKey const& key) noexcept {
    return std::all_of(key.bytes.begin(), key.bytes.begin() + 12, [](std::byte b) { return b == std::byte(0); });
}

TileKey MakeConstantKey(std::uint32_t sampleBits) noexcept {
    TileKey key;
    std::memcpy(key.bytes.data() + 12, &sampleBits, sizeof sampleBits);
    return key;
}

std::uint32_t GetConstantOfKey(TileKey const& key) noexcept {
    std::uint32_t value;
    std::memcpy(&value, key.bytes.data() + 12, sizeof value);
    return value;
}

Tile MakeTileOfKey(int sampleBytes, TileKey const& key, int width, int height,
                   Kernel::Counted<Kernel::BlobSource> const& source) {
    if (IsConstantKey(key)) {
        std::uint32_t const value = GetConstantOfKey(key);
        if (sampleBytes != 4 && value >> (8 * sampleBytes) != 0)
            throw Kernel::DamagedDataException("a bitmap's tile list is damaged");
        return Tile::MakeConstant(sampleBytes, value);
    }
    return Tile(TileBlock::MakeStored(sampleBytes, key, width, height, source));
}

std::span<std::byte const> GetCanonicalBytes(Tile const& tile, int width, int height, std::vector<std::byte>& scratch) {
    return Canonicalise(static_cast<std::byte const*>(tile.GetConstBuffer()),
                        static_cast<std::size_t>(tile.GetSampleBytes()), width, height, scratch);
}

void FillSamples(void* samples, int sampleBytes, std::size_t count, std::uint32_t sampleBits) noexcept {
    if (sampleBytes == 1)
        std::memset(samples, static_cast<int>(sampleBits), count);
    else if (sampleBytes == 2)
        std::fill_n(static_cast<std::uint16_t*>(samples), count, static_cast<std::uint16_t>(sampleBits));
    else
        std::fill_n(static_cast<std::uint32_t*>(samples), count, sampleBits);
}

} // namespace Raster
