// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/bitmap_source.h"

#include <algorithm>
#include <cmath>

namespace Renderer::Detail {

namespace {

// Indexes beyond this are not exact any more.
constexpr double c_farthest = 4503599627370496.0;

// The index inside 0..size - 1 that shows at an index anywhere.
int WrapIndex(std::int64_t index, int size, TileMode mode) {
    if (mode == TileMode::Repeat) {
        std::int64_t const left = index % size;
        return static_cast<int>(left < 0 ? left + size : left);
    }
    if (mode == TileMode::Mirror) {
        std::int64_t const period = 2 * std::int64_t{size};
        std::int64_t left = index % period;
        left = left < 0 ? left + period : left;
        return static_cast<int>(left < size ? left : period - 1 - left);
    }
    return static_cast<int>(std::clamp<std::int64_t>(index, 0, size - 1));
}

} // namespace

bool SampleWindow::Fetch(BitmapSource const& source, Kernel::RectT<int> const& pixels) {
    m_resampling = source.resampling;
    auto const place = source.toLevel.GetParams().Apply(
        Kernel::RectT<double>{pixels.left + 0.5, pixels.top + 0.5, pixels.right - 0.5, pixels.bottom - 0.5});
    // A place has its sample and the next one; a cubic takes one more on each side. Off the axes, one more allows for
    // the rounding of the rectangle's corners.
    double const shift = m_resampling == Resampling::Nearest ? 0 : 0.5;
    double const more = (m_resampling == Resampling::Bicubic ? 1 : 0) + (source.isUpright ? 0 : 1);
    double left = std::floor(place.left - shift) - more, top = std::floor(place.top - shift) - more;
    double right = std::floor(place.right - shift) + 2 + more, bottom = std::floor(place.bottom - shift) + 2 + more;
    if (!(std::fabs(left) < c_farthest && std::fabs(right) < c_farthest && std::fabs(top) < c_farthest &&
          std::fabs(bottom) < c_farthest))
        return false;
    int const width = source.levels.GetWidth(source.level), height = source.levels.GetHeight(source.level);
    // Beyond the edges samples that do not repeat are all alike, and so is one sample that does.
    auto const limit = [](double& low, double& high, int size, TileMode mode) {
        if (mode != TileMode::Clear && mode != TileMode::Clamp && size != 1)
            return;
        low = std::clamp(low, -4.0, size + 4.0);
        high = std::clamp(high, low + 4, size + 12.0);
    };
    limit(left, right, width, source.tileModeX);
    limit(top, bottom, height, source.tileModeY);
    // The reduced levels that exist may still be too large for a bitmap drawn very narrow.
    if (right - left > 1024 || bottom - top > 1024)
        return false;
    m_left = static_cast<std::int64_t>(left);
    m_top = static_cast<std::int64_t>(top);
    std::vector<int> columns, rows;
    for (auto x = m_left; x < static_cast<std::int64_t>(right); ++x)
        columns.push_back(WrapIndex(x, width, source.tileModeX));
    for (auto y = m_top; y < static_cast<std::int64_t>(bottom); ++y)
        rows.push_back(WrapIndex(y, height, source.tileModeY));
    m_samples.emplace(Kernel::RectT<int>{0, 0, static_cast<int>(columns.size()), static_cast<int>(rows.size())},
                      source.planeCount, Surface::Uninitialised());
    source.levels.Fetch(source.level, columns, rows, *m_samples);
    return true;
}

SampleWindow::Place SampleWindow::Find(double at, std::int64_t first, int count) const {
    bool const nearest = m_resampling == Resampling::Nearest;
    int const more = m_resampling == Resampling::Bicubic ? 1 : 0;
    double const place = nearest ? at : at - 0.5, sample = std::floor(place);
    // Where samples do not repeat, far ones have been left out: the last one stands for them.
    auto const index = std::clamp<std::int64_t>(static_cast<std::int64_t>(sample) - first, more, count - 2 - more);
    return {static_cast<int>(index), nearest ? 0 : static_cast<float>(place - sample)};
}

} // namespace Renderer::Detail
