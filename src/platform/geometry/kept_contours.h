// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/curve_intersection_graph.h"

namespace Geometry {

// An outline that a planar map gave back, with the starts and the direction that its contours had before: the map walks
// them from any point, and dashes and pressure follow the walk. `input` is what the map was made of; its contours take
// the place of the outline's where each contour of the outline is one of them, all of them walked alike or all the
// other way. Otherwise the outline is answered as it is.
REDRAFT_ENGINE Kernel::Counted<PolyCurveDbl> KeepContours(Kernel::Counted<PolyCurveDbl> outline,
                                                          CurveIntersectionGraph::Input const& input);

} // namespace Geometry
