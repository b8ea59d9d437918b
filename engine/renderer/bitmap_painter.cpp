// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/bitmap_source.h"

#include <algorithm>
#include <cmath>

namespace Renderer::Detail {

namespace {

// Pixels are made in blocks, so that a bitmap that is turned is read in small squares and not over the whole of a band.
constexpr int c_blockSide = 64;
// Samples from one pixel to the next that an upright bitmap may have.
constexpr double c_largestUprightStep = 1.5;
// Places for which it finds the samples that blocks find.
constexpr double c_farthestUpright = 1 << 30;

class BitmapPainter final : public Painter {
public:
    explicit BitmapPainter(BitmapSource const& source) : m_source(source) {}

    void Begin(Kernel::RectT<int> const& area) override {
        m_area = area;
        m_pixels.emplace(area, m_source.planeCount, Surface::Uninitialised());
        m_made.assign(static_cast<std::size_t>((area.GetWidth() + c_blockSide - 1) / c_blockSide), false);
    }

    void GetRow(int x, int y, int count, float* const* planes) override {
        int const first = (x - m_area.left) / c_blockSide, last = (x + count - 1 - m_area.left) / c_blockSide;
        for (int block = first; block <= last; ++block) {
            if (!m_made[static_cast<std::size_t>(block)])
                MakeBlock(block);
        }
        for (int plane = 0; plane != m_source.planeCount; ++plane)
            std::copy_n(m_pixels->At(plane, x, y), count, planes[plane]);
    }

private:
    void MakeBlock(int block);
    void MakePixel(int x, int y);
    void ClearPixels(Kernel::RectT<int> const& rect);
    float GetEdgeCoverage(PointDbl p) const;

    BitmapSource const& m_source;
    Kernel::RectT<int> m_area;
    // The finished part of the area, block by block, each over the area's whole height.
    std::optional<Surface> m_pixels;
    std::vector<bool> m_made;
    // Around the block that is being made.
    SampleWindow m_window;
};

void BitmapPainter::MakeBlock(int block) {
    m_made[static_cast<std::size_t>(block)] = true;
    int const left = m_area.left + block * c_blockSide, right = std::min(left + c_blockSide, m_area.right);
    // Low blocks keep the samples of a slanted bitmap few.
    for (int top = m_area.top; top < m_area.bottom; top += c_blockSide) {
        Kernel::RectT<int> const rect{left, top, right, std::min(top + c_blockSide, m_area.bottom)};
        ClearPixels(rect);
        if (!m_window.Fetch(m_source, rect))
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
    auto const [i, fx] = m_window.FindColumn(p.x);
    auto const [j, fy] = m_window.FindRow(p.y);
    float values[c_maximumColours + 1]{};
    int const alpha = m_source.planeCount - 1;
    for (int plane = 0; plane <= alpha; ++plane) {
        float value = 0;
        if (m_source.resampling == Resampling::Bicubic) {
            float wx[4], wy[4];
            GetCubicWeights(fx, wx);
            GetCubicWeights(fy, wy);
            for (int k = 0; k != 4; ++k) {
                float const* const s = m_window.At(plane, i - 1, j - 1 + k);
                value += wy[k] * (wx[0] * s[0] + wx[1] * s[1] + wx[2] * s[2] + wx[3] * s[3]);
            }
        } else {
            float const* const s = m_window.At(plane, i, j);
            float const* const t = m_window.At(plane, i, j + 1);
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

BitmapSource::BitmapSource(BitmapFill const& fill, Transform const& toPixels, double totalOpacity,
                           WorkingSpace const& space, Raster::ICCProfileSet const& documentProfiles)
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

std::unique_ptr<Painter> BitmapSource::MakePainter() const {
    return isUpright ? MakeUprightBitmapPainter(*this) : std::make_unique<BitmapPainter>(*this);
}

std::shared_ptr<FillSource const> MakeBitmapSource(BitmapFill const& fill, Transform const& toPixels, double opacity,
                                                   WorkingSpace const& space,
                                                   Raster::ICCProfileSet const& documentProfiles) {
    double const determinant = std::fabs(toPixels.GetDeterminant());
    if (!fill.GetBitmap() || fill.GetBitmap()->IsEmpty() || !(determinant > 1e-128) || !toPixels.IsFinite())
        return nullptr;
    return std::make_shared<BitmapSource>(fill, toPixels, opacity, space, documentProfiles);
}

} // namespace Renderer::Detail
