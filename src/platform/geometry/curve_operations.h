// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/poly_curve.h"
#include "platform/geometry/winding_order_mode.h"

#include <utility>

namespace Geometry {

// The point at parameter t of 0..1. A line moves evenly with t.
REDRAFT_ENGINE PointDbl Evaluate(Segment const& segment, double t);
// The derivative there, per unit of t. Zero where the segment has a cusp or repeated controls.
REDRAFT_ENGINE PointDbl EvaluateDerivative(Segment const& segment, double t);
// The two pieces before and after t, by de Casteljau's construction. They share the point at t.
REDRAFT_ENGINE std::pair<Segment, Segment> Split(Segment const& segment, double t);
// The piece between two parameters, t0 below t1.
REDRAFT_ENGINE Segment GetPiece(Segment const& segment, double t0, double t1);
REDRAFT_ENGINE Segment Reversed(Segment const& segment);
// Grows `bounds` by the segment's exact bounds. False, with bounds unchanged, where a coordinate is not finite.
REDRAFT_ENGINE bool ExtendBounds(Segment const& segment, std::optional<RectDbl>& bounds);
// Length by Gauss-Legendre quadrature of 8 points, halved until halves agree to a relative 1e-10.
REDRAFT_ENGINE double GetLength(Segment const& segment);
// The parameter at which so much length lies behind; clamped to 0..1.
REDRAFT_ENGINE double GetParameterAtLength(Segment const& segment, double length);

struct NearestPoint {
    std::size_t curve = 0;
    std::size_t segment = 0;
    double t = 0;
    PointDbl point;
    double distance = 0;
};

// The parameter of the segment's point nearest to p. The roots of the distance's derivative, a polynomial of degree 5,
// are isolated in Bernstein form (P. J. Schneider, "Solving the Nearest-Point-on-Curve Problem", Graphics Gems, 1990).
REDRAFT_ENGINE double GetNearestParameter(Segment const& segment, PointDbl p);
// Empty when the outline has no point or p is not finite. Of equally near points the first one in order.
REDRAFT_ENGINE std::optional<NearestPoint> GetNearestPoint(PolyCurveDbl const& curves, PointDbl p);

// Number of equal steps of t after which chords stay within `tolerance` of the segment (G.-J. Wang, "The subdivision
// method for finding the intersection between two Bézier curves or surfaces", 1984); at most 65536.
REDRAFT_ENGINE unsigned GetFlatteningSteps(Segment const& segment, double tolerance);

// Takes a flattened contour. Called Begin, Vertex..., End for each contour. The start is not repeated at the end
// of a closed one.
class REDRAFT_ENGINE FlattenSink {
public:
    virtual ~FlattenSink();
    virtual void Begin(PointDbl start, bool closed) = 0;
    // `smooth` tells that the curve runs on through this vertex: it lies inside a flattened cubic.
    virtual void Vertex(PointDbl p, bool smooth) = 0;
    virtual void End() = 0;
};

// Straight pieces that stay within `tolerance`, measured after `transform`. Where `visible` is given, parts of cubics
// whose controls all lie beyond one side of it are replaced by their chord, and the tolerance is at least 2^-20 of its
// size, so that the work stays bounded by what can be seen. Without it a cubic has at most 65536 pieces. Contours with
// a coordinate that is not finite after the transform are left out; the result tells whether there were none.
REDRAFT_ENGINE bool Flatten(CurveDbl const& curve, Transform const& transform, double tolerance,
                            std::optional<RectDbl> const& visible, FlattenSink& sink);
REDRAFT_ENGINE bool Flatten(PolyCurveDbl const& curves, Transform const& transform, double tolerance,
                            std::optional<RectDbl> const& visible, FlattenSink& sink);
// The same as polygons; open curves are closed by a line.
REDRAFT_ENGINE PolyPolygonType<double> ToPolygons(PolyCurveDbl const& curves, double tolerance);

// Whether p lies inside. Open curves count as closed. Points on the outline may fall to either side.
REDRAFT_ENGINE bool Contains(PolyCurveDbl const& curves, PointDbl p, WindingOrderMode mode);

// The two pieces of a curve before and after a place on it. A closed curve is opened there: the second is null.
REDRAFT_ENGINE std::pair<Kernel::Counted<CurveDbl>, Kernel::Counted<CurveDbl>>
SplitCurve(CurveDbl const& curve, std::size_t segment, double t);

} // namespace Geometry
