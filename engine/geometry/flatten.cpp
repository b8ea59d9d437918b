// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/flattening.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Geometry {

namespace {

constexpr unsigned c_maximumSteps = 65536;

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

namespace Detail {

bool LiesBeyondOneSide(Segment const& s, RectDbl const& visible) {
    auto const [left, right] = std::minmax({s.start.x, s.control1.x, s.control2.x, s.end.x});
    auto const [top, bottom] = std::minmax({s.start.y, s.control1.y, s.control2.y, s.end.y});
    return right < visible.left || left > visible.right || bottom < visible.top || top > visible.bottom;
}

double GetWorthwhileTolerance(double tolerance, std::optional<RectDbl> const& visible) {
    if (!visible)
        return tolerance;
    double const size = std::max(visible->GetWidth(), visible->GetHeight());
    return std::isfinite(size) ? std::max(tolerance, size / 1048576) : std::numeric_limits<double>::infinity();
}

} // namespace Detail

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
    return Detail::FlattenInto(curve, transform, tolerance, visible, sink);
}

bool Flatten(PolyCurveDbl const& curves, Transform const& transform, double tolerance,
             std::optional<RectDbl> const& visible, FlattenSink& sink) {
    return Detail::FlattenInto(curves, transform, tolerance, visible, sink);
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
