// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/raster/pixel.h"
#include "platform/raster/region.h"

#include <memory>
#include <vector>

namespace Raster {

// Reduced copies of a bitmap: level n has 1 / 2^n of its width and height, rounded up. The values are part of saved
// documents.
enum class MipmapMode : int {
    // There are no levels.
    None = 0,
    // Brought up to date at the end of each change.
    Immediate = 1,
    // Brought up to date when they are asked for.
    OnDemand = 2,
    // Kept as they are: changes mark them, nothing renews them.
    Frozen = 3,
    // As OnDemand, and the levels are not even made before they are asked for.
    Deferred = 4
};

// Whether copies on a graphics device may be kept.
enum class HardwareCachePolicy : int { Automatic = 0, Never = 1 };

template <class Model, class Extend, class Transform>
class ConstPixelAccessor;
template <class Model, class Extend, class Transform>
class PixelAccessor;
class HardwareRecipe;
class Prolongation;

// A bitmap of any format: its planes in the order of the format's channels.
//
// Threads: reading is safe beside reading. Writing is safe beside writing to other tiles. Nothing reads pixels that
// another thread writes: take a clone, which costs next to nothing.
class REDRAFT_ENGINE BitmapBase : public virtual Kernel::Countable {
public:
    // Exception for a format without pixels or a size outside 1 to c_maximumSide; no memory is taken before.
    static Kernel::Counted<BitmapBase> Create(int width, int height, Format format,
                                              MipmapMode mipmaps = MipmapMode::None,
                                              HardwareCachePolicy policy = HardwareCachePolicy::Automatic);

    Format GetFormat() const { return m_info.format; }
    FormatInfo const& GetInfo() const { return m_info; }
    int GetWidth() const { return m_width; }
    int GetHeight() const { return m_height; }
    Kernel::SizeT<int> GetSize() const { return {m_width, m_height}; }
    Kernel::RectT<int> GetBounds() const { return {0, 0, m_width, m_height}; }
    HardwareCachePolicy GetHardwareCachePolicy() const { return m_policy; }

    RegionBase const& GetPlane(int channel) const { return m_planes.at(static_cast<std::size_t>(channel)); }
    RegionBase& GetPlane(int channel) { return m_planes.at(static_cast<std::size_t>(channel)); }

    // Shares all tiles with the copy. The levels come along. Never blocks and never loads, so the flag isn't polled;
    // it may be null.
    Kernel::Counted<BitmapBase> Clone(bool* abort) const;

    // True while samples of the full size have still to be read from the document's store.
    bool IsPendingDelayLoad() const;
    // Reads them; returns early when *abort becomes true. DamagedDataException when the store cannot give a tile;
    // what could be read is kept.
    void ForceDelayLoad(bool* abort) const;
    // True when the full size is pending while at least one level holds data.
    bool HoldsMipmapsOnly() const;
    // Gives the memory of tiles back that the document's store can give again: they become pending.
    // Nothing else may hold pointers to samples of this bitmap meanwhile.
    void ReleaseLoadedTiles();

    MipmapMode GetMipmapMode() const { return m_mipmapMode; }
    // Levels 1 to this number can be asked for; the last is the first that fits into one tile. 0 without levels.
    int GetMipmapLevels() const;
    // The level if it has been made, also when it is out of date; empty otherwise, and for level 0 and below.
    Kernel::Counted<BitmapBase const> GetMipmap(int level) const;
    // True when the level has been made and shows the bitmap as it is.
    bool IsMipmapValid(int level) const;
    // Bring levels 1 to `level`, or all for 0, up to date; the bitmap is loaded as far as it is needed. Nothing
    // happens in modes None and Frozen. Returns early when *abort becomes true.
    //
    // A sample is the mean of the up to four samples that it covers, colours weighted by alpha; integers are rounded
    // to the nearest, halves up.
    void UpdateMipmaps(int level, bool* abort) const;
    // Marks the area of the rectangle as out of date in all levels that exist.
    void MarkMipmapsDirty(Kernel::RectT<int> const& changed);
    // To be called at the end of each change of pixels instead: marks, and in mode Immediate renews.
    void FinishChange(Kernel::RectT<int> const& changed);
    // Takes all levels away until they are asked for: after a change of everything.
    void ForgetMipmaps();
    // The area that is out of date in a level, in pixels of the full size; empty for a level that is valid or missing.
    Kernel::RectT<int> GetMipmapDirtyRect(int level) const;

    // Pixels with the format's channels side by side, rows `rowBytes` apart, for a rectangle inside the bitmap
    // (Exception otherwise). Reading loads what is pending in the rectangle. Writing, filling and copying mark the
    // levels, and in mode Immediate renew them.
    void ReadPixels(Kernel::RectT<int> const& rect, void* pixels, std::size_t rowBytes) const;
    void WritePixels(Kernel::RectT<int> const& rect, void const* pixels, std::size_t rowBytes);
    DynamicPixel GetPixel(int x, int y) const;
    // Gives all pixels of the rectangle, clipped to the bitmap, one value, converted from the pixel's format to the
    // bitmap's. Parts that are whole tiles take no memory.
    void Fill(Kernel::RectT<int> const& rect, DynamicPixel const& pixel);
    void Clear(DynamicPixel const& pixel) { Fill(GetBounds(), pixel); }
    // Copies pixels between bitmaps of one format (Exception otherwise): `rect` of the source comes to `to`, both
    // clipped. Tiles that fall on tiles are shared. Only the channels whose bits are set are copied.
    void Copy(BitmapBase const& source, Kernel::RectT<int> rect, Kernel::PointT<int> to, int channels = -1);

    // True when both have the same format, size and pixels. Reads what is pending.
    bool HasEqualPixels(BitmapBase const& other) const;

    // Copies on a device. Pixels that only a device holds count as loaded: whatever reads them fetches them. Handles
    // are those of HardwareDevices. Rectangles are clipped to the bitmap; flags without a name are false. What fails
    // leaves the pixels as they are.
    //
    // The device that holds pixels of this bitmap, the first of several; null for none.
    void* GetHardwareDevice() const;
    // The next kernel writes all pixels of the rectangle before any are read: what is there need not be brought to the
    // device. Holds until InvalidateHostCache.
    void ExpectOverwriting(Kernel::RectT<int> const& rect);
    // Brings what the device lacks of a rectangle there. False when it cannot, or when *abort becomes true.
    bool SyncHardwareCache(void* device, Kernel::RectT<int> const& rect, bool, bool const* abort) const;
    // Fetches what only a device holds of a rectangle. False when *abort becomes true.
    bool SyncHostCache(Kernel::RectT<int> const& rect, bool, bool const* abort) const;
    // A kernel has written the rectangle in the buffer that RetainHardwareBuffer gave to be written to: the bitmap's
    // pixels are those from now on. The recipe makes them again should the device lose them.
    void InvalidateHostCache(Kernel::RectT<int> const& rect, std::shared_ptr<HardwareRecipe const> recipe);
    // The pixels of a rectangle have changed here. Nothing to do where they were written through this class or its
    // tiles, which tells the device by itself.
    void InvalidateHardwareCache(Kernel::RectT<int> const& rect);
    // The buffer on the device that holds the bitmap, brought there before, at least inside the rectangle; null when
    // the device cannot. One to write to is the bitmap's own. It stays until the last reference to the holder goes.
    void* RetainHardwareBuffer(void* device, void* queue, bool readOnly, bool, Kernel::RectT<int> const& rect,
                               Prolongation& holder, int slot) const;
    // The block of kernel parameters that describes such a buffer, appended to `parameters`; its length. The buffer
    // holds the planes one after another, rows of `row samples` samples: {width, height, row samples}.
    int GetHardwareParams(void const* buffer, float* parameters) const;
    static constexpr int c_hardwareParameterCount = 3;

    ~BitmapBase() override;

protected:
    BitmapBase(int width, int height, Format format, MipmapMode mipmaps, HardwareCachePolicy policy);
    BitmapBase(BitmapBase const& other);

private:
    struct Mipmaps;
    struct HardwareState;

    void CheckRect(Kernel::RectT<int> const& rect) const;

    FormatInfo m_info;
    int m_width;
    int m_height;
    MipmapMode m_mipmapMode;
    HardwareCachePolicy m_policy;
    std::vector<RegionBase> m_planes;
    std::unique_ptr<Mipmaps> m_mipmaps;
    // Of the next kernel that writes to this bitmap. Clones begin without.
    mutable std::shared_ptr<HardwareState> m_hardware;
};

// A tiled, planar bitmap with copy-on-write tiles.
template <class C1, class C2, class C3, class C4, class C5>
class REDRAFT_ENGINE Bitmap final : public BitmapBase, public PixelModel<C1, C2, C3, C4, C5> {
public:
    using Model = PixelModel<C1, C2, C3, C4, C5>;
    static constexpr Format c_format = c_formatOf<C1, C2, C3, C4, C5>;
    template <class Extend, class Transform>
    using ConstPixelAccessor = Raster::ConstPixelAccessor<Bitmap, Extend, Transform>;
    template <class Extend, class Transform>
    using PixelAccessor = Raster::PixelAccessor<Bitmap, Extend, Transform>;

    Bitmap(int width, int height, MipmapMode mipmaps = MipmapMode::None,
           HardwareCachePolicy policy = HardwareCachePolicy::Automatic)
        : BitmapBase(width, height, c_format, mipmaps, policy) {}

    template <class Channel>
    RegionBase const& GetRegion() const {
        return GetPlane(Model::template c_indexOf<Channel>);
    }
    template <class Channel>
    RegionBase& GetRegion() {
        return GetPlane(Model::template c_indexOf<Channel>);
    }

    Kernel::Counted<Bitmap> Clone(bool*) const { return Kernel::Counted<Bitmap>(new Bitmap(*this)); }
    // How a kernel writes to such a bitmap's buffer; null for a language that does not exist.
    static char const* GetDestHardwareFragment(int language);
    Kernel::Counted<Bitmap const> GetMipmap(int level) const {
        return Kernel::Counted<Bitmap const>(static_cast<Bitmap const*>(BitmapBase::GetMipmap(level).get()));
    }

private:
    Bitmap(Bitmap const&) = default;
};

} // namespace Raster
