// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/transform.h"

#include <cstdint>
#include <span>
#include <vector>

namespace Renderer::Detail {

using Geometry::PointDbl;
using Geometry::RectDbl;
using Geometry::Transform;

// Closed polygons, one after another in one list of points.
class Polygons {
public:
    void Add(PointDbl p) { m_points.push_back(p); }
    // Ends the polygon whose points were added last. One of fewer than 3 points has no area and is dropped, as is one
    // with a coordinate that is not finite.
    void EndPolygon();
    // Adds copies of the other's polygons. No polygon may be open.
    void Append(Polygons const& other);
    void Clear();
    // How far the list has come, to go back to. No polygon may be open at either time.
    struct Mark {
        std::size_t points, polygons;
        RectDbl bounds;
    };
    Mark GetMark() const { return {m_points.size(), m_ends.size(), m_bounds}; }
    void GoBackTo(Mark const& mark);
    // Maps the points; polygons that are no longer finite are dropped.
    void ApplyTransform(Transform const& transform);

    bool empty() const { return m_ends.empty(); }
    std::size_t GetCount() const { return m_ends.size(); }
    std::span<PointDbl const> GetPolygon(std::size_t index) const {
        std::size_t const begin = index == 0 ? 0 : m_ends[index - 1];
        return std::span(m_points).subspan(begin, m_ends[index] - begin);
    }
    std::vector<PointDbl> const& GetPoints() const { return m_points; }
    // Of all polygons; only of use where there are some.
    RectDbl const& GetBounds() const { return m_bounds; }
    std::size_t GetMemoryUse() const {
        return m_points.capacity() * sizeof(PointDbl) + m_ends.capacity() * sizeof(std::size_t);
    }
    void ShrinkToFit();

private:
    void Unite(RectDbl const& bounds);

    std::vector<PointDbl> m_points;
    std::vector<std::size_t> m_ends;
    RectDbl m_bounds;
};

// A point of a flattened contour that a line is drawn along.
struct LinePoint {
    PointDbl p;
    // Factor of the line's width here.
    double width = 1;
    // The curve runs on smoothly here.
    bool smooth = false;
    // The directions in which a curve arrives at its end here, and in which one leaves its start, as unit vectors. Zero
    // where the straight steps on that side show the direction.
    PointDbl arrival{};
    PointDbl departure{};
};

struct Polyline {
    std::vector<LinePoint> points;
    bool closed = false;
};

} // namespace Renderer::Detail
