// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/canvas.h"

#include <algorithm>

namespace Renderer::Detail {

namespace {

// More planes than any canvas has.
constexpr float c_clearPixel[8] = {};

} // namespace

Canvas::Canvas(Kernel::RectT<int> const& bounds, int planes, float const* pixel)
    : m_samples(bounds, planes, Surface::Uninitialised()),
      m_segments(static_cast<std::size_t>((bounds.GetWidth() + c_segment - 1) / c_segment)),
      m_pixels(m_segments * static_cast<std::size_t>(bounds.GetHeight()), pixel == nullptr ? c_clearPixel : pixel) {}

void Canvas::WriteSamples(int y, int left, int right, float const* pixel) {
    for (int plane = 0; plane != GetPlaneCount(); ++plane)
        std::fill_n(m_samples.At(plane, left, y), right - left, pixel[plane]);
}

void Canvas::WriteSegment(int y, int segment) {
    float const*& pixel = GetRow(y)[segment];
    int const left = GetBounds().left + segment * c_segment;
    WriteSamples(y, left, std::min(left + c_segment, GetBounds().right), pixel);
    pixel = nullptr;
}

void Canvas::Fill(int y, int left, int right, float const* pixel) {
    float const** const row = GetRow(y);
    int const last = GetSegment(right - 1);
    for (int segment = GetSegment(left); segment <= last; ++segment) {
        if (row[segment] == pixel)
            continue;
        int const begin = GetBounds().left + segment * c_segment, end = std::min(begin + c_segment, GetBounds().right);
        if (left <= begin && right >= end) {
            row[segment] = pixel;
            continue;
        }
        if (row[segment] != nullptr)
            WriteSegment(y, segment);
        WriteSamples(y, std::max(left, begin), std::min(right, end), pixel);
    }
}

void Canvas::OpenToReplace(int y, int left, int right) {
    Open(y, left, left + 1);
    Open(y, right - 1, right);
    float const** const row = GetRow(y);
    std::fill(row + GetSegment(left), row + GetSegment(right - 1) + 1, nullptr);
}

bool Canvas::IsClear(int y, int left, int right) const {
    float const* const* const row = m_pixels.data() + static_cast<std::size_t>(y - GetBounds().top) * m_segments;
    for (int segment = GetSegment(left), last = GetSegment(right - 1); segment <= last; ++segment) {
        if (row[segment] != c_clearPixel)
            return false;
    }
    return true;
}

} // namespace Renderer::Detail
