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
    // How far points may lie from those that were meant: half a unit of the last decimal place in which all coordinates
    // are written. 0 where they have all digits of a double.
    double uncertainty = 0;
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

// Gives contours that are copies of others, written with fewer decimals, the segments that they are copies of: those
// whose controls all lie where rounding may have moved them from. Copies that another program has rounded are then the
// same curves again, and neither slivers nor crossings come from the rounding. Contours whose uncertainty is not small
// beside the drawing stay as they are.
void RestoreRoundedCopies(SourceCurves& source, Monitor& monitor);

// Groups of contours that cannot meet or lie in each other, told by gaps between their boxes; in a fixed order.
std::vector<std::vector<std::uint32_t>> SeparateContours(SourceCurves const& source, Monitor& monitor);

} // namespace Geometry::Planar
