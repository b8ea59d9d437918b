// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/hulls.h"

#include "engine/geometry/planar_map/curve_net.h"
#include "platform/geometry/curve_operations.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace Geometry::Planar {

namespace {

// In grid units: the distance that rounding may put between a control and its true position, and the one that parts of
// different curves have to keep.
constexpr double c_rounding = 2, c_clearance = 32;
// How far controls have to keep from a line through a shared end, as a share of their distance from that end.
constexpr double c_leastSine = 1.0 / 64;

using Hull = std::array<PointDbl, 4>;

Hull HullOf(Segment const& curve, GridSegment const& s, CurvePart const& part) {
    PointDbl const a{static_cast<double>(s.a.x), static_cast<double>(s.a.y)},
        b{static_cast<double>(s.b.x), static_cast<double>(s.b.y)};
    if (curve.kind == SegmentKind::Line)
        return {a, a, b, b};
    Segment const piece = GetPiece(curve, part.t0, part.t1);
    return {a, piece.control1, piece.control2, b};
}

PointDbl Between(PointDbl a, PointDbl b) { return {b.x - a.x, b.y - a.y}; }

PointDbl Unit(PointDbl v) {
    double const length = std::hypot(v.x, v.y);
    return length > 0 ? PointDbl{v.x / length, v.y / length} : PointDbl{0, 0};
}

// Positive to the left of a unit vector.
double SideOf(PointDbl along, PointDbl v) { return along.x * v.y - along.y * v.x; }

// Whether all of a hull but its first point lies to the left of a line through that point. The second one, which
// tells the direction in which the curve leaves, may lie on the line.
bool LeavesToTheLeft(Hull const& hull, PointDbl along) {
    for (std::size_t i = 1; i != hull.size(); ++i) {
        PointDbl const v = Between(hull[0], hull[i]);
        double const side = SideOf(along, v);
        if (side >= c_clearance + c_leastSine * std::hypot(v.x, v.y))
            continue;
        if (i != 1 || side < -c_rounding)
            return false;
    }
    return true;
}

bool PartAtSharedEnd(Hull const& a, Hull const& b) {
    auto const chordA = Unit(Between(a[0], a[3])), chordB = Unit(Between(b[0], b[3]));
    for (PointDbl const along :
         {Unit(Between(a[0], a[1])), Unit(Between(b[0], b[1])), Unit({chordA.x + chordB.x, chordA.y + chordB.y})}) {
        if (along == PointDbl{0, 0})
            continue;
        PointDbl const back{-along.x, -along.y};
        if ((LeavesToTheLeft(a, along) && LeavesToTheLeft(b, back)) ||
            (LeavesToTheLeft(a, back) && LeavesToTheLeft(b, along)))
            return true;
    }
    return false;
}

// Whether the normal of some leg of one of the hulls shows a gap between both.
bool HaveGap(Hull const& a, Hull const& b, double reach) {
    auto const gapAcross = [&](PointDbl along) {
        constexpr double c_infinity = std::numeric_limits<double>::infinity();
        double lowA = c_infinity, highA = -c_infinity, lowB = c_infinity, highB = -c_infinity;
        for (std::size_t i = 0; i != a.size(); ++i) {
            double const sideA = SideOf(along, Between(a[0], a[i])), sideB = SideOf(along, Between(a[0], b[i]));
            lowA = std::min(lowA, sideA);
            highA = std::max(highA, sideA);
            lowB = std::min(lowB, sideB);
            highB = std::max(highB, sideB);
        }
        return std::max(lowA - highB, lowB - highA);
    };
    for (Hull const& hull : {a, b}) {
        for (std::size_t i = 0; i != hull.size(); ++i) {
            PointDbl const along = Unit(Between(hull[i], hull[(i + 1) % hull.size()]));
            if (!(along == PointDbl{0, 0}) && gapAcross(along) > reach)
                return true;
        }
    }
    return false;
}

} // namespace

bool AreHullsApart(Segment const& curve, GridSegment const& s, CurvePart const& part, Segment const& otherCurve,
                   GridSegment const& q, CurvePart const& otherPart) {
    bool const isShared[] = {s.a == q.a, s.a == q.b, s.b == q.a, s.b == q.b};
    int const count = isShared[0] + isShared[1] + isShared[2] + isShared[3];
    // Chords between the same ends are one edge, whatever lies between the curves.
    if (count > 1)
        return false;
    Hull a = HullOf(curve, s, part), b = HullOf(otherCurve, q, otherPart);
    if (count == 0) {
        // The ends of chords are as near to the curves' as rounding and welding leave them.
        return HaveGap(a, b, c_clearance + 2 * c_weldDistance);
    }
    if (isShared[2] || isShared[3])
        std::reverse(a.begin(), a.end());
    if (isShared[1] || isShared[3])
        std::reverse(b.begin(), b.end());
    return PartAtSharedEnd(a, b);
}

} // namespace Geometry::Planar
