// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/noding.h"

#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace Geometry::Planar {

inline constexpr std::uint32_t c_noIndex = std::numeric_limits<std::uint32_t>::max();

// Edges between nodes, each once with all sub-segments along it; the two half-edges of each; the faces between.
//
// Half-edge 2e runs along edge e from its lower node to the higher, 2e + 1 back. `next` follows a face's boundary with
// the face on the left, where y grows upwards. Face 0 is the unbounded one. Faces have holes: the boundaries of other
// parts of the graph that lie in them.
class FaceMap {
public:
    FaceMap(Noding noding, Monitor& monitor);

    std::vector<GridPoint> nodes;
    std::vector<SubSegment> subSegments;

    std::vector<std::uint32_t> edgeOfSubSegment;
    std::vector<std::uint32_t> next;
    std::vector<std::uint32_t> face;
    // Of the flattened boundary, in grid units.
    std::vector<double> faceAreas, facePerimeters;
    // Connected parts of the graph, and those of them that lie in the unbounded face.
    std::size_t componentCount = 0, topComponentCount = 0;

    std::uint32_t GetEdgeCount() const { return static_cast<std::uint32_t>(m_ends.size() / 2); }
    std::uint32_t GetFaceCount() const { return static_cast<std::uint32_t>(faceAreas.size()); }
    std::uint32_t Origin(std::uint32_t halfEdge) const { return m_ends[halfEdge]; }
    std::uint32_t Target(std::uint32_t halfEdge) const { return m_ends[halfEdge ^ 1]; }
    std::uint32_t LeftFace(std::uint32_t edge) const { return face[2 * edge]; }
    std::uint32_t RightFace(std::uint32_t edge) const { return face[2 * edge + 1]; }
    std::span<std::uint32_t const> SubSegmentsOf(std::uint32_t edge) const {
        return std::span(m_subSegmentsByEdge)
            .subspan(m_firstSubSegment[edge], m_firstSubSegment[edge + 1] - m_firstSubSegment[edge]);
    }
    // The half-edges that leave a node, counterclockwise where y grows upwards.
    std::span<std::uint32_t const> Leaving(std::uint32_t node) const {
        return std::span(m_halfEdgesByNode)
            .subspan(m_firstHalfEdge[node], m_firstHalfEdge[node + 1] - m_firstHalfEdge[node]);
    }
    // Whether a sub-segment runs along its edge from the lower node to the higher.
    bool RunsUp(SubSegment const& sub) const { return sub.from < sub.to; }

private:
    // A closed walk along `next`. With positive area it is the outer boundary of a face, otherwise that of a component.
    struct Cycle {
        Wide twiceArea = 0;
        double length = 0;
        std::uint32_t lowestHalfEdge = 0;
        std::uint32_t face = c_noIndex;
        std::uint32_t enclosing = c_noIndex;
    };

    void CollectEdges(Monitor& monitor);
    void SortAroundNodes(Monitor& monitor);
    void WalkCycles(Monitor& monitor);
    // In nesting.cpp.
    void NestComponents(Monitor& monitor);

    std::vector<std::uint32_t> m_ends;
    std::vector<std::uint32_t> m_firstSubSegment, m_subSegmentsByEdge;
    std::vector<std::uint32_t> m_firstHalfEdge, m_halfEdgesByNode;
    std::vector<Cycle> m_cycles;
    std::vector<std::uint32_t> m_cycleOfHalfEdge;
};

} // namespace Geometry::Planar
