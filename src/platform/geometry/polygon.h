// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/countable.h"
#include "platform/kernel/geometry_values.h"

#include <utility>
#include <vector>

namespace Geometry {

// The corners of a closed polygon in order; the last is joined to the first.
template <class T>
using PolygonType = std::vector<Kernel::PointT<T>>;

// Several polygons that are drawn as one shape.
template <class T>
class PolyPolygonType final : public virtual Kernel::Countable {
public:
    PolyPolygonType() = default;
    explicit PolyPolygonType(std::vector<PolygonType<T>> contours) : polygons(std::move(contours)) {}

    std::vector<PolygonType<T>> polygons;
};

} // namespace Geometry
