// SPDX-License-Identifier: Apache-2.0
#include "platform/geometry/kept_contours.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace Geometry {

namespace {

using Segments = std::vector<Segment>;

// Of a contour's size: what the map rounds to, with room to spare.
constexpr double c_relativeTolerance = 1e-9;

double GetTolerance(CurveDbl const& curve) {
    double extent = 0;
    for (auto const& point : curve.GetPoints())
        extent = std::max({extent, std::abs(point.x), std::abs(point.y)});
    return extent * c_relativeTolerance;
}

bool AreNear(PointDbl const& a, PointDbl const& b, double tolerance) {
    return std::abs(a.x - b.x) <= tolerance && std::abs(a.y - b.y) <= tolerance;
}

bool AreNear(Segment const& a, Segment const& b, double tolerance) {
    if (a.kind != b.kind || !AreNear(a.start, b.start, tolerance) || !AreNear(a.end, b.end, tolerance))
        return false;
    return a.kind == SegmentKind::Line ||
           (AreNear(a.control1, b.control1, tolerance) && AreNear(a.control2, b.control2, tolerance));
}

// Whether the second line goes on where the first one ends, in its direction.
bool GoesOn(Segment const& a, Segment const& b, double tolerance) {
    if (a.kind != SegmentKind::Line || b.kind != SegmentKind::Line)
        return false;
    double const x = b.end.x - a.start.x, y = b.end.y - a.start.y;
    double const u = a.end.x - a.start.x, v = a.end.y - a.start.y;
    double const length = std::hypot(x, y);
    return std::abs(x * v - y * u) <= tolerance * length && x * u + y * v >= 0 && u * u + v * v <= x * x + y * y;
}

// The segments, with those that a map leaves out or joins left out and joined.
Segments GetSegments(CurveDbl const& curve, double tolerance) {
    Segments segments;
    for (auto const& segment : curve.GetSegments()) {
        bool const isPoint = segment.kind == SegmentKind::Line && AreNear(segment.start, segment.end, tolerance);
        if (isPoint)
            continue;
        if (!segments.empty() && GoesOn(segments.back(), segment, tolerance))
            segments.back() = Segment::Line(segments.back().start, segment.end);
        else
            segments.push_back(segment);
    }
    if (curve.IsClosed() && segments.size() > 1 && GoesOn(segments.back(), segments.front(), tolerance)) {
        segments.front() = Segment::Line(segments.back().start, segments.front().end);
        segments.pop_back();
    }
    return segments;
}

// Whether two contours are the same but for where they start.
bool IsSameWalk(Segments const& a, Segments const& b, bool isClosed, double tolerance) {
    if (a.size() != b.size() || a.empty())
        return false;
    std::size_t const starts = isClosed ? a.size() : 1;
    for (std::size_t shift = 0; shift != starts; ++shift) {
        std::size_t i = 0;
        while (i != a.size() && AreNear(a[i], b[(i + shift) % b.size()], tolerance))
            ++i;
        if (i == a.size())
            return true;
    }
    return false;
}

struct Contour {
    Kernel::Counted<CurveDbl> curve;
    bool isTaken = false;
};

std::vector<Contour> GetContours(CurveIntersectionGraph::Input const& input) {
    std::vector<Contour> contours;
    for (auto const& part : input.curves) {
        if (!part.curves)
            continue;
        for (auto const& curve : part.curves->GetCurves()) {
            auto const copy = curve->Clone();
            copy->ApplyTransform(part.transform);
            copy->ApplyTransform(input.transform);
            contours.push_back({copy});
        }
    }
    return contours;
}

// The contour that this one is, which is taken, with whether it walks the other way.
Kernel::Counted<CurveDbl> TakeSame(CurveDbl const& curve, std::vector<Contour>& contours, bool& isReversed) {
    double const tolerance = GetTolerance(curve);
    auto const segments = GetSegments(curve, tolerance);
    auto const other = curve.Clone();
    other->Reverse();
    auto const reversed = GetSegments(*other, tolerance);
    for (auto& contour : contours) {
        if (contour.isTaken || contour.curve->IsClosed() != curve.IsClosed())
            continue;
        auto const candidate = GetSegments(*contour.curve, tolerance);
        bool const isSame = IsSameWalk(segments, candidate, curve.IsClosed(), tolerance);
        if (!isSame && !IsSameWalk(reversed, candidate, curve.IsClosed(), tolerance))
            continue;
        isReversed = !isSame;
        contour.isTaken = true;
        return contour.curve;
    }
    return {};
}

} // namespace

Kernel::Counted<PolyCurveDbl> KeepContours(Kernel::Counted<PolyCurveDbl> outline,
                                           CurveIntersectionGraph::Input const& input) {
    if (!outline)
        return outline;
    auto contours = GetContours(input);
    if (outline->GetCurves().size() > contours.size())
        return outline;
    auto const kept = Kernel::MakeCounted<PolyCurveDbl>();
    bool isFirstReversed = false;
    for (auto const& curve : outline->GetCurves()) {
        bool isReversed = false;
        auto const same = TakeSame(*curve, contours, isReversed);
        bool const isFirst = kept->GetCurves().empty();
        // Holes must go on turning against what is round them.
        if (!same || (!isFirst && isReversed != isFirstReversed))
            return outline;
        isFirstReversed = isReversed;
        kept->AddCurve(same);
    }
    return kept;
}

} // namespace Geometry
