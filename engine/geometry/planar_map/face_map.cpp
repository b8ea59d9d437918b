// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/face_map.h"

#include <cmath>

namespace Geometry::Planar {

FaceMap::FaceMap(Noding noding, Monitor& monitor)
    : nodes(std::move(noding.nodes)), subSegments(std::move(noding.subSegments)) {
    CollectEdges(monitor);
    SortAroundNodes(monitor);
    WalkCycles(monitor);
    NestComponents(monitor);
    m_cycles = {};
    m_cycleOfHalfEdge = {};
}

void FaceMap::CollectEdges(Monitor& monitor) {
    // Nodes are sorted, so the lower number is the lower node. By lower node first, then sorted within each.
    std::vector<std::uint32_t> first(nodes.size() + 1, 0), byLow(subSegments.size());
    auto const low = [&](std::uint32_t s) { return std::min(subSegments[s].from, subSegments[s].to); };
    auto const high = [&](std::uint32_t s) { return std::max(subSegments[s].from, subSegments[s].to); };
    for (std::uint32_t s = 0; s != subSegments.size(); ++s) {
        ++first[low(s) + 1];
        monitor.Tick();
    }
    for (std::size_t i = 0; i != nodes.size(); ++i)
        first[i + 1] += first[i];
    {
        std::vector<std::uint32_t> at(first.begin(), first.end() - 1);
        for (std::uint32_t s = 0; s != subSegments.size(); ++s) {
            byLow[at[low(s)]++] = s;
            monitor.Tick();
        }
    }
    edgeOfSubSegment.resize(subSegments.size());
    m_subSegmentsByEdge.reserve(subSegments.size());
    m_ends.reserve(2 * subSegments.size());
    std::vector<std::uint32_t> here;
    for (std::size_t node = 0; node != nodes.size(); ++node) {
        monitor.Tick();
        here.assign(byLow.begin() + first[node], byLow.begin() + first[node + 1]);
        if (here.size() > 1)
            Sort(
                here,
                [&](std::uint32_t a, std::uint32_t b) {
                    std::uint32_t const highA = high(a), highB = high(b);
                    return highA != highB ? highA < highB : a < b;
                },
                monitor);
        for (std::size_t i = 0; i != here.size(); ++i) {
            if (i == 0 || high(here[i]) != high(here[i - 1])) {
                m_firstSubSegment.push_back(static_cast<std::uint32_t>(m_subSegmentsByEdge.size()));
                m_ends.push_back(static_cast<std::uint32_t>(node));
                m_ends.push_back(high(here[i]));
            }
            edgeOfSubSegment[here[i]] = GetEdgeCount() - 1;
            m_subSegmentsByEdge.push_back(here[i]);
        }
    }
    m_firstSubSegment.push_back(static_cast<std::uint32_t>(m_subSegmentsByEdge.size()));
}

void FaceMap::SortAroundNodes(Monitor& monitor) {
    std::uint32_t const count = 2 * GetEdgeCount();
    m_firstHalfEdge.assign(nodes.size() + 1, 0);
    for (std::uint32_t h = 0; h != count; ++h)
        ++m_firstHalfEdge[Origin(h) + 1];
    monitor.Check();
    for (std::size_t i = 0; i != nodes.size(); ++i)
        m_firstHalfEdge[i + 1] += m_firstHalfEdge[i];
    m_halfEdgesByNode.resize(count);
    {
        std::vector<std::uint32_t> at(m_firstHalfEdge.begin(), m_firstHalfEdge.end() - 1);
        for (std::uint32_t h = 0; h != count; ++h) {
            m_halfEdgesByNode[at[Origin(h)]++] = h;
            monitor.Tick();
        }
    }
    next.resize(count);
    std::vector<std::uint32_t> around;
    for (std::uint32_t node = 0; node != nodes.size(); ++node) {
        monitor.Tick();
        std::span const here = std::span(m_halfEdgesByNode)
                                   .subspan(m_firstHalfEdge[node], m_firstHalfEdge[node + 1] - m_firstHalfEdge[node]);
        if (here.size() > 2) {
            GridPoint const centre = nodes[node];
            auto const upper = [&](std::uint32_t h) {
                GridPoint const p = nodes[Target(h)];
                return p.y > centre.y || (p.y == centre.y && p.x > centre.x);
            };
            around.assign(here.begin(), here.end());
            Sort(
                around,
                [&](std::uint32_t a, std::uint32_t b) {
                    bool const upperA = upper(a);
                    if (upperA != upper(b))
                        return upperA;
                    return Orientation(centre, nodes[Target(a)], nodes[Target(b)]) > 0;
                },
                monitor);
            std::copy(around.begin(), around.end(), here.begin());
        }
        // Who arrives along the counterclockwise neighbour leaves along this one, keeping the wedge between on the
        // left.
        for (std::size_t i = 0; i != here.size(); ++i)
            next[here[i + 1 == here.size() ? 0 : i + 1] ^ 1] = here[i];
    }
}

void FaceMap::WalkCycles(Monitor& monitor) {
    std::uint32_t const count = 2 * GetEdgeCount();
    m_cycleOfHalfEdge.assign(count, c_noIndex);
    for (std::uint32_t start = 0; start != count; ++start) {
        if (m_cycleOfHalfEdge[start] != c_noIndex)
            continue;
        Cycle cycle;
        cycle.lowestHalfEdge = start;
        GridPoint const origin = nodes[Origin(start)];
        std::uint32_t h = start;
        do {
            m_cycleOfHalfEdge[h] = static_cast<std::uint32_t>(m_cycles.size());
            if (Origin(h) < Origin(cycle.lowestHalfEdge))
                cycle.lowestHalfEdge = h;
            GridPoint const p = nodes[Origin(h)], q = nodes[Target(h)];
            cycle.twiceArea += Cross(origin, p, origin, q);
            double const dx = static_cast<double>(q.x - p.x), dy = static_cast<double>(q.y - p.y);
            cycle.length += std::sqrt(dx * dx + dy * dy);
            h = next[h];
            monitor.Tick();
        } while (h != start);
        m_cycles.push_back(cycle);
    }
}

} // namespace Geometry::Planar
