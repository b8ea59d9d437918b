// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/raster/bitmap.h"
#include "platform/raster/buffer.h"

namespace Raster {

// Converts runs of pixels between two formats. Immutable; used by several threads at once.
class REDRAFT_ENGINE PixelConverter : public virtual Kernel::Countable {
public:
    // The plain rules, without profiles. Every pixel goes through float RGBA in which 1.0 is full scale:
    //
    //   integers        divided by full scale; back: clamped to 0..1, multiplied, rounded to the nearest
    //   grey            r = g = b = i; back 0.299 r + 0.587 g + 0.114 b (ITU-R BT.601 luma)
    //   ink             r = 1 - min(1, c (1 - k) + k); back k = min(1 - r, 1 - g, 1 - b), c = (1 - r - k) / (1 - k)
    //   Lab             CIE 1976, D50, of sRGB colours adapted by Bradford's matrix (IEC 61966-2-1, ICC.1:2010)
    //   alpha only      black; back: alpha
    //
    // Between equal formats samples are copied. Exception for formats without pixels.
    static Kernel::Counted<PixelConverter const> MakePlain(Format from, Format to);

    Format GetFrom() const { return m_from; }
    Format GetTo() const { return m_to; }
    // True when the pixels come out as they go in.
    virtual bool IsIdentity() const = 0;
    // `count` pixels, one plane for each channel. Source and target planes may not overlap.
    virtual void Convert(void const* const* from, void* const* to, std::size_t count) const = 0;

    ~PixelConverter() override;

protected:
    PixelConverter(Format from, Format to) : m_from(from), m_to(to) {}

private:
    Format m_from;
    Format m_to;
};

// Converts `rect` of the source to the place where its top left corner comes to `to`, both clipped. Shares tiles where
// the converter is an identity, and leaves tiles of one value without memory. Tiles are worked on by several threads.
// Returns early, with part of the pixels done, when *abort becomes true. Exception when a format is not the
// converter's.
REDRAFT_ENGINE void ConvertPixels(BitmapBase const& source, Kernel::RectT<int> const& rect, BitmapBase& target,
                                  Kernel::PointT<int> to, PixelConverter const& converter, bool* abort);
REDRAFT_ENGINE void ConvertPixels(BufferBase const& source, BufferBase& target, PixelConverter const& converter);
// Between a bitmap's rectangle, which lies inside it, and a buffer of the rectangle's size.
REDRAFT_ENGINE void ConvertPixels(BitmapBase const& source, Kernel::RectT<int> const& rect, BufferBase& target,
                                  PixelConverter const& converter);
REDRAFT_ENGINE void ConvertPixels(BufferBase const& source, BitmapBase& target, Kernel::PointT<int> to,
                                  PixelConverter const& converter);

// The whole bitmap in another format, with the same mipmap mode.
REDRAFT_ENGINE Kernel::Counted<BitmapBase> ConvertBitmap(BitmapBase const& source, PixelConverter const& converter,
                                                         bool* abort);

} // namespace Raster
