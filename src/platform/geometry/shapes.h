// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/poly_curve.h"

namespace Geometry {

// Circular arcs are made of cubics of at most a quarter turn whose controls lie 4/3 tan(angle / 4) radii along the end
// tangents. A quarter circle made so lies outside the true one by at most 2.73e-4 of the radius and never inside
// (M. Goldapp, "Approximation of circular arcs by cubic polynomials", Computer Aided Geometric Design 8, 1991).
//
// All of these throw Kernel::Exception when an argument is not finite or out of the stated range.

// The closed ellipse that touches the rectangle's sides, from its rightmost point towards the bottom.
REDRAFT_ENGINE Kernel::Counted<CurveDbl> MakeEllipse(RectDbl const& bounds);

enum class ArcClosing { Open, Chord, Pie };
// A part of an ellipse. Angles are those of the circle that the ellipse is a scaling of, counted from the x axis
// towards the y axis; a sweep beyond a full turn is cut to one, a negative one runs the other way.
REDRAFT_ENGINE Kernel::Counted<CurveDbl> MakeArc(PointDbl centre, double radiusX, double radiusY, double startRadians,
                                                 double sweepRadians, ArcClosing closing);
// Continues a curve along an arc that starts at the curve's end, wherever the arc's own start lies within rounding.
REDRAFT_ENGINE void AppendArc(CurveDbl& curve, Transform const& unitCircle, double startRadians, double sweepRadians);

REDRAFT_ENGINE Kernel::Counted<CurveDbl> MakeRectangle(RectDbl const& rectangle);

// Radii of elliptical corners, clockwise from the top left on a page whose y grows downwards. Where they overlap, all
// are scaled by one factor (CSS Backgrounds and Borders Level 3, 4.5). Not negative.
struct CornerRadii {
    PointDbl topLeft, topRight, bottomRight, bottomLeft;
};
REDRAFT_ENGINE Kernel::Counted<CurveDbl> MakeRoundedRectangle(RectDbl const& rectangle, CornerRadii radii);

// `corners` at least 3, the first straight above the centre plus the rotation.
REDRAFT_ENGINE Kernel::Counted<CurveDbl> MakeRegularPolygon(PointDbl centre, double radius, unsigned corners,
                                                            double rotationRadians);
// `points` at least 2 tips; inner corners lie half way between them.
REDRAFT_ENGINE Kernel::Counted<CurveDbl> MakeStar(PointDbl centre, double outerRadius, double innerRadius,
                                                  unsigned points, double rotationRadians);

} // namespace Geometry
