// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/flattened_net.h"

#include "engine/geometry/planar_map/parallel.h"
#include "platform/geometry/curve_operations.h"

#include <cmath>

namespace Geometry::Planar {

namespace {

// Where curves cross at no small angle that place is no more than so many times farther from the crossing of their
// chords than the curves are from the chords.
constexpr double c_mostMovedByErrors = 32;
// In grid units; more than crossings move that are found on the finest chords.
constexpr std::int64_t c_near = 64;

bool IsNear(GridPoint a, GridPoint b) { return std::abs(a.x - b.x) <= c_near && std::abs(a.y - b.y) <= c_near; }

// How far along a chord a grid point lies.
double Progress(GridSegment const& s, GridPoint p) {
    return static_cast<double>(static_cast<Wide>(p.x - s.a.x) * (s.b.x - s.a.x) +
                               static_cast<Wide>(p.y - s.a.y) * (s.b.y - s.a.y));
}

double InterpolatedParameter(GridSegment const& s, CurvePart const& part, GridPoint p) {
    double const dx = static_cast<double>(s.b.x - s.a.x), dy = static_cast<double>(s.b.y - s.a.y);
    double const ratio = Progress(s, p) / (dx * dx + dy * dy);
    return part.t0 + (part.t1 - part.t0) * std::clamp(ratio, 0.0, 1.0);
}

} // namespace

// Chords cross where curves do, and once, but the crossings of one curve with two others may still lie the other way
// round, or so near to each other that the chords can't tell.
void FlattenedNet::CheckCrossings(Monitor& monitor) {
    // Bytes, so that threads write to places of their own.
    std::vector<std::uint8_t> isClear(crossings.size() - m_metCrossings, 1);
    ForStretches(isClear.size(), 1024, monitor, [&](std::size_t from, std::size_t to, Monitor& own) {
        for (std::size_t i = from; i != to; ++i) {
            Crossing& crossing = crossings[m_metCrossings + i];
            if (IsAlive(crossing))
                isClear[i] = Meet(crossing) ? 1 : 0;
            own.Tick();
        }
    });
    for (std::size_t i = 0; i != isClear.size(); ++i) {
        if (isClear[i] == 0)
            RefineCrossing(crossings[m_metCrossings + i]);
    }
    m_metCrossings = crossings.size();
    CollectStops(monitor);
    for (std::uint32_t part = 0; part != list.parts.size(); ++part) {
        std::uint32_t const first = m_firstStop[part], count = m_firstStop[part + 1] - first;
        if (count > 1)
            CheckOrder(part, std::span(m_stops).subspan(first, count), monitor);
        monitor.Tick();
    }
}

void FlattenedNet::RefineCrossing(Crossing const& crossing) {
    bool const splitA = IsCoarse(crossing.a) && !m_marked[crossing.a];
    bool const splitB = IsCoarse(crossing.b) && !m_marked[crossing.b];
    if (!(splitA || splitB) || !Spend(crossing.a, crossing.b))
        return;
    if (splitA)
        MarkForSplit(crossing.a);
    if (splitB)
        MarkForSplit(crossing.b);
}

// Solves curve(t) == other(u) by Newton's method within the sections of the two chords, where there is one solution.
bool FlattenedNet::Meet(Crossing& crossing) const {
    constexpr int c_steps = 16;
    constexpr double c_closeEnough = 1.0 / 1024;
    CurvePart const &a = list.parts[crossing.a], &b = list.parts[crossing.b];
    crossing.t = InterpolatedParameter(list.segments[crossing.a], a, crossing.at);
    crossing.u = InterpolatedParameter(list.segments[crossing.b], b, crossing.at);
    if (a.error == 0 && b.error == 0)
        return true;
    Segment const curve = m_net->GetGridCurve(m_net->pieces[a.owner].curve),
                  other = m_net->GetGridCurve(m_net->pieces[b.owner].curve);
    double t = crossing.t, u = crossing.u;
    for (int i = 0; i != c_steps; ++i) {
        PointDbl const p = Evaluate(curve, t), q = Evaluate(other, u);
        double const x = q.x - p.x, y = q.y - p.y;
        if (std::fabs(x) + std::fabs(y) < c_closeEnough) {
            crossing.t = t;
            crossing.u = u;
            // At small angles the chords cross far from where the curves do, and in between may become one edge.
            double const moved = std::max(std::fabs(p.x - static_cast<double>(crossing.at.x)),
                                          std::fabs(p.y - static_cast<double>(crossing.at.y)));
            return !(moved > GetUsualReach(crossing));
        }
        PointDbl const d = EvaluateDerivative(curve, t), e = EvaluateDerivative(other, u);
        double const determinant = d.x * e.y - d.y * e.x;
        if (!(std::fabs(determinant) > 1e-12 * (std::hypot(d.x, d.y) * std::hypot(e.x, e.y))))
            break;
        t = std::clamp(t + (x * e.y - y * e.x) / determinant, a.t0, a.t1);
        u = std::clamp(u + (x * d.y - y * d.x) / determinant, b.t0, b.t1);
    }
    // The curves touch, or nearly: each is cut where it passes the crossing of the chords.
    crossing.t = GetParameterNear(crossing.a, crossing.at);
    crossing.u = GetParameterNear(crossing.b, crossing.at);
    // Shorter chords start nearer to it.
    return false;
}

double FlattenedNet::GetParameterNear(std::uint32_t part, GridPoint p, Stop const* stop) const {
    CurvePart const& own = list.parts[part];
    // Along a chord the parameter runs evenly only where the curve does; it may bend little and still not.
    if (m_net == nullptr || m_net->curves[m_net->pieces[own.owner].curve].straight)
        return stop != nullptr ? stop->t : InterpolatedParameter(list.segments[part], own, p);
    Segment const curve = m_net->GetGridCurve(m_net->pieces[own.owner].curve);
    PointDbl const at{static_cast<double>(p.x), static_cast<double>(p.y)};
    if (stop != nullptr) {
        Crossing const& crossing = crossings[stop->crossing];
        PointDbl const q = Evaluate(curve, stop->t);
        if (std::max(std::fabs(q.x - at.x), std::fabs(q.y - at.y)) <= GetUsualReach(crossing))
            return stop->t;
    }
    return RefineNearest(curve, at, InterpolatedParameter(list.segments[part], own, p), own.t0, own.t1);
}

double FlattenedNet::GetUsualReach(Crossing const& crossing) const {
    double const errors =
        static_cast<double>(list.parts[crossing.a].error) + static_cast<double>(list.parts[crossing.b].error);
    bool const fine = list.parts[crossing.a].error <= c_finestError && list.parts[crossing.b].error <= c_finestError;
    return fine ? 2.0 * c_finestError : c_mostMovedByErrors * errors;
}

void FlattenedNet::CollectStops(Monitor& monitor) {
    m_firstStop.assign(list.parts.size() + 1, 0);
    for (Crossing const& crossing : crossings) {
        monitor.Tick();
        if (!IsAlive(crossing))
            continue;
        ++m_firstStop[crossing.a + 1];
        ++m_firstStop[crossing.b + 1];
    }
    for (std::size_t i = 0; i != list.parts.size(); ++i)
        m_firstStop[i + 1] += m_firstStop[i];
    m_stops.resize(m_firstStop.back());
    std::vector<std::uint32_t> next(m_firstStop.begin(), m_firstStop.end() - 1);
    for (std::uint32_t i = 0; i != crossings.size(); ++i) {
        Crossing const& crossing = crossings[i];
        monitor.Tick();
        if (!IsAlive(crossing))
            continue;
        m_stops[next[crossing.a]++] = {crossing.at, crossing.t, i};
        m_stops[next[crossing.b]++] = {crossing.at, crossing.u, i};
    }
}

void FlattenedNet::CheckOrder(std::uint32_t part, std::span<Stop> stops, Monitor& monitor) {
    GridSegment const& segment = list.segments[part];
    auto const isBefore = [&](Stop const& a, Stop const& b) {
        double const pa = Progress(segment, a.at), pb = Progress(segment, b.at);
        return pa != pb ? pa < pb : a.crossing < b.crossing;
    };
    if (stops.size() < 8192) {
        std::sort(stops.begin(), stops.end(), isBefore);
    } else {
        std::vector<Stop> copy(stops.begin(), stops.end());
        Sort(copy, isBefore, monitor);
        std::copy(copy.begin(), copy.end(), stops.begin());
    }
    for (std::size_t i = 0; i + 1 < stops.size(); ++i) {
        Stop const &stop = stops[i], &next = stops[i + 1];
        // Those next to each other may become one node, or an edge of several curves, and must not move much then.
        if (stop.t < next.t && !IsNear(stop.at, next.at))
            continue;
        RefineCrossing(crossings[stop.crossing]);
        RefineCrossing(crossings[next.crossing]);
    }
}

} // namespace Geometry::Planar
