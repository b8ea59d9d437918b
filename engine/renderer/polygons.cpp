// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/polygons.h"

#include <algorithm>
#include <cmath>

namespace Renderer::Detail {

void Polygons::EndPolygon() {
    std::size_t const begin = m_ends.empty() ? 0 : m_ends.back();
    bool const finite = std::all_of(m_points.begin() + static_cast<std::ptrdiff_t>(begin), m_points.end(),
                                    [](PointDbl const& p) { return std::isfinite(p.x) && std::isfinite(p.y); });
    if (m_points.size() - begin < 3 || !finite)
        m_points.resize(begin);
    else
        m_ends.push_back(m_points.size());
}

void Polygons::Append(Polygons const& other) {
    std::size_t const offset = m_points.size();
    m_points.insert(m_points.end(), other.m_points.begin(), other.m_points.end());
    for (std::size_t const end : other.m_ends)
        m_ends.push_back(offset + end);
}

void Polygons::Clear() {
    m_points.clear();
    m_ends.clear();
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
