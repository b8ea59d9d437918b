// SPDX-License-Identifier: Apache-2.0
#include "platform/geometry/curve_operations.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Geometry {

namespace {

constexpr unsigned c_maximumSteps = 65536;
// Below so many steps looking for hidden parts costs more than it saves.
constexpr unsigned c_worthCulling = 32;
// Halvings of one contour, at most.
constexpr unsigned c_mostPieces = 1 << 16;

bool IsFinite(Segment const& s) {
    return std::isfinite(s.start.x + s.start.y + s.control1.x + s.control1.y + s.control2.x + s.control2.y + s.end.x +
                         s.end.y);
}

bool LiesBeyondOneSide(Segment const& s, RectDbl const& visible) {
    auto const [left, right] = std::minmax({s.start.x, s.control1.x, s.control2.x, s.end.x});
    auto const [top, bottom] = std::minmax({s.start.y, s.control1.y, s.control2.y, s.end.y});
    return right < visible.left || left > visible.right || bottom < visible.top || top > visible.bottom;
}

// Two doubles at once. Each does what the scalar expression does.
typedef double Pair __attribute__((vector_size(16)));

// The points that Evaluate gives, to the bit.
void EmitSteps(Segment const& s, unsigned steps, FlattenSink& sink) {
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
void EmitCubic(Segment const& s, double tolerance, RectDbl const* visible, FlattenSink& sink, int depth,
               unsigned& pieces) {
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

// Detail that is small against all that can be seen is not worth its pieces: this bounds them.
double GetWorthwhileTolerance(double tolerance, std::optional<RectDbl> const& visible) {
    if (!visible)
        return tolerance;
    double const size = std::max(visible->GetWidth(), visible->GetHeight());
    return std::isfinite(size) ? std::max(tolerance, size / 1048576) : std::numeric_limits<double>::infinity();
}

class PolygonSink final : public FlattenSink {
public:
    explicit PolygonSink(PolyPolygonType<double>& polygons) : m_polygons(polygons) {}
    void Begin(PointDbl start, bool) override { m_polygons.polygons.push_back({start}); }
    void Vertex(PointDbl p, bool) override { m_polygons.polygons.back().push_back(p); }
    void End() override {
        auto& polygon = m_polygons.polygons.back();
        if (polygon.size() > 1 && polygon.back() == polygon.front())
            polygon.pop_back();
    }

private:
    PolyPolygonType<double>& m_polygons;
};

// Crossings of the ray from p towards positive x, +1 where the segment runs towards positive y.
int CountCrossings(Segment const& s, PointDbl p, int depth) {
    auto const [top, bottom] = std::minmax({s.start.y, s.control1.y, s.control2.y, s.end.y});
    auto const [left, right] = std::minmax({s.start.x, s.control1.x, s.control2.x, s.end.x});
    if (!(p.y >= top && p.y <= bottom && p.x <= right))
        return 0;
    // Half-open in y, so that a ray through a vertex counts it once.
    int const direction = (s.end.y > p.y ? 1 : 0) - (s.start.y > p.y ? 1 : 0);
    if (p.x < left)
        return direction;
    if (s.kind == SegmentKind::Line || depth == 0) {
        if (direction == 0)
            return 0;
        double const x = s.start.x + (s.end.x - s.start.x) * ((p.y - s.start.y) / (s.end.y - s.start.y));
        return x > p.x ? direction : 0;
    }
    auto const [before, after] = Split(s, 0.5);
    return CountCrossings(before, p, depth - 1) + CountCrossings(after, p, depth - 1);
}

} // namespace

FlattenSink::~FlattenSink() = default;

unsigned GetFlatteningSteps(Segment const& s, double tolerance) {
    if (s.kind == SegmentKind::Line)
        return 1;
    double const x1 = s.start.x - 2 * s.control1.x + s.control2.x, y1 = s.start.y - 2 * s.control1.y + s.control2.y;
    double const x2 = s.control1.x - 2 * s.control2.x + s.end.x, y2 = s.control1.y - 2 * s.control2.y + s.end.y;
    double const bend = std::sqrt(std::max(x1 * x1 + y1 * y1, x2 * x2 + y2 * y2));
    double const steps = std::ceil(std::sqrt(0.75 * bend / tolerance));
    return steps < c_maximumSteps ? std::max(1u, static_cast<unsigned>(steps)) : c_maximumSteps;
}

bool Flatten(CurveDbl const& curve, Transform const& transform, double tolerance, std::optional<RectDbl> const& visible,
             FlattenSink& sink) {
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
    unsigned pieces = c_mostPieces;
    for (Segment const& local : curve.GetSegments()) {
        Segment const s = local.Transformed(transform);
        if (s.kind == SegmentKind::Cubic && IsFinite(s))
            EmitCubic(s, tolerance, visible ? &*visible : nullptr, sink, 40, pieces);
        sink.Vertex(s.end, false);
    }
    sink.End();
    return true;
}

bool Flatten(PolyCurveDbl const& curves, Transform const& transform, double tolerance,
             std::optional<RectDbl> const& visible, FlattenSink& sink) {
    bool complete = true;
    for (auto const& curve : curves.GetCurves())
        complete = Flatten(*curve, transform, tolerance, visible, sink) && complete;
    return complete;
}

PolyPolygonType<double> ToPolygons(PolyCurveDbl const& curves, double tolerance) {
    PolyPolygonType<double> polygons;
    PolygonSink sink(polygons);
    Flatten(curves, {}, tolerance, {}, sink);
    return polygons;
}

bool Contains(PolyCurveDbl const& curves, PointDbl p, WindingOrderMode mode) {
    int crossings = 0;
    for (auto const& curve : curves.GetCurves()) {
        if (curve->empty())
            continue;
        PointDbl end = curve->GetStart();
        for (Segment const& segment : curve->GetSegments()) {
            crossings += CountCrossings(segment, p, 60);
            end = segment.end;
        }
        crossings += CountCrossings(Segment::Line(end, curve->GetStart()), p, 0);
    }
    return mode == WindingOrderMode::Alternating ? crossings % 2 != 0 : crossings != 0;
}

} // namespace Geometry
