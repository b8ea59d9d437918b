// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/engine/planar_map/shapes_for_maps.h"

#include <string>
#include <vector>

namespace MapTests {

// The choice of checks that a drawing's map must pass.
struct MapChecks {
    // The pieces' own outlines are laid over each other, too; slow where there are many.
    bool overlaps = true;
    bool moved = true;
    bool again = true;
};

// Empty when all is well, else what is wrong with the map of a drawing, in one line.
//
// Create and Divide give a result; each input owns the area that GetAreasByScanlines tells; no two pieces overlap; the
// outline has the same area; the pieces divided again are the same pieces; and so are those of the drawing with its
// contours begun elsewhere and put in another order, turned by 90 degrees, and moved.
std::string FindFault(std::vector<Graph::Input> const& inputs, MapChecks const& checks = {});

// The drawing as lines of path data, one an input, to try it elsewhere.
std::string Describe(std::vector<Graph::Input> const& inputs);

} // namespace MapTests
