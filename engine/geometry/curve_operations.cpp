// SPDX-License-Identifier: Apache-2.0
#include "platform/geometry/curve_operations.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace Geometry {

namespace {

PointDbl Mix(PointDbl a, PointDbl b, double t) { return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t}; }

double Distance(PointDbl a, PointDbl b) {
    double const x = b.x - a.x, y = b.y - a.y;
    return std::sqrt(x * x + y * y);
}

// Extends [low, high], which holds both ends already, by the extrema of a cubic in one coordinate.
void ExtendByExtrema(double p0, double p1, double p2, double p3, double& low, double& high) {
    double const first = std::min(p0, p3), last = std::max(p0, p3);
    if (p1 >= first && p1 <= last && p2 >= first && p2 <= last)
        return;
    // The derivative's third: a t^2 + 2 b t + c, by the form of the roots that loses no digits.
    double const a = (p3 - p0) - 3 * (p2 - p1), b = (p0 - p1) + (p2 - p1), c = p1 - p0;
    double const discriminant = b * b - a * c;
    if (!(discriminant >= 0))
        return;
    double const q = -(b + std::copysign(std::sqrt(discriminant), b));
    for (double const t : {q / a, c / q}) {
        if (!(t > 0 && t < 1))
            continue;
        double const s = 1 - t;
        double const value = s * s * s * p0 + 3 * s * s * t * p1 + 3 * s * t * t * p2 + t * t * t * p3;
        low = std::min(low, value);
        high = std::max(high, value);
    }
}

// Abscissas and weights of the 8-point Gauss-Legendre rule on -1..1 (M. Abramowitz and I. A. Stegun, "Handbook of
// Mathematical Functions", table 25.4), for the positive half.
constexpr std::array<std::array<double, 2>, 4> c_gauss8 = {{{0.1834346424956498049, 0.3626837833783619830},
                                                            {0.5255324099163289858, 0.3137066458778872873},
                                                            {0.7966664774136267396, 0.2223810344533744705},
                                                            {0.9602898564975362317, 0.1012285362903762592}}};

double Speed(Segment const& segment, double t) {
    PointDbl const d = EvaluateDerivative(segment, t);
    return std::sqrt(d.x * d.x + d.y * d.y);
}

double GaussLength(Segment const& segment, double t0, double t1) {
    double const middle = (t0 + t1) / 2, half = (t1 - t0) / 2;
    double sum = 0;
    for (auto const& [x, weight] : c_gauss8)
        sum += weight * (Speed(segment, middle - half * x) + Speed(segment, middle + half * x));
    return sum * half;
}

double AdaptiveLength(Segment const& segment, double t0, double t1, double whole, double tolerance, int depth) {
    double const middle = (t0 + t1) / 2;
    double const left = GaussLength(segment, t0, middle), right = GaussLength(segment, middle, t1);
    if (depth == 0 || !(std::fabs(left + right - whole) > tolerance))
        return left + right;
    return AdaptiveLength(segment, t0, middle, left, tolerance, depth - 1) +
           AdaptiveLength(segment, middle, t1, right, tolerance, depth - 1);
}

double LengthUpTo(Segment const& segment, double t) {
    double const polygon = Distance(segment.start, segment.control1) + Distance(segment.control1, segment.control2) +
                           Distance(segment.control2, segment.end);
    return AdaptiveLength(segment, 0, t, GaussLength(segment, 0, t), polygon * 1e-10, 24);
}

} // namespace

PointDbl Evaluate(Segment const& segment, double t) {
    double const s = 1 - t;
    if (segment.kind == SegmentKind::Line)
        return {s * segment.start.x + t * segment.end.x, s * segment.start.y + t * segment.end.y};
    double const w0 = s * s * s, w1 = 3 * s * s * t, w2 = 3 * s * t * t, w3 = t * t * t;
    return {w0 * segment.start.x + w1 * segment.control1.x + w2 * segment.control2.x + w3 * segment.end.x,
            w0 * segment.start.y + w1 * segment.control1.y + w2 * segment.control2.y + w3 * segment.end.y};
}

PointDbl EvaluateDerivative(Segment const& segment, double t) {
    if (segment.kind == SegmentKind::Line)
        return {segment.end.x - segment.start.x, segment.end.y - segment.start.y};
    double const s = 1 - t;
    double const w0 = 3 * s * s, w1 = 6 * s * t, w2 = 3 * t * t;
    return {w0 * (segment.control1.x - segment.start.x) + w1 * (segment.control2.x - segment.control1.x) +
                w2 * (segment.end.x - segment.control2.x),
            w0 * (segment.control1.y - segment.start.y) + w1 * (segment.control2.y - segment.control1.y) +
                w2 * (segment.end.y - segment.control2.y)};
}

std::pair<Segment, Segment> Split(Segment const& segment, double t) {
    if (segment.kind == SegmentKind::Line) {
        PointDbl const p = Mix(segment.start, segment.end, t);
        return {Segment::Line(segment.start, p), Segment::Line(p, segment.end)};
    }
    PointDbl const a = Mix(segment.start, segment.control1, t);
    PointDbl const b = Mix(segment.control1, segment.control2, t);
    PointDbl const c = Mix(segment.control2, segment.end, t);
    PointDbl const ab = Mix(a, b, t), bc = Mix(b, c, t), p = Mix(ab, bc, t);
    return {Segment::Cubic(segment.start, a, ab, p), Segment::Cubic(p, bc, c, segment.end)};
}

Segment GetPiece(Segment const& segment, double t0, double t1) {
    Segment piece = t1 < 1 ? Split(segment, t1).first : segment;
    return t0 > 0 ? Split(piece, t0 / std::min(t1, 1.0)).second : piece;
}

Segment Reversed(Segment const& segment) {
    if (segment.kind == SegmentKind::Line)
        return Segment::Line(segment.end, segment.start);
    return Segment::Cubic(segment.end, segment.control2, segment.control1, segment.start);
}

bool ExtendBounds(Segment const& segment, std::optional<RectDbl>& bounds) {
    for (PointDbl const& p : {segment.start, segment.control1, segment.control2, segment.end}) {
        if (!std::isfinite(p.x) || !std::isfinite(p.y))
            return false;
    }
    RectDbl own{std::min(segment.start.x, segment.end.x), std::min(segment.start.y, segment.end.y),
                std::max(segment.start.x, segment.end.x), std::max(segment.start.y, segment.end.y)};
    if (segment.kind == SegmentKind::Cubic) {
        ExtendByExtrema(segment.start.x, segment.control1.x, segment.control2.x, segment.end.x, own.left, own.right);
        ExtendByExtrema(segment.start.y, segment.control1.y, segment.control2.y, segment.end.y, own.top, own.bottom);
    }
    bounds = !bounds ? own
                     : RectDbl{std::min(bounds->left, own.left), std::min(bounds->top, own.top),
                               std::max(bounds->right, own.right), std::max(bounds->bottom, own.bottom)};
    return true;
}

double GetLength(Segment const& segment) {
    return segment.kind == SegmentKind::Line ? Distance(segment.start, segment.end) : LengthUpTo(segment, 1);
}

double GetParameterAtLength(Segment const& segment, double length) {
    double const total = GetLength(segment);
    if (!(length > 0) || !(total > 0))
        return 0;
    if (length >= total)
        return 1;
    if (segment.kind == SegmentKind::Line)
        return length / total;
    // Newton's method on the length, kept inside a shrinking bracket.
    double low = 0, high = 1, t = length / total;
    for (int i = 0; i != 60 && high - low > 1e-15; ++i) {
        double const error = LengthUpTo(segment, t) - length;
        if (std::fabs(error) <= total * 1e-12)
            break;
        (error > 0 ? high : low) = t;
        double const speed = Speed(segment, t);
        double const next = speed > 0 ? t - error / speed : -1;
        t = next > low && next < high ? next : (low + high) / 2;
    }
    return t;
}

std::pair<Kernel::Counted<CurveDbl>, Kernel::Counted<CurveDbl>> SplitCurve(CurveDbl const& curve, std::size_t segment,
                                                                           double t) {
    auto const append = [](Kernel::Counted<CurveDbl>& to, Segment const& piece) {
        if (!to) {
            to = Kernel::MakeCounted<CurveDbl>();
            to->MoveTo(piece.start);
        }
        if (piece.kind == SegmentKind::Cubic)
            to->CubicTo(piece.control1, piece.control2, piece.end);
        else
            to->LineTo(piece.end);
    };
    Kernel::Counted<CurveDbl> before, after;
    std::size_t index = 0;
    for (Segment const& s : curve.GetSegments()) {
        if (index != segment) {
            append(index < segment ? before : after, s);
        } else if (!(t > 0)) {
            append(after, s);
        } else if (t >= 1) {
            append(before, s);
        } else {
            auto const [left, right] = Split(s, t);
            append(before, left);
            append(after, right);
        }
        ++index;
    }
    if (curve.IsClosed() && before && after) {
        for (Segment const& s : before->GetSegments())
            append(after, s);
        before = nullptr;
    }
    if (curve.IsClosed() && !after)
        std::swap(before, after);
    if (curve.IsClosed())
        std::swap(before, after);
    for (auto const& piece : {before, after}) {
        if (piece)
            piece->ShrinkToFit();
    }
    return {before, after};
}

} // namespace Geometry
