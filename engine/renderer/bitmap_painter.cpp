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
// One that stands upright is read in strips.
constexpr int c_uprightBlockWidth = 512;
// Samples from one pixel to the next that a strip may have.
constexpr double c_largestUprightStep = 1.5;
// Places for which a strip finds the samples that blocks find.
constexpr double c_farthestUpright = 1 << 30;
// Indexes beyond this are not exact any more.
constexpr double c_farthest = 4503599627370496.0;

class BitmapSource final : public FillSource {
public:
    BitmapSource(BitmapFill const& fill, Transform const& toPixels, double totalOpacity, WorkingSpace const& space,
                 Raster::ICCProfileSet const& documentProfiles)
        : levels(*fill.GetBitmap(), space, documentProfiles),
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
        auto const& l = toLevel.GetParams();
        isUpright = l.b == 0 && l.c == 0 && std::fabs(l.a) <= c_largestUprightStep &&
                    std::fabs(l.d) <= c_largestUprightStep && std::fabs(l.tx) < c_farthestUpright &&
                    std::fabs(l.ty) < c_farthestUpright && tileModeX != TileMode::Clear && tileModeY != TileMode::Clear;
    }
    std::unique_ptr<Painter> MakePainter() const override;
    int GetBlockWidth() const { return isUpright ? c_uprightBlockWidth : c_blockWidth; }

    BitmapLevels levels;
    Transform toBitmap;
    Transform toLevel;
    int level = 0;
    // Rows and columns of samples are those of pixels, and no edge shows: pixels are made row by row.
    bool isUpright = false;
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
    explicit BitmapPainter(BitmapSource const& source) : m_source(source), m_blockWidth(source.GetBlockWidth()) {}

    void Begin(Kernel::RectT<int> const& area) override {
        m_area = area;
        m_pixels.emplace(area, m_source.planeCount, Surface::Uninitialised());
        m_made.assign(static_cast<std::size_t>((area.GetWidth() + m_blockWidth - 1) / m_blockWidth), false);
    }

    void GetRow(int x, int y, int count, float* const* planes) override {
        int const first = (x - m_area.left) / m_blockWidth, last = (x + count - 1 - m_area.left) / m_blockWidth;
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
    void MakeUprightPixels(Kernel::RectT<int> const& rect);
    void MixRow(int plane, int row, int count, float* out) const;
    void ClearPixels(Kernel::RectT<int> const& rect);
    float GetEdgeCoverage(PointDbl p) const;

    // A sample and how far behind it a place lies, 0..1.
    struct Place {
        int sample;
        float fraction;
    };
    Place FindPlace(double at, std::int64_t first, int sampleCount) const;

    BitmapSource const& m_source;
    int m_blockWidth;
    Kernel::RectT<int> m_area;
    // The finished part of the area, block by block, each over the area's whole height.
    std::optional<Surface> m_pixels;
    std::vector<bool> m_made;
    // The samples around the block that is being made; the first is sample m_left, m_top of the endless level.
    std::optional<Surface> m_samples;
    std::int64_t m_left = 0;
    std::int64_t m_top = 0;
    // Where the columns of an upright block lie among the samples.
    std::vector<Place> m_columns;
};

std::unique_ptr<Painter> BitmapSource::MakePainter() const { return std::make_unique<BitmapPainter>(*this); }

void BitmapPainter::MakeBlock(int block) {
    m_made[static_cast<std::size_t>(block)] = true;
    int const left = m_area.left + block * m_blockWidth, right = std::min(left + m_blockWidth, m_area.right);
    // Low blocks keep the samples of a slanted bitmap few.
    for (int top = m_area.top; top < m_area.bottom; top += c_blockWidth) {
        Kernel::RectT<int> const rect{left, top, right, std::min(top + c_blockWidth, m_area.bottom)};
        bool const isInReach = FetchSamples(rect);
        if (isInReach && m_source.isUpright) {
            MakeUprightPixels(rect);
            continue;
        }
        ClearPixels(rect);
        if (!isInReach)
            continue;
        for (int y = rect.top; y != rect.bottom; ++y) {
            for (int x = rect.left; x != rect.right; ++x)
                MakePixel(x, y);
        }
    }
}

void BitmapPainter::ClearPixels(Kernel::RectT<int> const& rect) {
    for (int plane = 0; plane != m_source.planeCount; ++plane) {
        for (int y = rect.top; y != rect.bottom; ++y)
            std::fill_n(m_pixels->At(plane, rect.left, y), rect.GetWidth(), 0.0f);
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

BitmapPainter::Place BitmapPainter::FindPlace(double at, std::int64_t first, int sampleCount) const {
    bool const nearest = m_source.resampling == Resampling::Nearest;
    double const place = nearest ? at : at - 0.5, sample = std::floor(place);
    // Where samples do not repeat, far ones have been left out: the last one stands for them.
    auto const index = std::clamp<std::int64_t>(static_cast<std::int64_t>(sample) - first, 1, sampleCount - 3);
    return {static_cast<int>(index), nearest ? 0 : static_cast<float>(place - sample)};
}

void BitmapPainter::MakePixel(int x, int y) {
    float const scale = m_source.opacity * GetEdgeCoverage(m_source.toBitmap.Apply({x + 0.5, y + 0.5}));
    if (!(scale > 0))
        return;
    PointDbl const p = m_source.toLevel.Apply({x + 0.5, y + 0.5});
    auto const& bounds = m_samples->GetBounds();
    auto const [i, fx] = FindPlace(p.x, m_left, bounds.right);
    auto const [j, fy] = FindPlace(p.y, m_top, bounds.bottom);
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

// Mixes the samples of one row at the columns of the block: what MakePixel does along x.
void BitmapPainter::MixRow(int plane, int row, int count, float* out) const {
    float const* const samples = m_samples->At(plane, 0, row);
    if (m_source.resampling != Resampling::Bicubic) {
        for (int x = 0; x != count; ++x) {
            auto const& [sample, fraction] = m_columns[static_cast<std::size_t>(x)];
            out[x] = samples[sample] + (samples[sample + 1] - samples[sample]) * fraction;
        }
        return;
    }
    for (int x = 0; x != count; ++x) {
        auto const& [sample, fraction] = m_columns[static_cast<std::size_t>(x)];
        float w[4];
        GetCubicWeights(fraction, w);
        float const* const s = samples + sample - 1;
        out[x] = w[0] * s[0] + w[1] * s[1] + w[2] * s[2] + w[3] * s[3];
    }
}

// The pixels of a block as MakePixel makes them, to the bit. Each row of samples is mixed along x once, for all rows of
// pixels that need it.
void BitmapPainter::MakeUprightPixels(Kernel::RectT<int> const& rect) {
    auto const& bounds = m_samples->GetBounds();
    int const width = rect.GetWidth(), alpha = m_source.planeCount - 1;
    auto const& m = m_source.toLevel.GetParams();
    m_columns.clear();
    for (int x = rect.left; x != rect.right; ++x)
        m_columns.push_back(FindPlace(m.a * (x + 0.5) + m.tx, m_left, bounds.right));
    bool const isCubic = m_source.resampling == Resampling::Bicubic;
    constexpr int c_kept = 4;
    float mixed[c_kept][c_uprightBlockWidth];
    // The planes are independent but for the cut of overshoots, for which alpha comes first.
    for (int plane = alpha; plane >= 0; --plane) {
        int rows[c_kept] = {-1, -1, -1, -1};
        auto const getRow = [&](int row) -> float const* {
            int const slot = row % c_kept;
            if (rows[slot] != row)
                MixRow(plane, row, width, mixed[slot]);
            rows[slot] = row;
            return mixed[slot];
        };
        for (int y = rect.top; y != rect.bottom; ++y) {
            auto const [j, fy] = FindPlace(m.d * (y + 0.5) + m.ty, m_top, bounds.bottom);
            float* const out = m_pixels->At(plane, rect.left, y);
            if (!isCubic) {
                float const *const upper = getRow(j), *const lower = getRow(j + 1);
                for (int x = 0; x != width; ++x)
                    out[x] = upper[x] + (lower[x] - upper[x]) * fy;
                continue;
            }
            float w[4];
            GetCubicWeights(fy, w);
            float const *const r0 = getRow(j - 1), *const r1 = getRow(j), *const r2 = getRow(j + 1),
                               *const r3 = getRow(j + 2);
            float const* const limits = plane == alpha ? nullptr : m_pixels->At(alpha, rect.left, y);
            for (int x = 0; x != width; ++x) {
                float const limit = limits == nullptr ? 1.0f : limits[x];
                float const value = w[0] * r0[x] + w[1] * r1[x] + w[2] * r2[x] + w[3] * r3[x];
                out[x] = value < 0 ? 0 : value > limit ? limit : value;
            }
        }
    }
    if (m_source.opacity == 1)
        return;
    for (int plane = 0; plane <= alpha; ++plane) {
        for (int y = rect.top; y != rect.bottom; ++y) {
            float* const out = m_pixels->At(plane, rect.left, y);
            for (int x = 0; x != width; ++x)
                out[x] *= m_source.opacity;
        }
    }
}

} // namespace

std::shared_ptr<FillSource const> MakeBitmapSource(BitmapFill const& fill, Transform const& toPixels, double opacity,
                                                   WorkingSpace const& space,
                                                   Raster::ICCProfileSet const& documentProfiles) {
    double const determinant = std::fabs(toPixels.GetDeterminant());
    if (!fill.GetBitmap() || fill.GetBitmap()->IsEmpty() || !(determinant > 1e-128) || !toPixels.IsFinite())
        return nullptr;
    return std::make_shared<BitmapSource>(fill, toPixels, opacity, space, documentProfiles);
}

} // namespace Renderer::Detail
