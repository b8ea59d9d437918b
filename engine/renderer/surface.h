// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/geometry_values.h"

#include <cstddef>
#include <vector>

namespace Renderer::Detail {

// Planes of floats over a rectangle of the picture: colours multiplied by alpha, then alpha, then what a layer needs
// beside them.
class Surface {
public:
    Surface(Kernel::RectT<int> const& bounds, int planes)
        : m_bounds(bounds),
          m_planes(planes),
          m_width(static_cast<std::size_t>(bounds.GetWidth())),
          m_planeSize(m_width * static_cast<std::size_t>(bounds.GetHeight())),
          m_samples(m_planeSize * static_cast<std::size_t>(planes)) {}

    Kernel::RectT<int> const& GetBounds() const { return m_bounds; }
    int GetPlaneCount() const { return m_planes; }
    // The sample at a place inside the bounds; the row goes on behind it.
    float* At(int plane, int x, int y) { return m_samples.data() + GetOffset(plane, x, y); }
    float const* At(int plane, int x, int y) const { return m_samples.data() + GetOffset(plane, x, y); }

private:
    std::size_t GetOffset(int plane, int x, int y) const {
        return m_planeSize * static_cast<std::size_t>(plane) + m_width * static_cast<std::size_t>(y - m_bounds.top) +
               static_cast<std::size_t>(x - m_bounds.left);
    }

    Kernel::RectT<int> m_bounds;
    int m_planes;
    std::size_t m_width;
    std::size_t m_planeSize;
    std::vector<float> m_samples;
};

} // namespace Renderer::Detail
