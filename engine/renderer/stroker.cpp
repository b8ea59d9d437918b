// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/stroker.h"

#include "engine/geometry/deterministic_math.h"

#include <algorithm>
#include <cmath>

namespace Renderer::Detail {

namespace {

using Geometry::Detail::ArcTangent;
using Geometry::Detail::GetSineCosine;

constexpr double c_pi = Geometry::Detail::c_pi;

// The side that positive half widths go to: the left of the direction where y grows upwards.
PointDbl GetNormal(PointDbl direction) { return {direction.y, -direction.x}; }

PointDbl Offset(PointDbl p, PointDbl direction, double distance) {
    return {p.x + direction.x * distance, p.y + direction.y * distance};
}

PointDbl Negative(PointDbl p) { return {-p.x, -p.y}; }

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
    auto const join = [&](std::size_t i, std::size_t before, bool forward) {
        Vertex const& v = m_vertices[i];
        Vertex const& previous = m_vertices[before];
        if (forward)
            AddJoin(v, previous.direction, v.direction, previous.length, v.length);
        else
            AddJoin(v, Negative(v.direction), Negative(previous.direction), v.length, previous.length);
    };
    if (line.closed) {
        for (std::size_t i = 0; i != count; ++i)
            join(i, i == 0 ? count - 1 : i - 1, true);
        m_out.EndPolygon();
        // There and back, the one border goes round both sides already.
        for (std::size_t i = count; count > 2 && i-- != 0;)
            join(i, i == 0 ? count - 1 : i - 1, false);
        m_out.EndPolygon();
        return;
    }
    for (std::size_t i = 1; i + 1 < count; ++i)
        join(i, i - 1, true);
    AddCap(m_vertices.back(), m_vertices[count - 2].direction);
    for (std::size_t i = count - 2; i != 0; --i)
        join(i, i - 1, false);
    AddCap(m_vertices.front(), Negative(m_vertices.front().direction));
    m_out.EndPolygon();
}

void Stroker::Prepare(Polyline const& line) {
    // Steps that cannot be seen have directions that mean nothing.
    double const shortest = m_shape.tolerance * 0.01;
    m_vertices.clear();
    auto const direct = [shortest](Vertex& from, PointDbl to) {
        double const x = to.x - from.p.x, y = to.y - from.p.y, largest = std::max(std::fabs(x), std::fabs(y));
        // Scaled, so that squares neither overflow nor vanish.
        double const sx = x / largest, sy = y / largest, norm = std::sqrt(sx * sx + sy * sy);
        from.length = largest * norm;
        from.direction = {sx / norm, sy / norm};
        return from.length > shortest;
    };
    for (LinePoint const& point : line.points) {
        if (!m_vertices.empty() && !direct(m_vertices.back(), point.p)) {
            m_vertices.back().smooth = m_vertices.back().smooth && point.smooth;
            continue;
        }
        m_vertices.push_back({point.p, {}, 0, m_shape.halfWidth * point.width, point.smooth});
    }
    while (line.closed && m_vertices.size() > 1 && !direct(m_vertices.back(), m_vertices.front().p)) {
        m_vertices.front().smooth = m_vertices.front().smooth && m_vertices.back().smooth;
        m_vertices.pop_back();
    }
}

void Stroker::AddDot(LinePoint const& at) {
    double const w = m_shape.halfWidth * at.width;
    if (m_shape.cap == LineCap::Round) {
        AddArc(at.p, w, {1, 0}, 2 * c_pi);
    } else if (m_shape.cap == LineCap::Square) {
        for (PointDbl const& corner : {PointDbl{-w, -w}, {w, -w}, {w, w}, {-w, w}})
            m_out.Add({at.p.x + corner.x, at.p.y + corner.y});
    }
    m_out.EndPolygon();
}

void Stroker::AddJoin(Vertex const& at, PointDbl from, PointDbl to, double lengthFrom, double lengthTo) {
    // Rounding makes the cosine of a turn back a little less than -1, where no half angle has a tangent.
    double const cross = from.x * to.y - from.y * to.x, cosine = std::max(-1.0, from.x * to.x + from.y * to.y);
    double const w = at.halfWidth;
    PointDbl const normalFrom = GetNormal(from), normalTo = GetNormal(to);
    if (cross >= 0) {
        AddOuterJoin(at, from, to, cosine);
        return;
    }
    // Where the two strips' borders cross lies tan(angle / 2) half widths along either segment.
    double const tangentSquared = (1 - cosine) / (1 + cosine);
    double const shorter = std::min(lengthFrom, lengthTo);
    if (w * w * tangentSquared <= shorter * shorter) {
        m_out.Add(Offset(at.p, {normalFrom.x + normalTo.x, normalFrom.y + normalTo.y}, w / (1 + cosine)));
        return;
    }
    m_out.Add(Offset(at.p, normalFrom, w));
    m_out.Add(at.p);
    m_out.Add(Offset(at.p, normalTo, w));
}

void Stroker::AddOuterJoin(Vertex const& at, PointDbl from, PointDbl to, double cosine) {
    double const w = at.halfWidth;
    PointDbl const normalFrom = GetNormal(from), normalTo = GetNormal(to);
    // The square of the mitre's length over the width is 2 / (1 + cosine).
    double const ratioSquared = 2 / (1 + cosine);
    auto const addTip = [&] {
        m_out.Add(Offset(at.p, {normalFrom.x + normalTo.x, normalFrom.y + normalTo.y}, w / (1 + cosine)));
    };
    if (at.smooth || m_shape.join == LineJoin::Round) {
        double const overshoot = 1 + m_shape.tolerance / w;
        if (at.smooth && ratioSquared <= overshoot * overshoot) {
            addTip();
            return;
        }
        double const cross = from.x * to.y - from.y * to.x;
        AddArc(at.p, w, normalFrom, ArcTangent(cross, cosine));
        m_out.Add(Offset(at.p, normalTo, w));
        return;
    }
    if (m_shape.join == LineJoin::Mitre && ratioSquared <= m_shape.mitreLimit * m_shape.mitreLimit) {
        addTip();
        return;
    }
    m_out.Add(Offset(at.p, normalFrom, w));
    m_out.Add(Offset(at.p, normalTo, w));
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
        AddArc(at.p, w, normal, c_pi);
        m_out.Add(Offset(at.p, normal, -w));
        break;
    }
}

void Stroker::AddArc(PointDbl centre, double radius, PointDbl fromNormal, double angle) {
    // A chord over the angle s lies r (1 - cos(s / 2)) inside its arc, which is below r s^2 / 8. Small dots show what
    // chords take from their area: a quarter of the tolerance.
    double const largest = std::sqrt(2 * m_shape.tolerance / radius);
    // The joins of a long contour share a budget.
    double const most = std::clamp(4194304.0 / static_cast<double>(m_vertices.size() + 1), 8.0, 4096.0);
    // An endless radius makes this NaN.
    double const wanted = std::ceil(angle / largest);
    int const steps = wanted > 1 ? static_cast<int>(std::min(wanted, most)) : 1;
    auto const [sine, cosine] = GetSineCosine(angle / steps);
    PointDbl normal = fromNormal;
    for (int i = 0; i != steps; ++i) {
        m_out.Add(Offset(centre, normal, radius));
        normal = {normal.x * cosine - normal.y * sine, normal.x * sine + normal.y * cosine};
    }
}

} // namespace Renderer::Detail
