// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/kernel/geometry_values.h"
#include "platform/raster/pixel.h"

#include <cstddef>
#include <memory>

namespace Raster {

template <class Model, class Extend, class Transform>
class ConstPixelAccessor;
template <class Model, class Extend, class Transform>
class PixelAccessor;
class Prolongation;

// Pixels of any format in one flat block of memory: the planes one after another, each row padded to 64 bytes and
// aligned to them. New buffers are all zero, that is transparent. Copies share the block until one is written to.
class REDRAFT_ENGINE BufferBase : public virtual Kernel::Countable {
public:
    // Exception for a format without pixels, a size outside 1 to c_maximumSide, a block above c_maximumBufferBytes or
    // one that the machine cannot give.
    static Kernel::Counted<BufferBase> Create(int width, int height, Format format);

    Format GetFormat() const { return m_info.format; }
    FormatInfo const& GetInfo() const { return m_info; }
    int GetWidth() const { return m_width; }
    int GetHeight() const { return m_height; }
    Kernel::SizeT<int> GetSize() const { return {m_width, m_height}; }
    Kernel::RectT<int> GetBounds() const { return {0, 0, m_width, m_height}; }

    // The block; asking for it to write copies it first when it is shared. Take it once, before threads share it.
    void const* GetBuffer() const { return m_block; }
    void* GetBuffer();
    std::size_t GetBufferBytes() const { return m_planeBytes * static_cast<std::size_t>(m_info.channelCount); }
    // Bytes from one row of a plane to the next, and from one plane to the next.
    std::size_t GetRowBytes() const { return m_rowBytes; }
    std::size_t GetPlaneBytes() const { return m_planeBytes; }
    // The first sample of a row. Nothing is checked.
    void const* GetRow(int channel, int y) const {
        return static_cast<char const*>(m_block) + static_cast<std::size_t>(channel) * m_planeBytes +
               static_cast<std::size_t>(y) * m_rowBytes;
    }
    void* GetRow(int channel, int y) {
        return static_cast<char*>(GetBuffer()) + static_cast<std::size_t>(channel) * m_planeBytes +
               static_cast<std::size_t>(y) * m_rowBytes;
    }

    Kernel::Counted<BufferBase> Clone(bool* abort) const;

    // As the operations of BitmapBase of the same names.
    void ReadPixels(Kernel::RectT<int> const& rect, void* pixels, std::size_t rowBytes) const;
    void WritePixels(Kernel::RectT<int> const& rect, void const* pixels, std::size_t rowBytes);
    DynamicPixel GetPixel(int x, int y) const;
    void Fill(Kernel::RectT<int> const& rect, DynamicPixel const& pixel);
    void Clear(DynamicPixel const& pixel) { Fill(GetBounds(), pixel); }

    // Copies on a device, as the operations of BitmapBase of the same names. A buffer is not watched: who has written
    // to it says so by InvalidateHardwareCache, and who reads what a kernel has written calls SyncHostCache before,
    // which is false when the device has lost it.
    void* GetHardwareDevice() const;
    bool SyncHardwareCache(void* device, Kernel::RectT<int> const& rect, bool, bool const* abort) const;
    bool SyncHostCache(Kernel::RectT<int> const& rect, bool, bool const* abort);
    void InvalidateHostCache(Kernel::RectT<int> const& rect);
    void InvalidateHardwareCache(Kernel::RectT<int> const& rect);
    void* RetainHardwareBuffer(void* device, void* queue, bool readOnly, bool, Kernel::RectT<int> const& rect,
                               Prolongation& holder, int slot) const;
    int GetHardwareParams(void const* buffer, float* parameters) const;

    ~BufferBase() override;

protected:
    BufferBase(int width, int height, Format format);
    BufferBase(BufferBase const& other);

private:
    void CheckRect(Kernel::RectT<int> const& rect) const;

    FormatInfo m_info;
    int m_width;
    int m_height;
    std::size_t m_rowBytes = 0;
    std::size_t m_planeBytes = 0;
    // Counts the buffers that share the block.
    struct Owner;
    Owner* m_owner;
    void* m_block;
    struct HardwareState;
    mutable std::shared_ptr<HardwareState> m_hardware;
};

inline constexpr std::size_t c_maximumBufferBytes = std::size_t(1) << 33;

// The same pixel model as a bitmap, as one flat block.
template <class C1, class C2, class C3, class C4, class C5>
class REDRAFT_ENGINE Buffer final : public BufferBase, public PixelModel<C1, C2, C3, C4, C5> {
public:
    using Model = PixelModel<C1, C2, C3, C4, C5>;
    using Sample = typename Model::Sample;
    static constexpr Format c_format = c_formatOf<C1, C2, C3, C4, C5>;
    template <class Extend, class Transform>
    using ConstPixelAccessor = Raster::ConstPixelAccessor<Buffer, Extend, Transform>;
    template <class Extend, class Transform>
    using PixelAccessor = Raster::PixelAccessor<Buffer, Extend, Transform>;

    Buffer(int width, int height) : BufferBase(width, height, c_format) {}

    Sample const* GetRow(int channel, int y) const {
        return static_cast<Sample const*>(BufferBase::GetRow(channel, y));
    }
    Sample* GetRow(int channel, int y) { return static_cast<Sample*>(BufferBase::GetRow(channel, y)); }
    Kernel::Counted<Buffer> Clone(bool*) const { return Kernel::Counted<Buffer>(new Buffer(*this)); }
    // How a kernel reads a pixel of such a buffer, or of a bitmap's; null for a language that does not exist.
    static char const* GetSourceHardwareFragment(int language);

private:
    Buffer(Buffer const&) = default;
};

// 8-bit RGBA, which thumbnails and guidance images have.
using BufferRGBA8 = Buffer<Red8, Green8, Blue8, Alpha8, X5>;

} // namespace Raster
