// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/bitmap_levels.h"

#include <algorithm>

namespace Renderer::Detail {

namespace {

// A bitmap that makes its own levels: the same one, or one that shares its tiles.
Kernel::Counted<Raster::BitmapBase const> WithLevels(Kernel::Counted<Raster::BitmapBase> bitmap) {
    auto const mode = bitmap->GetMipmapMode();
    if (mode != Raster::MipmapMode::None && mode != Raster::MipmapMode::Frozen)
        return bitmap;
    auto const copy = Raster::BitmapBase::Create(bitmap->GetWidth(), bitmap->GetHeight(), bitmap->GetFormat(),
                                                 Raster::MipmapMode::Deferred);
    copy->Copy(*bitmap, bitmap->GetBounds(), {0, 0});
    return copy;
}

int HalvedSide(int side, int level) {
    return static_cast<int>((std::int64_t{side} + (std::int64_t{1} << level) - 1) >> level);
}

} // namespace

BitmapLevels::BitmapLevels(Raster::DynamicBitmap const& bitmap, WorkingSpace const& space,
                           Raster::ICCProfileSet const& documentProfiles)
    : m_space(space), m_bitmap(WithLevels(bitmap.GetBase()->Clone(nullptr))) {
    auto profile = bitmap.GetProfile();
    if (!profile)
        profile = documentProfiles.Get(m_bitmap->GetInfo().colourModel);
    auto const makeConverter = [&](Raster::Format to) {
        return Raster::ICCManager::GetInstance().MakeConverter(m_bitmap->GetFormat(), profile, to,
                                                               space.GetProfiles().Get(space.GetModel()));
    };
    // Colours that mean the same in the working space are loaded from the bitmap's own samples.
    if (m_bitmap->GetInfo().colourModel == space.GetModel())
        m_converter = makeConverter(m_bitmap->GetFormat());
    if (!m_converter || !m_converter->IsIdentity())
        m_converter = makeConverter(space.GetExchangeFormat());
    while (std::max(GetWidth(m_lastLevel), GetHeight(m_lastLevel)) > 1)
        ++m_lastLevel;
    m_kept.resize(static_cast<std::size_t>(m_lastLevel) + 1);
}

int BitmapLevels::GetWidth(int level) const { return HalvedSide(m_bitmap->GetWidth(), level); }
int BitmapLevels::GetHeight(int level) const { return HalvedSide(m_bitmap->GetHeight(), level); }

Kernel::Counted<Raster::BitmapBase const> BitmapLevels::GetBitmap(int level) const {
    if (level == 0)
        return m_bitmap;
    std::lock_guard const lock(m_mutex);
    if (!m_bitmap->IsMipmapValid(level))
        m_bitmap->UpdateMipmaps(level, nullptr);
    return m_bitmap->GetMipmap(level);
}

Surface BitmapLevels::Read(Raster::BitmapBase const& bitmap, Kernel::RectT<int> const& rect) const {
    auto const buffer = Raster::BufferBase::Create(rect.GetWidth(), rect.GetHeight(), m_converter->GetTo());
    Raster::ConvertPixels(bitmap, rect, *buffer, *m_converter);
    Surface out({0, 0, rect.GetWidth(), rect.GetHeight()}, m_space.GetColourCount() + 1);
    float* planes[c_maximumColours + 1];
    for (int y = 0; y != rect.GetHeight(); ++y) {
        for (int plane = 0; plane != out.GetPlaneCount(); ++plane)
            planes[plane] = out.At(plane, 0, y);
        m_space.LoadRow(*buffer, y, 0, rect.GetWidth(), planes);
    }
    return out;
}

Surface BitmapLevels::Halve(Surface const& larger) const {
    int const width = larger.GetBounds().right, height = larger.GetBounds().bottom;
    Surface out({0, 0, (width + 1) / 2, (height + 1) / 2}, larger.GetPlaneCount());
    for (int plane = 0; plane != out.GetPlaneCount(); ++plane) {
        for (int y = 0; y != out.GetBounds().bottom; ++y) {
            float const* const upper = larger.At(plane, 0, 2 * y);
            float const* const lower = larger.At(plane, 0, std::min(2 * y + 1, height - 1));
            float* const row = out.At(plane, 0, y);
            for (int x = 0; x != out.GetBounds().right; ++x) {
                int const right = std::min(2 * x + 1, width - 1);
                row[x] = (upper[2 * x] + upper[right] + lower[2 * x] + lower[right]) * 0.25f;
            }
        }
    }
    return out;
}

Surface const& BitmapLevels::GetKept(int level) const {
    auto const index = static_cast<std::size_t>(level);
    {
        std::lock_guard const lock(m_mutex);
        if (m_kept[index])
            return *m_kept[index];
    }
    // Two threads may make one level, of the same samples; the first stays.
    auto made = std::make_unique<Surface>(level <= m_bitmap->GetMipmapLevels()
                                              ? Read(*GetBitmap(level), {0, 0, GetWidth(level), GetHeight(level)})
                                              : Halve(GetKept(level - 1)));
    std::lock_guard const lock(m_mutex);
    if (!m_kept[index])
        m_kept[index] = std::move(made);
    return *m_kept[index];
}

void BitmapLevels::Fetch(int level, std::vector<int> const& columns, std::vector<int> const& rows, Surface& out) const {
    auto const copy = [&](Surface const& from, std::size_t x0, std::size_t x1, std::size_t y0, std::size_t y1,
                          Kernel::PointT<int> origin) {
        // Neighbours are at most one apart.
        bool const isContiguous = !IsKept(level) && columns[x1 - 1] - columns[x0] == static_cast<int>(x1 - x0) - 1;
        for (int plane = 0; plane != out.GetPlaneCount(); ++plane) {
            for (std::size_t y = y0; y != y1; ++y) {
                float const* const row = from.At(plane, 0, rows[y] - origin.y);
                float* const target = out.At(plane, out.GetBounds().left, out.GetBounds().top + static_cast<int>(y));
                if (isContiguous) {
                    std::copy_n(row + (columns[x0] - origin.x), x1 - x0, target + x0);
                    continue;
                }
                for (std::size_t x = x0; x != x1; ++x)
                    target[x] = row[columns[x] - origin.x];
            }
        }
    };
    if (IsKept(level)) {
        copy(GetKept(level), 0, columns.size(), 0, rows.size(), {0, 0});
        return;
    }
    auto const bitmap = GetBitmap(level);
    // Runs in which indexes stay together: one, or two where the bitmap repeats in between.
    auto const findRunEnd = [](std::vector<int> const& indexes, std::size_t begin) {
        std::size_t end = begin + 1;
        while (end != indexes.size() && std::abs(indexes[end] - indexes[end - 1]) <= 1)
            ++end;
        return end;
    };
    for (std::size_t y0 = 0, y1; y0 != rows.size(); y0 = y1) {
        y1 = findRunEnd(rows, y0);
        auto const [top, bottom] = std::minmax_element(rows.begin() + static_cast<std::ptrdiff_t>(y0),
                                                       rows.begin() + static_cast<std::ptrdiff_t>(y1));
        for (std::size_t x0 = 0, x1; x0 != columns.size(); x0 = x1) {
            x1 = findRunEnd(columns, x0);
            auto const [left, right] = std::minmax_element(columns.begin() + static_cast<std::ptrdiff_t>(x0),
                                                           columns.begin() + static_cast<std::ptrdiff_t>(x1));
            copy(Read(*bitmap, {*left, *top, *right + 1, *bottom + 1}), x0, x1, y0, y1, {*left, *top});
        }
    }
}

} // namespace Renderer::Detail
