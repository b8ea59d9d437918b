// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "shapes/outlines/planar_maps.h"
#include "shapes/outlines/shape_input.h"

namespace Commands {

enum class RebuiltAreas {
    // All that the curves enclose: holes close.
    Enclosed,
    // Of a filled shape, what its winding rule paints: lines inside go.
    Painted,
};

// The outline of a shape's own areas, in the terms of its curves; where it has no visible fill, with the ends of open
// curves that stick out. Contours that stay the same keep their start and direction. Null when nothing is enclosed,
// when there are no curves, without a map, and after an abort.
REDRAFT_API PlanarMaps::Outline RebuildOutline(ConstCurvesInterface const& shape, RebuiltAreas areas, PlanarMaps& maps);

} // namespace Commands
