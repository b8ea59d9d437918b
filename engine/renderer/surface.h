// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/geometry_values.h"

#include <cstddef>
#include <memory>
#include <utility>

namespace Renderer::Detail {

// Memory for samples. Each thread keeps a few blocks that it has finished with, 16 MB at most: band after band needs
// the same, and memory that has been given back to the system is dear to get again.
struct SampleMemory {
    struct Release {
        std::size_t count = 0;
        void operator()(float* samples) const noexcept;
    };
    using Pointer = std::unique_ptr<float[], Release>;

    // Samples are whatever the memory held.
    static Pointer Get(std::size_t count);
    static Pointer GetZeros(std::size_t count);
};

// Planes of floats over a rectangle of the picture: colours multiplied by alpha, then alpha, then what a layer needs
// beside them.
class Surface {
public:
    // All samples are 0.
    Surface(Kernel::RectT<int> const& bounds, int planes)
        : Surface(bounds, planes, SampleMemory::GetZeros(GetSampleCount(bounds, planes))) {}
    // Samples are whatever the memory held.
    struct Uninitialised {};
    Surface(Kernel::RectT<int> const& bounds, int planes, Uninitialised)
        : Surface(bounds, planes, SampleMemory::Get(GetSampleCount(bounds, planes))) {}

    Kernel::RectT<int> const& GetBounds() const { return m_bounds; }
    int GetPlaneCount() const { return m_planes; }
    // The sample at a place inside the bounds; the row goes on behind it.
    float* At(int plane, int x, int y) { return m_samples.get() + GetOffset(plane, x, y); }
    float const* At(int plane, int x, int y) const { return m_samples.get() + GetOffset(plane, x, y); }

private:
    Surface(Kernel::RectT<int> const& bounds, int planes, SampleMemory::Pointer samples)
        : m_bounds(bounds),
          m_planes(planes),
          m_width(static_cast<std::size_t>(bounds.GetWidth())),
          m_planeSize(m_width * static_cast<std::size_t>(bounds.GetHeight())),
          m_samples(std::move(samples)) {}
    static std::size_t GetSampleCount(Kernel::RectT<int> const& bounds, int planes) {
        return static_cast<std::size_t>(bounds.GetWidth()) * static_cast<std::size_t>(bounds.GetHeight()) *
               static_cast<std::size_t>(planes);
    }
    std::size_t GetOffset(int plane, int x, int y) const {
        return m_planeSize * static_cast<std::size_t>(plane) + m_width * static_cast<std::size_t>(y - m_bounds.top) +
               static_cast<std::size_t>(x - m_bounds.left);
    }

    Kernel::RectT<int> m_bounds;
    int m_planes;
    std::size_t m_width;
    std::size_t m_planeSize;
    SampleMemory::Pointer m_samples;
};

} // namespace Renderer::Detail
