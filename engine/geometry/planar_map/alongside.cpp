// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/alongside.h"

#include "engine/geometry/planar_map/curve_net.h"
#include "platform/geometry/curve_operations.h"

#include <algorithm>
#include <cmath>

namespace Geometry::Planar {

namespace {

// Parts that bend more than so much from their chords, or chords that differ more than that, are halved first.
constexpr float c_mostSlope = 0.35f;
// Overlaps shorter than this, in grid units, are those of a tip with a tip.
constexpr double c_tip = 8;
// How far from a cut of one curve that of the other may lie along it where both bend little.
constexpr double c_leastShift = 16;

PointDbl Mix(PointDbl a, PointDbl b, double t) { return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t}; }

Segment Raised(Segment const& s) {
    if (s.kind == SegmentKind::Cubic)
        return s;
    return Segment::Cubic(s.start, Mix(s.start, s.end, 1.0 / 3), Mix(s.start, s.end, 2.0 / 3), s.end);
}

// Coordinates along a unit vector and to its left.
struct View {
    PointDbl origin, along;
    PointDbl operator()(PointDbl p) const {
        double const x = p.x - origin.x, y = p.y - origin.y;
        return {x * along.x + y * along.y, y * along.x - x * along.y};
    }
    PointDbl operator()(GridPoint p) const {
        return (*this)(PointDbl{static_cast<double>(p.x), static_cast<double>(p.y)});
    }
};

struct Chord {
    PointDbl left, right;
    double HeightAt(double x) const {
        double const width = right.x - left.x;
        return width > 0 ? left.y + (right.y - left.y) * ((x - left.x) / width) : (left.y + right.y) / 2;
    }
};

Chord Seen(View const& view, GridSegment const& s) {
    Chord chord{view(s.a), view(s.b)};
    if (chord.left.x > chord.right.x)
        std::swap(chord.left, chord.right);
    return chord;
}

// Where `b` passes `a`, between two x with `b` on different sides there.
double FindCrossing(Strand const& a, Strand const& b, double left, double right) {
    auto const offset = [&](double x) { return b.HeightAt(x) - a.HeightAt(x); };
    double atLeft = offset(left), atRight = offset(right);
    double x = left;
    // False position with halved ends (Illinois), which keeps the crossing between both.
    for (int i = 0; i != 40 && atLeft != atRight; ++i) {
        x = left + (right - left) * (atLeft / (atLeft - atRight));
        double const here = offset(x);
        if (std::fabs(here) < 1.0 / 64 || !(right - left > 1.0 / 64))
            break;
        if ((here < 0) == (atLeft < 0)) {
            left = x;
            atLeft = here;
            atRight /= 2;
        } else {
            right = x;
            atRight = here;
            atLeft /= 2;
        }
    }
    return x;
}

double Distance(GridPoint p, GridPoint q) {
    return std::max(std::fabs(static_cast<double>(p.x - q.x)), std::fabs(static_cast<double>(p.y - q.y)));
}

// Cuts both where they meet, with one end of chords for both, which is an end that is near already if there is one.
Alongside CutAt(GridPoint meeting, double t, GridSegment const& s, double u, GridSegment const& q) {
    auto const nearEnd = [&](GridSegment const& chord) -> std::optional<GridPoint> {
        for (GridPoint const end : {chord.a, chord.b}) {
            if (Distance(end, meeting) <= c_coincidence)
                return end;
        }
        return {};
    };
    auto const first = nearEnd(s), second = nearEnd(q);
    if (first && second)
        return {CrossProperly(s.a, s.b, q.a, q.b) ? Alongside::Outcome::Cross : Alongside::Outcome::Apart,
                {},
                {},
                {},
                false};
    Alongside result{Alongside::Outcome::Cut, {}, {}, first ? first : second ? second : meeting, false};
    if (!first)
        result.cutFirst = t;
    if (!second)
        result.cutSecond = u;
    return result;
}

} // namespace

std::optional<Strand> Strand::Make(Segment const& curve, double t0, double t1, PointDbl origin, PointDbl along) {
    View const view{origin, along};
    Strand strand;
    Segment const whole = Raised(curve);
    strand.m_curve = Segment::Cubic(view(whole.start), view(whole.control1), view(whole.control2), view(whole.end));
    strand.tLeft = t0;
    strand.tRight = t1;
    strand.left = Evaluate(strand.m_curve, t0).x;
    strand.right = Evaluate(strand.m_curve, t1).x;
    if (strand.left > strand.right) {
        std::swap(strand.left, strand.right);
        std::swap(strand.tLeft, strand.tRight);
    }
    Segment const stretch = strand.Cut(strand.tLeft, strand.tRight);
    if (!(stretch.control1.x >= stretch.start.x && stretch.control2.x >= stretch.control1.x &&
          stretch.end.x >= stretch.control2.x && strand.right > strand.left))
        return {};
    return strand;
}

double Strand::FindParameter(double x) const {
    if (x <= left)
        return tLeft;
    if (x >= right)
        return tRight;
    double low = tLeft, high = tRight, t = tLeft + (tRight - tLeft) * ((x - left) / (right - left));
    for (int i = 0; i != 24; ++i) {
        double const off = Evaluate(m_curve, t).x - x;
        (off < 0 ? low : high) = t;
        double const speed = EvaluateDerivative(m_curve, t).x;
        double next = speed != 0 ? t - off / speed : t;
        if (!(next > std::min(low, high) && next < std::max(low, high)))
            next = low + (high - low) / 2;
        if (std::fabs(off) < 1.0 / 256 || next == t)
            break;
        t = next;
    }
    return t;
}

double Strand::HeightAt(double x) const { return Evaluate(m_curve, FindParameter(x)).y; }

Segment Strand::Cut(double from, double to) const {
    return from <= to ? GetPiece(m_curve, from, to) : Reversed(GetPiece(m_curve, to, from));
}

// With controls d of the difference, the curve `b` at one parameter lies dx beside the point of `a` at the same
// parameter and dy above it, both in the hull of the d; and along that dx `a` rises by no more than its slope.
std::optional<Offsets> GetOffsets(Segment const& a, Segment const& b) {
    auto const steepest = [](Segment const& s) {
        double slope = 0;
        PointDbl last = s.start;
        for (PointDbl const p : {s.control1, s.control2, s.end}) {
            double const dx = p.x - last.x, dy = p.y - last.y;
            if (dx < 0 || (dx == 0 && dy != 0))
                return std::numeric_limits<double>::infinity();
            if (dx > 0)
                slope = std::max(slope, std::fabs(dy) / dx);
            last = p;
        }
        return slope;
    };
    double const slope = std::min(steepest(a), steepest(b));
    if (!(slope < 2))
        return {};
    std::array<double, 4> const dy = {b.start.y - a.start.y, b.control1.y - a.control1.y, b.control2.y - a.control2.y,
                                      b.end.y - a.end.y};
    double mismatch = 0;
    for (double const dx :
         {b.start.x - a.start.x, b.control1.x - a.control1.x, b.control2.x - a.control2.x, b.end.x - a.end.x})
        mismatch = std::max(mismatch, std::fabs(dx));
    double const slack = mismatch * slope;
    auto const [low, high] = std::minmax_element(dy.begin(), dy.end());
    bool const rises = dy[0] <= dy[1] && dy[1] <= dy[2] && dy[2] <= dy[3];
    bool const falls = dy[0] >= dy[1] && dy[1] >= dy[2] && dy[2] >= dy[3];
    return Offsets{*low - slack, *high + slack, dy[0], dy[3],
                   (rises || falls) && 4 * slack < *high - *low && (dy[0] < 0) != (dy[3] < 0)};
}

Alongside RelateAlongside(Segment const& curve, GridSegment const& s, CurvePart const& part, Segment const& otherCurve,
                          GridSegment const& q, CurvePart const& otherPart) {
    using enum Alongside::Outcome;
    if (!(part.slope < c_mostSlope && otherPart.slope < c_mostSlope))
        return {};
    PointDbl const chord{static_cast<double>(s.b.x - s.a.x), static_cast<double>(s.b.y - s.a.y)};
    PointDbl const other{static_cast<double>(q.b.x - q.a.x), static_cast<double>(q.b.y - q.a.y)};
    double const dot = chord.x * other.x + chord.y * other.y, cross = chord.x * other.y - chord.y * other.x;
    double const length = std::hypot(chord.x, chord.y);
    if (!(std::fabs(cross) < c_mostSlope * std::fabs(dot)))
        return {};
    PointDbl const origin{static_cast<double>(s.a.x), static_cast<double>(s.a.y)},
        along{chord.x / length, chord.y / length};
    auto const a = Strand::Make(curve, part.t0, part.t1, origin, along);
    auto const b = Strand::Make(otherCurve, otherPart.t0, otherPart.t1, origin, along);
    if (!a || !b)
        return {};
    bool const chordsCross = CrossProperly(s.a, s.b, q.a, q.b);
    double const left = std::max(a->left, b->left), right = std::min(a->right, b->right);
    if (right - left < c_tip)
        return {chordsCross ? Cross : Apart, {}, {}, {}, false};
    double const aFrom = a->FindParameter(left), aTo = a->FindParameter(right);
    double const bFrom = b->FindParameter(left), bTo = b->FindParameter(right);
    auto const offsets = GetOffsets(a->Cut(aFrom, aTo), b->Cut(bFrom, bTo));
    if (!offsets)
        return {};
    View const view{origin, along};
    Chord const aChord = Seen(view, s), bChord = Seen(view, q);
    double const atLeft = bChord.HeightAt(left) - aChord.HeightAt(left);
    double const atRight = bChord.HeightAt(right) - aChord.HeightAt(right);
    // Chords that cross beyond what both have in common are let pass only where that is next to nothing. Those that
    // become one edge must stand for curves that are one.
    bool const isAbove = atLeft >= -1 && atRight >= -1, isBelow = atLeft <= 1 && atRight <= 1;
    if (!chordsCross && (isAbove || isBelow) && (!isAbove || offsets->low >= -c_coincidence) &&
        (!isBelow || offsets->high <= c_coincidence))
        return {Apart, {}, {}, {}, false};
    bool const coincide = offsets->low >= -c_coincidence && offsets->high <= c_coincidence;
    if (offsets->crossesOnce || (chordsCross && coincide)) {
        double const fall = atLeft - atRight, share = fall != 0 ? std::clamp(atLeft / fall, 0.0, 1.0) : 0.5;
        double const x = offsets->crossesOnce ? FindCrossing(*a, *b, left, right) : left + (right - left) * share;
        double const t = a->FindParameter(x), u = b->FindParameter(x);
        Alongside result = CutAt(Rounded(Evaluate(curve, t)), t, s, u, q);
        result.isRounding = coincide && part.error <= c_finestError && otherPart.error <= c_finestError;
        return result;
    }
    // Chords of curves side by side lie as the curves do where both are cut in the same places, near enough for what
    // the chords bend away there to be less than what lies between the curves.
    bool const canCutA = part.error > c_finestError, canCutB = otherPart.error > c_finestError;
    double const slopes = static_cast<double>(part.slope) + static_cast<double>(otherPart.slope);
    auto const shiftAt = [&](double offset) {
        return std::max(c_leastShift, std::max(4.0, std::fabs(offset) / 4) / slopes);
    };
    double const shiftLeft = shiftAt(offsets->atLeft), shiftRight = shiftAt(offsets->atRight);
    Alongside result{Cut, {}, {}, {}, false};
    auto const cutWhere = [&](Strand const& strand, bool canCut, double from, double to, std::optional<double>& cut) {
        if (!canCut)
            return;
        double const before = left - strand.left, behind = strand.right - right;
        if (before > shiftLeft && before >= behind)
            cut = from;
        else if (behind > shiftRight)
            cut = to;
    };
    cutWhere(*a, canCutA, aFrom, aTo, result.cutFirst);
    cutWhere(*b, canCutB, bFrom, bTo, result.cutSecond);
    if (result.cutFirst || result.cutSecond)
        return result;
    double const middle = left + (right - left) * c_firstHalf;
    if (canCutA)
        result.cutFirst = a->FindParameter(middle);
    if (canCutB)
        result.cutSecond = b->FindParameter(middle);
    return result;
}

} // namespace Geometry::Planar
