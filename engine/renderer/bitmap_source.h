// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/bitmap_levels.h"
#include "engine/renderer/painter.h"
#include "platform/renderer/fill.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace Renderer::Detail {

// A bitmap as it is laid over the picture, on the level that suits its size there.
class BitmapSource final : public FillSource {
public:
    BitmapSource(BitmapFill const& fill, Transform const& toPixels, double totalOpacity, WorkingSpace const& space,
                 Raster::ICCProfileSet const& documentProfiles);
    std::unique_ptr<Painter> MakePainter() const override;

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

// Weights of the samples around a place between two of them, `f` of 0..1 past the first.
inline void GetCubicWeights(float f, float (&w)[4]) {
    float const g = 1 - f;
    w[0] = -0.5f * f * g * g;
    w[1] = 1 - f * f * (2.5f - 1.5f * f);
    w[2] = 1 - g * g * (2.5f - 1.5f * g);
    w[3] = -0.5f * g * f * f;
}

// The samples that the pixels of a rectangle need.
class SampleWindow {
public:
    // False where the rectangle is too far away to tell its samples apart, or needs too many of them: it is clear then.
    bool Fetch(BitmapSource const& source, Kernel::RectT<int> const& pixels);

    // A sample and how far behind it a place lies, 0..1.
    struct Place {
        int sample;
        float fraction;
    };
    Place FindColumn(double x) const { return Find(x, m_left, m_samples->GetBounds().right); }
    Place FindRow(double y) const { return Find(y, m_top, m_samples->GetBounds().bottom); }
    float const* At(int plane, int column, int row) const { return m_samples->At(plane, column, row); }

private:
    Place Find(double at, std::int64_t first, int count) const;

    std::optional<Surface> m_samples;
    Resampling m_resampling = Resampling::Nearest;
    // The first of them is sample m_left, m_top of the endless level.
    std::int64_t m_left = 0;
    std::int64_t m_top = 0;
};

std::unique_ptr<Painter> MakeUprightBitmapPainter(BitmapSource const& source);

} // namespace Renderer::Detail
