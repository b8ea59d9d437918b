// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/tracing/trace.h"

#include <algorithm>

namespace Tracing {

// Red, green, blue and alpha from 0 to 255, colours multiplied by alpha: in these numbers the pixel that an edge
// crosses is a mean of the colours of both sides.
using MixedColour = std::array<float, 4>;

inline MixedColour ToMixed(Picture::Pixel const& pixel) {
    float const alpha = static_cast<float>(pixel[3]) * (1.0f / 255);
    return {static_cast<float>(pixel[0]) * alpha, static_cast<float>(pixel[1]) * alpha,
            static_cast<float>(pixel[2]) * alpha, static_cast<float>(pixel[3])};
}

inline float SquaredDistance(MixedColour const& a, MixedColour const& b) {
    float sum = 0;
    for (int i = 0; i != 4; ++i)
        sum += (a[i] - b[i]) * (a[i] - b[i]);
    return sum;
}

// Where a colour stands on the way from one colour to another, 0 to 1, and the square of its distance from there.
struct Mix {
    float share = 0;
    float squaredRest = 0;
};
inline Mix FindMix(MixedColour const& colour, MixedColour const& from, MixedColour const& to) {
    float along = 0, squaredLength = 0, squared = 0;
    for (std::size_t i = 0; i != 4; ++i) {
        float const way = to[i] - from[i], place = colour[i] - from[i];
        along += way * place;
        squaredLength += way * way;
        squared += place * place;
    }
    if (squaredLength <= 0)
        return {0, squared};
    float const share = std::clamp(along / squaredLength, 0.0f, 1.0f);
    return {share, squared - 2 * share * along + share * share * squaredLength};
}

// The colour of each pixel as a number in a short list. Number 0 is clear.
struct Labels {
    std::vector<Picture::Pixel> colours;
    std::vector<MixedColour> mixed;
    std::vector<std::uint8_t> ofPixel;
};

// Finds the colours of the picture and gives one to each pixel. A picture of plain colours keeps them to the bit, and
// the pixels of its smooth edges go to the colours beside them.
Labels FindLabels(Picture const& picture, Options const& options);

} // namespace Tracing
