// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/curve.h"

#include <cmath>

namespace Geometry::Detail {

// The vector at length 1. Zero for one that has no direction: without length, or not finite.
inline PointDbl ToUnit(PointDbl v) {
    double const squared = v.x * v.x + v.y * v.y;
    if (squared > 1e-200 && squared < 1e200) {
        double const scale = 1 / std::sqrt(squared);
        return {v.x * scale, v.y * scale};
    }
    // Scaled, so that squares neither overflow nor vanish.
    double const largest = std::fmax(std::fabs(v.x), std::fabs(v.y));
    if (!(largest > 0) || !std::isfinite(v.x) || !std::isfinite(v.y))
        return {0, 0};
    double const x = v.x / largest, y = v.y / largest, length = std::sqrt(x * x + y * y);
    return {x / length, y / length};
}

// The vector from a segment's start to the first point that shows the direction in which it leaves; zero where all its
// points are one. Handles below 1e-9 of the segment's size are rounding, and show none.
inline PointDbl GetStartHandle(Segment const& s) {
    PointDbl const others[] = {{s.control1.x - s.start.x, s.control1.y - s.start.y},
                               {s.control2.x - s.start.x, s.control2.y - s.start.y},
                               {s.end.x - s.start.x, s.end.y - s.start.y}};
    if (s.kind == SegmentKind::Line)
        return others[2];
    double sizes[3], size = 0;
    for (int i = 0; i != 3; ++i) {
        sizes[i] = std::fabs(others[i].x) + std::fabs(others[i].y);
        size = sizes[i] > size ? sizes[i] : size;
    }
    for (int i = 0; i != 3; ++i) {
        if (sizes[i] > 1e-9 * size)
            return others[i];
    }
    return {0, 0};
}

// The segment walked from its end.
inline Segment FromItsEnd(Segment const& s) { return {s.kind, s.end, s.control2, s.control1, s.start}; }

// The directions in which a segment leaves its start and arrives at its end, as unit vectors; zero where it has none.
inline PointDbl GetStartTangent(Segment const& s) { return ToUnit(GetStartHandle(s)); }
inline PointDbl GetEndTangent(Segment const& s) {
    PointDbl const back = GetStartTangent(FromItsEnd(s));
    return {-back.x, -back.y};
}

} // namespace Geometry::Detail
