// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/geometry_values.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Renderer::Detail {

// The coverage of an outline over a rectangle of the picture: runs of pixels of one coverage above 0, row by row from
// the top and from left to right. Made once, it is painted band by band without looking at the outline again.
class CoverageRuns {
public:
    struct Run {
        std::int32_t left;
        std::int32_t right;
        std::uint32_t coverage;
    };

    // Rows come from the top and runs from left to right.
    void Add(int y, Run const& run) {
        if (m_runs.empty())
            m_top = y;
        for (; m_rows <= y - m_top; ++m_rows)
            m_starts.push_back(static_cast<std::uint32_t>(m_runs.size()));
        m_runs.push_back(run);
    }
    // Forgets all runs and keeps the memory.
    void Clear() {
        m_starts.clear();
        m_runs.clear();
        m_rows = 0;
    }

    bool empty() const { return m_runs.empty(); }
    std::size_t GetMemoryUse() const { return m_runs.capacity() * sizeof(Run) + m_starts.capacity() * sizeof(m_top); }

    // Calls emit(y, left, right, coverage) for the parts of runs inside the rectangle.
    template <class F>
    void Visit(Kernel::RectT<int> const& rect, F&& emit) const {
        int const bottom = std::min(rect.bottom, m_top + m_rows);
        for (int y = std::max(rect.top, m_top); y < bottom; ++y) {
            std::size_t const row = static_cast<std::size_t>(y - m_top);
            Run const* run = m_runs.data() + m_starts[row];
            Run const* const end = m_runs.data() + (row + 1 == m_starts.size() ? m_runs.size() : m_starts[row + 1]);
            while (run != end && run->right <= rect.left)
                ++run;
            for (; run != end && run->left < rect.right; ++run)
                emit(y, std::max(run->left, rect.left), std::min(run->right, rect.right), run->coverage);
        }
    }

private:
    // The row of the first run.
    int m_top = 0;
    // As many as there are starts.
    int m_rows = 0;
    // The first run of each row; the last row ends with the runs.
    std::vector<std::uint32_t> m_starts;
    std::vector<Run> m_runs;
};

} // namespace Renderer::Detail
