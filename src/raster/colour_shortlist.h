// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/raster/dynamic_palette.h"

#include <vector>

namespace Commands {

// Finds the nearest colour of a palette where no other comes near to being as near: a search through all of it that
// rounds, which is quicker than one by the rule and says when it cannot tell.
class REDRAFT_API ColourShortlist {
public:
    explicit ColourShortlist(Raster::DynamicPalette const& palette);
    // The entry for an opaque pixel on the scale of 16 bits; -1 when the rule has to be asked.
    int FindOnly(float red, float green, float blue) const;

private:
    // Of all entries, up to a whole number of vectors, counted from the middle of the scale: the squares' sum, and
    // twice the colour, negative. Empty for a palette that is too large.
    std::vector<float> m_squares, m_reds, m_greens, m_blues;
};

} // namespace Commands
