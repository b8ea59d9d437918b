// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/flattened_net.h"

#include <cstdint>
#include <vector>

namespace Geometry::Planar {

// A section of a piece between two nodes that follow each other on it.
struct SubSegment {
    std::uint32_t piece = 0;
    std::uint32_t from = 0, to = 0;
    // The piece's parameters at both, those of the flattened curve.
    double t0 = 0, t1 = 0;
};

// Chords cut at nodes, so that two of them meet only in nodes or run all along each other.
//
// Snap rounding (J. D. Hobby, "Practical segment intersection with finite precision output", 1999): the pixels of all
// ends and crossings are hot, and every chord gets a node at each hot pixel that it passes through. Pixels are
// half-open, left and lower side in, which makes the result the same whatever the order of the input.
struct Noding {
    // Sorted, without repetition.
    std::vector<GridPoint> nodes;
    // By pieces, along each of them.
    std::vector<SubSegment> subSegments;
};

Noding Node(FlattenedNet const& flattened, Monitor& monitor);

} // namespace Geometry::Planar
