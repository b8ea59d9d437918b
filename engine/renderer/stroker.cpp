// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/stroker.h"

#include "engine/geometry/deterministic_math.h"
#include "engine/geometry/tangents.h"

#include <algorithm>
#include <cmath>

namespace Renderer::Detail {

namespace {

using Geometry::Detail::ArcTangent;
using Geometry::Detail::GetSineCosine;
using Geometry::Detail::ToUnit;

constexpr double c_pi = Geometry::Detail::c_pi;

// The side that positive half widths go to: the left of the direction where y grows upwards.
PointDbl GetNormal(PointDbl direction) { return {direction.y, -direction.x}; }

PointDbl Offset(PointDbl p, PointDbl direction, double distance) {
    return {p.x + direction.x * distance, p.y + direction.y * distance};
}

PointDbl Negative(PointDbl p) { return {-p.x, -p.y}; }

double GetCross(PointDbl from, PointDbl to) { return from.x * to.y - from.y * to.x; }

// Rounding makes the cosine of a turn back a little less than -1, where no half angle has a tangent.
double GetCosine(PointDbl from, PointDbl to) { return std::max(-1.0, from.x * to.x + from.y * to.y); }

constexpr PointDbl c_noDirection{};

} // namespace

double StrokeShape::GetReach() const {
    double reach = halfWidth;
    if (join == LineJoin::Mitre)
        reach *= std::max(1.0, mitreLimit);
    return cap == LineCap::Square ? std::max(reach, halfWidth * 1.5) : reach;
}

void Stroker::Stroke(Polyline const& line) {
    if (line.points.empty() || !(m_shape.halfWidth > 0))
        return;
    Prepare(line);
    std::size_t const count = m_vertices.size();
    if (count < 2) {
        AddDot(line.points.front());
        return;
    }
    if (line.closed) {
        for (std::size_t i = 0; i != count; ++i)
            AddForward(i, i == 0 ? count - 1 : i - 1);
        m_out.EndPolygon();
        // There and back, the one border goes round both sides already.
        for (std::size_t i = count; count > 2 && i-- != 0;)
            AddBackward(i, i == 0 ? count - 1 : i - 1);
        m_out.EndPolygon();
        return;
    }
    for (std::size_t i = 1; i + 1 < count; ++i)
        AddForward(i, i - 1);
    AddEnd(m_vertices.back(), m_vertices[count - 2]);
    for (std::size_t i = count - 2; i != 0; --i)
        AddBackward(i, i - 1);
    AddStart(m_vertices.front());
    m_out.EndPolygon();
}

void Stroker::Prepare(Polyline const& line) {
    // Steps that are mere rounding have directions that mean nothing.
    double const shortest = m_shape.tolerance * 1e-6;
    m_vertices.clear();
    auto const direct = [shortest](Vertex& from, PointDbl to) {
        PointDbl const step{to.x - from.p.x, to.y - from.p.y};
        double const squared = step.x * step.x + step.y * step.y;
        if (squared > 1e-200 && squared < 1e200) {
            from.length = std::sqrt(squared);
            double const scale = 1 / from.length;
            from.direction = {step.x * scale, step.y * scale};
        } else {
            from.direction = ToUnit(step);
            from.length = std::hypot(step.x, step.y);
        }
        return from.length > shortest;
    };
    // One vertex for two in one place: a corner where one of them is, between the arrival of the first corner and the
    // departure of the last.
    auto const merge = [](Vertex& into, Vertex const& first, Vertex const& last) {
        into.arriving = first.smooth ? last.arriving : first.arriving;
        into.leaving = last.smooth ? first.leaving : last.leaving;
        into.smooth = first.smooth && last.smooth;
    };
    for (LinePoint const& point : line.points) {
        Vertex const vertex{point.p, {}, 0, m_shape.halfWidth * point.width, point.smooth, &point, &point};
        if (!m_vertices.empty() && !direct(m_vertices.back(), point.p))
            merge(m_vertices.back(), Vertex(m_vertices.back()), vertex);
        else
            m_vertices.push_back(vertex);
    }
    while (line.closed && m_vertices.size() > 1 && !direct(m_vertices.back(), m_vertices.front().p)) {
        merge(m_vertices.front(), m_vertices.back(), Vertex(m_vertices.front()));
        m_vertices.pop_back();
    }
    m_turns.resize(std::max(m_turns.size(), m_vertices.size()));
}

void Stroker::AddDot(LinePoint const& at) {
    double const w = m_shape.halfWidth * at.width;
    if (m_shape.cap == LineCap::Round) {
        AddArc(at.p, w, {1, 0}, MakeArc(w, 2 * c_pi));
    } else if (m_shape.cap == LineCap::Square) {
        for (PointDbl const& corner : {PointDbl{-w, -w}, {w, -w}, {w, w}, {-w, w}})
            m_out.Add({at.p.x + corner.x, at.p.y + corner.y});
    }
    m_out.EndPolygon();
}

bool Stroker::IsSlight(double halfWidth, double cosine) {
    if (halfWidth != m_slightWidth) {
        double const overshoot = 1 + m_shape.tolerance / halfWidth;
        m_slightWidth = halfWidth;
        m_overshootSquared = overshoot * overshoot;
    }
    // The square of the mitre's length over the width is 2 / (1 + cosine).
    return 2 <= m_overshootSquared * (1 + cosine);
}

bool Stroker::IsRoomForCrossing(double halfWidth, double cosine, double lengthFrom, double lengthTo) const {
    // Where the two strips' borders cross lies tan(angle / 2) half widths along either segment.
    double const shorter = std::min(lengthFrom, lengthTo);
    return cosine > -1 && halfWidth * halfWidth * (1 - cosine) <= shorter * shorter * (1 + cosine);
}

Stroker::Turn Stroker::MakeTurn(Vertex const& at, Vertex const& before) {
    double const cosine = GetCosine(before.direction, at.direction), w = at.halfWidth;
    if (!at.smooth || !IsSlight(w, cosine) || !IsRoomForCrossing(w, cosine, before.length, at.length))
        return {};
    PointDbl const from = GetNormal(before.direction), to = GetNormal(at.direction);
    double const scale = w / (1 + cosine);
    return {{(from.x + to.x) * scale, (from.y + to.y) * scale}, true};
}

void Stroker::AddForward(std::size_t i, std::size_t before) {
    Vertex const& v = m_vertices[i];
    Vertex const& previous = m_vertices[before];
    Turn& turn = m_turns[i];
    turn = MakeTurn(v, previous);
    if (turn.isPlain)
        m_out.Add({v.p.x + turn.offset.x, v.p.y + turn.offset.y});
    else if (HasTangents(v))
        AddCorner(v, GetCorner(v, previous));
    else
        AddJoin(v, previous.direction, v.direction, previous.length, v.length);
}

void Stroker::AddBackward(std::size_t i, std::size_t before) {
    Vertex const& v = m_vertices[i];
    Vertex const& previous = m_vertices[before];
    Turn const& turn = m_turns[i];
    if (turn.isPlain) {
        m_out.Add({v.p.x - turn.offset.x, v.p.y - turn.offset.y});
    } else if (HasTangents(v)) {
        Corner const c = GetCorner(v, previous);
        AddCorner(v, {Negative(c.after), Negative(c.departure), Negative(c.arrival), Negative(c.before), c.lengthAfter,
                      c.lengthBefore});
    } else {
        AddJoin(v, Negative(v.direction), Negative(previous.direction), v.length, previous.length);
    }
}

bool Stroker::HasTangents(Vertex const& at) {
    return !at.smooth && (at.arriving->arrival != c_noDirection || at.leaving->departure != c_noDirection);
}

Stroker::Corner Stroker::GetCorner(Vertex const& at, Vertex const& before) {
    PointDbl const arrival = at.arriving->arrival, departure = at.leaving->departure;
    return {before.direction,
            arrival != c_noDirection ? arrival : before.direction,
            departure != c_noDirection ? departure : at.direction,
            at.direction,
            before.length,
            at.length};
}

void Stroker::AddCorner(Vertex const& at, Corner const& corner) {
    double const w = at.halfWidth;
    double const cosine = GetCosine(corner.arrival, corner.departure);
    bool const isSteady =
        IsSlight(w, GetCosine(corner.before, corner.arrival)) && IsSlight(w, GetCosine(corner.departure, corner.after));
    if (isSteady && IsSlight(w, cosine)) {
        Vertex smooth = at;
        smooth.smooth = true;
        AddJoin(smooth, corner.before, corner.after, corner.lengthBefore, corner.lengthAfter);
        return;
    }
    bool const isOuter = GetCross(corner.arrival, corner.departure) >= 0;
    if (!isOuter && isSteady && GetCross(corner.before, corner.after) < 0) {
        AddJoin(at, corner.before, corner.after, corner.lengthBefore, corner.lengthAfter);
        return;
    }
    AddSwing(at, corner.before, corner.arrival);
    if (isOuter)
        AddOuterJoin(at, corner.arrival, corner.departure, cosine);
    else
        AddInnerJoin(at, corner.arrival, corner.departure);
    AddSwing(at, corner.departure, corner.after);
}

void Stroker::AddSwing(Vertex const& at, PointDbl from, PointDbl to) {
    // Below this angle not even the longest mitre shows it.
    constexpr double c_steady = 1 - 1e-10;
    double const cosine = GetCosine(from, to);
    if (cosine > c_steady)
        return;
    if (IsSlight(at.halfWidth, cosine)) {
        AddTip(at, from, to, cosine);
        return;
    }
    double const cross = GetCross(from, to);
    if (cross < 0) {
        AddInnerJoin(at, from, to);
        return;
    }
    AddArc(at.p, at.halfWidth, GetNormal(from), MakeArc(at.halfWidth, ArcTangent(cross, cosine)));
    m_out.Add(Offset(at.p, GetNormal(to), at.halfWidth));
}

void Stroker::AddJoin(Vertex const& at, PointDbl from, PointDbl to, double lengthFrom, double lengthTo) {
    double const cosine = GetCosine(from, to);
    if (GetCross(from, to) >= 0)
        AddOuterJoin(at, from, to, cosine);
    else if (IsRoomForCrossing(at.halfWidth, cosine, lengthFrom, lengthTo))
        AddTip(at, from, to, cosine);
    else
        AddInnerJoin(at, from, to);
}

void Stroker::AddInnerJoin(Vertex const& at, PointDbl from, PointDbl to) {
    m_out.Add(Offset(at.p, GetNormal(from), at.halfWidth));
    m_out.Add(at.p);
    m_out.Add(Offset(at.p, GetNormal(to), at.halfWidth));
}

void Stroker::AddTip(Vertex const& at, PointDbl from, PointDbl to, double cosine) {
    PointDbl const normalFrom = GetNormal(from), normalTo = GetNormal(to);
    m_out.Add(Offset(at.p, {normalFrom.x + normalTo.x, normalFrom.y + normalTo.y}, at.halfWidth / (1 + cosine)));
}

void Stroker::AddOuterJoin(Vertex const& at, PointDbl from, PointDbl to, double cosine) {
    double const w = at.halfWidth;
    PointDbl const normalFrom = GetNormal(from), normalTo = GetNormal(to);
    if (at.smooth || m_shape.join == LineJoin::Round) {
        if (at.smooth && IsSlight(w, cosine)) {
            AddTip(at, from, to, cosine);
            return;
        }
        AddArc(at.p, w, normalFrom, MakeArc(w, ArcTangent(GetCross(from, to), cosine)));
        m_out.Add(Offset(at.p, normalTo, w));
        return;
    }
    if (m_shape.join == LineJoin::Mitre && 2 <= m_shape.mitreLimit * m_shape.mitreLimit * (1 + cosine)) {
        AddTip(at, from, to, cosine);
        return;
    }
    m_out.Add(Offset(at.p, normalFrom, w));
    m_out.Add(Offset(at.p, normalTo, w));
}

void Stroker::AddStart(Vertex const& at) {
    PointDbl const chord = at.direction, departure = at.leaving->departure;
    PointDbl const direction = departure != c_noDirection ? departure : chord;
    AddSwing(at, Negative(chord), Negative(direction));
    AddCap(at, Negative(direction));
    AddSwing(at, direction, chord);
}

void Stroker::AddEnd(Vertex const& at, Vertex const& before) {
    PointDbl const chord = before.direction, arrival = at.arriving->arrival;
    PointDbl const direction = arrival != c_noDirection ? arrival : chord;
    AddSwing(at, chord, direction);
    AddCap(at, direction);
    AddSwing(at, Negative(direction), Negative(chord));
}

void Stroker::AddCap(Vertex const& at, PointDbl direction) {
    double const w = at.halfWidth;
    PointDbl const normal = GetNormal(direction);
    switch (m_shape.cap) {
    case LineCap::Butt:
        m_out.Add(Offset(at.p, normal, w));
        m_out.Add(Offset(at.p, normal, -w));
        break;
    case LineCap::Square: {
        PointDbl const end = Offset(at.p, direction, w);
        m_out.Add(Offset(end, normal, w));
        m_out.Add(Offset(end, normal, -w));
        break;
    }
    case LineCap::Round:
        AddArc(at.p, w, normal, GetCap(w));
        m_out.Add(Offset(at.p, normal, -w));
        break;
    }
}

double Stroker::GetMostSteps() const {
    // The joins of a long contour share a budget.
    return std::clamp(4194304.0 / static_cast<double>(m_vertices.size() + 1), 8.0, 4096.0);
}

Stroker::Arc Stroker::MakeArc(double radius, double angle) const {
    // A chord over the angle s lies r (1 - cos(s / 2)) inside its arc, which is below r s^2 / 8. Small dots show what
    // chords take from their area: a quarter of the tolerance.
    double const largest = std::sqrt(2 * m_shape.tolerance / radius);
    // An endless radius makes this NaN.
    double const wanted = std::ceil(angle / largest);
    int const steps = wanted > 1 ? static_cast<int>(std::min(wanted, GetMostSteps())) : 1;
    auto const [sine, cosine] = GetSineCosine(angle / steps);
    return {steps, sine, cosine};
}

Stroker::Arc const& Stroker::GetCap(double radius) {
    double const most = GetMostSteps();
    if (m_cap.steps == 0 || m_capRadius != radius || m_capMost != most)
        m_cap = MakeArc(radius, c_pi);
    m_capRadius = radius;
    m_capMost = most;
    return m_cap;
}

void Stroker::AddArc(PointDbl centre, double radius, PointDbl fromNormal, Arc const& arc) {
    PointDbl normal = fromNormal;
    for (int i = 0; i != arc.steps; ++i) {
        m_out.Add(Offset(centre, normal, radius));
        normal = {normal.x * arc.cosine - normal.y * arc.sine, normal.x * arc.sine + normal.y * arc.cosine};
    }
}

} // namespace Renderer::Detail
