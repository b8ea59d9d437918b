// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/engine/planar_map/shapes_for_maps.h"

#include <vector>

namespace MapTests {

struct OwnedAreas {
    // Areas that inputs own by the rule for faces: the area where it is the top-most filled one within all clips.
    std::vector<double> byOwner;
    // The area that any filled ordinary input covers within the clips.
    double total = 0;
    // Bound of the quadrature's own error.
    double uncertainty = 0;
};

// The areas by a way that knows no map, no crossing and no flattening: along a horizontal line the outlines' places
// come from solving the true cubics, the owners between them from winding numbers, and the lengths owned are integrated
// over all heights. Between the heights at which a curve ends or turns the lengths are continuous, so adaptive
// quadrature (Gauss and Kronrod with 7 and 15 points, in a variable that takes out the square roots at turning points)
// converges. `tolerance` is an area.
OwnedAreas GetAreasByScanlines(std::vector<Graph::Input> const& inputs, double tolerance);

} // namespace MapTests
