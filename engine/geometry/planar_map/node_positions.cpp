// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/node_positions.h"

#include "engine/geometry/planar_map/parallel.h"
#include "platform/geometry/curve_operations.h"

#include <cmath>
#include <optional>
#include <tuple>

namespace Geometry::Planar {

namespace {

// One curve's way through a node.
struct Strand {
    std::uint32_t curve = 0;
    double t = 0;
    // A sub-segment that starts or ends here, and how far the curve may go without passing a node: of the first of
    // equal strands that of all of them.
    std::uint32_t subSegment = 0;
    bool atStart = false;
    double low = 0, high = 1;
    auto Tie() const { return std::tie(curve, t); }
};

struct Meeting {
    PointDbl point;
    double t = 0, u = 0;
};

double SineBetween(PointDbl a, PointDbl b) {
    double const lengths = std::hypot(a.x, a.y) * std::hypot(b.x, b.y);
    return lengths > 0 ? std::fabs(a.x * b.y - a.y * b.x) / lengths : 0;
}

// Solves curve(t) == other(u) from the parameters of two strands, in grid units.
std::optional<Meeting> FindMeeting(Segment const& curve, Strand const& a, Segment const& other, Strand const& b) {
    constexpr int c_steps = 16;
    constexpr double c_closeEnough = 1.0 / 1024;
    double t = a.t, u = b.t;
    for (int i = 0; i != c_steps; ++i) {
        PointDbl const p = Evaluate(curve, t), q = Evaluate(other, u);
        double const x = q.x - p.x, y = q.y - p.y;
        if (std::fabs(x) + std::fabs(y) < c_closeEnough)
            return Meeting{p, t, u};
        PointDbl const d = EvaluateDerivative(curve, t), e = EvaluateDerivative(other, u);
        double const determinant = d.x * e.y - d.y * e.x;
        if (!(std::fabs(determinant) > 1e-12 * (std::hypot(d.x, d.y) * std::hypot(e.x, e.y))))
            return {};
        t = std::clamp(t + (x * e.y - y * e.x) / determinant, a.low, a.high);
        u = std::clamp(u + (x * d.y - y * d.x) / determinant, b.low, b.high);
    }
    return {};
}

// Moves nodes, and the ends of sub-segments with them. What is written for one node is no other's.
class NodeMover {
public:
    struct Places {
        // Of the nodes, in grid units.
        std::vector<PointDbl> grid;
        // The parameters of the sub-segments' ends.
        std::vector<double> start, end;
    };
    NodeMover(FaceMap const& map, CurveNet const& net, std::vector<std::uint32_t> const& vertices, Places& places,
              Monitor& monitor)
        : m_map(map), m_net(net), m_vertices(vertices), m_places(places), m_monitor(monitor) {}

    // To where the curves meet.
    void PlaceNode(std::uint32_t node) {
        bool const isVertex = m_vertices[node] != c_noIndex;
        std::size_t const degree = m_map.Leaving(node).size();
        if (degree < 3 && !(isVertex && degree == 2)) {
            if (IsShared(node)) {
                CollectStrands(node);
                CutAtNode(node);
            }
            return;
        }
        CollectStrands(node);
        if (m_firstOfStrand.size() < 2)
            return;
        std::optional<Meeting> meeting;
        if (isVertex) {
            m_places.grid[node] = m_net.frame.ToGrid(m_net.vertices[m_vertices[node]].position);
        } else {
            meeting = Meet();
            if (!meeting) {
                CutAtNode(node);
                return;
            }
            m_places.grid[node] = meeting->point;
        }
        for (std::size_t i = 0; i != m_firstOfStrand.size(); ++i) {
            Strand const& first = m_strands[m_firstOfStrand[i]];
            double t = first.t;
            if (meeting && m_firstOfStrand[i] == m_met.first)
                t = meeting->t;
            else if (meeting && m_firstOfStrand[i] == m_met.second)
                t = meeting->u;
            else if (first.t > first.low && first.t < first.high)
                t = RefineNearest(m_net.GetGridCurve(first.curve), m_places.grid[node], first.t, first.low, first.high);
            SetParameter(i, t);
        }
    }

    // To where the chords have it.
    void TakeBack(std::uint32_t node) {
        if (m_vertices[node] == c_noIndex)
            m_places.grid[node] = {static_cast<double>(m_map.nodes[node].x), static_cast<double>(m_map.nodes[node].y)};
        CollectStrands(node);
        CutAtNode(node);
    }

    // Two nodes that follow each other on a curve in the other order than on the chords, but lie as near to each other
    // as curves do that count as one: each takes the other's place. False, with nothing changed, for others.
    bool Exchange(std::uint32_t a, std::uint32_t b) {
        constexpr double c_near = 64;
        PointDbl const p = m_places.grid[a], q = m_places.grid[b];
        if (m_vertices[a] != c_noIndex || m_vertices[b] != c_noIndex || std::fabs(p.x - q.x) > c_near ||
            std::fabs(p.y - q.y) > c_near)
            return false;
        MoveTo(a, q);
        MoveTo(b, p);
        return true;
    }

private:
    // All curves are cut where they pass nearest to the place.
    void MoveTo(std::uint32_t node, PointDbl place) {
        m_places.grid[node] = place;
        CollectStrands(node);
        for (std::size_t i = 0; i != m_firstOfStrand.size(); ++i) {
            Strand const& first = m_strands[m_firstOfStrand[i]];
            double const t = (first.atStart ? m_places.start : m_places.end)[first.subSegment];
            SetParameter(i, RefineNearest(m_net.GetGridCurve(first.curve), place, t, 0, 1));
        }
    }

    void CollectStrands(std::uint32_t node) {
        m_strands.clear();
        for (std::uint32_t const h : m_map.Leaving(node)) {
            for (std::uint32_t const s : m_map.SubSegmentsOf(h / 2)) {
                SubSegment const& sub = m_map.subSegments[s];
                bool const atStart = sub.from == node;
                m_strands.push_back(
                    {m_net.pieces[sub.piece].curve, atStart ? sub.t0 : sub.t1, s, atStart, sub.t0, sub.t1});
            }
            m_monitor.Tick();
        }
        Sort(
            m_strands, [](Strand const& a, Strand const& b) { return a.Tie() < b.Tie(); }, m_monitor);
        m_firstOfStrand.clear();
        for (std::size_t i = 0; i != m_strands.size(); ++i) {
            if (i == 0 || m_strands[i].Tie() != m_strands[i - 1].Tie())
                m_firstOfStrand.push_back(i);
            Strand& first = m_strands[m_firstOfStrand.back()];
            first.low = std::min(first.low, m_strands[i].low);
            first.high = std::max(first.high, m_strands[i].high);
        }
    }

    // Whether several curves run along an edge at a node of two edges.
    bool IsShared(std::uint32_t node) const {
        for (std::uint32_t const h : m_map.Leaving(node)) {
            if (m_map.SubSegmentsOf(h / 2).size() > 1)
                return true;
        }
        return false;
    }

    void SetParameter(std::size_t strand, double t) {
        for (std::size_t k = m_firstOfStrand[strand]; k != EndOfStrand(strand); ++k)
            (m_strands[k].atStart ? m_places.start : m_places.end)[m_strands[k].subSegment] = t;
    }

    std::size_t EndOfStrand(std::size_t strand) const {
        return strand + 1 == m_firstOfStrand.size() ? m_strands.size() : m_firstOfStrand[strand + 1];
    }

    // For a node that stays about where the chords have it: all curves are cut where they pass it. The crossing that
    // made it may lie far along curves at a small angle. Chords of curves side by side may lie far from these, so the
    // node goes to the first curve that is none of lines; the others come by as near as they are to each other.
    void CutAtNode(std::uint32_t node) {
        constexpr double c_nearEnough = 16;
        bool const isVertex = m_vertices[node] != c_noIndex;
        bool isOnCurve = isVertex;
        for (std::size_t i = 0; i != m_firstOfStrand.size(); ++i) {
            Strand const& first = m_strands[m_firstOfStrand[i]];
            double t = first.t;
            if (!isOnCurve && !m_net.curves[first.curve].straight) {
                Segment const curve = m_net.GetGridCurve(first.curve);
                if (t > first.low && t < first.high)
                    t = RefineNearest(curve, m_places.grid[node], t, first.low, first.high);
                m_places.grid[node] = Evaluate(curve, t);
                isOnCurve = true;
                SetParameter(i, t);
                continue;
            }
            if (t > first.low && t < first.high && !m_net.curves[first.curve].straight) {
                Segment const curve = m_net.GetGridCurve(first.curve);
                PointDbl const p = Evaluate(curve, t);
                if (std::max(std::fabs(p.x - m_places.grid[node].x), std::fabs(p.y - m_places.grid[node].y)) >
                    c_nearEnough)
                    t = RefineNearest(curve, m_places.grid[node], t, first.low, first.high);
            }
            SetParameter(i, t);
        }
    }

    // Of all strands the two that cross at the widest angle decide, since they tell the place best.
    std::optional<Meeting> Meet() {
        constexpr std::size_t c_mostCompared = 8;
        std::size_t const count = std::min(m_firstOfStrand.size(), c_mostCompared);
        double widest = -1;
        for (std::size_t i = 0; i != count; ++i) {
            Strand const& a = m_strands[m_firstOfStrand[i]];
            PointDbl const d = EvaluateDerivative(m_net.GetGridCurve(a.curve), a.t);
            for (std::size_t k = i + 1; k != count; ++k) {
                Strand const& b = m_strands[m_firstOfStrand[k]];
                double const sine = SineBetween(d, EvaluateDerivative(m_net.GetGridCurve(b.curve), b.t));
                if (sine > widest) {
                    widest = sine;
                    m_met = {m_firstOfStrand[i], m_firstOfStrand[k]};
                }
            }
        }
        Strand const &a = m_strands[m_met.first], &b = m_strands[m_met.second];
        return FindMeeting(m_net.GetGridCurve(a.curve), a, m_net.GetGridCurve(b.curve), b);
    }

    FaceMap const& m_map;
    CurveNet const& m_net;
    std::vector<std::uint32_t> const& m_vertices;
    Places& m_places;
    Monitor& m_monitor;
    std::vector<Strand> m_strands;
    std::vector<std::size_t> m_firstOfStrand;
    // The strands, by their place in the list, whose meeting was found.
    std::pair<std::size_t, std::size_t> m_met;
};

class NodePlacer {
public:
    NodePlacer(FaceMap& map, CurveNet const& net, Monitor& monitor) : m_map(map), m_net(net), m_monitor(monitor) {}

    NodePositions Run(bool refine) {
        FindVertices();
        m_places.grid.reserve(m_map.nodes.size());
        for (GridPoint const p : m_map.nodes)
            m_places.grid.push_back({static_cast<double>(p.x), static_cast<double>(p.y)});
        m_monitor.Check();
        if (refine) {
            m_places.start.reserve(m_map.subSegments.size());
            m_places.end.reserve(m_map.subSegments.size());
            for (SubSegment const& s : m_map.subSegments) {
                m_places.start.push_back(s.t0);
                m_places.end.push_back(s.t1);
                m_monitor.Tick();
            }
            ForStretches(m_map.nodes.size(), 1024, m_monitor, [&](std::size_t from, std::size_t to, Monitor& monitor) {
                NodeMover mover(m_map, m_net, m_positions.vertices, m_places, monitor);
                for (auto node = static_cast<std::uint32_t>(from); node != to; ++node)
                    mover.PlaceNode(node);
            });
            TakeBackDisorder();
            for (std::size_t i = 0; i != m_map.subSegments.size(); ++i) {
                m_map.subSegments[i].t0 = m_places.start[i];
                m_map.subSegments[i].t1 = m_places.end[i];
                m_monitor.Tick();
            }
        }
        m_positions.points.reserve(m_places.grid.size());
        for (std::uint32_t node = 0; node != m_places.grid.size(); ++node) {
            std::uint32_t const vertex = m_positions.vertices[node];
            m_positions.points.push_back(vertex != c_noIndex ? m_net.vertices[vertex].position
                                                             : m_net.frame.FromGrid(m_places.grid[node]));
            m_monitor.Tick();
        }
        return std::move(m_positions);
    }

private:
    void FindVertices() {
        m_positions.vertices.assign(m_map.nodes.size(), c_noIndex);
        std::uint32_t vertex = 0;
        for (std::uint32_t node = 0; node != m_map.nodes.size(); ++node) {
            m_monitor.Tick();
            while (vertex != m_net.vertices.size() && m_net.vertices[vertex].at < m_map.nodes[node])
                ++vertex;
            if (vertex != m_net.vertices.size() && m_net.vertices[vertex].at == m_map.nodes[node])
                m_positions.vertices[node] = vertex;
        }
    }

    // Nodes that changed places with a neighbour on one of their curves change again, where that moves them hardly at
    // all, or go back to where the chords have them, which may be far from the curves.
    void TakeBackDisorder() {
        constexpr std::uint8_t c_mostExchanges = 4;
        auto const& subs = m_map.subSegments;
        std::vector<bool> isBack(m_map.nodes.size(), false);
        std::vector<std::uint8_t> exchanges(m_map.nodes.size(), 0);
        NodeMover mover(m_map, m_net, m_positions.vertices, m_places, m_monitor);
        auto const takeBack = [&](std::uint32_t node) {
            if (isBack[node])
                return false;
            isBack[node] = true;
            mover.TakeBack(node);
            return true;
        };
        bool again = true;
        while (again) {
            again = false;
            for (std::size_t i = 0; i != subs.size(); ++i) {
                m_monitor.Tick();
                if (m_places.start[i] < m_places.end[i])
                    continue;
                if (!isBack[subs[i].from] && !isBack[subs[i].to] && exchanges[subs[i].from] < c_mostExchanges &&
                    mover.Exchange(subs[i].from, subs[i].to)) {
                    ++exchanges[subs[i].from];
                    again = true;
                    continue;
                }
                bool const from = takeBack(subs[i].from), to = takeBack(subs[i].to);
                again = again || from || to;
            }
        }
    }

    FaceMap& m_map;
    CurveNet const& m_net;
    Monitor& m_monitor;
    NodePositions m_positions;
    NodeMover::Places m_places;
};

} // namespace

NodePositions PlaceNodes(FaceMap& map, CurveNet const& net, bool refine, Monitor& monitor) {
    return NodePlacer(map, net, monitor).Run(refine);
}

} // namespace Geometry::Planar
