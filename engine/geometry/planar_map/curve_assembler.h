// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/node_positions.h"

#include <cstdint>
#include <vector>

namespace Geometry::Planar {

// A step from node to node along a curve. Parameters fall where the step goes against the curve's own direction.
struct PathStep {
    std::uint32_t curve = 0;
    double t0 = 0, t1 = 0;
    std::uint32_t from = 0, to = 0;
    // The curve may not run on into this step from the one before.
    bool breakBefore = false;
};

// Puts steps along curves together again: steps that go on along one curve become one segment of it.
//
// A segment is cut from its curve in the curve's own direction, whichever way it is walked, and its ends are moved onto
// the nodes; two walks along it, forth and back, give the same points.
class CurveAssembler {
public:
    CurveAssembler(FaceMap const& map, CurveNet const& net, NodePositions const& positions)
        : m_map(map), m_net(net), m_positions(positions) {}

    // The curve that stands for an edge, as a step along a half-edge: of all that run there the first of the net.
    PathStep StepAlong(std::uint32_t halfEdge) const;
    PathStep StepAlong(SubSegment const& sub, bool forward) const;

    // One contour of steps that follow each other. A closed one starts at the lowest node where a segment ends.
    // `joinLines`: straight segments of one line become one, even when they come from several curves.
    Kernel::Counted<CurveDbl> Assemble(std::vector<PathStep> steps, bool closed, bool joinLines) const;

private:
    static bool RunsOn(PathStep const& a, PathStep const& b);
    static std::vector<PathStep> JoinSteps(std::vector<PathStep> const& steps, bool closed);
    void JoinLines(std::vector<PathStep>& runs, bool closed) const;
    bool IsLine(PathStep const& run) const { return m_net.curves[run.curve].straight; }
    void Append(CurveDbl& curve, PathStep const& run) const;

    FaceMap const& m_map;
    CurveNet const& m_net;
    NodePositions const& m_positions;
};

} // namespace Geometry::Planar
