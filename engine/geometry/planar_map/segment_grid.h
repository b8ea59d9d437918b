// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/grid_point.h"
#include "engine/geometry/planar_map/monitor.h"

#include <cstdint>
#include <limits>
#include <vector>

namespace Geometry::Planar {

// A straight section of an edge; what it stands for stays within `reach` of it, in either coordinate.
struct GridSegment {
    GridPoint a, b;
    float reach = 1;
    // Has been replaced by others.
    bool dead = false;
};

// A square of the plane: left <= x < left + size.
struct GridBox {
    std::int64_t left = 0, top = 0;
    std::int64_t size = 0;
    bool Contains(GridPoint p) const { return p.x >= left && p.x < left + size && p.y >= top && p.y < top + size; }
};

// Finds segments that come near each other: a uniform grid of cells, each split into 4 by 4 where too many meet. Every
// segment is listed in each leaf that its surroundings, `reach` wide, have a point in.
class SegmentGrid {
public:
    // `segments` may grow later; the grid reads it whenever it splits a cell.
    SegmentGrid(std::vector<GridSegment> const& segments, Monitor& monitor);

    void Insert(std::uint32_t segment);

    // Calls visit(cell, box) for each leaf that something was inserted into since the last call.
    template <class Visit>
    void VisitChanged(Visit visit) {
        m_visited.swap(m_changed);
        m_changed.clear();
        for (auto const& [cell, box] : m_visited) {
            m_monitor.Tick();
            if (m_cells[cell].count == c_isNode)
                continue;
            m_cells[cell].changed = false;
            visit(cell, box);
        }
    }
    // The live segments of a leaf, in the order of their numbers.
    void Gather(std::uint32_t cell, std::vector<std::uint32_t>& segments) const;
    // The leaf at a place; places outside count as at the border.
    std::uint32_t Locate(GridPoint p) const { return LocateWithBox(p).first; }
    std::pair<std::uint32_t, GridBox> LocateWithBox(GridPoint p) const;
    std::size_t GetCellCount() const { return m_cells.size(); }
    // A leaf so crowded that pairs of its segments should not be looked at, and too small to be split.
    bool IsCrowdedPoint(std::uint32_t cell, GridBox const& box) const {
        return box.size <= c_smallestCell && m_cells[cell].count > c_crowd;
    }
    std::vector<GridBox> GetCrowdedPoints() const;

private:
    static constexpr std::uint32_t c_none = std::numeric_limits<std::uint32_t>::max();
    static constexpr std::uint32_t c_isNode = std::numeric_limits<std::uint32_t>::max();
    static constexpr std::uint32_t c_splitAbove = 20;
    static constexpr std::uint32_t c_crowd = 2048;
    static constexpr std::int64_t c_smallestCell = 8;

    // Of a leaf: its list of blocks. Of a split one: the first of its 16 cells.
    struct Cell {
        std::uint32_t first = c_none;
        std::uint32_t count = 0;
        std::uint32_t splitAbove = c_splitAbove;
        bool changed = false;
    };
    struct Block {
        std::uint32_t next;
        std::uint32_t items[7];
    };

    template <class Visit>
    static void Walk(GridSegment const& s, GridBox const& first, int columns, int rows, Visit visit);
    void InsertInto(std::uint32_t cell, GridBox const& box, std::uint32_t segment);
    void Append(std::uint32_t cell, GridBox const& box, std::uint32_t segment);
    void Split(std::uint32_t cell, GridBox const& box);

    std::vector<GridSegment> const& m_segments;
    Monitor& m_monitor;
    int m_shift = 0;
    int m_columns = 1, m_rows = 1;
    std::vector<Cell> m_cells;
    std::vector<Block> m_blocks;
    std::uint32_t m_freeBlocks = c_none;
    std::vector<std::pair<std::uint32_t, GridBox>> m_changed, m_visited;
};

} // namespace Geometry::Planar
