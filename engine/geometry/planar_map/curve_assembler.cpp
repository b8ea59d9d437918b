// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/curve_assembler.h"

#include "platform/geometry/curve_operations.h"

#include <algorithm>
#include <cmath>

namespace Geometry::Planar {

PathStep CurveAssembler::StepAlong(SubSegment const& sub, bool forward) const {
    std::uint32_t const curve = m_net.pieces[sub.piece].curve;
    if (forward)
        return {curve, sub.t0, sub.t1, sub.from, sub.to, false};
    return {curve, sub.t1, sub.t0, sub.to, sub.from, false};
}

PathStep CurveAssembler::StepAlong(std::uint32_t halfEdge) const {
    // Sub-segments are numbered by pieces, and these by curves.
    SubSegment const& sub = m_map.subSegments[m_map.SubSegmentsOf(halfEdge / 2).front()];
    return StepAlong(sub, m_map.RunsUp(sub) == (halfEdge % 2 == 0));
}

bool CurveAssembler::RunsOn(PathStep const& a, PathStep const& b) {
    return a.curve == b.curve && a.t1 == b.t0 && (a.t0 < a.t1) == (b.t0 < b.t1) && !b.breakBefore;
}

std::vector<PathStep> CurveAssembler::JoinSteps(std::vector<PathStep> const& steps, bool closed) {
    std::size_t start = 0;
    if (closed) {
        // At the lowest node among those where a segment ends; there is one, since no curve runs on for ever.
        std::uint32_t lowest = c_noIndex;
        for (std::size_t i = 0; i != steps.size(); ++i) {
            PathStep const& before = steps[i == 0 ? steps.size() - 1 : i - 1];
            if (steps[i].from < lowest && !RunsOn(before, steps[i])) {
                lowest = steps[i].from;
                start = i;
            }
        }
    }
    std::vector<PathStep> runs;
    for (std::size_t i = 0; i != steps.size(); ++i) {
        PathStep const& step = steps[(start + i) % steps.size()];
        if (i != 0 && RunsOn(runs.back(), step)) {
            runs.back().t1 = step.t1;
            runs.back().to = step.to;
        } else {
            runs.push_back(step);
        }
    }
    return runs;
}

void CurveAssembler::JoinLines(std::vector<PathStep>& runs, bool closed) const {
    constexpr double c_tolerance = 2;
    // Against the line of the first of the joined runs, so that a slow bend of many does not pass for one line.
    auto const liesAhead = [&](PathStep const& run, PathStep const& first, PathStep const& added) {
        if (!IsLine(run) || !IsLine(added) || added.breakBefore)
            return false;
        PointDbl const a = m_net.frame.ToGrid(m_positions.points[first.from]);
        PointDbl const b = m_net.frame.ToGrid(m_positions.points[first.to]);
        PointDbl const c = m_net.frame.ToGrid(m_positions.points[added.from]);
        PointDbl const d = m_net.frame.ToGrid(m_positions.points[added.to]);
        double const x = b.x - a.x, y = b.y - a.y, length = std::hypot(x, y);
        return std::fabs(x * (d.y - a.y) - y * (d.x - a.x)) <= c_tolerance * length &&
               x * (d.x - c.x) + y * (d.y - c.y) > 0;
    };
    std::vector<PathStep> joined;
    PathStep first;
    for (PathStep const& run : runs) {
        if (!joined.empty() && liesAhead(joined.back(), first, run)) {
            joined.back().to = run.to;
            continue;
        }
        first = run;
        joined.push_back(run);
    }
    if (closed && joined.size() > 2 && liesAhead(joined.back(), joined.back(), joined.front())) {
        joined.front().from = joined.back().from;
        joined.pop_back();
    }
    runs = std::move(joined);
}

Kernel::Counted<CurveDbl> CurveAssembler::Assemble(std::vector<PathStep> steps, bool closed, bool joinLines) const {
    std::vector<PathStep> runs = JoinSteps(steps, closed);
    if (joinLines)
        JoinLines(runs, closed);
    auto curve = Kernel::MakeCounted<CurveDbl>();
    curve->MoveTo(m_positions.points[runs.front().from]);
    std::size_t points = 1;
    for (PathStep const& run : runs)
        points += IsLine(run) ? 1 : 3;
    curve->Reserve(points, runs.size());
    for (PathStep const& run : runs)
        Append(*curve, run);
    if (closed)
        curve->Close();
    return curve;
}

void CurveAssembler::Append(CurveDbl& curve, PathStep const& run) const {
    PointDbl const end = m_positions.points[run.to];
    double const low = std::min(run.t0, run.t1), high = std::max(run.t0, run.t1);
    if (IsLine(run) || !(low < high)) {
        curve.LineTo(end);
        return;
    }
    bool const forward = run.t0 < run.t1;
    Segment whole = m_net.GetSourceCurve(run.curve);
    PointDbl control1 = whole.control1, control2 = whole.control2;
    if (low > 0 || high < 1) {
        Segment const piece = GetPiece(m_net.frame.ToGrid(whole), low, high);
        PointDbl const first = m_net.frame.ToGrid(m_positions.points[forward ? run.from : run.to]);
        PointDbl const last = m_net.frame.ToGrid(m_positions.points[forward ? run.to : run.from]);
        control1 = m_net.frame.FromGrid(
            {piece.control1.x + (first.x - piece.start.x), piece.control1.y + (first.y - piece.start.y)});
        control2 = m_net.frame.FromGrid(
            {piece.control2.x + (last.x - piece.end.x), piece.control2.y + (last.y - piece.end.y)});
    }
    if (!forward)
        std::swap(control1, control2);
    curve.CubicTo(control1, control2, end);
}

} // namespace Geometry::Planar
