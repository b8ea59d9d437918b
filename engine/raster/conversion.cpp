// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/conversion.h"

#include "engine/raster/interleave.h"
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"

#include <memory>

namespace Raster {

namespace {

void CheckConverter(PixelConverter const& converter, Format from, Format to) {
    if (converter.GetFrom() != from || converter.GetTo() != to)
        throw Kernel::Exception("this conversion is for other pixel formats");
}

// Planes of a small block, rows one after another.
class BlockPlanes {
public:
    BlockPlanes(FormatInfo const& info, int width, int height)
        : m_info(info),
          m_rowBytes(static_cast<std::size_t>(width * info.sampleBytes)),
          m_planeBytes(m_rowBytes * static_cast<std::size_t>(height)),
          m_bytes(m_planeBytes * static_cast<std::size_t>(info.channelCount)) {}

    std::size_t GetRowBytes() const { return m_rowBytes; }
    std::byte* GetRow(int channel, int y) {
        return m_bytes.data() + static_cast<std::size_t>(channel) * m_planeBytes +
               static_cast<std::size_t>(y) * m_rowBytes;
    }
    void Read(BitmapBase const& bitmap, Kernel::RectT<int> const& rect) {
        for (int c = 0; c != m_info.channelCount; ++c)
            bitmap.GetPlane(c).ReadSamples(rect, GetRow(c, 0), m_rowBytes);
    }
    void Write(BitmapBase& bitmap, Kernel::RectT<int> const& rect) {
        for (int c = 0; c != m_info.channelCount; ++c)
            bitmap.GetPlane(c).WriteSamples(rect, GetRow(c, 0), m_rowBytes);
    }
    void GetRows(int y, void** rows) {
        for (int c = 0; c != m_info.channelCount; ++c)
            rows[c] = GetRow(c, y);
    }

private:
    FormatInfo m_info;
    std::size_t m_rowBytes;
    std::size_t m_planeBytes;
    std::vector<std::byte> m_bytes;
};

void GetRows(BufferBase const& buffer, int y, void const** rows) {
    for (int c = 0; c != buffer.GetInfo().channelCount; ++c)
        rows[c] = buffer.GetRow(c, y);
}

void GetRows(BufferBase& buffer, int y, void** rows) {
    for (int c = 0; c != buffer.GetInfo().channelCount; ++c)
        rows[c] = buffer.GetRow(c, y);
}

// One pixel when every tile under the rectangle has one value in each channel.
bool FindPixel(BitmapBase const& bitmap, Kernel::RectT<int> const& rect, std::uint32_t* samples) {
    for (int c = 0; c != bitmap.GetInfo().channelCount; ++c) {
        RegionBase const& plane = bitmap.GetPlane(c);
        bool first = true;
        for (int tileY = rect.top >> c_tileShift; tileY << c_tileShift < rect.bottom; ++tileY) {
            for (int tileX = rect.left >> c_tileShift; tileX << c_tileShift < rect.right; ++tileX) {
                auto const value = plane.GetConstTile(tileX, tileY).GetConstant();
                if (!value || (!first && *value != samples[c]))
                    return false;
                samples[c] = *value;
                first = false;
            }
        }
    }
    return true;
}

void FillConverted(BitmapBase& target, Kernel::RectT<int> const& part, std::uint32_t const* samples,
                   PixelConverter const& converter) {
    std::uint32_t result[5] = {};
    void const* from[5];
    void* to[5];
    for (int c = 0; c != 5; ++c) {
        from[c] = &samples[c];
        to[c] = &result[c];
    }
    converter.Convert(from, to, 1);
    for (int c = 0; c != target.GetInfo().channelCount; ++c)
        target.GetPlane(c).FillSamples(part, result[c]);
}

// A tile of each plane of a bitmap, pinned to be written to.
class PinnedTiles {
public:
    PinnedTiles(BitmapBase& bitmap, int tileX, int tileY, bool overwrite) : PinnedTiles(bitmap) {
        for (int c = 0; c != bitmap.GetInfo().channelCount; ++c) {
            RegionBase& plane = bitmap.GetPlane(c);
            m_tiles[c] = overwrite ? &plane.PinTileForOverwriting(tileX, tileY) : &plane.PinMutableTile(tileX, tileY);
        }
    }
    PinnedTiles(PinnedTiles const&) = delete;
    PinnedTiles& operator=(PinnedTiles const&) = delete;
    ~PinnedTiles() {
        for (int c = 0; c != m_bitmap.GetInfo().channelCount; ++c) {
            if (m_tiles[c] != nullptr)
                m_bitmap.GetPlane(c).UnpinMutableTile(*m_tiles[c]);
        }
    }
    void GetRows(int x, int y, void** rows) {
        for (int c = 0; c != m_bitmap.GetInfo().channelCount; ++c)
            rows[c] = static_cast<std::byte*>(m_tiles[c]->GetMutableBuffer()) +
                      GetTileOffset(x, y) * static_cast<std::size_t>(m_bitmap.GetInfo().sampleBytes);
    }
    static std::size_t GetTileOffset(int x, int y) {
        return static_cast<std::size_t>((y & (c_tileSide - 1)) * c_tileSide + (x & (c_tileSide - 1)));
    }

private:
    // An object of its own, so that tiles are given back when a later one cannot be had.
    explicit PinnedTiles(BitmapBase& bitmap) : m_bitmap(bitmap) {}

    BitmapBase& m_bitmap;
    Tile* m_tiles[5] = {};
};

// The rows of a rectangle that lies in one tile, from the tile itself; those of another from a copy.
class SourceRows {
public:
    SourceRows(BitmapBase const& bitmap, Kernel::RectT<int> const& rect) : m_info(bitmap.GetInfo()), m_rect(rect) {
        int const tileX = rect.left >> c_tileShift, tileY = rect.top >> c_tileShift;
        if (tileX == (rect.right - 1) >> c_tileShift && tileY == (rect.bottom - 1) >> c_tileShift) {
            for (int c = 0; c != m_info.channelCount; ++c)
                m_tiles.push_back(bitmap.GetPlane(c).GetConstTile(tileX, tileY));
        } else {
            m_copy = std::make_unique<BlockPlanes>(m_info, rect.GetWidth(), rect.GetHeight());
            m_copy->Read(bitmap, rect);
        }
    }
    void GetRows(int y, void const** rows) {
        for (int c = 0; c != m_info.channelCount; ++c) {
            auto const index = static_cast<std::size_t>(c);
            rows[c] =
                m_copy ? m_copy->GetRow(c, y - m_rect.top)
                       : static_cast<std::byte const*>(m_tiles[index].GetConstBuffer()) +
                             PinnedTiles::GetTileOffset(m_rect.left, y) * static_cast<std::size_t>(m_info.sampleBytes);
        }
    }

private:
    FormatInfo m_info;
    Kernel::RectT<int> m_rect;
    std::vector<Tile> m_tiles;
    std::unique_ptr<BlockPlanes> m_copy;
};

// A part of one tile of the target, whose pixel (x, y) comes from (x - dx, y - dy).
void ConvertPart(BitmapBase const& source, BitmapBase& target, Kernel::RectT<int> const& part, int dx, int dy,
                 PixelConverter const& converter, bool* abort) {
    Kernel::RectT<int> const from{part.left - dx, part.top - dy, part.right - dx, part.bottom - dy};
    std::uint32_t samples[5] = {};
    if (FindPixel(source, from, samples))
        return FillConverted(target, part, samples, converter);
    // Loads what is pending, and fails if it must, before the target is touched.
    SourceRows in(source, from);
    void const* rows[5];
    in.GetRows(from.top, rows);
    int const tileX = part.left >> c_tileShift, tileY = part.top >> c_tileShift;
    RegionBase const& plane = target.GetPlane(0);
    // A part that is given up half-way keeps what was there.
    bool const whole = abort == nullptr && part.GetWidth() == plane.GetTileWidth(tileX) &&
                       part.GetHeight() == plane.GetTileHeight(tileY);
    PinnedTiles out(target, tileX, tileY, whole);
    for (int y = 0; y != part.GetHeight(); ++y) {
        if (Kernel::IsAbortSet(abort))
            return;
        void* results[5];
        in.GetRows(from.top + y, rows);
        out.GetRows(part.left, part.top + y, results);
        converter.Convert(rows, results, static_cast<std::size_t>(part.GetWidth()));
    }
}

} // namespace

void ConvertPixels(BitmapBase const& source, Kernel::RectT<int> const& rect, BitmapBase& target, Kernel::PointT<int> to,
                   PixelConverter const& converter, bool* abort) {
    CheckConverter(converter, source.GetFormat(), target.GetFormat());
    if (converter.IsIdentity())
        return target.Copy(source, rect, to);
    using Wide = std::int64_t;
    Wide const dx = Wide(to.x) - rect.left, dy = Wide(to.y) - rect.top;
    auto const wide = Kernel::RectT<Wide>{rect.left + dx, rect.top + dy, rect.right + dx, rect.bottom + dy}
                          .Intersected({0, 0, target.GetWidth(), target.GetHeight()})
                          .Intersected({dx, dy, dx + source.GetWidth(), dy + source.GetHeight()});
    if (wide.IsEmpty())
        return;
    Kernel::RectT<int> const clipped{static_cast<int>(wide.left), static_cast<int>(wide.top),
                                     static_cast<int>(wide.right), static_cast<int>(wide.bottom)};
    int const firstX = clipped.left >> c_tileShift, firstY = clipped.top >> c_tileShift;
    auto const across = static_cast<std::size_t>(((clipped.right - 1) >> c_tileShift) - firstX + 1);
    auto const down = static_cast<std::size_t>(((clipped.bottom - 1) >> c_tileShift) - firstY + 1);
    Kernel::ParallelFor(across * down, [&](std::size_t index) {
        if (Kernel::IsAbortSet(abort))
            return;
        int const left = (firstX + static_cast<int>(index % across)) << c_tileShift;
        int const top = (firstY + static_cast<int>(index / across)) << c_tileShift;
        ConvertPart(source, target, clipped.Intersected({left, top, left + c_tileSide, top + c_tileSide}),
                    static_cast<int>(dx), static_cast<int>(dy), converter, abort);
    });
    target.FinishChange(clipped);
}

void ConvertPixels(BufferBase const& source, BufferBase& target, PixelConverter const& converter) {
    CheckConverter(converter, source.GetFormat(), target.GetFormat());
    int const width = std::min(source.GetWidth(), target.GetWidth());
    for (int y = 0; y != std::min(source.GetHeight(), target.GetHeight()); ++y) {
        void const* from[5];
        void* to[5];
        GetRows(source, y, from);
        GetRows(target, y, to);
        converter.Convert(from, to, static_cast<std::size_t>(width));
    }
}

void ConvertPixels(BitmapBase const& source, Kernel::RectT<int> const& rect, BufferBase& target,
                   PixelConverter const& converter) {
    CheckConverter(converter, source.GetFormat(), target.GetFormat());
    if (rect.GetWidth() != target.GetWidth() || rect.GetHeight() != target.GetHeight())
        throw Kernel::Exception("a rectangle and the buffer for its pixels differ in size");
    constexpr int c_bandRows = 16;
    for (int top = rect.top; top < rect.bottom; top += c_bandRows) {
        int const rows = std::min(c_bandRows, rect.bottom - top);
        BlockPlanes in(source.GetInfo(), rect.GetWidth(), rows);
        in.Read(source, {rect.left, top, rect.right, top + rows});
        for (int y = 0; y != rows; ++y) {
            void *from[5], *to[5];
            in.GetRows(y, from);
            GetRows(target, top - rect.top + y, to);
            converter.Convert(from, to, static_cast<std::size_t>(rect.GetWidth()));
        }
    }
}

void ConvertPixels(BufferBase const& source, BitmapBase& target, Kernel::PointT<int> to,
                   PixelConverter const& converter) {
    CheckConverter(converter, source.GetFormat(), target.GetFormat());
    constexpr int c_bandRows = 256;
    auto const clipped = Kernel::RectT<std::int64_t>{to.x, to.y, std::int64_t(to.x) + source.GetWidth(),
                                                     std::int64_t(to.y) + source.GetHeight()}
                             .Intersected({0, 0, target.GetWidth(), target.GetHeight()});
    if (clipped.IsEmpty())
        return;
    Kernel::RectT<int> const place{static_cast<int>(clipped.left), static_cast<int>(clipped.top),
                                   static_cast<int>(clipped.right), static_cast<int>(clipped.bottom)};
    auto const skipped = static_cast<std::size_t>((place.left - to.x) * source.GetInfo().sampleBytes);
    for (int top = place.top; top < place.bottom;) {
        // Bands end where tiles end, so that whole tiles are written at once.
        int const bottom = std::min((top / c_bandRows + 1) * c_bandRows, place.bottom);
        BlockPlanes out(target.GetInfo(), place.GetWidth(), bottom - top);
        for (int y = top; y != bottom; ++y) {
            void const* from[5];
            void* results[5];
            GetRows(source, y - to.y, from);
            for (int c = 0; c != source.GetInfo().channelCount; ++c)
                from[c] = static_cast<std::byte const*>(from[c]) + skipped;
            out.GetRows(y - top, results);
            converter.Convert(from, results, static_cast<std::size_t>(place.GetWidth()));
        }
        out.Write(target, {place.left, top, place.right, bottom});
        top = bottom;
    }
    target.FinishChange(place);
}

Kernel::Counted<BitmapBase> ConvertBitmap(BitmapBase const& source, PixelConverter const& converter, bool* abort) {
    auto result = BitmapBase::Create(source.GetWidth(), source.GetHeight(), converter.GetTo(), source.GetMipmapMode(),
                                     source.GetHardwareCachePolicy());
    ConvertPixels(source, source.GetBounds(), *result, {0, 0}, converter, abort);
    return result;
}

} // namespace Raster
