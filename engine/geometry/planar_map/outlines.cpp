// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/outlines.h"

#include "engine/geometry/planar_map/parallel.h"

#include <algorithm>
#include <span>

namespace Geometry::Planar {

OutlineTracer::OutlineTracer(FaceMap const& map, CurveAssembler const& assembler,
                             std::vector<std::uint32_t> const& labels, bool joinRuns, bool joinLines,
                             bool separateRings, Monitor& monitor)
    : m_map(map),
      m_assembler(assembler),
      m_labels(labels),
      m_joinRuns(joinRuns),
      m_joinLines(joinLines),
      m_separateRings(separateRings),
      m_monitor(monitor),
      m_keptDegrees(map.nodes.size(), 0),
      m_metAt(map.nodes.size(), c_noIndex),
      m_done(map.face.size(), false) {
    for (std::uint32_t h = 0; h != map.face.size(); ++h) {
        if (IsKept(h))
            ++m_keptDegrees[map.Origin(h)];
        monitor.Tick();
    }
}

std::vector<OutlineTracer::Ring> OutlineTracer::Trace() {
    for (std::uint32_t h = 0; h != m_map.face.size(); ++h) {
        m_monitor.Tick();
        if (!m_done[h] && m_labels[m_map.face[h]] != c_noIndex && IsKept(h))
            TraceFrom(h);
    }
    Assemble();
    return std::move(m_rings);
}

std::uint32_t OutlineTracer::NextKept(std::uint32_t halfEdge) const {
    std::uint32_t next = m_map.next[halfEdge];
    while (!IsKept(next))
        next = m_map.next[next ^ 1];
    return next;
}

void OutlineTracer::TraceFrom(std::uint32_t start) {
    std::vector<std::uint32_t> ring, loop;
    std::uint32_t h = start;
    do {
        m_monitor.Tick();
        m_done[h] = true;
        std::uint32_t const node = m_map.Origin(h);
        if (m_separateRings && m_metAt[node] != c_noIndex) {
            // Back at a node that the ring has passed: what lies between is a ring by itself.
            std::uint32_t const first = m_metAt[node];
            loop.assign(ring.begin() + first, ring.end());
            ring.resize(first);
            for (std::uint32_t const e : loop)
                m_metAt[m_map.Origin(e)] = c_noIndex;
            Emit(loop);
        }
        m_metAt[node] = static_cast<std::uint32_t>(ring.size());
        ring.push_back(h);
        h = NextKept(h);
    } while (h != start);
    for (std::uint32_t const e : ring)
        m_metAt[m_map.Origin(e)] = c_noIndex;
    Emit(ring);
}

void OutlineTracer::Emit(std::vector<std::uint32_t> const& halfEdges) {
    std::vector<PathStep> steps;
    steps.reserve(halfEdges.size());
    Wide twiceArea = 0;
    GridPoint const origin = m_map.nodes[m_map.Origin(halfEdges.front())];
    for (std::uint32_t const h : halfEdges) {
        PathStep step = m_assembler.StepAlong(h);
        std::uint32_t const node = m_map.Origin(h);
        step.breakBefore = m_keptDegrees[node] != 2 || (!m_joinRuns && m_map.Leaving(node).size() != 2);
        steps.push_back(step);
        twiceArea += Cross(origin, m_map.nodes[node], origin, m_map.nodes[m_map.Target(h)]);
        m_monitor.Tick();
    }
    m_rings.push_back({m_labels[m_map.face[halfEdges.front()]], static_cast<double>(twiceArea) / 2, nullptr});
    m_waitingSteps += steps.size();
    m_waiting.push_back(std::move(steps));
    // So many that threads are worth while, and memory is not.
    constexpr std::size_t c_mostWaitingSteps = 16384;
    if (m_waitingSteps > c_mostWaitingSteps)
        Assemble();
}

void OutlineTracer::Assemble() {
    std::size_t const first = m_rings.size() - m_waiting.size();
    ForStretches(m_waiting.size(), 128, m_monitor, [&](std::size_t from, std::size_t to, Monitor& monitor) {
        for (std::size_t i = from; i != to; ++i) {
            m_rings[first + i].curve = m_assembler.Assemble(std::move(m_waiting[i]), true, m_joinLines);
            monitor.Tick();
        }
    });
    m_waiting.clear();
    m_waitingSteps = 0;
}

LineTracer::LineTracer(FaceMap const& map, CurveNet const& net, CurveAssembler const& assembler, Monitor& monitor)
    : m_map(map),
      m_net(net),
      m_assembler(assembler),
      m_monitor(monitor),
      m_firstSubSegment(net.pieces.size() + 1, 0),
      m_taken(map.GetEdgeCount(), false) {
    for (SubSegment const& sub : map.subSegments) {
        ++m_firstSubSegment[sub.piece + 1];
        monitor.Tick();
    }
    for (std::size_t i = 0; i != net.pieces.size(); ++i)
        m_firstSubSegment[i + 1] += m_firstSubSegment[i];
}

std::vector<LineTracer::Step> LineTracer::Walk(NetContour const& contour,
                                               std::function<bool(std::uint32_t)> const& wanted) {
    std::vector<Step> steps;
    bool gap = true, beganWithGap = false;
    for (CurveUse const& use : std::span(m_net.uses).subspan(contour.firstUse, contour.useCount)) {
        NetCurve const& curve = m_net.curves[use.curve];
        for (std::uint32_t i = 0; i != curve.pieceCount && !use.implied; ++i) {
            NetPiece const& piece = m_net.pieces[curve.firstPiece + (use.reversed ? curve.pieceCount - 1 - i : i)];
            bool const forward = use.reversed == piece.reversed;
            std::uint32_t const first = m_firstSubSegment[piece.same], last = m_firstSubSegment[piece.same + 1];
            for (std::uint32_t k = 0; k != last - first; ++k) {
                m_monitor.Tick();
                std::uint32_t const s = forward ? first + k : last - 1 - k, edge = m_map.edgeOfSubSegment[s];
                if (m_taken[edge] || !wanted(edge)) {
                    gap = true;
                    beganWithGap = beganWithGap || steps.empty();
                    continue;
                }
                m_taken[edge] = true;
                steps.push_back({m_assembler.StepAlong(m_map.subSegments[s], forward), gap});
                gap = false;
            }
        }
    }
    if (!steps.empty() && contour.closed && !gap && !beganWithGap)
        steps.front().afterGap = false;
    return steps;
}

void LineTracer::Trace(NetContour const& contour, std::function<bool(std::uint32_t)> const& wanted,
                       std::function<bool(std::uint32_t)> const& endsAt, bool joinRuns, bool joinLines,
                       std::function<void(Kernel::Counted<CurveDbl>, std::uint32_t, std::uint32_t)> const& take) {
    std::vector<Step> const steps = Walk(contour, wanted);
    if (steps.empty())
        return;
    // A closed contour may be begun anywhere, best where a section starts.
    auto const startsAnew = [&](Step const& step) { return step.afterGap || endsAt(step.path.from); };
    auto const begin = std::find_if(steps.begin(), steps.end(), startsAnew);
    bool const whole = begin == steps.end();
    auto const start = static_cast<std::size_t>(whole ? 0 : begin - steps.begin());
    std::vector<PathStep> stretch;
    auto const finish = [&] {
        if (!stretch.empty())
            take(m_assembler.Assemble(stretch, whole, joinLines), stretch.front().from, stretch.back().to);
        stretch.clear();
    };
    for (std::size_t i = 0; i != steps.size(); ++i) {
        m_monitor.Tick();
        Step const& step = steps[(start + i) % steps.size()];
        if (i != 0 && startsAnew(step))
            finish();
        stretch.push_back(step.path);
        stretch.back().breakBefore = !joinRuns && m_map.Leaving(step.path.from).size() != 2;
    }
    finish();
}

} // namespace Geometry::Planar
