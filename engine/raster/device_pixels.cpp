// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/device_pixels.h"

#include "platform/kernel/abort_flag.h"
#include "platform/kernel/exception.h"
#include "platform/raster/bitmap.h"

#include <algorithm>
#include <cstring>

namespace Raster {

namespace {

// The most bytes that go to or from the device at once, by way of a copy whose rows are as long as can be: short rows
// are slow on their way to a device.
constexpr std::size_t c_stagingBytes = std::size_t(4) << 20;

std::atomic<std::size_t> s_pictures{0};

// The longest run of items whose `continues(last, next)` holds, from `first` on.
template <class Items, class F>
std::size_t FindRun(Items const& items, std::size_t first, F const& continues) {
    std::size_t end = first + 1;
    while (end != items.size() && continues(items[end - 1], items[end]))
        ++end;
    return end;
}

} // namespace

bool DevicePixels::IsThereAny() noexcept { return s_pictures.load(std::memory_order_acquire) != 0; }

std::uint64_t DeviceLink::MakeName() {
    // Above those of constants.
    static std::atomic<std::uint64_t> s_last{std::uint64_t(1) << 33};
    return s_last.fetch_add(1, std::memory_order_relaxed) + 1;
}

std::mutex& DeviceLink::GetMutex() {
    static auto& s_mutex = *new std::mutex;
    return s_mutex;
}

class DevicePixels::ContentLock {
public:
    explicit ContentLock(Kernel::Semaphore& semaphore) : m_semaphore(semaphore), m_isHeld(true) {
        m_semaphore.Acquire();
    }
    ContentLock(Kernel::Semaphore& semaphore, std::try_to_lock_t)
        : m_semaphore(semaphore), m_isHeld(m_semaphore.TryAcquire()) {}
    ContentLock(ContentLock const&) = delete;
    ContentLock& operator=(ContentLock const&) = delete;
    ~ContentLock() {
        if (m_isHeld)
            m_semaphore.Release();
    }
    bool IsHeld() const { return m_isHeld; }

private:
    Kernel::Semaphore& m_semaphore;
    bool m_isHeld;
};

// A tile on its way to a slot: from `from`'s memory where that is not null, else from the host.
struct DevicePixels::Source {
    TileOfPicture const* target;
    std::shared_ptr<DevicePixels> from;
    std::size_t fromSlot = 0;
    std::shared_ptr<DeviceBlock> fromBlock;
};

// A block on its way from a slot; the tile keeps it.
struct DevicePixels::Held {
    std::size_t slot;
    Tile tile;
};

std::shared_ptr<DevicePixels> DevicePixels::Make(Device& device, DeviceLayout const& layout, bool isForKernel) {
    // The list of slots is made after the memory, which a picture beyond all measure does not get.
    auto pixels = std::make_shared<DevicePixels>(layout, isForKernel);
    if (!pixels->Allocate(device))
        return nullptr;
    std::lock_guard const lock(pixels->m_mutex);
    pixels->m_slots.resize(pixels->m_planeSlots * static_cast<std::size_t>(layout.channelCount));
    return pixels;
}

DevicePixels::DevicePixels(DeviceLayout const& layout, bool isForKernel)
    : DeviceMemory(layout),
      m_tilesAcross((layout.width + c_tileSide - 1) >> c_tileShift),
      m_planeSlots(static_cast<std::size_t>(m_tilesAcross) *
                   static_cast<std::size_t>((layout.height + c_tileSide - 1) >> c_tileShift)),
      m_isPublished(!isForKernel) {
    s_pictures.fetch_add(1, std::memory_order_acq_rel);
}

DevicePixels::~DevicePixels() { s_pictures.fetch_sub(1, std::memory_order_acq_rel); }

Kernel::RectT<int> DevicePixels::GetPart(std::size_t slot) const {
    auto const inPlane = static_cast<int>(slot % m_planeSlots);
    int const left = inPlane % m_tilesAcross << c_tileShift, top = inPlane / m_tilesAcross << c_tileShift;
    return Kernel::RectT<int>{left, top, left + c_tileSide, top + c_tileSide}.Intersected(
        {0, 0, GetLayout().width, GetLayout().height});
}

void DevicePixels::ExtendChain(int chain) {
    int present = m_chain.load(std::memory_order_relaxed);
    while (present <= chain && !m_chain.compare_exchange_weak(present, chain + 1, std::memory_order_relaxed)) {
    }
}

bool DevicePixels::Bring(std::span<TileOfPicture const> tiles, bool const* abort) {
    std::vector<Source> missing;
    if (!FindMissing(tiles, missing) || (!missing.empty() && !BringMissing(missing, abort)))
        return false;
    if (m_isPublished)
        Remember(tiles);
    return true;
}

// False when a slot holds something else, or when there is no memory.
bool DevicePixels::FindMissing(std::span<TileOfPicture const> tiles, std::vector<Source>& missing) const {
    std::lock_guard const lock(m_mutex);
    if (m_block == nullptr)
        return false;
    for (auto const& one : tiles) {
        auto const content = m_slots[one.slot].content;
        if (content == 0)
            missing.push_back(Source{&one, nullptr, 0, nullptr});
        else if (content != one.tile.GetBlock()->GetContentName())
            return false;
    }
    return true;
}

// Where the same device has the tiles already.
void DevicePixels::FindSources(std::vector<Source>& missing, Device const& device) const {
    {
        std::lock_guard const lock(DeviceLink::GetMutex());
        for (Source& source : missing) {
            auto const* const link = source.target->tile.GetBlock()->GetDeviceLink();
            if (link == nullptr)
                continue;
            bool const hasCopy = link->copy != nullptr && link->copy.get() != this;
            source.from = hasCopy ? link->copy : link->origin;
            source.fromSlot = hasCopy ? link->copySlot : link->originSlot;
        }
    }
    for (Source& source : missing) {
        if (source.from == nullptr)
            continue;
        auto const* const link = source.target->tile.GetBlock()->GetDeviceLink();
        source.fromBlock = source.from->GetBlock();
        if (source.fromBlock == nullptr && link->origin != nullptr && link->origin != source.from) {
            source.from = link->origin;
            source.fromSlot = link->originSlot;
            source.fromBlock = source.from->GetBlock();
        }
        // A tile at the edge of that picture may be inside of this one.
        auto const here = GetPart(source.target->slot), there = source.from->GetPart(source.fromSlot);
        if (source.fromBlock == nullptr || &source.fromBlock->GetDevice() != &device ||
            here.GetWidth() > there.GetWidth() || here.GetHeight() > there.GetHeight())
            source.from = nullptr;
    }
}

bool DevicePixels::BringMissing(std::vector<Source>& missing, bool const* abort) {
    auto const block = GetBlock();
    if (block == nullptr)
        return false;
    FindSources(missing, block->GetDevice());
    // Before the content lock is taken: samples may have to be read or fetched.
    for (Source const& source : missing) {
        if (Kernel::IsAbortSet(abort))
            return false;
        if (source.from == nullptr)
            source.target->tile.Load();
    }
    ContentLock const contentLock(m_content);
    {
        // Another thread may have been quicker; its content may be another.
        std::lock_guard const lock(m_mutex);
        std::erase_if(missing, [this](Source const& source) {
            return m_slots[source.target->slot].content == source.target->tile.GetBlock()->GetContentName();
        });
        auto const isTaken = [this](Source const& source) { return m_slots[source.target->slot].content != 0; };
        if (std::any_of(missing.begin(), missing.end(), isTaken))
            return false;
    }
    // Of tiles side by side.
    auto const continues = [this](Source const& last, Source const& next) {
        if (next.target->slot != last.target->slot + 1 || next.from != last.from ||
            GetPart(next.target->slot).left != GetPart(last.target->slot).right)
            return false;
        return next.from == nullptr ||
               (next.fromSlot == last.fromSlot + 1 &&
                next.from->GetPart(next.fromSlot).left == next.from->GetPart(last.fromSlot).right);
    };
    constexpr std::size_t c_longestRun = c_stagingBytes / (std::size_t(4) * c_tileSamples);
    std::vector<std::byte> staging;
    for (std::size_t first = 0; first != missing.size();) {
        if (Kernel::IsAbortSet(abort))
            return false;
        std::size_t const end = std::min(FindRun(missing, first, continues), first + c_longestRun);
        auto const run = std::span<Source const>(missing).subspan(first, end - first);
        if (!(run.front().from != nullptr ? CopyRun(run, *block) : WriteRun(run, *block, staging)))
            return false;
        first = end;
    }
    std::lock_guard const lock(m_mutex);
    for (Source const& source : missing)
        m_slots[source.target->slot].content = source.target->tile.GetBlock()->GetContentName();
    return true;
}

bool DevicePixels::CopyRun(std::span<Source const> run, DeviceBlock& block) const {
    auto const first = GetPart(run.front().target->slot), last = GetPart(run.back().target->slot);
    auto const& from = *run.front().from;
    auto const there = from.GetPart(run.front().fromSlot);
    auto const& layout = GetLayout();
    return block.GetDevice().Copy(
        *run.front().fromBlock, from.GetLayout().GetRows(from.GetChannel(run.front().fromSlot), there.left, there.top),
        block, layout.GetRows(GetChannel(run.front().target->slot), first.left, first.top),
        static_cast<std::size_t>((last.right - first.left) * layout.sampleBytes),
        static_cast<std::size_t>(first.GetHeight()));
}

bool DevicePixels::WriteRun(std::span<Source const> run, DeviceBlock& block, std::vector<std::byte>& staging) const {
    auto const first = GetPart(run.front().target->slot), last = GetPart(run.back().target->slot);
    auto const& layout = GetLayout();
    auto const sampleBytes = static_cast<std::size_t>(layout.sampleBytes);
    auto const rows = static_cast<std::size_t>(first.GetHeight());
    auto const rowBytes = static_cast<std::size_t>(last.right - first.left) * sampleBytes;
    staging.resize(std::max(staging.size(), rowBytes * rows));
    for (Source const& source : run) {
        auto const part = GetPart(source.target->slot);
        auto const width = static_cast<std::size_t>(part.GetWidth());
        auto const constant = source.target->tile.GetConstant();
        auto const* const samples =
            constant ? nullptr : static_cast<std::byte const*>(source.target->tile.GetConstBuffer());
        for (std::size_t y = 0; y != rows; ++y) {
            std::byte* const row =
                staging.data() + y * rowBytes + static_cast<std::size_t>(part.left - first.left) * sampleBytes;
            if (constant)
                FillSamples(row, layout.sampleBytes, width, *constant);
            else
                std::memcpy(row, samples + y * c_tileSide * sampleBytes, width * sampleBytes);
        }
    }
    return block.GetDevice().Write(block, layout.GetRows(GetChannel(run.front().target->slot), first.left, first.top),
                                   staging.data(), rowBytes, rowBytes, rows);
}

// The newest picture that has a tile is the likeliest to be asked for again.
void DevicePixels::Remember(std::span<TileOfPicture const> tiles) {
    auto const self = std::static_pointer_cast<DevicePixels>(shared_from_this());
    std::vector<std::shared_ptr<DevicePixels>> replaced;
    replaced.reserve(tiles.size());
    std::lock_guard const lock(DeviceLink::GetMutex());
    for (auto const& [slot, tile] : tiles) {
        auto* const link = tile.GetBlock()->GetDeviceLink();
        if (link == nullptr || link->origin == self || link->copy == self)
            continue;
        replaced.push_back(std::exchange(link->copy, self));
        link->copySlot = slot;
    }
}

void DevicePixels::SetRecipe(std::shared_ptr<HardwareRecipe const> recipe) {
    std::lock_guard const lock(m_mutex);
    m_recipe.swap(recipe);
}

void DevicePixels::AddBlock(std::size_t slot, TileBlock& block, std::uint64_t contentName) noexcept {
    std::lock_guard const lock(m_mutex);
    m_slots[slot] = {contentName, &block};
    ++m_waitingBlocks;
}

void DevicePixels::RemoveBlock(std::size_t slot, TileBlock& block) noexcept {
    // Goes after the lock: it may hold the last handles of other blocks.
    std::shared_ptr<HardwareRecipe const> done;
    std::lock_guard const lock(m_mutex);
    if (m_slots[slot].block != &block)
        return;
    m_slots[slot].block = nullptr;
    if (--m_waitingBlocks == 0)
        done = std::move(m_recipe);
}

std::vector<DevicePixels::Held> DevicePixels::HoldBlocks(std::span<TileBlock* const> only) {
    std::vector<Held> held;
    std::lock_guard const lock(m_mutex);
    auto const hold = [&](std::size_t slot) {
        if (m_slots[slot].block->TryAcquire())
            held.push_back({slot, Tile(m_slots[slot].block)});
    };
    if (!only.empty()) {
        held.reserve(only.size());
        for (TileBlock* const block : only) {
            std::size_t const slot = block->GetDeviceLink()->originSlot;
            if (m_slots[slot].block == block)
                hold(slot);
        }
        return held;
    }
    held.reserve(m_waitingBlocks);
    for (std::size_t slot = 0; slot != m_slots.size(); ++slot) {
        if (m_slots[slot].block != nullptr)
            hold(slot);
    }
    return held;
}

void DevicePixels::Fetch(std::span<TileBlock* const> blocks) {
    ContentLock const lock(m_content);
    auto const held = HoldBlocks(blocks);
    if (!held.empty() && !ReadBlocks(held))
        MakeAgain();
}

void DevicePixels::FetchAll() { Fetch({}); }

// False when the device fails; blocks that were read by then have their samples.
bool DevicePixels::ReadBlocks(std::span<Held const> blocks) {
    auto const memory = GetBlock();
    if (memory == nullptr)
        return false;
    auto const& layout = GetLayout();
    auto const sampleBytes = static_cast<std::size_t>(layout.sampleBytes);
    auto const continues = [this](Held const& last, Held const& next) {
        return next.slot == last.slot + 1 && GetPart(next.slot).left == GetPart(last.slot).right;
    };
    constexpr std::size_t c_longestRun = c_stagingBytes / (std::size_t(4) * c_tileSamples);
    std::vector<std::byte> staging;
    for (std::size_t begin = 0; begin != blocks.size();) {
        std::size_t const end = std::min(FindRun(blocks, begin, continues), begin + c_longestRun);
        auto const run = blocks.subspan(begin, end - begin);
        begin = end;
        auto const first = GetPart(run.front().slot), last = GetPart(run.back().slot);
        auto const rowBytes = static_cast<std::size_t>(last.right - first.left) * sampleBytes;
        auto const rows = static_cast<std::size_t>(first.GetHeight());
        staging.resize(std::max(staging.size(), rowBytes * rows));
        if (!memory->GetDevice().Read(*memory, layout.GetRows(GetChannel(run.front().slot), first.left, first.top),
                                      staging.data(), rowBytes, rowBytes, rows))
            return false;
        for (auto const& [slot, tile] : run) {
            auto const part = GetPart(slot);
            auto const* const from = staging.data() + static_cast<std::size_t>(part.left - first.left) * sampleBytes;
            auto const partBytes = static_cast<std::size_t>(part.GetWidth()) * sampleBytes;
            tile.GetBlock()->SetFetchedSamples([&](std::byte* samples) {
                if (part.GetWidth() < c_tileSide || part.GetHeight() < c_tileSide)
                    std::memset(samples, 0, sampleBytes * c_tileSamples);
                for (std::size_t y = 0; y != rows; ++y)
                    std::memcpy(samples + y * c_tileSide * sampleBytes, from + y * rowBytes, partBytes);
            });
        }
        NoteFetched(run);
    }
    return true;
}

void DevicePixels::NoteFetched(std::span<Held const> blocks) {
    // Goes after the lock.
    std::shared_ptr<HardwareRecipe const> done;
    std::lock_guard const lock(m_mutex);
    for (auto const& [slot, tile] : blocks) {
        m_slots[slot].block = nullptr;
        --m_waitingBlocks;
    }
    if (m_waitingBlocks == 0)
        done = std::move(m_recipe);
}

void DevicePixels::MakeAgain() {
    std::shared_ptr<HardwareRecipe const> recipe;
    {
        std::lock_guard const lock(m_mutex);
        recipe = m_recipe;
    }
    if (recipe == nullptr)
        throw Kernel::Exception("a graphics device has lost the pixels of a bitmap");
    auto const& layout = GetLayout();
    HardwareGPUEnabledSession const inSoftware(false);
    auto const made = recipe->Make();
    if (!made || made->GetWidth() != layout.width || made->GetHeight() != layout.height ||
        made->GetInfo().channelCount != layout.channelCount || made->GetInfo().sampleBytes != layout.sampleBytes)
        throw Kernel::Exception("the pixels that a graphics device has lost cannot be made again");
    auto const blocks = HoldBlocks({});
    auto const sampleBytes = static_cast<std::size_t>(layout.sampleBytes);
    for (auto const& [slot, tile] : blocks) {
        auto const part = GetPart(slot);
        auto const& plane = made->GetPlane(GetChannel(slot));
        tile.GetBlock()->SetFetchedSamples([&](std::byte* samples) {
            std::memset(samples, 0, sampleBytes * c_tileSamples);
            plane.ReadSamples(part, samples, sampleBytes * c_tileSide);
        });
    }
    NoteFetched(blocks);
    // The device may still answer, but what it holds is not to be trusted.
    std::shared_ptr<DeviceBlock> spoilt;
    std::lock_guard const lock(m_mutex);
    spoilt.swap(m_block);
}

std::size_t DevicePixels::GiveUp() {
    ContentLock const contentLock(m_content, std::try_to_lock);
    if (!contentLock.IsHeld() || !m_isPublished)
        return 0;
    {
        std::lock_guard const lock(m_mutex);
        if (m_block == nullptr || IsInUse())
            return 0;
    }
    // A recipe is not asked: it would wait for locks. Whoever wants the pixels may ask it.
    try {
        auto const blocks = HoldBlocks({});
        if (!ReadBlocks(blocks))
            return 0;
    } catch (Kernel::Exception const&) {
        return 0;
    } catch (std::bad_alloc const&) {
        return 0;
    }
    std::shared_ptr<DeviceBlock> given;
    std::lock_guard const lock(m_mutex);
    if (IsInUse())
        return 0;
    given.swap(m_block);
    return given->GetBytes();
}

} // namespace Raster
