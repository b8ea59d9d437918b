// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/hardware_state.h"
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/exception.h"

#include <algorithm>

namespace Raster {

namespace {

// Results that rest on more results than this are fetched: a recipe keeps all pixels that it begins with, and makes
// again what they rest on.
constexpr int c_longestChain = 8;

DeviceLayout GetLayout(BitmapBase const& bitmap) {
    return {bitmap.GetWidth(), bitmap.GetHeight(), bitmap.GetInfo().sampleBytes, bitmap.GetInfo().channelCount};
}

bool IsInside(Kernel::RectT<int> const& inner, Kernel::RectT<int> const& outer) {
    return inner.left >= outer.left && inner.top >= outer.top && inner.right <= outer.right &&
           inner.bottom <= outer.bottom;
}

// Calls visit(slot, tile, part) for the tiles of a snapshot that `rect` touches; `part` is the pixels of the tile.
template <class F>
void VisitTiles(BitmapBase const& bitmap, Kernel::RectT<int> const& rect, F const& visit) {
    // As they are now: tiles that are being written to are copied.
    std::vector<RegionBase> planes;
    planes.reserve(static_cast<std::size_t>(bitmap.GetInfo().channelCount));
    for (int channel = 0; channel != bitmap.GetInfo().channelCount; ++channel)
        planes.push_back(bitmap.GetPlane(channel));
    DevicePixels::VisitSlots(GetLayout(bitmap), rect, [&](int channel, int tileX, int tileY, std::size_t slot) {
        int const left = tileX << c_tileShift, top = tileY << c_tileShift;
        visit(slot, planes[static_cast<std::size_t>(channel)].PeekTile(tileX, tileY),
              bitmap.GetBounds().Intersected({left, top, left + c_tileSide, top + c_tileSide}));
    });
}

// The tiles that `rect` touches, but for those that lie inside of `leftOut`.
std::vector<TileOfPicture> FindTiles(BitmapBase const& bitmap, Kernel::RectT<int> const& rect,
                                     Kernel::RectT<int> const& leftOut = {}) {
    std::vector<TileOfPicture> tiles;
    VisitTiles(bitmap, rect, [&](std::size_t slot, Tile const& tile, Kernel::RectT<int> const& part) {
        if (!IsInside(part, leftOut))
            tiles.push_back({slot, tile});
    });
    return tiles;
}

// How many results, one made of the other, the pixels rest on that only a device has.
int FindChain(BitmapBase const& bitmap) {
    int longest = 0;
    VisitTiles(bitmap, bitmap.GetBounds(), [&](std::size_t, Tile const& tile, Kernel::RectT<int> const&) {
        if (tile.GetBlock()->IsOnlyOnDevice())
            longest = std::max(longest, tile.GetBlock()->GetDeviceLink()->origin->GetChain());
    });
    return longest;
}

// Whether a picture of the bitmap's size can be on the device at all; tiles of one value make bitmaps that are larger
// than all memory.
bool Fits(BitmapBase const& bitmap, void* device) {
    return device != nullptr && bitmap.GetHardwareCachePolicy() != HardwareCachePolicy::Never &&
           !Device::FromHandle(device).IsLost() &&
           GetLayout(bitmap).GetBytes() <= Device::FromHandle(device).GetMemoryLimit();
}

// The pictures of the bitmap's kind on the device that have some of these tiles, those with most of them first.
std::vector<std::shared_ptr<DevicePixels>> FindPictures(std::span<TileOfPicture const> tiles,
                                                        DeviceLayout const& layout, Device const& device) {
    constexpr std::size_t c_most = 8;
    std::vector<std::pair<int, std::shared_ptr<DevicePixels>>> found;
    auto const note = [&](std::shared_ptr<DevicePixels> const& pixels) {
        if (pixels == nullptr || pixels->GetLayout() != layout)
            return;
        // The last that was met is met again most of the time.
        auto const entry =
            std::find_if(found.rbegin(), found.rend(), [&](auto const& one) { return one.second == pixels; });
        if (entry != found.rend())
            ++entry->first;
        else if (found.size() != c_most)
            found.emplace_back(1, pixels);
    };
    {
        std::lock_guard const lock(DeviceLink::GetMutex());
        for (auto const& [slot, tile] : tiles) {
            if (auto const* const link = tile.GetBlock()->GetDeviceLink()) {
                note(link->origin);
                note(link->copy);
            }
        }
    }
    std::erase_if(found, [&](auto const& one) { return !one.second->IsOn(device); });
    std::stable_sort(found.begin(), found.end(), [](auto const& a, auto const& b) { return a.first > b.first; });
    std::vector<std::shared_ptr<DevicePixels>> pictures;
    for (auto& [count, pixels] : found)
        pictures.push_back(std::move(pixels));
    return pictures;
}

// A picture on the device that holds these tiles; null when there can be none.
std::shared_ptr<DevicePixels> BringTiles(std::span<TileOfPicture const> tiles, std::shared_ptr<DevicePixels> likely,
                                         DeviceLayout const& layout, Device& device, bool const* abort) {
    if (likely != nullptr && likely->IsOn(device) && likely->Bring(tiles, abort))
        return likely;
    for (auto& pixels : FindPictures(tiles, layout, device)) {
        if (Kernel::IsAbortSet(abort))
            return nullptr;
        if (pixels != likely && pixels->Bring(tiles, abort))
            return pixels;
    }
    auto pixels = Kernel::IsAbortSet(abort) ? nullptr : DevicePixels::Make(device, layout, false);
    return pixels != nullptr && pixels->Bring(tiles, abort) ? pixels : nullptr;
}

} // namespace

void* BitmapBase::GetHardwareDevice() const {
    // More than any device has.
    constexpr std::size_t c_largest = std::size_t(1) << 37;
    if (!DevicePixels::IsThereAny() || m_policy == HardwareCachePolicy::Never ||
        GetLayout(*this).GetBytes() > c_largest)
        return nullptr;
    void* device = nullptr;
    // Those that are on no device any more.
    std::vector<std::shared_ptr<DevicePixels>> met;
    VisitTiles(*this, GetBounds(), [&](std::size_t, Tile const& tile, Kernel::RectT<int> const&) {
        auto const* const link = device == nullptr ? tile.GetBlock()->GetDeviceLink() : nullptr;
        if (link == nullptr)
            return;
        std::shared_ptr<DevicePixels> copy;
        {
            std::lock_guard const lock(DeviceLink::GetMutex());
            copy = link->copy;
        }
        for (auto const& pixels : {link->origin, copy}) {
            if (pixels == nullptr || device != nullptr || (!met.empty() && met.back() == pixels))
                continue;
            met.push_back(pixels);
            if (Device* const found = pixels->GetDevice())
                device = found->GetHandle();
        }
    });
    return device;
}

void BitmapBase::ExpectOverwriting(Kernel::RectT<int> const& rect) {
    std::lock_guard const lock(m_hardware->mutex);
    m_hardware->expected = rect.Intersected(GetBounds());
}

bool BitmapBase::SyncHardwareCache(void* device, Kernel::RectT<int> const& rect, bool, bool const* abort) const {
    if (!Fits(*this, device) || Kernel::IsAbortSet(abort))
        return false;
    std::shared_ptr<DevicePixels> likely;
    {
        std::lock_guard const lock(m_hardware->mutex);
        // A bitmap that is to be overwritten gets its memory, and what is left of the pixels, when it is retained.
        if (!m_hardware->expected.IsEmpty())
            return true;
        likely = m_hardware->synced;
    }
    return TryOnDevice([&] {
        auto const tiles = FindTiles(*this, rect);
        if (tiles.empty())
            return true;
        auto pixels = BringTiles(tiles, likely, GetLayout(*this), Device::FromHandle(device), abort);
        std::lock_guard const lock(m_hardware->mutex);
        m_hardware->synced.swap(pixels);
        return m_hardware->synced != nullptr;
    });
}

bool BitmapBase::SyncHostCache(Kernel::RectT<int> const& rect, bool, bool const* abort) const {
    if (!DevicePixels::IsThereAny())
        return !Kernel::IsAbortSet(abort);
    std::vector<Tile> tiles;
    VisitTiles(*this, rect, [&](std::size_t, Tile const& tile, Kernel::RectT<int> const&) {
        if (tile.GetBlock()->IsOnlyOnDevice())
            tiles.push_back(tile);
    });
    // Some rows of tiles at a time, as far as they come from one picture.
    constexpr std::size_t c_most = 64;
    std::vector<TileBlock*> blocks;
    for (std::size_t next = 0; next != tiles.size();) {
        if (Kernel::IsAbortSet(abort))
            return false;
        auto* const origin = tiles[next].GetBlock()->GetDeviceLink()->origin.get();
        blocks.clear();
        for (; next != tiles.size() && blocks.size() != c_most; ++next) {
            if (tiles[next].GetBlock()->GetDeviceLink()->origin.get() != origin)
                break;
            blocks.push_back(tiles[next].GetBlock());
        }
        origin->Fetch(blocks);
    }
    return !Kernel::IsAbortSet(abort);
}

void* BitmapBase::RetainHardwareBuffer(void* device, void*, bool readOnly, bool, Kernel::RectT<int> const& rect,
                                       Prolongation& holder, int slot) const {
    if (!Fits(*this, device))
        return nullptr;
    Kernel::RectT<int> expected;
    std::shared_ptr<DevicePixels> synced, former;
    {
        std::lock_guard const lock(m_hardware->mutex);
        if (!readOnly) {
            expected = m_hardware->expected;
            // Of a run that came to nothing.
            former.swap(m_hardware->written);
        }
        synced = m_hardware->synced;
    }
    former.reset();
    return TryOnDevice([&]() -> void* {
        auto const layout = GetLayout(*this);
        auto const tiles = FindTiles(*this, rect, expected);
        int const chain = FindChain(*this);
        std::shared_ptr<DevicePixels> pixels;
        if (readOnly) {
            pixels = BringTiles(tiles, synced, layout, Device::FromHandle(device), nullptr);
        } else {
            pixels = DevicePixels::Make(Device::FromHandle(device), layout, true);
            if (pixels != nullptr && !pixels->Bring(tiles, nullptr))
                pixels = nullptr;
        }
        void* const buffer = pixels == nullptr ? nullptr : pixels->Retain(holder, slot, readOnly);
        if (buffer == nullptr)
            return nullptr;
        if (!readOnly)
            pixels->ExtendChain(chain);
        else if (auto* const result = DeviceMemory::FindRetained(holder, Prolongation::c_destination))
            result->ExtendChain(chain);
        // The holder keeps what was read from now on.
        std::lock_guard const lock(m_hardware->mutex);
        synced.swap(m_hardware->synced);
        m_hardware->synced = nullptr;
        if (!readOnly)
            m_hardware->written = std::move(pixels);
        return buffer;
    });
}

void BitmapBase::InvalidateHostCache(Kernel::RectT<int> const& rect, std::shared_ptr<HardwareRecipe const> recipe) {
    std::shared_ptr<DevicePixels> written, synced;
    {
        std::lock_guard const lock(m_hardware->mutex);
        written.swap(m_hardware->written);
        synced.swap(m_hardware->synced);
        m_hardware->expected = {};
    }
    if (written == nullptr)
        throw Kernel::Exception("a bitmap was not retained for the kernel that has written to it");
    written->SetRecipe(std::move(recipe));
    // All or none.
    std::vector<RegionBase> planes(m_planes.begin(), m_planes.end());
    DevicePixels::VisitSlots(GetLayout(*this), rect, [&](int channel, int tileX, int tileY, std::size_t slot) {
        planes[static_cast<std::size_t>(channel)].GetMutableTile(tileX, tileY) =
            Tile(TileBlock::MakeOnDevice(m_info.sampleBytes, written, slot));
    });
    for (std::size_t channel = 0; channel != planes.size(); ++channel)
        m_planes[channel] = std::move(planes[channel]);
    written->Publish();
    if (written->GetChain() > c_longestChain) {
        try {
            written->FetchAll();
        } catch (Kernel::Exception const&) {
            // The one who reads the pixels is told.
        } catch (std::bad_alloc const&) {
        }
    }
}

void BitmapBase::InvalidateHardwareCache(Kernel::RectT<int> const& rect) {
    std::shared_ptr<DevicePixels> written, synced;
    {
        std::lock_guard const lock(m_hardware->mutex);
        written.swap(m_hardware->written);
        synced.swap(m_hardware->synced);
        m_hardware->expected = {};
    }
    if (!DevicePixels::IsThereAny())
        return;
    // For those who write by pointers that they should no longer have.
    auto const tiles = FindTiles(*this, rect);
    std::vector<std::shared_ptr<DevicePixels>> forgotten;
    std::lock_guard const lock(DeviceLink::GetMutex());
    for (auto const& [slot, tile] : tiles) {
        auto* const link = tile.GetBlock()->GetDeviceLink();
        if (link == nullptr || link->origin != nullptr)
            continue;
        link->contentName.store(DeviceLink::MakeName(), std::memory_order_relaxed);
        forgotten.push_back(std::move(link->copy));
    }
}

int BitmapBase::GetHardwareParams(void const*, float* parameters) const {
    return GetLayout(*this).Describe(parameters);
}

} // namespace Raster
