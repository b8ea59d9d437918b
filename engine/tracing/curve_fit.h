// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/curve.h"

#include <vector>

namespace Tracing {

using Point = Geometry::PointDbl;

// A chain of lines and cubics that keeps within `tolerance` of the points, a unit being a pixel. Corners of the chain
// of points stay corners, stretches that are straight become lines, and what is between them is smooth. The points are
// about a unit apart. An open chain keeps its ends; a closed one goes on from its last point to its first.
std::vector<Geometry::Segment> FitCurve(std::vector<Point> const& points, bool isClosed, double tolerance);

} // namespace Tracing
