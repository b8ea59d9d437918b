// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/face_map.h"

#include <cstdint>
#include <vector>

namespace Geometry::Planar {

// Where the nodes of a map really are.
struct NodePositions {
    // In the input's coordinates.
    std::vector<PointDbl> points;
    // The vertex of the net that a node is; none for crossings and for nodes inside a flattened curve.
    std::vector<std::uint32_t> vertices;
};

// Moves crossings from the chords, where they were found, to the crossing of the true curves by Newton's method in both
// parameters, and gives the sub-segments of `map` the curves' parameters there. A crossing stays on the chords where
// that fails, as for curves that only touch, or where it would come out of order on one of its curves. Without `refine`
// all stay.
NodePositions PlaceNodes(FaceMap& map, CurveNet const& net, bool refine, Monitor& monitor);

} // namespace Geometry::Planar
