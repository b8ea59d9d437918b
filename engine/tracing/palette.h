// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/tracing/trace.h"

namespace Tracing {

struct WeightedColour {
    Picture::Pixel colour{};
    std::uint32_t weight = 0;
};

// The colours that have areas of their own: those of squares of two by two equal pixels, with the number of such
// squares, the most frequent first. Clear pixels count as (0, 0, 0, 0). Empty where there are more than c_mostPlain.
inline constexpr std::size_t c_mostPlain = 8192;
std::vector<WeightedColour> FindPlainColours(Picture const& picture, bool const* abort);

// Colours that stand for all opaque ones of the picture, `most` at most. Fewer where fewer are as good as the eye
// needs.
std::vector<Picture::Pixel> ReduceColours(Picture const& picture, std::size_t most, bool const* abort);

} // namespace Tracing
