// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/span_painter.h"

#include <algorithm>

namespace Renderer::Detail {

namespace {

// Runs of one coverage that are at least so long are painted at once.
constexpr int c_longRun = 12;
constexpr float c_valuePerCoverage = 1.0f / static_cast<float>(c_fullCoverage);

} // namespace

SpanPainter::SpanPainter(WorkingSpace const& space, Canvas& target, Paint const& paint, Kernel::RectT<int> const& rect,
                         Scratch& scratch)
    : m_space(space),
      m_target(target),
      m_paint(paint),
      m_scratch(scratch),
      m_replaces(paint.mode == BlendMode::Normal && target.GetPlaneCount() == space.GetColourCount() + 1) {
    std::size_t const width = static_cast<std::size_t>(rect.GetWidth());
    if (scratch.coverage.size() < width)
        scratch.coverage.resize(width);
    if (paint.fill->GetUniformPixel() == nullptr) {
        m_painter = paint.fill->MakePainter();
        m_painter->Begin(rect);
    }
    if (paint.second != nullptr) {
        m_secondPainter = paint.second->MakePainter();
        m_secondPainter->Begin(rect);
    }
    std::size_t const pixels = width * static_cast<std::size_t>(space.GetColourCount() + 1);
    if ((m_painter || m_secondPainter) && scratch.pixels.size() < pixels)
        scratch.pixels.resize(pixels);
}

BlendTarget SpanPainter::OpenTarget(int y, int left, int right) const {
    m_target.Open(y, left, right);
    return GetTarget(left, y);
}

BlendTarget SpanPainter::GetTarget(int x, int y) const {
    BlendTarget target{};
    int const n = m_space.GetColourCount();
    for (int plane = 0; plane <= n; ++plane)
        target.planes[plane] = m_target.At(plane, x, y);
    if (m_target.GetPlaneCount() > n + 1)
        target.groupAlpha = m_target.At(n + 1, x, y);
    return target;
}

void SpanPainter::Add(int y, int left, int right, std::uint32_t coverage) {
    float const value = static_cast<float>(coverage) * c_valuePerCoverage;
    int const count = right - left;
    if (count >= c_longRun && m_paint.mask == nullptr && !m_secondPainter &&
        (!m_painter || (m_replaces && coverage == c_fullCoverage && m_paint.fill->IsOpaque()))) {
        Flush();
        PaintRun(y, left, right, value);
        return;
    }
    if (m_count != 0 && (y != m_y || left != m_left + m_count))
        Flush();
    if (m_count == 0) {
        m_y = y;
        m_left = left;
    }
    std::fill_n(m_scratch.coverage.data() + m_count, count, value);
    m_count += count;
}

void SpanPainter::PaintRun(int y, int left, int right, float coverage) {
    if (m_painter) {
        m_target.OpenToReplace(y, left, right);
        m_painter->GetRow(left, y, right - left, GetTarget(left, y).planes);
        return;
    }
    float const* const pixel = m_paint.fill->GetUniformPixel();
    if (m_replaces && pixel[m_space.GetColourCount()] * coverage == 1)
        m_target.Fill(y, left, right, pixel);
    else
        CompositeColour(m_space, m_paint.mode, OpenTarget(y, left, right), pixel, coverage,
                        static_cast<std::size_t>(right - left));
}

void SpanPainter::Flush() {
    if (m_count == 0)
        return;
    Composite(m_y, m_left, m_scratch.coverage.data(), m_count);
    m_count = 0;
}

void SpanPainter::AddRow(int y, int left, float const* coverage, int count) {
    Flush();
    // A part that is not covered at all needs no paint.
    for (int begin = 0; begin < count;) {
        if (coverage[begin] == 0) {
            ++begin;
            continue;
        }
        int end = begin + 1;
        while (end < count && coverage[end] != 0)
            ++end;
        std::copy(coverage + begin, coverage + end, m_scratch.coverage.data());
        Composite(y, left + begin, m_scratch.coverage.data(), end - begin);
        begin = end;
    }
}

void SpanPainter::Composite(int y, int left, float* coverage, int count) {
    int const n = m_space.GetColourCount();
    if (m_paint.mask != nullptr) {
        float const* const mask = m_paint.mask->At(0, left, y);
        for (int i = 0; i != count; ++i)
            coverage[i] *= mask[i];
    }
    float* planes[c_maximumColours + 1]{};
    if (m_painter || m_secondPainter) {
        for (int plane = 0; plane <= n; ++plane)
            planes[plane] = m_scratch.pixels.data() + plane * count;
    }
    if (m_secondPainter) {
        m_secondPainter->GetRow(left, y, count, planes);
        for (int i = 0; i != count; ++i)
            coverage[i] *= planes[n][i];
    }
    if (!m_painter) {
        CompositeColour(m_space, m_paint.mode, OpenTarget(y, left, left + count), m_paint.fill->GetUniformPixel(),
                        coverage, static_cast<std::size_t>(count));
        return;
    }
    m_painter->GetRow(left, y, count, planes);
    BlendSource source{};
    std::copy_n(planes, n + 1, source.planes);
    Detail::Composite(m_space, m_paint.mode, OpenTarget(y, left, left + count), source, coverage,
                      static_cast<std::size_t>(count));
}

} // namespace Renderer::Detail
