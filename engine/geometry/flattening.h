// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/curve_operations.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Geometry::Detail {

// Below so many steps looking for hidden parts costs more than it saves.
inline constexpr unsigned c_worthCulling = 32;
// Halvings of one contour, at most.
inline constexpr unsigned c_mostHalvings = 1 << 16;

bool LiesBeyondOneSide(Segment const& s, RectDbl const& visible);
// Detail that is small against all that can be seen is not worth its pieces: this bounds them.
double GetWorthwhileTolerance(double tolerance, std::optional<RectDbl> const& visible);

inline bool IsFinite(Segment const& s) {
    return std::isfinite(s.start.x + s.start.y + s.control1.x + s.control1.y + s.control2.x + s.control2.y + s.end.x +
                         s.end.y);
}

// The points that Evaluate gives, to the bit.
template <class Sink>
void EmitSteps(Segment const& s, unsigned steps, Sink& sink) {
    // Two doubles at once. Each does what the scalar expression does.
    typedef double Pair __attribute__((vector_size(16)));
    Pair const p0{s.start.x, s.start.y}, p1{s.control1.x, s.control1.y}, p2{s.control2.x, s.control2.y},
        p3{s.end.x, s.end.y};
    for (unsigned i = 1; i < steps; ++i) {
        double const after = static_cast<double>(i) / steps, before = 1 - after;
        Pair const point = before * before * before * p0 + 3 * before * before * after * p1 +
                           3 * before * after * after * p2 + after * after * after * p3;
        sink.Vertex({point[0], point[1]}, true);
    }
}

// Emits the vertices inside the segment; its end is the caller's.
// `pieces` is how many halves may still be taken: a curve that stays in sight however often it is halved, because its
// numbers are too large for their own rounding, ends in straight pieces.
template <class Sink>
void EmitCubic(Segment const& s, double tolerance, RectDbl const* visible, Sink& sink, int depth, unsigned& pieces) {
    unsigned const steps = GetFlatteningSteps(s, tolerance);
    if (visible == nullptr || steps < c_worthCulling) {
        EmitSteps(s, steps, sink);
        return;
    }
    // After so many halvings a piece still bent is too large to have a tolerance that means anything.
    if (depth == 0 || pieces == 0 || LiesBeyondOneSide(s, *visible))
        return;
    --pieces;
    auto const [left, right] = Split(s, 0.5);
    EmitCubic(left, tolerance, visible, sink, depth - 1, pieces);
    sink.Vertex(left.end, true);
    EmitCubic(right, tolerance, visible, sink, depth - 1, pieces);
}

// Flatten for a sink of any class that has the operations of FlattenSink, without a virtual call for each vertex. One
// that also has EnterCubic(Segment) is told of each cubic before the vertices of it.
template <class Sink>
bool FlattenInto(CurveDbl const& curve, Transform const& transform, double tolerance,
                 std::optional<RectDbl> const& visible, Sink& sink) {
    if (curve.empty())
        return true;
    for (PointDbl const& p : curve.GetPoints()) {
        PointDbl const q = transform.Apply(p);
        if (!std::isfinite(q.x) || !std::isfinite(q.y))
            return false;
    }
    tolerance = GetWorthwhileTolerance(tolerance, visible);
    PointDbl const start = transform.Apply(curve.GetStart());
    sink.Begin(start, curve.IsClosed());
    unsigned pieces = c_mostHalvings;
    for (Segment const& local : curve.GetSegments()) {
        Segment const s = local.Transformed(transform);
        if (s.kind == SegmentKind::Cubic && IsFinite(s)) {
            if constexpr (requires { sink.EnterCubic(s); })
                sink.EnterCubic(s);
            EmitCubic(s, tolerance, visible ? &*visible : nullptr, sink, 40, pieces);
        }
        sink.Vertex(s.end, false);
    }
    sink.End();
    return true;
}

template <class Sink>
bool FlattenInto(PolyCurveDbl const& curves, Transform const& transform, double tolerance,
                 std::optional<RectDbl> const& visible, Sink& sink) {
    bool complete = true;
    for (auto const& curve : curves.GetCurves())
        complete = FlattenInto(*curve, transform, tolerance, visible, sink) && complete;
    return complete;
}

} // namespace Geometry::Detail
