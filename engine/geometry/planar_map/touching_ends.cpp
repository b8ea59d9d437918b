// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/curve_net.h"
#include "engine/geometry/planar_map/curve_part.h"

#include "platform/geometry/curve_operations.h"

#include <array>
#include <cmath>
#include <tuple>

namespace Geometry::Planar {

namespace {

// Curves that share both ends are rarely more than two; beyond so many different ones the rest is left apart.
constexpr std::size_t c_mostCandidates = 64;
constexpr int c_samples = 5;

struct Touch {
    std::uint32_t curve = 0;
    double t = 0;
    std::uint32_t vertex = 0;
    friend bool operator<(Touch const& a, Touch const& b) {
        return std::tie(a.curve, a.t, a.vertex) < std::tie(b.curve, b.t, b.vertex);
    }
};

double Distance(PointDbl a, PointDbl b) { return std::hypot(a.x - b.x, a.y - b.y); }
PointDbl ToPoint(GridPoint p) { return {static_cast<double>(p.x), static_cast<double>(p.y)}; }

// Whether the stretch between two parameters stays so near to p that it is no stretch at all.
bool StaysAt(Segment const& curve, double t0, double t1, PointDbl p) {
    if (!(t0 < t1))
        return true;
    Segment const piece = GetPiece(curve, t0, t1);
    for (PointDbl const q : {piece.start, piece.control1, piece.control2, piece.end}) {
        if (Distance(p, q) > 4 * c_weldDistance)
            return false;
    }
    return true;
}

// The parameter of a chord's point nearest to p, in 0..1.
double ProjectOnChord(GridSegment const& s, GridPoint p) {
    double const dx = static_cast<double>(s.b.x - s.a.x), dy = static_cast<double>(s.b.y - s.a.y);
    double const along = static_cast<double>(p.x - s.a.x) * dx + static_cast<double>(p.y - s.a.y) * dy;
    double const squared = dx * dx + dy * dy;
    return squared > 0 ? std::clamp(along / squared, 0.0, 1.0) : 0;
}

// Distance from p to the nearest point of a stretch of a curve, and that point's parameter. `enough` is a distance that
// need not be improved on.
std::pair<double, double> NearestOnStretch(Segment const& curve, PointDbl p, double t0, double t1, double enough) {
    constexpr int c_steps = 16;
    double best = std::numeric_limits<double>::infinity(), bestT = t0;
    for (int i = 0; i <= c_steps; ++i) {
        double const t = t0 + (t1 - t0) * i / c_steps, distance = Distance(Evaluate(curve, t), p);
        if (distance < best) {
            best = distance;
            bestT = t;
        }
    }
    double const near = RefineNearest(curve, p, bestT, t0, t1);
    if (double const distance = Distance(Evaluate(curve, near), p); distance <= enough)
        return {distance, near};
    // Near a sharp bend Newton's method goes astray.
    double const t = FindNearest(curve, p, t0, t1);
    return {Distance(Evaluate(curve, t), p), t};
}

// Whether all samples of one stretch lie on the other; `parameters` gets where.
bool LiesOn(Segment const& curve, NetPiece const& piece, Segment const& other, NetPiece const& otherPiece,
            std::array<double, c_samples>& parameters) {
    for (int i = 0; i != c_samples; ++i) {
        double const t = piece.t0 + (piece.t1 - piece.t0) * (i + 1) / (c_samples + 1);
        auto const [distance, at] =
            NearestOnStretch(other, Evaluate(curve, t), otherPiece.t0, otherPiece.t1, c_coincidence / 4);
        if (distance > c_coincidence)
            return false;
        parameters[static_cast<std::size_t>(i)] = at;
    }
    return true;
}

// Whether two stretches are one and the same but for rounding, parameters included: they keep as near to each other as
// their controls.
bool AreControlsNear(Segment const& a, Segment const& b) {
    return Distance(a.start, b.start) <= c_coincidence && Distance(a.control1, b.control1) <= c_coincidence &&
           Distance(a.control2, b.control2) <= c_coincidence && Distance(a.end, b.end) <= c_coincidence;
}

struct KeyedPiece {
    std::uint32_t low = 0, high = 0, piece = 0;
    auto Tie() const { return std::tie(low, high, piece); }
};

struct SingleUse {
    std::uint32_t piece = 0, input = 0;
    std::int32_t winding = 0;
    bool line = false;
};

} // namespace

double RefineNearest(Segment const& curve, PointDbl p, double t, double t0, double t1) {
    double best = t, bestSquared = std::numeric_limits<double>::infinity();
    for (int i = 0; i != 9; ++i) {
        PointDbl const q = Evaluate(curve, t), d = EvaluateDerivative(curve, t);
        double const x = q.x - p.x, y = q.y - p.y, offSquared = x * x + y * y, squared = d.x * d.x + d.y * d.y;
        if (!(offSquared < bestSquared))
            break;
        best = t;
        bestSquared = offSquared;
        if (!(squared > 0))
            break;
        t = std::clamp(t - (x * d.x + y * d.y) / squared, t0, t1);
    }
    return best;
}

double FindNearest(Segment const& curve, PointDbl p, double t0, double t1) {
    if (!(t0 < t1))
        return t0;
    // Seen from p, so that the squares of far coordinates do not swallow the distance.
    Segment const piece = GetPiece(curve, t0, t1).Transformed(Transform::Translation(-p.x, -p.y));
    double const t = t0 + (t1 - t0) * GetNearestParameter(piece, {0, 0});
    return RefineNearest(curve, p, std::clamp(t, t0, t1), t0, t1);
}

void CurveNet::CutAtTouchingEnds(Monitor& monitor) {
    PartList list;
    for (std::uint32_t c = 0; c != curves.size(); ++c) {
        list.AddFlattened(GetGridCurve(c), c, 0, 1, vertices[curves[c].from].at, vertices[curves[c].to].at);
        monitor.Tick();
    }
    // So that the leaf of a vertex lists all that it may touch.
    for (GridSegment& segment : list.segments)
        segment.reach += static_cast<float>(c_weldDistance);
    SegmentGrid const grid(list.segments, monitor);
    std::vector<Touch> touches;
    std::vector<std::uint32_t> near;
    for (std::uint32_t v = 0; v != vertices.size(); ++v) {
        GridPoint const at = vertices[v].at;
        PointDbl const p = ToPoint(at);
        grid.Gather(grid.Locate(at), near);
        for (std::uint32_t const i : near) {
            monitor.Tick();
            GridSegment const& segment = list.segments[i];
            CurvePart const& part = list.parts[i];
            NetCurve const& c = curves[part.owner];
            // A line meets its own ends and nothing else of them.
            if (c.straight && (c.from == v || c.to == v))
                continue;
            double const reach = static_cast<double>(segment.reach), along = ProjectOnChord(segment, at);
            PointDbl const a = ToPoint(segment.a), b = ToPoint(segment.b);
            if (Distance({a.x + (b.x - a.x) * along, a.y + (b.y - a.y) * along}, p) > 1.5 * reach)
                continue;
            Segment const curve = GetGridCurve(part.owner);
            // A part that turns round may come by more than once.
            double const t = part.slope < 1
                                 ? RefineNearest(curve, p, part.t0 + (part.t1 - part.t0) * along, part.t0, part.t1)
                                 : FindNearest(curve, p, part.t0, part.t1);
            if (!(t > 0 && t < 1) || Distance(Evaluate(curve, t), p) > c_weldDistance)
                continue;
            if ((c.from == v && StaysAt(curve, 0, t, p)) || (c.to == v && StaysAt(curve, t, 1, p)))
                continue;
            touches.push_back({part.owner, t, v});
        }
    }
    Sort(touches, std::less<>(), monitor);
    pieces.reserve(curves.size() + touches.size());
    auto touch = touches.begin();
    for (std::uint32_t c = 0; c != curves.size(); ++c) {
        monitor.Tick();
        NetCurve& curve = curves[c];
        curve.firstPiece = static_cast<std::uint32_t>(pieces.size());
        NetPiece next{c, curve.from, curve.to, 0, false, 0, 1};
        for (; touch != touches.end() && touch->curve == c; ++touch) {
            if (touch->t == next.t0 || (touch->vertex == next.from &&
                                        StaysAt(GetGridCurve(c), next.t0, touch->t, ToPoint(vertices[next.from].at))))
                continue;
            next.to = touch->vertex;
            next.t1 = touch->t;
            pieces.push_back(next);
            next = {c, touch->vertex, curve.to, 0, false, touch->t, 1};
        }
        pieces.push_back(next);
        curve.pieceCount = static_cast<std::uint32_t>(pieces.size()) - curve.firstPiece;
    }
}

bool CurveNet::Coincide(NetPiece const& a, NetPiece const& b, bool& reversed) const {
    reversed = a.from != b.from;
    if (curves[a.curve].straight && curves[b.curve].straight)
        return true;
    Segment const aCurve = GetGridCurve(a.curve), bCurve = GetGridCurve(b.curve);
    Segment const aPiece = GetPiece(aCurve, a.t0, a.t1), bPiece = GetPiece(bCurve, b.t0, b.t1);
    for (bool const turned : {reversed, !reversed}) {
        if (turned != reversed && a.from != a.to)
            break;
        if (AreControlsNear(aPiece, turned ? Reversed(bPiece) : bPiece)) {
            reversed = turned;
            return true;
        }
    }
    std::array<double, c_samples> onA, onB;
    if (!LiesOn(aCurve, a, bCurve, b, onB) || !LiesOn(bCurve, b, aCurve, a, onA))
        return false;
    if (a.from == a.to)
        reversed = onB.back() < onB.front();
    for (std::size_t i = 0; i + 1 < onB.size(); ++i) {
        if ((onB[i + 1] < onB[i]) != reversed || (onA[i + 1] < onA[i]) != reversed)
            return false;
    }
    return true;
}

void CurveNet::UniteCoincidingPieces(Monitor& monitor) {
    std::vector<KeyedPiece> keyed;
    keyed.reserve(pieces.size());
    for (std::uint32_t i = 0; i != pieces.size(); ++i) {
        pieces[i].same = i;
        keyed.push_back({std::min(pieces[i].from, pieces[i].to), std::max(pieces[i].from, pieces[i].to), i});
    }
    Sort(
        keyed, [](KeyedPiece const& a, KeyedPiece const& b) { return a.Tie() < b.Tie(); }, monitor);
    std::vector<std::uint32_t> different;
    for (std::size_t i = 0; i != keyed.size(); ++i) {
        monitor.Tick();
        if (i == 0 || keyed[i].low != keyed[i - 1].low || keyed[i].high != keyed[i - 1].high)
            different.clear();
        NetPiece& piece = pieces[keyed[i].piece];
        for (std::uint32_t const candidate : different) {
            bool reversed = false;
            if (Coincide(pieces[candidate], piece, reversed)) {
                piece.same = candidate;
                piece.reversed = reversed;
                break;
            }
            monitor.Check();
        }
        if (piece.same == keyed[i].piece && different.size() < c_mostCandidates)
            different.push_back(piece.same);
    }
}

void CurveNet::CountUses(Monitor& monitor) {
    std::vector<SingleUse> single;
    for (NetContour const& contour : contours) {
        for (CurveUse const& use : std::span(uses).subspan(contour.firstUse, contour.useCount)) {
            NetCurve const& curve = curves[use.curve];
            for (std::uint32_t i = 0; i != curve.pieceCount; ++i) {
                NetPiece const& piece = pieces[curve.firstPiece + i];
                single.push_back({piece.same, contour.input, use.reversed == piece.reversed ? 1 : -1, !use.implied});
            }
            monitor.Tick();
        }
    }
    Sort(
        single,
        [](SingleUse const& a, SingleUse const& b) { return std::tie(a.piece, a.input) < std::tie(b.piece, b.input); },
        monitor);
    firstPieceUse.assign(pieces.size() + 1, 0);
    for (std::size_t i = 0; i != single.size(); ++i) {
        if (i == 0 || single[i].piece != single[i - 1].piece || single[i].input != single[i - 1].input) {
            pieceUses.push_back({single[i].input, 0, 0, false});
            ++firstPieceUse[single[i].piece + 1];
        }
        pieceUses.back().winding += single[i].winding;
        ++pieceUses.back().count;
        pieceUses.back().line = pieceUses.back().line || single[i].line;
        monitor.Tick();
    }
    for (std::size_t i = 0; i != pieces.size(); ++i)
        firstPieceUse[i + 1] += firstPieceUse[i];
}

} // namespace Geometry::Planar
