// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/bitmap_source.h"

#include "engine/renderer/wide_loop.h"

#include <algorithm>

namespace Renderer::Detail {

namespace {

// Pixels whose samples are fetched together.
constexpr int c_blockWidth = 512;
constexpr int c_blockHeight = 64;
// Rows of samples that a pixel needs at most.
constexpr int c_mostRows = 4;

REDRAFT_WIDE_LOOP void MixRows(float const* upper, float const* lower, float fraction, int count, float* out) {
    for (int i = 0; i != count; ++i)
        out[i] = upper[i] + (lower[i] - upper[i]) * fraction;
}

// A part of the area over its whole height. Its rows of pixels need the same few rows of samples mixed along x one
// after another: these are kept.
class UprightBlock {
public:
    UprightBlock(BitmapSource const& source, int left, int right) : m_source(source), m_left(left), m_right(right) {}

    int GetRight() const { return m_right; }
    // Pixels that lie in the block, as the slow way makes them, to the bit.
    void GetRow(Kernel::RectT<int> const& area, int x, int y, int count, float* const* planes) {
        if (y < m_top || y >= m_bottom)
            Fetch(area, y);
        int const alpha = m_source.planeCount - 1, offset = x - m_left;
        if (!m_isInReach) {
            for (int plane = 0; plane <= alpha; ++plane)
                std::fill_n(planes[plane], count, 0.0f);
            return;
        }
        auto const& m = m_source.toLevel.GetParams();
        auto const [row, fraction] = m_window.FindRow(m.d * (y + 0.5) + m.ty);
        if (m_source.resampling == Resampling::Bicubic) {
            MixCubic(row, fraction, offset, count, planes);
        } else {
            for (int plane = 0; plane <= alpha; ++plane)
                MixRows(GetMixed(plane, row) + offset, GetMixed(plane, row + 1) + offset, fraction, count,
                        planes[plane]);
        }
        if (m_source.opacity == 1)
            return;
        for (int plane = 0; plane <= alpha; ++plane) {
            for (int i = 0; i != count; ++i)
                planes[plane][i] *= m_source.opacity;
        }
    }

private:
    void Fetch(Kernel::RectT<int> const& area, int y) {
        m_top = y - (y - area.top) % c_blockHeight;
        m_bottom = std::min(m_top + c_blockHeight, area.bottom);
        m_isInReach = m_window.Fetch(m_source, {m_left, m_top, m_right, m_bottom});
        if (!m_isInReach)
            return;
        auto const& m = m_source.toLevel.GetParams();
        m_columns.clear();
        for (int x = m_left; x != m_right; ++x)
            m_columns.push_back(m_window.FindColumn(m.a * (x + 0.5) + m.tx));
        m_mixed.resize(static_cast<std::size_t>(m_source.planeCount * c_mostRows) * m_columns.size());
        m_mixedRows.assign(static_cast<std::size_t>(m_source.planeCount * c_mostRows), -1);
    }

    // The overshoots of cubics are cut, for which alpha comes first.
    void MixCubic(int row, float fraction, int offset, int count, float* const* planes) {
        int const alpha = m_source.planeCount - 1;
        float w[4];
        GetCubicWeights(fraction, w);
        for (int plane = alpha; plane >= 0; --plane) {
            float const* rows[4];
            for (int k = 0; k != 4; ++k)
                rows[k] = GetMixed(plane, row - 1 + k) + offset;
            float const* const limits = plane == alpha ? nullptr : planes[alpha];
            float* const out = planes[plane];
            for (int i = 0; i != count; ++i) {
                float const limit = limits == nullptr ? 1.0f : limits[i];
                float const value = w[0] * rows[0][i] + w[1] * rows[1][i] + w[2] * rows[2][i] + w[3] * rows[3][i];
                out[i] = value < 0 ? 0 : value > limit ? limit : value;
            }
        }
    }

    // A row of samples of a plane, mixed at the columns of the block.
    float const* GetMixed(int plane, int row) {
        auto const slot = static_cast<std::size_t>(plane * c_mostRows + row % c_mostRows);
        float* const mixed = m_mixed.data() + slot * m_columns.size();
        if (m_mixedRows[slot] != row)
            MixColumns(m_window.At(plane, 0, row), mixed);
        m_mixedRows[slot] = row;
        return mixed;
    }

    void MixColumns(float const* samples, float* out) const {
        if (m_source.resampling != Resampling::Bicubic) {
            for (auto const& [sample, fraction] : m_columns)
                *out++ = samples[sample] + (samples[sample + 1] - samples[sample]) * fraction;
            return;
        }
        for (auto const& [sample, fraction] : m_columns) {
            float w[4];
            GetCubicWeights(fraction, w);
            float const* const s = samples + sample - 1;
            *out++ = w[0] * s[0] + w[1] * s[1] + w[2] * s[2] + w[3] * s[3];
        }
    }

    BitmapSource const& m_source;
    int m_left;
    int m_right;
    // The rows of pixels whose samples the window holds; none at first.
    int m_top = 0;
    int m_bottom = 0;
    bool m_isInReach = false;
    SampleWindow m_window;
    std::vector<SampleWindow::Place> m_columns;
    // For each plane c_mostRows rows of samples, and which ones these are.
    std::vector<float> m_mixed;
    std::vector<int> m_mixedRows;
};

class UprightBitmapPainter final : public Painter {
public:
    explicit UprightBitmapPainter(BitmapSource const& source) : m_source(source) {}

    void Begin(Kernel::RectT<int> const& area) override {
        m_area = area;
        m_blocks.clear();
        for (int left = area.left; left < area.right; left += c_blockWidth)
            m_blocks.emplace_back(m_source, left, std::min(left + c_blockWidth, area.right));
    }

    void GetRow(int x, int y, int count, float* const* planes) override {
        float* parts[c_maximumColours + 1]{};
        for (int done = 0; done != count;) {
            auto& block = m_blocks[static_cast<std::size_t>((x + done - m_area.left) / c_blockWidth)];
            int const part = std::min(count - done, block.GetRight() - x - done);
            for (int plane = 0; plane != m_source.planeCount; ++plane)
                parts[plane] = planes[plane] + done;
            block.GetRow(m_area, x + done, y, part, parts);
            done += part;
        }
    }

private:
    BitmapSource const& m_source;
    Kernel::RectT<int> m_area;
    std::vector<UprightBlock> m_blocks;
};

} // namespace

std::unique_ptr<Painter> MakeUprightBitmapPainter(BitmapSource const& source) {
    return std::make_unique<UprightBitmapPainter>(source);
}

} // namespace Renderer::Detail
