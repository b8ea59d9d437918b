// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/raster/bitmap.h"
#include "platform/raster/dynamic_palette.h"
#include "raster/colour_shortlist.h"

#include <array>
#include <optional>
#include <vector>

namespace Commands {

// A pixel on the way, on the scale of 16 bits: whole numbers in red, green, blue and alpha.
using DiffusedPixel = std::array<float, 4>;

// The palette's colour for a pixel. The transparent entry, where there is one, stands for all that is not opaque;
// otherwise the entry with the least distance of colours, the later of equal ones. Empty when no entry comes near. This
// is the rule.
REDRAFT_API std::optional<std::size_t> MatchColour(Raster::DynamicPalette const& palette, DiffusedPixel const& pixel);

// The same, with the distances to all colours in vectors.
class REDRAFT_API PaletteMatcher {
public:
    explicit PaletteMatcher(Raster::DynamicPalette const& palette);
    // -1 when no entry comes near.
    int Match(DiffusedPixel const& pixel) const;
    Raster::DynamicPalette const& GetPalette() const { return m_palette; }

private:
    Raster::DynamicPalette const& m_palette;
    // Of all entries, up to a whole number of vectors; those without alpha, and what fills up, are far away.
    std::vector<float> m_reds, m_greens, m_blues;
    ColourShortlist m_shortlist;
};

// Gives each pixel of the rectangle, which lies inside the bitmap, its colour of the palette, and spreads the error to
// the right, 7/16, and to the left below, below and to the right below, 3/16, 5/16 and 1/16 (R. W. Floyd and L.
// Steinberg, An adaptive algorithm for spatial greyscale, 1976), inside the rectangle; rows from the top, each from the
// left, or so that it makes no difference. Transparent pixels spread nothing. Returns early, after a row, when *abort
// becomes true.
REDRAFT_API void
DiffuseErrors(Raster::Bitmap<Raster::Red16, Raster::Green16, Raster::Blue16, Raster::Alpha16, Raster::X5>& bitmap,
              Kernel::RectT<int> const& rect, Raster::DynamicPalette const& palette, bool* abort);

} // namespace Commands
