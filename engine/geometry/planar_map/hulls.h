// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/curve_part.h"

namespace Geometry::Planar {

// Whether a straight line keeps two parts of curves apart, one of whose ends they may share. Told from the hulls of
// their controls, so that curves that leave one point in one direction and bend to different sides need not be cut.
// Where it holds, neither the curves meet nor their chords, but in that end.
bool AreHullsApart(Segment const& curve, GridSegment const& s, CurvePart const& part, Segment const& otherCurve,
                   GridSegment const& q, CurvePart const& otherPart);

} // namespace Geometry::Planar
