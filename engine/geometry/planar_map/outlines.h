// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/curve_assembler.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace Geometry::Planar {

// The outlines of sets of faces.
class OutlineTracer {
public:
    // `labels` tells the set of each face; an edge belongs to outlines when its sides differ. `joinRuns`: segments
    // end only where outlines meet or a curve ends, and not at all other edges too.
    OutlineTracer(FaceMap const& map, CurveAssembler const& assembler, std::vector<std::uint32_t> const& labels,
                  bool joinRuns, bool joinLines, bool separateRings, Monitor& monitor);

    struct Ring {
        std::uint32_t label = 0;
        // Of the flattened outline: positive round a face, negative round a hole in it.
        double area = 0;
        Kernel::Counted<CurveDbl> curve;
    };
    // The closed contours round all faces that have a label other than c_noIndex, those of one face in a row or not,
    // with the face on the left.
    std::vector<Ring> Trace();

private:
    bool IsKept(std::uint32_t halfEdge) const {
        return m_labels[m_map.face[halfEdge]] != m_labels[m_map.face[halfEdge ^ 1]];
    }
    std::uint32_t NextKept(std::uint32_t halfEdge) const;
    void TraceFrom(std::uint32_t halfEdge);
    void Emit(std::vector<std::uint32_t> const& halfEdges);
    // Makes curves of the steps that wait.
    void Assemble();

    FaceMap const& m_map;
    CurveAssembler const& m_assembler;
    std::vector<std::uint32_t> const& m_labels;
    bool m_joinRuns, m_joinLines, m_separateRings;
    Monitor& m_monitor;
    std::vector<std::uint32_t> m_keptDegrees;
    // Where on the way each node was met, while one ring is walked.
    std::vector<std::uint32_t> m_metAt;
    std::vector<bool> m_done;
    std::vector<Ring> m_rings;
    // Of the last rings, which have no curves yet.
    std::vector<std::vector<PathStep>> m_waiting;
    std::size_t m_waitingSteps = 0;
};

// Sections of the inputs' lines, in the order and direction of the contours.
class LineTracer {
public:
    LineTracer(FaceMap const& map, CurveNet const& net, CurveAssembler const& assembler, Monitor& monitor);

    // Calls `take` with each section of `contour` on which all edges are wanted. Sections end at nodes where
    // `endsAt` says so. A contour that is wanted as a whole and never ends comes out closed. No edge is taken twice.
    void Trace(NetContour const& contour, std::function<bool(std::uint32_t edge)> const& wanted,
               std::function<bool(std::uint32_t node)> const& endsAt, bool joinRuns, bool joinLines,
               std::function<void(Kernel::Counted<CurveDbl>, std::uint32_t from, std::uint32_t to)> const& take);

private:
    struct Step {
        PathStep path;
        // The one before is not the step that the contour makes before it.
        bool afterGap = false;
    };
    // The steps along wanted edges; others are left out, and so are edges walked before.
    std::vector<Step> Walk(NetContour const& contour, std::function<bool(std::uint32_t edge)> const& wanted);

    FaceMap const& m_map;
    CurveNet const& m_net;
    CurveAssembler const& m_assembler;
    Monitor& m_monitor;
    // The sub-segments of each piece, which follow each other in the map.
    std::vector<std::uint32_t> m_firstSubSegment;
    std::vector<bool> m_taken;
};

} // namespace Geometry::Planar
