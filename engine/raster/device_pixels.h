// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/raster/device_memory.h"
#include "engine/raster/tile_block.h"
#include "platform/raster/hardware.h"

#include <span>
#include <vector>

namespace Raster {

// The place of a tile in a picture, and the tile that is to be there.
struct TileOfPicture {
    std::size_t slot;
    Tile tile;
};

// The pixels of a bitmap in a block of a device's memory: a slot for each tile of each plane.
//
// A slot is empty or holds a content, named by TileBlock::GetContentName. A content that others may have seen there is
// never replaced, so that a kernel finds what was brought for it. Slots that a kernel has filled are the origin of tile
// blocks, which fetch their samples from here; those point here and keep this alive, and here stands only their
// address. Other tiles remember in their DeviceLink that they have a copy here, until they are written to, and keep
// this alive too. So nothing here holds a tile, and a picture leaves the device when no tile has anything there.
class DevicePixels final : public DeviceMemory {
public:
    // Nothing is in it. Null when the device has no room. `isForKernel`: a kernel is to write to it before anybody but
    // the caller knows of it, and until Publish the device cannot ask its memory back.
    static std::shared_ptr<DevicePixels> Make(Device& device, DeviceLayout const& layout, bool isForKernel);
    DevicePixels(DeviceLayout const& layout, bool isForKernel);
    ~DevicePixels() override;
    // False in a process where no bitmap has anything on a device, as most of the time: no tile need be looked at.
    static bool IsThereAny() noexcept;

    // Places of the tiles that a rectangle touches, channel by channel, row by row.
    template <class F>
    static void VisitSlots(DeviceLayout const& layout, Kernel::RectT<int> const& rect, F const& visit);

    // Sees to it that the slots hold these tiles: from another picture on the device where one has them, else from
    // the host. False when a slot holds something else, when the device fails, when samples cannot be had, or when
    // *abort becomes true.
    bool Bring(std::span<TileOfPicture const> tiles, bool const* abort);

    // A kernel has written to it. First the recipe, which may be null, then the blocks, then Publish.
    void SetRecipe(std::shared_ptr<HardwareRecipe const> recipe);
    void Publish() { m_isPublished.store(true); }
    // Of a block that is made for a slot or goes.
    void AddBlock(std::size_t slot, TileBlock& block, std::uint64_t contentName) noexcept;
    void RemoveBlock(std::size_t slot, TileBlock& block) noexcept;

    // Gives the blocks, which have their origin here, their samples. When the device fails, the recipe makes the whole
    // picture again; what it throws comes out, and the next reader tries again.
    void Fetch(std::span<TileBlock* const> blocks);
    void FetchAll();

    // How many kernels, one on the result of the other, a recipe would have to make again.
    int GetChain() const { return m_chain.load(std::memory_order_relaxed); }
    // The pixels come of others, whose chain is this long.
    void ExtendChain(int chain) override;

private:
    struct Slot {
        // 0: empty.
        std::uint64_t content = 0;
        // The block that fetches its samples from here and has not done so yet.
        TileBlock* block = nullptr;
    };
    class ContentLock;
    struct Source;
    struct Held;

    std::size_t GiveUp() override;
    bool FindMissing(std::span<TileOfPicture const> tiles, std::vector<Source>& missing) const;
    void FindSources(std::vector<Source>& missing, Device const& device) const;
    bool BringMissing(std::vector<Source>& missing, bool const* abort);
    bool CopyRun(std::span<Source const> run, DeviceBlock& block) const;
    bool WriteRun(std::span<Source const> run, DeviceBlock& block, std::vector<std::byte>& staging) const;
    void Remember(std::span<TileOfPicture const> tiles);
    // The blocks that wait for their samples, held.
    std::vector<Held> HoldBlocks(std::span<TileBlock* const> only);
    bool ReadBlocks(std::span<Held const> blocks);
    void MakeAgain();
    void NoteFetched(std::span<Held const> blocks);
    Kernel::RectT<int> GetPart(std::size_t slot) const;
    int GetChannel(std::size_t slot) const { return static_cast<int>(slot / m_planeSlots); }

    int const m_tilesAcross;
    std::size_t const m_planeSlots;
    // Held while contents come or go, for long. See DeviceMemory.
    Kernel::Semaphore m_content;
    std::atomic<int> m_chain{0};
    std::atomic<bool> m_isPublished;

    // Under the mutex.
    std::vector<Slot> m_slots;
    // Slots with a block.
    std::size_t m_waitingBlocks = 0;
    std::shared_ptr<HardwareRecipe const> m_recipe;
};

// The knowledge of a tile block about devices. The members below `origin` change under the mutex.
struct DeviceLink {
    DeviceLink() : contentName(MakeName()) {}
    DeviceLink(std::shared_ptr<DevicePixels> pixels, std::size_t slot)
        : contentName(MakeName()), origin(std::move(pixels)), originSlot(slot) {}

    static std::uint64_t GetNameOfConstant(std::uint32_t sampleBits) { return std::uint64_t(1) << 32 | sampleBits; }
    static std::uint64_t MakeName();
    // One for all: nothing is done under it but reading and writing these members. No pixels are let go of under it.
    static std::mutex& GetMutex();

    std::atomic<std::uint64_t> contentName;
    // Of a block that was made on a device; null for others.
    std::shared_ptr<DevicePixels> const origin;
    std::size_t const originSlot = 0;
    // The last picture that the content was brought to.
    std::shared_ptr<DevicePixels> copy;
    std::size_t copySlot = 0;
};

template <class F>
void DevicePixels::VisitSlots(DeviceLayout const& layout, Kernel::RectT<int> const& rect, F const& visit) {
    auto const clipped = rect.Intersected({0, 0, layout.width, layout.height});
    if (clipped.IsEmpty())
        return;
    auto const across = static_cast<std::size_t>((layout.width + c_tileSide - 1) >> c_tileShift);
    auto const down = static_cast<std::size_t>((layout.height + c_tileSide - 1) >> c_tileShift);
    for (int channel = 0; channel != layout.channelCount; ++channel) {
        for (int tileY = clipped.top >> c_tileShift; tileY << c_tileShift < clipped.bottom; ++tileY) {
            for (int tileX = clipped.left >> c_tileShift; tileX << c_tileShift < clipped.right; ++tileX)
                visit(channel, tileX, tileY,
                      (static_cast<std::size_t>(channel) * down + static_cast<std::size_t>(tileY)) * across +
                          static_cast<std::size_t>(tileX));
        }
    }
}

} // namespace Raster
