// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/tracing/regions.h"
#include "platform/geometry/curve.h"

namespace Tracing {

// The common border of two regions, from a corner of pixels where others meet them to the next, or a whole ring.
struct Border {
    // Along the way, with y downwards: above a way to the right is its left.
    std::int32_t left = 0, right = 0;
    bool isRing = false;
    // Twice the area under the way, counted as the sum of x(i) y(i+1) - x(i+1) y(i) over corners of pixels.
    std::int64_t doubleArea = 0;
    std::vector<Geometry::Segment> curve;
};

// A border, walked along its way or against it, which has the ring's region to its left.
struct BorderPart {
    std::uint32_t border = 0;
    bool isReversed = false;
};

// The borders of one region as closed ways.
struct Ring {
    std::int32_t region = 0;
    // True for the border around a region; false for that of a hole in it.
    bool isOuter = false;
    // Pixels.
    double area = 0;
    std::vector<BorderPart> parts;
};

struct Borders {
    std::vector<Border> borders;
    // Of regions that are neither outside nor clear.
    std::vector<Ring> rings;
};

Borders FindBorders(Picture const& picture, Labels const& labels, Regions const& regions, Options const& options);

} // namespace Tracing
