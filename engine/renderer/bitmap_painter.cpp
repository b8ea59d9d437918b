// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/bitmap_levels.h"
#include "engine/renderer/painter.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace Renderer::Detail {

namespace {

// Pixels are made in blocks, so that a bitmap that is turned is read in small squares and not over the whole of a band.
constexpr int c_blockWidth = 64;
// Indexes beyond this are not exact any more.
constexpr double c_farthest = 4503599627370496.0;

class BitmapSource final : public FillSource {
public:
    BitmapSource(BitmapFill const& fill, Transform const& toPixels, double totalOpacity, WorkingSpace const& space)
        : levels(*fill.GetBitmap(), space),
          toBitmap(toPixels.GetInverse()),
          tileModeX(fill.GetTileModeX()),
          tileModeY(fill.GetTileModeY()),
          resampling(fill.GetResampling()),
          opacity(static_cast<float>(totalOpacity * fill.GetOpacity())),
          planeCount(space.GetColourCount() + 1) {
        auto const& m = toBitmap.GetParams();
        // Bitmap pixels per pixel of the target, along its axes.
        double step = std::max(std::sqrt(m.a * m.a + m.c * m.c), std::sqrt(m.b * m.b + m.d * m.d));
        // The level whose pixels come nearest to the target's. Single samples are taken from far apart, but not so far
        // that those between them could not be read any more.
        double const largest = resampling == Resampling::Nearest ? 8 : 1.4142135623730951;
        while (step > largest && level < levels.GetLastLevel()) {
            step /= 2;
            ++level;
            toLevel = Transform::Scale(0.5, 0.5) * toLevel;
        }
        toLevel = toLevel * toBitmap;
    }
    std::unique_ptr<Painter> MakePainter() const override;

    BitmapLevels levels;
    Transform toBitmap;
    Transform toLevel;
    int level = 0;
    TileMode tileModeX;
    TileMode tileModeY;
    Resampling resampling;
    float opacity;
    int planeCount;
};

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

// Weights of the samples around a place between two of them, `f` of 0..1 past the first.
void GetCubicWeights(float f, float (&w)[4]) {
    float const g = 1 - f;
    w[0] = -0.5f * f * g * g;
    w[1] = 1 - f * f * (2.5f - 1.5f * f);
    w[2] = 1 - g * g * (2.5f - 1.5f * g);
    w[3] = -0.5f * g * f * f;
}

class BitmapPainter final : public Painter {
public:
    explicit BitmapPainter(BitmapSource const& source) : m_source(source) {}

    void Begin(Kernel::RectT<int> const& area) override {
        m_area = area;
        m_pixels.emplace(area, m_source.planeCount);
        m_made.assign(static_cast<std::size_t>((area.GetWidth() + c_blockWidth - 1) / c_blockWidth), false);
    }

    void GetRow(int x, int y, int count, float* const* planes) override {
        int const first = (x - m_area.left) / c_blockWidth, last = (x + count - 1 - m_area.left) / c_blockWidth;
        for (int block = first; block <= last; ++block) {
            if (!m_made[static_cast<std::size_t>(block)])
                MakeBlock(block);
        }
        for (int plane = 0; plane != m_source.planeCount; ++plane)
            std::copy_n(m_pixels->At(plane, x, y), count, planes[plane]);
    }

private:
    void MakeBlock(int block);
    bool FetchSamples(Kernel::RectT<int> const& block);
    void MakePixel(int x, int y);
    float GetEdgeCoverage(PointDbl p) const;

    BitmapSource const& m_source;
    Kernel::RectT<int> m_area;
    // What has been made of the area, block by block, each over the area's whole height.
    std::optional<Surface> m_pixels;
    std::vector<bool> m_made;
    // The samples around the block that is being made; the first is sample m_left, m_top of the endless level.
    std::optional<Surface> m_samples;
    std::int64_t m_left = 0;
    std::int64_t m_top = 0;
};

std::unique_ptr<Painter> BitmapSource::MakePainter() const { return std::make_unique<BitmapPainter>(*this); }

void BitmapPainter::MakeBlock(int block) {
    m_made[static_cast<std::size_t>(block)] = true;
    int const left = m_area.left + block * c_blockWidth, right = std::min(left + c_blockWidth, m_area.right);
    // Low blocks keep the samples of a slanted bitmap few.
    for (int top = m_area.top; top < m_area.bottom; top += c_blockWidth) {
        Kernel::RectT<int> const rect{left, top, right, std::min(top + c_blockWidth, m_area.bottom)};
        if (!FetchSamples(rect))
            continue;
        for (int y = rect.top; y != rect.bottom; ++y) {
            for (int x = rect.left; x != rect.right; ++x)
                MakePixel(x, y);
        }
    }
}

// False where the block is too far away to tell its samples apart: it stays clear.
bool BitmapPainter::FetchSamples(Kernel::RectT<int> const& block) {
    auto const place = m_source.toLevel.GetParams().Apply(
        Kernel::RectT<double>{block.left + 0.5, block.top + 0.5, block.right - 0.5, block.bottom - 0.5});
    double left = std::floor(place.left) - 2, top = std::floor(place.top) - 2;
    double right = std::floor(place.right) + 4, bottom = std::floor(place.bottom) + 4;
    if (!(std::fabs(left) < c_farthest && std::fabs(right) < c_farthest && std::fabs(top) < c_farthest &&
          std::fabs(bottom) < c_farthest))
        return false;
    int const width = m_source.levels.GetWidth(m_source.level), height = m_source.levels.GetHeight(m_source.level);
    // Beyond the edges samples that do not repeat are all alike, and so is one sample that does.
    auto const limit = [](double& low, double& high, int size, TileMode mode) {
        if (mode != TileMode::Clear && mode != TileMode::Clamp && size != 1)
            return;
        low = std::clamp(low, -4.0, size + 4.0);
        high = std::clamp(high, low + 8, size + 12.0);
    };
    limit(left, right, width, m_source.tileModeX);
    limit(top, bottom, height, m_source.tileModeY);
    // The reduced levels that exist may still be too large for a bitmap drawn very narrow: it is clear then.
    if (right - left > 1024 || bottom - top > 1024)
        return false;
    m_left = static_cast<std::int64_t>(left);
    m_top = static_cast<std::int64_t>(top);
    std::vector<int> columns, rows;
    for (auto x = m_left; x < static_cast<std::int64_t>(right); ++x)
        columns.push_back(WrapIndex(x, width, m_source.tileModeX));
    for (auto y = m_top; y < static_cast<std::int64_t>(bottom); ++y)
        rows.push_back(WrapIndex(y, height, m_source.tileModeY));
    m_samples.emplace(Kernel::RectT<int>{0, 0, static_cast<int>(columns.size()), static_cast<int>(rows.size())},
                      m_source.planeCount);
    m_source.levels.Fetch(m_source.level, columns, rows, *m_samples);
    return true;
}

// How much of a pixel lies inside the bitmap, from its centre's distance to the four edges.
float BitmapPainter::GetEdgeCoverage(PointDbl p) const {
    auto const& m = m_source.toBitmap.GetParams();
    double coverage = 1;
    auto const cut = [&coverage](double distance, double perPixel) {
        coverage *= std::clamp(distance / perPixel + 0.5, 0.0, 1.0);
    };
    if (m_source.tileModeX == TileMode::Clear) {
        double const perPixel = std::sqrt(m.a * m.a + m.b * m.b);
        cut(p.x, perPixel);
        cut(m_source.levels.GetWidth(0) - p.x, perPixel);
    }
    if (m_source.tileModeY == TileMode::Clear) {
        double const perPixel = std::sqrt(m.c * m.c + m.d * m.d);
        cut(p.y, perPixel);
        cut(m_source.levels.GetHeight(0) - p.y, perPixel);
    }
    return static_cast<float>(coverage);
}

void BitmapPainter::MakePixel(int x, int y) {
    float const scale = m_source.opacity * GetEdgeCoverage(m_source.toBitmap.Apply({x + 0.5, y + 0.5}));
    if (!(scale > 0))
        return;
    PointDbl const p = m_source.toLevel.Apply({x + 0.5, y + 0.5});
    bool const nearest = m_source.resampling == Resampling::Nearest;
    double const u = nearest ? p.x : p.x - 0.5, v = nearest ? p.y : p.y - 0.5;
    double const column = std::floor(u), row = std::floor(v);
    auto const& bounds = m_samples->GetBounds();
    auto const index = [](double at, std::int64_t first, int size) {
        // Where samples do not repeat, far ones have been left out: the last one stands for them.
        return static_cast<int>(std::clamp<std::int64_t>(static_cast<std::int64_t>(at) - first, 1, size - 3));
    };
    int const i = index(column, m_left, bounds.right), j = index(row, m_top, bounds.bottom);
    float const fx = nearest ? 0 : static_cast<float>(u - column), fy = nearest ? 0 : static_cast<float>(v - row);
    float values[c_maximumColours + 1]{};
    int const alpha = m_source.planeCount - 1;
    for (int plane = 0; plane <= alpha; ++plane) {
        float value = 0;
        if (m_source.resampling == Resampling::Bicubic) {
            float wx[4], wy[4];
            GetCubicWeights(fx, wx);
            GetCubicWeights(fy, wy);
            for (int k = 0; k != 4; ++k) {
                float const* const s = m_samples->At(plane, i - 1, j - 1 + k);
                value += wy[k] * (wx[0] * s[0] + wx[1] * s[1] + wx[2] * s[2] + wx[3] * s[3]);
            }
        } else {
            float const* const s = m_samples->At(plane, i, j);
            float const* const t = m_samples->At(plane, i, j + 1);
            float const upper = s[0] + (s[1] - s[0]) * fx, lower = t[0] + (t[1] - t[0]) * fx;
            value = upper + (lower - upper) * fy;
        }
        values[plane] = value;
    }
    // Cubics overshoot.
    if (m_source.resampling == Resampling::Bicubic) {
        values[alpha] = std::clamp(values[alpha], 0.0f, 1.0f);
        for (int plane = 0; plane != alpha; ++plane)
            values[plane] = std::clamp(values[plane], 0.0f, values[alpha]);
    }
    for (int plane = 0; plane <= alpha; ++plane)
        *m_pixels->At(plane, x, y) = values[plane] * scale;
}

} // namespace

std::shared_ptr<FillSource const> MakeBitmapSource(BitmapFill const& fill, Transform const& toPixels, double opacity,
                                                   WorkingSpace const& space) {
    double const determinant = std::fabs(toPixels.GetDeterminant());
    if (!fill.GetBitmap() || fill.GetBitmap()->IsEmpty() || !(determinant > 1e-128) || !toPixels.IsFinite())
        return nullptr;
    return std::make_shared<BitmapSource>(fill, toPixels, opacity, space);
}

} // namespace Renderer::Detail
