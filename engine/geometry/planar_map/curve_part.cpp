// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/curve_part.h"

#include "engine/geometry/planar_map/curve_net.h"
#include "platform/geometry/curve_operations.h"

#include <cmath>

namespace Geometry::Planar {

namespace {

constexpr double c_straightness = 1.0 / 400, c_sketch = 1.0 / 10;
// A slope that promises nothing.
constexpr float c_anySlope = 1e30f;

struct Vector {
    double x, y;
};

Vector Between(GridPoint a, GridPoint b) { return {static_cast<double>(b.x - a.x), static_cast<double>(b.y - a.y)}; }
double CrossProduct(Vector a, Vector b) { return a.x * b.y - a.y * b.x; }
double DotProduct(Vector a, Vector b) { return a.x * b.x + a.y * b.y; }
double Length(Vector a) { return std::sqrt(a.x * a.x + a.y * a.y); }

// The second derivative, which is linear in t.
Vector Bend(Segment const& c, double t) {
    double const x0 = c.start.x - 2 * c.control1.x + c.control2.x, y0 = c.start.y - 2 * c.control1.y + c.control2.y;
    double const x1 = c.control1.x - 2 * c.control2.x + c.end.x, y1 = c.control1.y - 2 * c.control2.y + c.end.y;
    return {6 * (x0 + t * (x1 - x0)), 6 * (y0 + t * (y1 - y0))};
}

// The length of the control polygon.
double GetHullLength(Segment const& curve) {
    return std::hypot(curve.control1.x - curve.start.x, curve.control1.y - curve.start.y) +
           std::hypot(curve.control2.x - curve.control1.x, curve.control2.y - curve.control1.y) +
           std::hypot(curve.end.x - curve.control2.x, curve.end.y - curve.control2.y);
}

// Distance of p from the line through s, positive on its left.
double SideDistance(GridPoint a, Vector direction, double length, GridPoint p) {
    return CrossProduct(direction, Between(a, p)) / length;
}

double DistanceToSegment(GridPoint p, GridPoint a, Vector direction, double length) {
    Vector const v = Between(a, p);
    double const along = DotProduct(direction, v);
    if (along <= 0)
        return Length(v);
    if (along >= length * length)
        return Length({v.x - direction.x, v.y - direction.y});
    return std::fabs(CrossProduct(direction, v)) / length;
}

// Two parts that leave the same point along u and v: they stay within angles round their chords, and when these angles
// have nothing in common they part for good.
Relation RelateFan(Vector u, Vector v, double slopes) {
    if (slopes > 1)
        return Relation::Unclear;
    double const dot = DotProduct(u, v), cross = std::fabs(CrossProduct(u, v));
    if (dot <= 0 || cross > 1.1 * slopes * dot)
        return Relation::Apart;
    return Relation::Unclear;
}

} // namespace

void PartList::Add(Segment const& curve, std::uint32_t owner, double t0, double t1, GridPoint from, GridPoint to) {
    CurvePart part{owner, 0, 0, t0, t1};
    GridSegment segment{from, to, 1, false};
    if (curve.kind == SegmentKind::Cubic) {
        PointDbl const a = Evaluate(curve, t0), b = Evaluate(curve, t1);
        double const moved = std::max(
            std::max(std::fabs(a.x - static_cast<double>(from.x)), std::fabs(a.y - static_cast<double>(from.y))),
            std::max(std::fabs(b.x - static_cast<double>(to.x)), std::fabs(b.y - static_cast<double>(to.y))));
        Vector const chord{b.x - a.x, b.y - a.y};
        double const length = Length(chord), h = t1 - t0;
        Vector const bend0 = Bend(curve, t0), bend1 = Bend(curve, t1);
        double error = std::max(Length(bend0), Length(bend1)) * h * h / 8;
        part.slope = c_anySlope;
        if (length > 0) {
            PointDbl const d0 = EvaluateDerivative(curve, t0), d1 = EvaluateDerivative(curve, t1);
            double const speed = (std::min(chord.x * d0.x + chord.y * d0.y, chord.x * d1.x + chord.y * d1.y) -
                                  std::fabs(DotProduct(chord, {bend1.x - bend0.x, bend1.y - bend0.y})) * h / 8) /
                                 length;
            // It runs on along the chord: only what bends it sideways counts.
            if (speed > 0) {
                double const sideways =
                    std::max(std::fabs(CrossProduct(chord, bend0)), std::fabs(CrossProduct(chord, bend1))) / length;
                error = sideways * h * h / 8;
                part.slope = static_cast<float>(sideways * h / 2 / speed + moved / length);
            }
        }
        part.error = static_cast<float>(error);
        segment.reach = static_cast<float>((error + moved) * 1.000001 + 1);
    }
    segments.push_back(segment);
    parts.push_back(part);
}

void PartList::AddFlattened(Segment const& curve, std::uint32_t owner, double t0, double t1, GridPoint from,
                            GridPoint to) {
    unsigned steps = 1;
    if (curve.kind == SegmentKind::Cubic) {
        double const tolerance = std::max<double>(c_finestError, GetHullLength(curve) * c_straightness);
        steps = static_cast<unsigned>(std::ceil(GetFlatteningSteps(curve, tolerance) * (t1 - t0))) | 1u;
    }
    AddInSteps(steps, curve, owner, t0, t1, from, to);
}

void PartList::AddSketched(Segment const& curve, std::uint32_t owner, double t0, double t1, GridPoint from,
                           GridPoint to) {
    unsigned steps = 1;
    if (curve.kind == SegmentKind::Cubic) {
        double const tolerance = std::max<double>(c_finestError, GetHullLength(curve) * c_sketch);
        steps = static_cast<unsigned>(std::ceil(GetFlatteningSteps(curve, tolerance) * (t1 - t0)));
    }
    AddInSteps(steps, curve, owner, t0, t1, from, to);
}

void PartList::AddInSteps(unsigned steps, Segment const& curve, std::uint32_t owner, double t0, double t1,
                          GridPoint from, GridPoint to) {
    GridPoint last = from;
    double lastT = t0;
    for (unsigned i = 1; i < steps; ++i) {
        double const t = t0 + (t1 - t0) * i / steps;
        GridPoint const p = Rounded(Evaluate(curve, t));
        if (p == last || p == to)
            continue;
        Add(curve, owner, lastT, t, last, p);
        last = p;
        lastT = t;
    }
    Add(curve, owner, lastT, t1, last, to);
}

void PartList::Halve(Segment const& curve, std::uint32_t part, std::optional<double> t, std::optional<GridPoint> at) {
    CurvePart whole = parts[part];
    GridSegment const chord = segments[part];
    segments[part].dead = true;
    auto const cut = [&](double where, GridPoint p) {
        if (p == chord.a || p == chord.b || !(whole.t0 < where && where < whole.t1))
            return false;
        Add(curve, whole.owner, whole.t0, where, chord.a, p);
        Add(curve, whole.owner, where, whole.t1, p, chord.b);
        return true;
    };
    if (t && cut(*t, at.value_or(Rounded(Evaluate(curve, *t)))))
        return;
    double const usual = whole.t0 + (whole.t1 - whole.t0) * c_firstHalf;
    if (cut(usual, Rounded(Evaluate(curve, usual))))
        return;
    whole.error = 0;
    parts.push_back(whole);
    segments.push_back(chord);
}

Relation Relate(GridSegment const& s, CurvePart const& sPart, GridSegment const& q, CurvePart const& qPart) {
    bool const lines = sPart.error == 0 && qPart.error == 0;
    auto const slack = static_cast<std::int64_t>(s.reach + q.reach) + 1;
    if (std::min(s.a.x, s.b.x) - slack > std::max(q.a.x, q.b.x) ||
        std::max(s.a.x, s.b.x) + slack < std::min(q.a.x, q.b.x) ||
        std::min(s.a.y, s.b.y) - slack > std::max(q.a.y, q.b.y) ||
        std::max(s.a.y, s.b.y) + slack < std::min(q.a.y, q.b.y))
        return Relation::Apart;
    if (lines)
        return CrossProperly(s.a, s.b, q.a, q.b) ? Relation::Cross : Relation::Apart;
    double const slopes = static_cast<double>(sPart.slope) + static_cast<double>(qPart.slope);
    if (s.a == q.a)
        return s.b == q.b ? Relation::Unclear : RelateFan(Between(s.a, s.b), Between(q.a, q.b), slopes);
    if (s.a == q.b)
        return s.b == q.a ? Relation::Unclear : RelateFan(Between(s.a, s.b), Between(q.b, q.a), slopes);
    if (s.b == q.a)
        return RelateFan(Between(s.b, s.a), Between(q.a, q.b), slopes);
    if (s.b == q.b)
        return RelateFan(Between(s.b, s.a), Between(q.b, q.a), slopes);
    if (s.a == s.b || q.a == q.b)
        return Relation::Unclear;
    double const reach = static_cast<double>(s.reach) + static_cast<double>(q.reach);
    Vector const u = Between(s.a, s.b), v = Between(q.a, q.b);
    double const uLength = Length(u), vLength = Length(v);
    double const qa = SideDistance(s.a, u, uLength, q.a), qb = SideDistance(s.a, u, uLength, q.b);
    if (std::min(qa, qb) > reach || std::max(qa, qb) < -reach)
        return Relation::Apart;
    double const sa = SideDistance(q.a, v, vLength, s.a), sb = SideDistance(q.a, v, vLength, s.b);
    if (std::min(sa, sb) > reach || std::max(sa, sb) < -reach)
        return Relation::Apart;
    bool const crossing = (qa > 0) != (qb > 0) && (sa > 0) != (sb > 0);
    if (crossing) {
        bool const clear =
            std::min(std::min(std::fabs(qa), std::fabs(qb)), std::min(std::fabs(sa), std::fabs(sb))) > reach;
        if (clear && slopes < 1 && std::fabs(CrossProduct(u, v)) > 1.1 * slopes * std::fabs(DotProduct(u, v)))
            return Relation::Cross;
        return Relation::Unclear;
    }
    double const distance =
        std::min(std::min(DistanceToSegment(q.a, s.a, u, uLength), DistanceToSegment(q.b, s.a, u, uLength)),
                 std::min(DistanceToSegment(s.a, q.a, v, vLength), DistanceToSegment(s.b, q.a, v, vLength)));
    return distance > reach ? Relation::Apart : Relation::Unclear;
}

} // namespace Geometry::Planar
