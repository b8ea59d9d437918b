// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/transform.h"
#include "platform/geometry/winding_order_mode.h"
#include "platform/kernel/geometry_values.h"

#include <cstdint>
#include <span>
#include <vector>

namespace Renderer::Detail {

// Full coverage of a pixel.
inline constexpr std::uint32_t c_fullCoverage = 65536;

// Exact areas of polygons over the pixels of a rectangle.
//
// Coordinates are rounded to 1/65536 pixel. Each edge leaves in every pixel that it crosses how far it goes down
// (cover) and the area to the left of it; the running sum of covers along a row, less the area, is twice the area that
// lies inside (the cells of D. Turner's FreeType and M. Shemanarev's AGG rasterisers, here with 16 bits below the
// point where they have 8). Where an edge crosses the borders of rows and columns follows from its end points alone by
// exact division, so that two edges with the same ends cancel, and a picture has the same pixels whether it is made
// whole or in parts.
class CellRasteriser {
public:
    // Forgets all edges. Pixels outside the clip, which is not empty, are not asked for. `expectedCells` is about how
    // many pixels edges will cross; it decides how they are kept, never what comes out.
    void Reset(Kernel::RectT<int> const& clip, std::size_t expectedCells = 0);
    // One edge of a closed polygon, in pixels. Coordinates are finite; beyond 2^23 pixels they are cut.
    void AddEdge(Geometry::PointDbl from, Geometry::PointDbl to);
    // All edges of a polygon; the last point is joined to the first. `isInside`: all points are known to round to
    // places inside the clip, its right side left out.
    void AddPolygon(std::span<Geometry::PointDbl const> points, bool isInside = false);

    // Calls emit(y, left, right, coverage) for runs of pixels of one coverage above 0, at most c_fullCoverage, row by
    // row from the top and from left to right.
    template <class F>
    void Sweep(Geometry::WindingOrderMode mode, F&& emit);

private:
    struct Cell {
        std::int32_t x;
        std::int32_t row;
        std::int64_t cover;
        std::int64_t area;
    };

    static constexpr int c_shift = 16;
    static constexpr std::int64_t c_one = std::int64_t{1} << c_shift;

    void AddFixed(std::int64_t x1, std::int64_t y1, std::int64_t x2, std::int64_t y2);
    void AddInRow(int row, std::int64_t x1, std::int64_t y1, std::int64_t x2, std::int64_t y2, int sign);
    // Most polygons lie inside the clip, and most clips are small enough for 32 bits.
    bool IsClipSmall() const;
    template <bool IsInside, class Cells>
    void AddSmallPolygon(std::span<Geometry::PointDbl const> points, Cells const& cells);
    void AddCell(int x, int row, std::int64_t cover, std::int64_t area) {
        if (cover == 0)
            return;
        if (!m_usesGrid)
            return AddToList(x, row, cover, area);
        Sums& sums = m_grid[static_cast<std::size_t>(row - m_clip.top) * static_cast<std::size_t>(m_clip.GetWidth()) +
                            static_cast<std::size_t>(x - m_clip.left)];
        sums.cover += cover;
        sums.area += area;
    }
    void AddToList(int x, int row, std::int64_t cover, std::int64_t area);
    // Brings the cells into the order of rows and columns.
    void Sort();
    void SortByRow();
    static void SortByColumn(Cell* first, Cell* last);
    // From now on cells are added up in the grid, where they are in order.
    void MoveToGrid();
    template <class F>
    void SweepCells(Geometry::WindingOrderMode mode, F&& emit);
    template <class F>
    void SweepGrid(Geometry::WindingOrderMode mode, F&& emit);
    std::size_t GetPixelCount() const {
        return static_cast<std::size_t>(m_clip.GetWidth()) * static_cast<std::size_t>(m_clip.GetHeight());
    }

    static std::uint32_t GetCoverage(std::int64_t twiceArea, Geometry::WindingOrderMode mode) {
        constexpr std::int64_t c_full = std::int64_t{1} << (2 * c_shift + 1);
        std::int64_t area = twiceArea < 0 ? -twiceArea : twiceArea;
        if (mode == Geometry::WindingOrderMode::Alternating) {
            area &= 2 * c_full - 1;
            if (area > c_full)
                area = 2 * c_full - area;
        }
        return area >= c_full ? c_fullCoverage
                              : static_cast<std::uint32_t>((area + (std::int64_t{1} << c_shift)) >> (c_shift + 1));
    }

    Kernel::RectT<int> m_clip;
    struct Sums {
        std::int64_t cover = 0;
        std::int64_t area = 0;
    };

    std::vector<Cell> m_cells;
    // The cells of all rows, each row from its start here to the next one's.
    std::vector<Cell> m_sorted;
    std::vector<std::uint32_t> m_rowStarts;
    // One entry a pixel of the clip, row by row, once there are so many cells that this is less work than sorting them.
    std::vector<Sums> m_grid;
    bool m_usesGrid = false;
    std::size_t m_gridAt = 0;
};

template <class F>
void CellRasteriser::Sweep(Geometry::WindingOrderMode mode, F&& emit) {
    if (m_usesGrid)
        SweepGrid(mode, emit);
    else
        SweepCells(mode, emit);
}

template <class F>
void CellRasteriser::SweepCells(Geometry::WindingOrderMode mode, F&& emit) {
    Sort();
    for (int row = m_clip.top; row != m_clip.bottom; ++row) {
        auto const index = static_cast<std::size_t>(row - m_clip.top);
        Cell const* cell = m_sorted.data() + m_rowStarts[index];
        Cell const* const end = m_sorted.data() + m_rowStarts[index + 1];
        std::int64_t cover = 0;
        while (cell != end) {
            // Several edges may have left cells in one pixel.
            int const x = cell->x;
            std::int64_t area = 0;
            for (; cell != end && cell->x == x; ++cell) {
                cover += cell->cover;
                area += cell->area;
            }
            if (auto const coverage = GetCoverage((cover << (c_shift + 1)) - area, mode); coverage != 0)
                emit(row, x, x + 1, coverage);
            int const next = x + 1, stop = cell != end ? cell->x : m_clip.right;
            if (stop > next && cover != 0) {
                if (auto const coverage = GetCoverage(cover << (c_shift + 1), mode); coverage != 0)
                    emit(row, next, stop, coverage);
            }
        }
    }
}

// Emits what SweepCells does with the cells that the grid holds.
template <class F>
void CellRasteriser::SweepGrid(Geometry::WindingOrderMode mode, F&& emit) {
    Sums const* sums = m_grid.data();
    for (int row = m_clip.top; row != m_clip.bottom; ++row) {
        std::int64_t cover = 0;
        for (int x = m_clip.left; x != m_clip.right;) {
            int const begin = x;
            for (; x != m_clip.right && sums->cover == 0 && sums->area == 0; ++x)
                ++sums;
            if (x != begin && cover != 0) {
                if (auto const coverage = GetCoverage(cover << (c_shift + 1), mode); coverage != 0)
                    emit(row, begin, x, coverage);
            }
            if (x == m_clip.right)
                break;
            cover += sums->cover;
            if (auto const coverage = GetCoverage((cover << (c_shift + 1)) - sums->area, mode); coverage != 0)
                emit(row, x, x + 1, coverage);
            ++sums;
            ++x;
        }
    }
}

} // namespace Renderer::Detail
