// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/tracing/labels.h"

namespace Tracing {

// Connected areas of one label. Pixels that touch only at a corner are connected where the two others at that corner
// do not keep them apart.
struct Regions {
    // Around the picture.
    static constexpr std::int32_t c_outside = 0;

    int width = 0;
    int height = 0;
    // A frame of one pixel outside is around the picture.
    std::vector<std::int32_t> ofPixel;
    // By region; that of c_outside is 0.
    std::vector<std::uint8_t> labels;

    std::int32_t At(int x, int y) const {
        return ofPixel[static_cast<std::size_t>(y + 1) * static_cast<std::size_t>(width + 2) +
                       static_cast<std::size_t>(x + 1)];
    }
};

// The most regions of a picture.
inline constexpr std::size_t c_mostRegions = 100'000;

// Regions of fewer pixels than options.smallestArea are joined to the neighbour of the nearest
// colour; where more than c_mostRegions are left, larger ones are, too.
Regions FindRegions(Picture const& picture, Labels const& labels, Options const& options);

} // namespace Tracing
