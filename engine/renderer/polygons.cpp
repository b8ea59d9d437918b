// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/polygons.h"

#include <algorithm>
#include <optional>

namespace Renderer::Detail {

namespace {

// Of at least one point; empty when a coordinate is not finite.
std::optional<RectDbl> GetFiniteBounds(std::span<PointDbl const> points) {
    // Two doubles at once.
    typedef double Pair __attribute__((vector_size(16)));
    Pair low{points[0].x, points[0].y}, high = low, zeros{0, 0};
    for (PointDbl const& point : points) {
        Pair const p{point.x, point.y};
        low = p < low ? p : low;
        high = p > high ? p : high;
        // Neither infinities nor NaN times 0 are 0.
        zeros += p * Pair{0, 0};
    }
    if (!(zeros[0] == 0) || !(zeros[1] == 0))
        return {};
    return RectDbl{low[0], low[1], high[0], high[1]};
}

} // namespace

void Polygons::Unite(RectDbl const& bounds) {
    m_bounds = m_ends.empty()
                   ? bounds
                   : RectDbl{std::min(m_bounds.left, bounds.left), std::min(m_bounds.top, bounds.top),
                             std::max(m_bounds.right, bounds.right), std::max(m_bounds.bottom, bounds.bottom)};
}

void Polygons::EndPolygon() {
    std::size_t const begin = m_ends.empty() ? 0 : m_ends.back();
    if (m_points.size() - begin < 3) {
        m_points.resize(begin);
        return;
    }
    auto const bounds = GetFiniteBounds(std::span(m_points).subspan(begin));
    if (!bounds) {
        m_points.resize(begin);
        return;
    }
    Unite(*bounds);
    m_ends.push_back(m_points.size());
}

void Polygons::Append(Polygons const& other) {
    if (other.empty())
        return;
    Unite(other.m_bounds);
    std::size_t const offset = m_points.size();
    m_points.insert(m_points.end(), other.m_points.begin(), other.m_points.end());
    for (std::size_t const end : other.m_ends)
        m_ends.push_back(offset + end);
}

void Polygons::Clear() {
    m_points.clear();
    m_ends.clear();
}

void Polygons::GoBackTo(Mark const& mark) {
    m_points.resize(mark.points);
    m_ends.resize(mark.polygons);
    m_bounds = mark.bounds;
}

void Polygons::ApplyTransform(Transform const& transform) {
    if (transform.IsIdentity())
        return;
    Polygons mapped;
    mapped.m_points.reserve(m_points.size());
    for (std::size_t i = 0; i != GetCount(); ++i) {
        for (PointDbl const& p : GetPolygon(i))
            mapped.Add(transform.Apply(p));
        mapped.EndPolygon();
    }
    *this = std::move(mapped);
}

void Polygons::ShrinkToFit() {
    m_points.shrink_to_fit();
    m_ends.shrink_to_fit();
}

} // namespace Renderer::Detail
