// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/face_map.h"

#include <memory>

namespace Geometry::Planar {

namespace {

// An edge by its ends, `low` the one of lower y.
struct Upright {
    GridPoint low, high;
    // The half-edge that runs down; what lies to the east of the edge is on its left.
    std::uint32_t downward = 0;
};

// Whether, at a height that both reach, `a` lies farther east than `b`. Edges may share ends and do not cross.
bool LiesEastOf(Upright const& a, Upright const& b) {
    // Ask the edge that starts lower about the other's lower end, or its higher one where that tells nothing.
    if (b.low.y <= a.low.y) {
        int const side = Orientation(b.low, b.high, a.low);
        return (side != 0 ? side : Orientation(b.low, b.high, a.high)) < 0;
    }
    int const side = Orientation(a.low, a.high, b.low);
    return (side != 0 ? side : Orientation(a.low, a.high, b.high)) > 0;
}

// Finds the edge that a ray to the west meets first.
class WestwardRay {
public:
    WestwardRay(FaceMap const& map, Monitor& monitor)
        : m_map(map), m_segments(MakeSegments(map, monitor)), m_grid(m_segments, monitor), m_monitor(monitor) {}

    // The half-edge on whose left p lies, of the edge nearest to the west of p; none when there is nothing.
    std::uint32_t Find(GridPoint p) {
        std::uint32_t best = c_noIndex;
        Upright bestEdge;
        GridPoint at = p;
        while (true) {
            m_monitor.Tick();
            auto const [cell, box] = m_grid.LocateWithBox(at);
            m_grid.Gather(cell, m_near);
            for (std::uint32_t const e : m_near) {
                Upright const edge = MakeUpright(e);
                // Half-open in y, so that of edges which meet at the ray's height exactly those above count.
                if (edge.low.y > p.y || edge.high.y <= p.y || Orientation(edge.low, edge.high, p) >= 0)
                    continue;
                if (best == c_noIndex || LiesEastOf(edge, bestEdge)) {
                    best = edge.downward;
                    bestEdge = edge;
                }
            }
            // Every edge that the ray meets in this cell is listed in it, and all that are left lie farther west.
            if (box.left <= 0 || (best != c_noIndex && MeetsRayFrom(bestEdge, p.y, box.left)))
                return best;
            at.x = box.left - 1;
        }
    }

private:
    static std::vector<GridSegment> MakeSegments(FaceMap const& map, Monitor& monitor) {
        std::vector<GridSegment> segments(map.GetEdgeCount());
        for (std::uint32_t e = 0; e != segments.size(); ++e) {
            segments[e] = {map.nodes[map.Origin(2 * e)], map.nodes[map.Target(2 * e)], 1, false};
            monitor.Tick();
        }
        return segments;
    }
    Upright MakeUpright(std::uint32_t e) const {
        GridPoint const a = m_map.nodes[m_map.Origin(2 * e)], b = m_map.nodes[m_map.Target(2 * e)];
        return a.y <= b.y ? Upright{a, b, 2 * e + 1} : Upright{b, a, 2 * e};
    }
    static bool MeetsRayFrom(Upright const& e, std::int64_t y, std::int64_t x) {
        return Orientation(e.low, e.high, {x, y}) >= 0;
    }

    FaceMap const& m_map;
    std::vector<GridSegment> m_segments;
    SegmentGrid m_grid;
    Monitor& m_monitor;
    std::vector<std::uint32_t> m_near;
};

} // namespace

void FaceMap::NestComponents(Monitor& monitor) {
    faceAreas.assign(1, 0);
    facePerimeters.assign(1, 0);
    for (Cycle& cycle : m_cycles) {
        if (cycle.twiceArea > 0) {
            cycle.face = static_cast<std::uint32_t>(faceAreas.size());
            faceAreas.push_back(0);
            facePerimeters.push_back(0);
        } else {
            ++componentCount;
        }
    }
    if (componentCount > 1) {
        WestwardRay ray(*this, monitor);
        for (Cycle& cycle : m_cycles) {
            if (cycle.twiceArea > 0)
                continue;
            // The lowest node is the westmost one, so an edge to the west of it belongs to another component.
            std::uint32_t const edge = ray.Find(nodes[Origin(cycle.lowestHalfEdge)]);
            if (edge != c_noIndex)
                cycle.enclosing = m_cycleOfHalfEdge[edge];
        }
    }
    std::vector<std::uint32_t> chain;
    for (std::uint32_t i = 0; i != m_cycles.size(); ++i) {
        std::uint32_t cycle = i;
        while (m_cycles[cycle].face == c_noIndex && m_cycles[cycle].enclosing != c_noIndex) {
            chain.push_back(cycle);
            cycle = m_cycles[cycle].enclosing;
        }
        if (m_cycles[cycle].face == c_noIndex)
            m_cycles[cycle].face = 0;
        for (std::uint32_t const inner : chain)
            m_cycles[inner].face = m_cycles[cycle].face;
        chain.clear();
        monitor.Tick();
    }
    for (Cycle const& cycle : m_cycles) {
        faceAreas[cycle.face] += static_cast<double>(cycle.twiceArea) / 2;
        facePerimeters[cycle.face] += cycle.length;
        if (cycle.twiceArea <= 0 && cycle.face == 0)
            ++topComponentCount;
    }
    face.resize(m_cycleOfHalfEdge.size());
    for (std::size_t h = 0; h != face.size(); ++h) {
        face[h] = m_cycles[m_cycleOfHalfEdge[h]].face;
        monitor.Tick();
    }
}

} // namespace Geometry::Planar
