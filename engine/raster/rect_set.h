// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/geometry_values.h"

#include <span>
#include <vector>

namespace Raster {

// A set of pixels, as rectangles that do not overlap.
class RectSet {
public:
    using Rect = Kernel::RectT<int>;

    bool IsEmpty() const { return m_rects.empty(); }
    void Clear() { m_rects.clear(); }
    std::span<Rect const> GetRects() const { return m_rects; }
    void Add(Rect const& rect);
    void Subtract(Rect const& rect);
    // The parts of a rectangle that the set has, and those that it lacks.
    RectSet Intersected(Rect const& rect) const;
    RectSet Missing(Rect const& rect) const;

private:
    std::vector<Rect> m_rects;
};

} // namespace Raster
