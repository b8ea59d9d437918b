// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/monitor.h"

#include <cstdint>
#include <vector>

namespace Geometry::Planar {

struct InputTraits {
    WindingOrderMode mode = WindingOrderMode::NonZero;
    bool clip = false;
    bool filled = false;
    bool strokedFront = false;
    bool strokedBehind = false;
};

struct SourceContour {
    std::uint32_t input = 0;
    std::uint32_t firstSegment = 0;
    std::uint32_t segmentCount = 0;
    bool closed = false;
    // The last segment only closes the area and is no line.
    bool impliedClosing = false;
    // Of all points, controls included.
    RectDbl box;
};

// The inputs' segments in their common space.
struct SourceCurves {
    std::vector<InputTraits> inputs;
    std::vector<SourceContour> contours;
    std::vector<Segment> segments;
    bool leftSomeOut = false;
};

SourceCurves ReadInputs(std::vector<CurveIntersectionGraph::Input> const& inputs,
                        CurveIntersectionGraph::BoolOpMethod method, bool closeOpenCurves, Monitor& monitor);

// Groups of contours that cannot meet or lie in each other, told by gaps between their boxes; in a fixed order.
std::vector<std::vector<std::uint32_t>> SeparateContours(SourceCurves const& source, Monitor& monitor);

} // namespace Geometry::Planar
