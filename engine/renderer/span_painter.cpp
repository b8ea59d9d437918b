// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/span_painter.h"

#include <algorithm>

namespace Renderer::Detail {

namespace {

// Runs of one coverage that are at least so long are painted at once.
constexpr int c_longRun = 12;
constexpr float c_perCoverage = 1.0f / static_cast<float>(c_fullCoverage);

} // namespace

SpanPainter::SpanPainter(WorkingSpace const& space, Surface& target, Paint const& paint, Kernel::RectT<int> const& rect)
    : m_space(space), m_target(target), m_paint(paint) {
    std::size_t const width = static_cast<std::size_t>(rect.GetWidth());
    m_coverage.reserve(width);
    if (paint.fill->GetUniformPixel() == nullptr) {
        m_painter = paint.fill->MakePainter();
        m_painter->Begin(rect);
    }
    if (paint.second != nullptr) {
        m_secondPainter = paint.second->MakePainter();
        m_secondPainter->Begin(rect);
    }
    if (m_painter || m_secondPainter)
        m_pixels.resize(width * static_cast<std::size_t>(space.GetColourCount() + 1));
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
    float const value = static_cast<float>(coverage) * c_perCoverage;
    bool const simple = !m_painter && !m_secondPainter && m_paint.mask == nullptr;
    if (simple && right - left >= c_longRun) {
        Flush();
        CompositeColour(m_space, m_paint.mode, GetTarget(left, y), m_paint.fill->GetUniformPixel(), value,
                        static_cast<std::size_t>(right - left));
        return;
    }
    if (!m_coverage.empty() && (y != m_y || left != m_left + static_cast<int>(m_coverage.size())))
        Flush();
    if (m_coverage.empty()) {
        m_y = y;
        m_left = left;
    }
    m_coverage.insert(m_coverage.end(), static_cast<std::size_t>(right - left), value);
}

void SpanPainter::Flush() {
    if (m_coverage.empty())
        return;
    Composite(m_y, m_left, m_coverage.data(), static_cast<int>(m_coverage.size()));
    m_coverage.clear();
}

void SpanPainter::AddRow(int y, int left, float const* coverage, int count) {
    Flush();
    // What is not covered at all needs no paint.
    for (int begin = 0; begin < count;) {
        if (coverage[begin] == 0) {
            ++begin;
            continue;
        }
        int end = begin + 1;
        while (end < count && coverage[end] != 0)
            ++end;
        m_coverage.assign(coverage + begin, coverage + end);
        m_y = y;
        m_left = left + begin;
        Flush();
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
    if (!m_pixels.empty()) {
        for (int plane = 0; plane <= n; ++plane)
            planes[plane] = m_pixels.data() + plane * count;
    }
    if (m_secondPainter) {
        m_secondPainter->GetRow(left, y, count, planes);
        for (int i = 0; i != count; ++i)
            coverage[i] *= planes[n][i];
    }
    if (!m_painter) {
        CompositeColour(m_space, m_paint.mode, GetTarget(left, y), m_paint.fill->GetUniformPixel(), coverage,
                        static_cast<std::size_t>(count));
        return;
    }
    m_painter->GetRow(left, y, count, planes);
    BlendSource source{};
    std::copy_n(planes, n + 1, source.planes);
    Detail::Composite(m_space, m_paint.mode, GetTarget(left, y), source, coverage, static_cast<std::size_t>(count));
}

} // namespace Renderer::Detail
