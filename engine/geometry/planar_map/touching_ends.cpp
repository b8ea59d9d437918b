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

// Whether the section between two parameters stays so near to p that it is no section at all.
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

// Distance from p to the nearest point of a section of a curve, and that point's parameter. `enough` is a distance that
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

// Whether all samples of one section lie on the other; `parameters` gets where.
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

// Whether two sections are one and the same but for rounding, parameters included: they keep as near to each other as
// their controls.
bool AreControlsNear(Segment const& a, Segment const& b) {
    return Distance(a.start, b.start) <= c_coincidence && Distance(a.control1, b.control1) <= c_coincidence &&
           Distance(a.control2, b.control2) <= c_coincidence && Distance(a.end, b.end) <= c_coincidence;
}

// Tells how many vertices lie in a box at most, in a few steps: sums over all cells of a grid that lie before each (F.
// C. Crow, "Summed-area tables for texture mapping", 1984).
class VertexCounts {
public:
    VertexCounts(std::vector<NetVertex> const& vertices, Monitor& monitor) {
        m_low = m_high = vertices.front().at;
        for (NetVertex const& vertex : vertices) {
            m_low = {std::min(m_low.x, vertex.at.x), std::min(m_low.y, vertex.at.y)};
            m_high = {std::max(m_high.x, vertex.at.x), std::max(m_high.y, vertex.at.y)};
            monitor.Tick();
        }
        // So many that the box of a short curve takes in few cells beyond it.
        constexpr double c_cellsOfVertex = 16;
        double const width = static_cast<double>(m_high.x - m_low.x) + 1,
                     height = static_cast<double>(m_high.y - m_low.y) + 1;
        double const most = c_cellsOfVertex * static_cast<double>(vertices.size());
        m_size = std::max({std::sqrt(width * height / most), std::max(width, height) / most, 1.0});
        m_columns = ColumnOf(m_high.x) + 1;
        m_rows = RowOf(m_high.y) + 1;
        m_sums.assign((m_columns + 1) * (m_rows + 1), 0);
        for (NetVertex const& vertex : vertices) {
            ++m_sums[At(ColumnOf(vertex.at.x) + 1, RowOf(vertex.at.y) + 1)];
            monitor.Tick();
        }
        for (std::size_t row = 1; row <= m_rows; ++row) {
            for (std::size_t column = 1; column <= m_columns; ++column) {
                m_sums[At(column, row)] +=
                    m_sums[At(column - 1, row)] + m_sums[At(column, row - 1)] - m_sums[At(column - 1, row - 1)];
                monitor.Tick();
            }
        }
    }
    std::uint32_t CountWithin(GridPoint low, GridPoint high) const {
        std::size_t const left = ColumnOf(low.x), right = ColumnOf(high.x) + 1, top = RowOf(low.y),
                          bottom = RowOf(high.y) + 1;
        return m_sums[At(right, bottom)] + m_sums[At(left, top)] - m_sums[At(left, bottom)] - m_sums[At(right, top)];
    }

private:
    std::size_t ColumnOf(std::int64_t x) const {
        return static_cast<std::size_t>(static_cast<double>(std::clamp(x, m_low.x, m_high.x) - m_low.x) / m_size);
    }
    std::size_t RowOf(std::int64_t y) const {
        return static_cast<std::size_t>(static_cast<double>(std::clamp(y, m_low.y, m_high.y) - m_low.y) / m_size);
    }
    std::size_t At(std::size_t column, std::size_t row) const { return row * (m_columns + 1) + column; }

    GridPoint m_low, m_high;
    double m_size = 1;
    std::size_t m_columns = 1, m_rows = 1;
    std::vector<std::uint32_t> m_sums;
};

// Whether a curve begins and ends in its vertices and leads from one to the other so straight that it is near them
// nowhere else.
bool LeavesItsEnds(Segment const& s, GridPoint from, GridPoint to) {
    if (Distance(s.start, ToPoint(from)) > 1 || Distance(s.end, ToPoint(to)) > 1)
        return false;
    double const x = s.end.x - s.start.x, y = s.end.y - s.start.y, length = std::hypot(x, y);
    PointDbl last = s.start;
    for (PointDbl const p : {s.control1, s.control2, s.end}) {
        double const dx = p.x - last.x, dy = p.y - last.y;
        // Within 60 degrees, so that the controls of what lies within the weld distance of an end lie not much farther.
        if (2 * (x * dx + y * dy) < length * std::hypot(dx, dy))
            return false;
        last = p;
    }
    return true;
}

// Whether no vertex but the two ends of a curve can touch it.
bool KeepsClear(NetCurve const& curve, Segment const& s, std::vector<NetVertex> const& vertices,
                VertexCounts const& counts) {
    if (curve.from == curve.to || !(curve.straight || LeavesItsEnds(s, vertices[curve.from].at, vertices[curve.to].at)))
        return false;
    constexpr auto c_reach = static_cast<std::int64_t>(c_weldDistance) + 2;
    GridPoint low = vertices[curve.from].at, high = low;
    for (GridPoint const p :
         {vertices[curve.to].at, Rounded(s.start), Rounded(s.control1), Rounded(s.control2), Rounded(s.end)}) {
        low = {std::min(low.x, p.x), std::min(low.y, p.y)};
        high = {std::max(high.x, p.x), std::max(high.y, p.y)};
    }
    return counts.CountWithin({low.x - c_reach, low.y - c_reach}, {high.x + c_reach, high.y + c_reach}) == 2;
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
    VertexCounts const counts(vertices, monitor);
    for (std::uint32_t c = 0; c != curves.size(); ++c) {
        Segment const curve = GetGridCurve(c);
        if (!KeepsClear(curves[c], curve, vertices, counts))
            list.AddFlattened(curve, c, 0, 1, vertices[curves[c].from].at, vertices[curves[c].to].at);
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
