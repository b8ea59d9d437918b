// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/working_space.h"

#include <memory>

namespace Renderer::Detail {

// Gives the colours of a fill for pixels of the picture. One serves one area at a time.
class Painter {
public:
    virtual ~Painter();
    // Tells which pixels will be asked for next.
    virtual void Begin(Kernel::RectT<int> const& area);
    // Colours multiplied by alpha, then alpha, for the pixels from x on in row y: one plane each.
    virtual void GetRow(int x, int y, int count, float* const* planes) = 0;
};

// A fill as it is laid over the picture, with its colours in the working space. Immutable; used by several threads.
class FillSource {
public:
    virtual ~FillSource();
    // The pixel that is the same everywhere, colours multiplied by alpha; null for fills that change.
    virtual float const* GetUniformPixel() const { return nullptr; }
    // Alpha is 1 everywhere.
    virtual bool IsOpaque() const { return false; }
    virtual std::unique_ptr<Painter> MakePainter() const = 0;
};

// Null where the fill paints nothing: none, a pattern, clear, or under a transform that cannot be undone. `toPixels`
// maps fill space to pixels. `opacity` multiplies alpha. Bitmap levels are made here, from as much of the bitmap as
// they need.
std::shared_ptr<FillSource const> MakeFillSource(Fill const& fill, Transform const& toPixels, double opacity,
                                                 WorkingSpace const& space,
                                                 Raster::ICCProfileSet const& documentProfiles);

std::shared_ptr<FillSource const> MakeGradientSource(GradientFill const& fill, Transform const& toPixels,
                                                     double opacity, WorkingSpace const& space,
                                                     Raster::ICCProfileSet const& documentProfiles);
std::shared_ptr<FillSource const> MakeBitmapSource(BitmapFill const& fill, Transform const& toPixels, double opacity,
                                                   WorkingSpace const& space,
                                                   Raster::ICCProfileSet const& documentProfiles);

} // namespace Renderer::Detail
