// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/surface.h"

#include <memory>
#include <vector>

namespace Renderer::Detail {

// A surface that is drawn into: a band of the picture, or a layer.
//
// Rows are cut into segments. A segment that shows one pixel throughout is held as that pixel, and its samples are
// written only when something else is drawn over a part of it. Segments of one colour, empty ones among them, cost
// neither memory traffic nor arithmetic.
class Canvas {
public:
    static constexpr int c_segment = 64;

    // Shows `pixel` everywhere; null is clear. Pixels given to a canvas have a value for each of its planes, and
    // outlive it.
    Canvas(Kernel::RectT<int> const& bounds, int planes, float const* pixel = nullptr);

    Kernel::RectT<int> const& GetBounds() const { return m_samples.GetBounds(); }
    int GetPlaneCount() const { return m_samples.GetPlaneCount(); }

    // Makes the samples of a part of a row ready for At().
    void Open(int y, int left, int right) {
        float const** const row = GetRow(y);
        int const last = GetSegment(right - 1);
        for (int segment = GetSegment(left); segment <= last; ++segment) {
            if (row[segment] != nullptr)
                WriteSegment(y, segment);
        }
    }
    // The same for a part that will be written as a whole.
    void OpenToReplace(int y, int left, int right);
    // The sample at a place that has been opened; the samples of the opened part follow.
    float* At(int plane, int x, int y) { return m_samples.At(plane, x, y); }
    float const* At(int plane, int x, int y) const { return m_samples.At(plane, x, y); }

    // Lets a part of a row show one pixel.
    void Fill(int y, int left, int right, float const* pixel);
    bool IsClear(int y, int left, int right) const;

    // Calls visit(left, right, pixel) for a row from left to right: with the pixel that a run shows throughout, or
    // null for a run whose samples are there.
    template <class F>
    void ForEachRun(int y, F&& visit) const {
        auto const& bounds = GetBounds();
        float const* const* const row = m_pixels.data() + static_cast<std::size_t>(y - bounds.top) * m_segments;
        for (std::size_t begin = 0; begin != m_segments;) {
            std::size_t end = begin + 1;
            while (end != m_segments && row[end] == row[begin])
                ++end;
            visit(bounds.left + static_cast<int>(begin) * c_segment,
                  end == m_segments ? bounds.right : bounds.left + static_cast<int>(end) * c_segment, row[begin]);
            begin = end;
        }
    }

private:
    int GetSegment(int x) const { return (x - GetBounds().left) / c_segment; }
    float const** GetRow(int y) { return m_pixels.data() + static_cast<std::size_t>(y - GetBounds().top) * m_segments; }
    void WriteSegment(int y, int segment);
    void WriteSamples(int y, int left, int right, float const* pixel);

    Surface m_samples;
    std::size_t m_segments;
    // The pixel of each segment, row by row; null where samples have been written.
    std::vector<float const*> m_pixels;
};

} // namespace Renderer::Detail
