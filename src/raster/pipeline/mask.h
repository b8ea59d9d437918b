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

// What a mask says of a run of pixels.
enum class MaskCoverage { None, Full, Mixed };

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

    // `count` samples for the pixels (x, y) and on, to `row`, which has room for 32 more.
    MaskCoverage Read(int x, int y, int count, Sample* row) {
        if (m_shift)
            ReadShifted(std::int64_t(x) + m_shift->x, std::int64_t(y) + m_shift->y, count, row);
        else
            ReadTransformed(x, y, count, row);
        if constexpr (MaskTraits::c_isFloat) {
            // What is no number selects nothing.
            for (int i = 0; i != count; ++i)
                row[i] = row[i] > 0 ? row[i] : 0;
        }
        auto const [least, largest] = FindRange<Sample>(row, count);
        if (!(largest > 0))
            return MaskCoverage::None;
        return least >= MaskTraits::c_maximum ? MaskCoverage::Full : MaskCoverage::Mixed;
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

    void ReadShifted(std::int64_t x, std::int64_t y, int count, Sample* row) const {
        std::int64_t const first = std::clamp<std::int64_t>(x, 0, m_bitmap.GetWidth());
        std::int64_t const last = std::clamp<std::int64_t>(x + count, first, m_bitmap.GetWidth());
        if (y < 0 || y >= m_bitmap.GetHeight() || first == last) {
            std::fill_n(row, count, Sample(0));
            return;
        }
        std::fill_n(row, first - x, Sample(0));
        std::fill_n(row + (last - x), count - (last - x), Sample(0));
        m_plane.ReadSamples({int(first), int(y), int(last), int(y) + 1}, row + (first - x),
                            static_cast<std::size_t>(last - first) * sizeof(Sample));
    }

    void ReadTransformed(int x, int y, int count, Sample* row) {
        typename MaskTraits::SpanType span;
        for (int done = 0; done < count; done += Raster::c_spanLength) {
            m_accessor->SpanRead(x + done, y, span);
            std::memcpy(row + done, span.planes[0], sizeof span.planes[0]);
        }
    }

    Bitmap const& m_bitmap;
    Raster::RegionBase m_plane;
    std::optional<Kernel::PointT<std::int64_t>> m_shift;
    std::optional<Raster::ConstPixelAccessor<Bitmap, Raster::Zero, Raster::AffineStage>> m_accessor;
};

} // namespace Commands
