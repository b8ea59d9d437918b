// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/segment_grid.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace Geometry::Planar {

namespace {

int Clamped(double cell, int count) { return cell < 0 ? 0 : cell >= count ? count - 1 : static_cast<int>(cell); }

} // namespace

SegmentGrid::SegmentGrid(std::vector<GridSegment> const& segments, Monitor& monitor)
    : m_segments(segments), m_monitor(monitor) {
    std::int64_t right = 1, bottom = 1;
    double lengths = 0;
    for (GridSegment const& s : segments) {
        // Parts of curves that come later may bulge beyond the chords that are here now.
        auto const reach = static_cast<std::int64_t>(s.reach) + 2;
        right = std::max({right, s.a.x + reach, s.b.x + reach});
        bottom = std::max({bottom, s.a.y + reach, s.b.y + reach});
        lengths += static_cast<double>(std::max(std::abs(s.a.x - s.b.x), std::abs(s.a.y - s.b.y)));
        m_monitor.Tick();
    }
    // About the mean length, with at most some 4 cells a segment.
    double const count = std::max<double>(1, static_cast<double>(segments.size()));
    double const area = static_cast<double>(right) * static_cast<double>(bottom);
    double const size = std::max({lengths / count, std::sqrt(area / (4 * count + 64)),
                                  static_cast<double>(std::max(right, bottom)) / 16384, 16.0});
    m_shift = std::max(0, static_cast<int>(std::lround(std::log2(size))));
    m_columns = static_cast<int>(right >> m_shift) + 1;
    m_rows = static_cast<int>(bottom >> m_shift) + 1;
    std::size_t const cells = static_cast<std::size_t>(m_columns) * static_cast<std::size_t>(m_rows);
    // Room that is not used is not touched, while growing would copy all at once and let the abort flag wait.
    m_blocks.reserve(cells + 8 * segments.size());
    m_cells.reserve(cells + 4 * segments.size());
    while (m_cells.size() != cells) {
        m_cells.resize(std::min(cells, m_cells.size() + 8192));
        m_monitor.Check();
    }
    for (std::uint32_t i = 0; i != segments.size(); ++i)
        Insert(i);
}

// Columns from left to right; in each the rows that the clipped segment, widened by its reach, has a point in. One
// unit more on all sides covers the rounding of the arithmetic.
template <class Visit>
void SegmentGrid::Walk(GridSegment const& s, GridBox const& first, int columns, int rows, Visit visit) {
    bool const ordered = s.a.x <= s.b.x;
    double const size = static_cast<double>(first.size), reach = static_cast<double>(s.reach) + 1;
    double const ax = static_cast<double>((ordered ? s.a : s.b).x - first.left),
                 ay = static_cast<double>((ordered ? s.a : s.b).y - first.top),
                 bx = static_cast<double>((ordered ? s.b : s.a).x - first.left),
                 by = static_cast<double>((ordered ? s.b : s.a).y - first.top);
    double const low = std::min(ay, by), high = std::max(ay, by);
    if (bx + reach < 0 || ax - reach >= size * columns || high + reach < 0 || low - reach >= size * rows)
        return;
    double const perCell = 1 / size;
    int const column0 = Clamped(std::floor((ax - reach) * perCell), columns);
    int const column1 = Clamped(std::floor((bx + reach) * perCell), columns);
    int const row0 = Clamped(std::floor((low - reach) * perCell), rows);
    int const row1 = Clamped(std::floor((high + reach) * perCell), rows);
    if (column0 == column1 || row0 == row1) {
        for (int row = row0; row <= row1; ++row) {
            for (int column = column0; column <= column1; ++column)
                visit(column, row);
        }
        return;
    }
    double const slope = bx > ax ? (by - ay) / (bx - ax) : 0;
    for (int column = column0; column <= column1; ++column) {
        int from = row0, to = row1;
        if (bx > ax) {
            double const left = std::max(ax, column * size - reach), right = std::min(bx, (column + 1) * size + reach);
            double y0 = ay + (left - ax) * slope, y1 = ay + (right - ax) * slope;
            if (y0 > y1)
                std::swap(y0, y1);
            // The slope's rounding counts where it is steep.
            double const slack = reach + 1e-15 * std::fabs(slope) * (bx + std::fabs(ax));
            double const top = std::floor((y0 - slack) * perCell), bottom = std::floor((y1 + slack) * perCell);
            if (bottom < 0 || top >= rows)
                continue;
            from = std::max(row0, Clamped(top, rows));
            to = std::min(row1, Clamped(bottom, rows));
        }
        for (int row = from; row <= to; ++row)
            visit(column, row);
    }
}

void SegmentGrid::Insert(std::uint32_t segment) {
    std::int64_t const size = std::int64_t{1} << m_shift;
    Walk(m_segments[segment], {0, 0, size}, m_columns, m_rows, [&](int column, int row) {
        auto const cell = static_cast<std::uint32_t>(row) * static_cast<std::uint32_t>(m_columns) +
                          static_cast<std::uint32_t>(column);
        InsertInto(cell, {column * size, row * size, size}, segment);
    });
    m_monitor.Tick();
}

void SegmentGrid::InsertInto(std::uint32_t cell, GridBox const& box, std::uint32_t segment) {
    if (m_cells[cell].count != c_isNode) {
        Append(cell, box, segment);
        if (m_cells[cell].count > m_cells[cell].splitAbove && box.size > c_smallestCell)
            Split(cell, box);
        return;
    }
    std::uint32_t const first = m_cells[cell].first;
    std::int64_t const size = box.size / 4;
    Walk(m_segments[segment], {box.left, box.top, size}, 4, 4, [&](int column, int row) {
        InsertInto(first + static_cast<std::uint32_t>(row * 4 + column),
                   {box.left + column * size, box.top + row * size, size}, segment);
    });
}

void SegmentGrid::Append(std::uint32_t cell, GridBox const& box, std::uint32_t segment) {
    Cell& c = m_cells[cell];
    std::uint32_t const used = c.count % 7;
    if (used == 0) {
        std::uint32_t block = m_freeBlocks;
        if (block != c_none) {
            m_freeBlocks = m_blocks[block].next;
        } else {
            block = static_cast<std::uint32_t>(m_blocks.size());
            m_blocks.emplace_back();
        }
        m_blocks[block].next = c.first;
        c.first = block;
    }
    m_blocks[c.first].items[used] = segment;
    ++c.count;
    if (!c.changed) {
        c.changed = true;
        m_changed.emplace_back(cell, box);
    }
}

void SegmentGrid::Gather(std::uint32_t cell, std::vector<std::uint32_t>& segments) const {
    segments.clear();
    Cell const& c = m_cells[cell];
    std::uint32_t left = c.count;
    for (std::uint32_t block = c.first; left != 0; block = m_blocks[block].next) {
        std::uint32_t const used = (left - 1) % 7 + 1;
        for (std::uint32_t i = used; i-- != 0;) {
            std::uint32_t const segment = m_blocks[block].items[i];
            if (!m_segments[segment].dead)
                segments.push_back(segment);
        }
        left -= used;
    }
    std::reverse(segments.begin(), segments.end());
}

void SegmentGrid::Split(std::uint32_t cell, GridBox const& box) {
    std::vector<std::uint32_t> live;
    Gather(cell, live);
    std::int64_t const size = box.size / 4;
    std::size_t entries = 0;
    std::array<std::size_t, 16> counts{};
    for (std::uint32_t const segment : live) {
        Walk(m_segments[segment], {box.left, box.top, size}, 4, 4, [&](int column, int row) {
            ++entries;
            ++counts[static_cast<std::size_t>(4 * row + column)];
        });
    }
    m_monitor.Tick();
    // Segments that are wide beside the small cells would only be listed more often. So would a bundle that runs
    // through several of them, down to the smallest; lines through one point stay together in that point's cell only.
    auto const crowded =
        std::count_if(counts.begin(), counts.end(), [&](std::size_t count) { return 5 * count > 4 * live.size(); });
    bool const worthwhile = live.size() > c_splitAbove && entries < live.size() * 10 && crowded < 3;
    Cell& c = m_cells[cell];
    // All of the list is free again, whether it is filled anew or not.
    while (c.first != c_none) {
        std::uint32_t const block = c.first;
        c.first = m_blocks[block].next;
        m_blocks[block].next = m_freeBlocks;
        m_freeBlocks = block;
    }
    c.count = 0;
    if (!worthwhile) {
        c.splitAbove = std::max(c_splitAbove, static_cast<std::uint32_t>(2 * live.size()));
        for (std::uint32_t const segment : live)
            Append(cell, box, segment);
        return;
    }
    auto const first = static_cast<std::uint32_t>(m_cells.size());
    c.count = c_isNode;
    c.first = first;
    m_cells.resize(m_cells.size() + 16);
    for (std::uint32_t const segment : live) {
        InsertInto(cell, box, segment);
        m_monitor.Tick();
    }
}

std::vector<GridBox> SegmentGrid::GetCrowdedPoints() const {
    std::vector<GridBox> boxes;
    struct Range {
        std::uint32_t first;
        int columns, rows;
        GridBox box;
    };
    std::vector<Range> ranges = {{0, m_columns, m_rows, {0, 0, std::int64_t{1} << m_shift}}};
    while (!ranges.empty()) {
        Range const range = ranges.back();
        ranges.pop_back();
        for (int row = 0; row != range.rows; ++row) {
            m_monitor.Tick();
            for (int column = 0; column != range.columns; ++column) {
                std::uint32_t const cell = range.first + static_cast<std::uint32_t>(row * range.columns + column);
                GridBox const box{range.box.left + column * range.box.size, range.box.top + row * range.box.size,
                                  range.box.size};
                if (m_cells[cell].count == c_isNode)
                    ranges.push_back({m_cells[cell].first, 4, 4, {box.left, box.top, box.size / 4}});
                else if (IsCrowdedPoint(cell, box))
                    boxes.push_back(box);
            }
        }
    }
    return boxes;
}

std::pair<std::uint32_t, GridBox> SegmentGrid::LocateWithBox(GridPoint p) const {
    auto const column = static_cast<std::uint32_t>(std::clamp<std::int64_t>(p.x >> m_shift, 0, m_columns - 1));
    auto const row = static_cast<std::uint32_t>(std::clamp<std::int64_t>(p.y >> m_shift, 0, m_rows - 1));
    std::uint32_t cell = row * static_cast<std::uint32_t>(m_columns) + column;
    std::int64_t const size = std::int64_t{1} << m_shift;
    GridBox box{static_cast<std::int64_t>(column) * size, static_cast<std::int64_t>(row) * size, size};
    while (m_cells[cell].count == c_isNode) {
        box.size /= 4;
        std::int64_t const x = std::clamp<std::int64_t>((p.x - box.left) / box.size, 0, 3);
        std::int64_t const y = std::clamp<std::int64_t>((p.y - box.top) / box.size, 0, 3);
        cell = m_cells[cell].first + static_cast<std::uint32_t>(y * 4 + x);
        box.left += x * box.size;
        box.top += y * box.size;
    }
    return {cell, box};
}

} // namespace Geometry::Planar
