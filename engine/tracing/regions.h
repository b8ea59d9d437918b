// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/tracing/labels.h"

#include <memory>

namespace Tracing {

// Pixels of one region side by side in a row, up to the next run or the end of the row.
struct RegionRun {
    std::int32_t begin = 0;
    std::int32_t region = 0;
};

// Connected areas of one label. Pixels that touch only at a corner are connected where the two others at that corner
// do not keep them apart.
struct Regions {
    // Around the picture.
    static constexpr std::int32_t c_outside = 0;

    int width = 0;
    int height = 0;
    // A frame of one pixel outside is around the picture.
    std::unique_ptr<std::int32_t[]> ofPixel;
    // Row by row from left to right, and the first run of each row, and one more.
    std::vector<RegionRun> runs;
    std::vector<std::size_t> rows;
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
