// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/bitmap.h"
#include "platform/raster/pixel_accessor.h"
#include "raster/pipeline/normal_blend.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

namespace Commands {

// A mask over a bitmap.
struct MaskRecord {
    // In the mask format that goes with the bitmap's format.
    Kernel::Counted<Raster::BitmapBase const> bitmap;
    // From the bitmap's pixels to the mask's.
    Raster::AffineTransform::Params transform;
};

// Reads a mask in the bitmap's pixels: the sample under the transformed centre of a pixel, 0 outside the mask. One
// thread's.
template <class MaskTraits>
class MaskReader {
public:
    using Sample = typename MaskTraits::Sample;
    using Bitmap = typename MaskTraits::BitmapType;

    explicit MaskReader(MaskRecord const& mask)
        : m_bitmap(static_cast<Bitmap const&>(*mask.bitmap)), m_plane(m_bitmap.GetPlane(0)) {
        auto const& t = mask.transform;
        m_shift = t.a == 1 && t.b == 0 && t.c == 0 && t.d == 1 ? FindShift(t.tx, t.ty) : std::nullopt;
        if (!m_shift)
            m_accessor.emplace(m_bitmap, Raster::AffineStage{t}, Raster::AccessorSync::Pipeline);
    }

    // How the mask selects a rectangle of pixels, as far as its tiles of one value tell; Mixed when they do not.
    MaskCoverage Look(Kernel::RectT<int> const& pixels) const {
        if (!m_shift)
            return MaskCoverage::Mixed;
        auto const [x, y] = *m_shift;
        auto const inside = [](std::int64_t v, int last) {
            return static_cast<int>(std::clamp<std::int64_t>(v, 0, last));
        };
        Kernel::RectT<int> const part{
            inside(pixels.left + x, m_bitmap.GetWidth()), inside(pixels.top + y, m_bitmap.GetHeight()),
            inside(pixels.right + x, m_bitmap.GetWidth()), inside(pixels.bottom + y, m_bitmap.GetHeight())};
        if (part.IsEmpty())
            return MaskCoverage::None;
        bool const isAll = part.GetWidth() == pixels.GetWidth() && part.GetHeight() == pixels.GetHeight();
        bool someSelect = false, allAreFull = isAll;
        for (int tileY = part.top >> Raster::c_tileShift; tileY << Raster::c_tileShift < part.bottom; ++tileY) {
            for (int tileX = part.left >> Raster::c_tileShift; tileX << Raster::c_tileShift < part.right; ++tileX) {
                auto const constant = m_plane.PeekTile(tileX, tileY).GetConstant();
                if (!constant)
                    return MaskCoverage::Mixed;
                Sample sample;
                std::memcpy(&sample, &*constant, sizeof sample);
                auto const coverage = FindCoverage(&sample, 1);
                someSelect = someSelect || coverage != MaskCoverage::None;
                allAreFull = allAreFull && coverage == MaskCoverage::Full;
            }
        }
        return allAreFull ? MaskCoverage::Full : someSelect ? MaskCoverage::Mixed : MaskCoverage::None;
    }

    // The samples for `rows` rows of `width` pixels from (x, y) on, row after row: in the mask itself when they lie so
    // there, or in `space`, which has room for 32 more.
    Sample const* Read(int x, int y, int width, int rows, Sample* space) {
        if (!m_shift) {
            for (int row = 0; row != rows; ++row)
                ReadTransformed(x, y + row, width, space + row * width);
            return space;
        }
        std::int64_t const left = x + m_shift->x, top = y + m_shift->y;
        if (auto const* const samples = FindInTile(left, top, width, rows))
            return samples;
        std::int64_t const first = std::clamp<std::int64_t>(left, 0, m_bitmap.GetWidth());
        std::int64_t const last = std::clamp<std::int64_t>(left + width, first, m_bitmap.GetWidth());
        std::int64_t const above = std::clamp<std::int64_t>(top, 0, m_bitmap.GetHeight());
        std::int64_t const below = std::clamp<std::int64_t>(top + rows, above, m_bitmap.GetHeight());
        if (last - first != width || below - above != rows)
            std::fill_n(space, width * rows, Sample(0));
        if (first != last && above != below)
            m_plane.ReadSamples({int(first), int(above), int(last), int(below)},
                                space + (above - top) * width + (first - left),
                                static_cast<std::size_t>(width) * sizeof(Sample));
        return space;
    }

private:
    // The whole pixels of a translation, when centres stay so far from the edges of pixels that rounding cannot take
    // one of them over.
    static std::optional<Kernel::PointT<std::int64_t>> FindShift(double x, double y) {
        auto const isSafe = [](double v) {
            double const rest = v + 0.5 - std::floor(v + 0.5);
            return std::abs(v) < 1e9 && rest > 1e-6 && rest < 1 - 1e-6;
        };
        if (!isSafe(x) || !isSafe(y))
            return std::nullopt;
        return Kernel::PointT<std::int64_t>{static_cast<std::int64_t>(std::floor(x + 0.5)),
                                            static_cast<std::int64_t>(std::floor(y + 0.5))};
    }

    // Null unless the samples lie in one tile of the mask, row after row.
    Sample const* FindInTile(std::int64_t left, std::int64_t top, int width, int rows) const {
        if (left < 0 || top < 0 || left + width > m_bitmap.GetWidth() || top + rows > m_bitmap.GetHeight() ||
            left >> Raster::c_tileShift != (left + width - 1) >> Raster::c_tileShift ||
            top >> Raster::c_tileShift != (top + rows - 1) >> Raster::c_tileShift ||
            (rows != 1 && width != Raster::c_tileSide))
            return nullptr;
        auto const& tile = m_plane.PeekTile(int(left >> Raster::c_tileShift), int(top >> Raster::c_tileShift));
        return static_cast<Sample const*>(tile.GetConstBuffer()) +
               (top & (Raster::c_tileSide - 1)) * Raster::c_tileSide + (left & (Raster::c_tileSide - 1));
    }

    void ReadTransformed(int x, int y, int count, Sample* row) {
        typename MaskTraits::SpanType span;
        for (int done = 0; done < count; done += Raster::c_spanLength) {
            m_accessor->SpanRead(x + done, y, span);
            std::memcpy(row + done, span.planes[0], sizeof span.planes[0]);
        }
    }

    Bitmap const& m_bitmap;
    // A copy, whose tiles nobody changes.
    Raster::RegionBase const m_plane;
    std::optional<Kernel::PointT<std::int64_t>> m_shift;
    std::optional<Raster::ConstPixelAccessor<Bitmap, Raster::Zero, Raster::AffineStage>> m_accessor;
};

} // namespace Commands
