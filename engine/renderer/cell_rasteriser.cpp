// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/cell_rasteriser.h"

#include <algorithm>
#include <cmath>
#include <utility>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace Renderer::Detail {

namespace {

// Far beyond every picture, and small enough for the fixed point.
constexpr double c_reach = 8388608.0;
// Pixels of a grid that is made before it is known how many cells come; it stays in the cache.
constexpr std::size_t c_largestEarlyGrid = std::size_t{1} << 15;

__extension__ typedef __int128 Int128;

// floor(a * b / divisor) and what is left over it, for divisor > 0. Lengths below 32768 pixels need no wide product.
struct Quotient {
    std::int64_t floor;
    std::int64_t remainder;
};

Quotient MultiplyDivide(std::int64_t a, std::int64_t b, std::int64_t divisor) {
    std::int64_t product;
    if (!__builtin_mul_overflow(a, b, &product)) [[likely]] {
        std::int64_t const quotient = product / divisor, remainder = product % divisor;
        return remainder < 0 ? Quotient{quotient - 1, remainder + divisor} : Quotient{quotient, remainder};
    }
    Int128 const wide = Int128{a} * b;
    Int128 const quotient = wide / divisor, remainder = wide % divisor;
    return remainder < 0
               ? Quotient{static_cast<std::int64_t>(quotient - 1), static_cast<std::int64_t>(remainder + divisor)}
               : Quotient{static_cast<std::int64_t>(quotient), static_cast<std::int64_t>(remainder)};
}

// base + floor(offset * rise / run) for one offset after another, without a division each.
class Stepper {
public:
    Stepper(std::int64_t base, std::int64_t offset, std::int64_t step, std::int64_t rise, std::int64_t run)
        : m_run(run) {
        auto const [floor, remainder] = MultiplyDivide(offset, rise, run);
        m_value = base + floor;
        m_remainder = remainder;
        m_next = step;
        m_rise = rise;
    }
    std::int64_t Get() const { return m_value; }
    void Advance() {
        // Most edges are so short that they need no step.
        if (m_next != 0) {
            m_step = MultiplyDivide(m_next, m_rise, m_run);
            m_next = 0;
        }
        m_value += m_step.floor;
        m_remainder += m_step.remainder;
        if (m_remainder >= m_run) {
            m_remainder -= m_run;
            ++m_value;
        }
    }

private:
    std::int64_t m_run;
    std::int64_t m_value;
    std::int64_t m_remainder;
    // The offset between two values, until its quotient is there.
    std::int64_t m_next;
    std::int64_t m_rise;
    Quotient m_step{};
};

// floor(v * 65536 + 1/2) of what is in reach.
std::int64_t ToFixed(double v) {
    double const scaled = v * 65536.0 + 0.5;
    auto const towardsZero = static_cast<std::int64_t>(scaled);
    return towardsZero - (static_cast<double>(towardsZero) > scaled ? 1 : 0);
}

// A place in 1/65536 pixel of the clip's upper left corner.
struct FixedPlace {
    std::int32_t x;
    std::int32_t y;
};

// The result of ToFixed, less the origin. Coordinates beyond 32767 pixels give places that lie outside every small
// clip.
FixedPlace ToFixedPlace(Geometry::PointDbl p, FixedPlace origin) {
#ifdef __SSE2__
    __m128d const scaled = _mm_add_pd(_mm_mul_pd(_mm_set_pd(p.y, p.x), _mm_set1_pd(65536.0)), _mm_set1_pd(0.5));
    __m128i const towardsZero = _mm_cvttpd_epi32(scaled);
    __m128i const isTooLarge = _mm_castpd_si128(_mm_cmpgt_pd(_mm_cvtepi32_pd(towardsZero), scaled));
    __m128i const rounded = _mm_add_epi32(towardsZero, _mm_shuffle_epi32(isTooLarge, _MM_SHUFFLE(2, 0, 2, 0)));
    auto const both = static_cast<std::uint64_t>(_mm_cvtsi128_si64(rounded));
    auto const x = static_cast<std::uint32_t>(both), y = static_cast<std::uint32_t>(both >> 32);
#else
    constexpr double c_most = 32768;
    auto const convert = [](double v) {
        return v > -c_most && v < c_most ? static_cast<std::uint32_t>(ToFixed(v)) : 0x80000000u;
    };
    std::uint32_t const x = convert(p.x), y = convert(p.y);
#endif
    return {static_cast<std::int32_t>(x - static_cast<std::uint32_t>(origin.x)),
            static_cast<std::int32_t>(y - static_cast<std::uint32_t>(origin.y))};
}

constexpr std::int32_t c_onePixel = 65536;
constexpr int c_pixelShift = 16;

std::int64_t GetAreaLeft(std::int32_t x1, std::int32_t x2, std::int32_t cover) {
    return std::int64_t{cover} * ((x1 & (c_onePixel - 1)) + (x2 & (c_onePixel - 1)));
}

// floor(a * b / divisor) of lengths inside a small clip, for divisor > 0.
std::int32_t GetPart(std::int64_t a, std::int64_t b, std::int64_t divisor) {
    std::int64_t const product = a * b, quotient = product / divisor;
    return static_cast<std::int32_t>(quotient - (product - quotient * divisor < 0 ? 1 : 0));
}

// A piece of an edge inside one row, as AddInRow adds it; heights are those in the row.
template <class Cells>
void AddPieceInside(int row, FixedPlace a, FixedPlace b, std::int32_t sign, Cells const& cells) {
    if (a.x > b.x) {
        std::swap(a, b);
        sign = -sign;
    }
    int column = a.x >> c_pixelShift;
    int const lastColumn = (b.x - 1) >> c_pixelShift;
    if (column >= lastColumn && (b.x >> c_pixelShift) == column) {
        std::int32_t const cover = sign * (b.y - a.y);
        if (cover != 0)
            cells(column, row, cover, GetAreaLeft(a.x, b.x, cover));
        return;
    }
    std::int64_t const run = std::int64_t{b.x} - a.x, rise = b.y - a.y;
    auto const add = [&](std::int32_t from, std::int32_t to, std::int32_t height) {
        std::int64_t const cover = sign * height;
        std::int32_t const left = column * c_onePixel;
        if (cover != 0)
            cells(column, row, cover, cover * ((from - left) + (to - left)));
    };
    std::int32_t x = a.x, y = a.y;
    if (column + 1 == lastColumn) {
        // Most pieces are so short that they need no step.
        x = lastColumn * c_onePixel;
        y = a.y + GetPart(x - a.x, rise, run);
        add(a.x, x, y - a.y);
        ++column;
        add(x, b.x, b.y - y);
        return;
    }
    Stepper crossing(a.y, std::int64_t{column + 1} * c_onePixel - a.x, c_onePixel, rise, run);
    for (; column < lastColumn; ++column) {
        std::int32_t const border = (column + 1) * c_onePixel, at = static_cast<std::int32_t>(crossing.Get());
        add(x, border, at - y);
        x = border;
        y = at;
        if (column + 1 < lastColumn)
            crossing.Advance();
    }
    add(x, b.x, b.y - y);
}

// An edge that crosses the border of a row or column.
template <class Cells>
[[gnu::noinline]] void AddLongEdgeInside(FixedPlace a, FixedPlace b, Cells const& cells) {
    std::int32_t sign = 1;
    if (a.y > b.y) {
        std::swap(a, b);
        sign = -1;
    }
    int row = a.y >> c_pixelShift;
    int const lastRow = (b.y - 1) >> c_pixelShift;
    auto const top = [](int y) { return y * c_onePixel; };
    if (row == lastRow)
        return AddPieceInside(row, {a.x, a.y - top(row)}, {b.x, b.y - top(row)}, sign, cells);
    std::int64_t const run = std::int64_t{b.x} - a.x, rise = std::int64_t{b.y} - a.y;
    if (row + 1 == lastRow) {
        std::int32_t const x = a.x + GetPart(top(lastRow) - a.y, run, rise);
        AddPieceInside(row, {a.x, a.y - top(row)}, {x, c_onePixel}, sign, cells);
        AddPieceInside(lastRow, {x, 0}, {b.x, b.y - top(lastRow)}, sign, cells);
        return;
    }
    Stepper crossing(a.x, std::int64_t{row + 1} * c_onePixel - a.y, c_onePixel, run, rise);
    FixedPlace from{a.x, a.y - top(row)};
    for (; row < lastRow; ++row) {
        auto const x = static_cast<std::int32_t>(crossing.Get());
        AddPieceInside(row, from, {x, c_onePixel}, sign, cells);
        from = {x, 0};
        if (row + 1 < lastRow)
            crossing.Advance();
    }
    AddPieceInside(row, from, {b.x, b.y - top(row)}, sign, cells);
}

// An edge between two places inside the clip: the cells that AddFixed adds.
template <class Cells>
inline void AddEdgeInside(FixedPlace a, FixedPlace b, Cells const& cells) {
    std::int32_t const cover = b.y - a.y;
    if (cover == 0)
        return;
    int const column = a.x >> c_pixelShift, row = std::min(a.y, b.y) >> c_pixelShift;
    // Most edges of a curve lie in one pixel.
    if (b.x >> c_pixelShift == column && (std::max(a.y, b.y) - 1) >> c_pixelShift == row)
        cells(column, row, cover, GetAreaLeft(a.x, b.x, cover));
    else
        AddLongEdgeInside(a, b, cells);
}

bool IsInReach(Geometry::PointDbl p) { return std::fabs(p.x) <= c_reach && std::fabs(p.y) <= c_reach; }

Geometry::PointDbl AtY(Geometry::PointDbl a, Geometry::PointDbl b, double y) {
    // Halves first: differences of the largest doubles overflow.
    double const t = (y / 2 - a.y / 2) / (b.y / 2 - a.y / 2);
    return {a.x * (1 - t) + b.x * t, y};
}

Geometry::PointDbl AtX(Geometry::PointDbl a, Geometry::PointDbl b, double x) {
    double const t = (x / 2 - a.x / 2) / (b.x / 2 - a.x / 2);
    return {x, a.y * (1 - t) + b.y * t};
}

} // namespace

void CellRasteriser::Reset(Kernel::RectT<int> const& clip, std::size_t expectedCells) {
    m_clip = clip;
    m_cells.clear();
    m_usesGrid = false;
    m_gridAt = std::max<std::size_t>(4096, GetPixelCount() / 2);
    if (GetPixelCount() <= std::min(4 * expectedCells, c_largestEarlyGrid))
        MoveToGrid();
}

void CellRasteriser::AddEdge(Geometry::PointDbl from, Geometry::PointDbl to) {
    if (IsInReach(from) && IsInReach(to)) {
        AddFixed(ToFixed(from.x), ToFixed(from.y), ToFixed(to.x), ToFixed(to.y));
        return;
    }
    // Cut at the reach: what lies above or below has no effect, what lies beside has that of an upright edge there.
    // Always cut in the same direction, so that equal edges are cut alike.
    bool const down = from.y < to.y;
    Geometry::PointDbl a = down ? from : to, b = down ? to : from;
    if (!(a.y < c_reach) || !(b.y > -c_reach) || a.y == b.y)
        return;
    Geometry::PointDbl const top = a, bottom = b;
    if (a.y < -c_reach)
        a = AtY(top, bottom, -c_reach);
    if (b.y > c_reach)
        b = AtY(top, bottom, c_reach);
    Geometry::PointDbl points[4] = {a, a, b, b};
    auto const clampX = [](Geometry::PointDbl p) {
        return Geometry::PointDbl{std::clamp(p.x, -c_reach, c_reach), p.y};
    };
    double const first = a.x < b.x ? -c_reach : c_reach;
    if ((a.x < first) != (b.x < first) && a.x != first)
        points[1] = AtX(a, b, first);
    if ((a.x < -first) != (b.x < -first) && b.x != -first)
        points[2] = AtX(a, b, -first);
    points[1].y = std::clamp(points[1].y, a.y, b.y);
    points[2].y = std::clamp(points[2].y, points[1].y, b.y);
    for (int i = 0; i != 3; ++i) {
        Geometry::PointDbl const p = clampX(points[i]), q = clampX(points[i + 1]);
        if (down)
            AddFixed(ToFixed(p.x), ToFixed(p.y), ToFixed(q.x), ToFixed(q.y));
        else
            AddFixed(ToFixed(q.x), ToFixed(q.y), ToFixed(p.x), ToFixed(p.y));
    }
}

bool CellRasteriser::IsClipSmall() const {
    constexpr int c_most = 32767;
    return m_clip.left >= -c_most && m_clip.top >= -c_most && m_clip.right <= c_most && m_clip.bottom <= c_most &&
           m_clip.GetWidth() <= c_most && m_clip.GetHeight() <= c_most;
}

template <bool IsInside, class Cells>
void CellRasteriser::AddSmallPolygon(std::span<Geometry::PointDbl const> points, Cells const& cells) {
    FixedPlace const origin{m_clip.left * static_cast<std::int32_t>(c_one),
                            m_clip.top * static_cast<std::int32_t>(c_one)};
    auto const width = static_cast<std::uint32_t>(m_clip.GetWidth()) << c_shift;
    auto const height = static_cast<std::uint32_t>(m_clip.GetHeight()) << c_shift;
    // A coordinate that 32 bits cannot hold has a place outside the clip.
    auto const isInside = [&](FixedPlace p) {
        return IsInside || (static_cast<std::uint32_t>(p.x) < width && static_cast<std::uint32_t>(p.y) <= height);
    };
    Geometry::PointDbl const* last = &points.back();
    FixedPlace lastPlace = ToFixedPlace(*last, origin);
    bool isLastInside = isInside(lastPlace);
    for (Geometry::PointDbl const& p : points) {
        FixedPlace const place = ToFixedPlace(p, origin);
        bool const isPlaceInside = isInside(place);
        if (isPlaceInside && isLastInside)
            AddEdgeInside(lastPlace, place, cells);
        else
            AddEdge(*last, p);
        last = &p;
        lastPlace = place;
        isLastInside = isPlaceInside;
    }
}

void CellRasteriser::AddPolygon(std::span<Geometry::PointDbl const> points, bool isInside) {
    if (!IsClipSmall()) {
        Geometry::PointDbl last = points.back();
        for (Geometry::PointDbl const& p : points)
            AddEdge(std::exchange(last, p), p);
        return;
    }
    if (!m_usesGrid) {
        AddSmallPolygon<false>(points, [this](int column, int row, std::int64_t cover, std::int64_t area) {
            AddCell(m_clip.left + column, m_clip.top + row, cover, area);
        });
        return;
    }
    std::size_t const width = static_cast<std::size_t>(m_clip.GetWidth());
    auto const cells = [grid = m_grid.data(), width](int column, int row, std::int64_t cover, std::int64_t area) {
        Sums& sums = grid[static_cast<std::size_t>(row) * width + static_cast<std::size_t>(column)];
        sums.cover += cover;
        sums.area += area;
    };
    if (isInside)
        AddSmallPolygon<true>(points, cells);
    else
        AddSmallPolygon<false>(points, cells);
}

void CellRasteriser::AddFixed(std::int64_t x1, std::int64_t y1, std::int64_t x2, std::int64_t y2) {
    if (y1 == y2)
        return;
    int sign = 1;
    if (y1 > y2) {
        std::swap(x1, x2);
        std::swap(y1, y2);
        sign = -1;
    }
    int const firstRow = std::max(static_cast<int>(y1 >> c_shift), m_clip.top);
    int const lastRow = std::min(static_cast<int>((y2 - 1) >> c_shift), m_clip.bottom - 1);
    if (firstRow > lastRow || (x1 >= m_clip.right * c_one && x2 >= m_clip.right * c_one))
        return;
    if (x1 == x2 || (x1 < m_clip.left * c_one && x2 < m_clip.left * c_one)) {
        // No crossing of a column's border: rows need no slope.
        std::int64_t const x = std::max(x1, m_clip.left * c_one);
        int const column = static_cast<int>(x >> c_shift);
        std::int64_t const twice = 2 * (x & (c_one - 1));
        for (int row = firstRow; row <= lastRow; ++row) {
            std::int64_t const top = std::max(y1, row * c_one), bottom = std::min(y2, (row + 1) * c_one);
            AddCell(column, row, sign * (bottom - top), sign * (bottom - top) * twice);
        }
        return;
    }
    if (y1 >= firstRow * c_one && y2 <= (firstRow + 1) * c_one) {
        AddInRow(firstRow, x1, y1 - firstRow * c_one, x2, y2 - firstRow * c_one, sign);
        return;
    }
    // Where the edge crosses the lower border of the first row, the next row, ...
    Stepper crossing(x1, (firstRow + 1) * c_one - y1, c_one, x2 - x1, y2 - y1);
    std::int64_t x = firstRow * c_one <= y1 ? x1 : x1 + MultiplyDivide(firstRow * c_one - y1, x2 - x1, y2 - y1).floor;
    for (int row = firstRow; row <= lastRow; ++row) {
        bool const last = y2 <= (row + 1) * c_one;
        std::int64_t const next = last ? x2 : crossing.Get();
        AddInRow(row, x, std::max(y1 - row * c_one, std::int64_t{0}), next, last ? y2 - row * c_one : c_one, sign);
        x = next;
        crossing.Advance();
    }
}

void CellRasteriser::AddInRow(int row, std::int64_t x1, std::int64_t y1, std::int64_t x2, std::int64_t y2, int sign) {
    if (x1 > x2) {
        std::swap(x1, x2);
        std::swap(y1, y2);
        sign = -sign;
    }
    std::int64_t const left = m_clip.left * c_one, right = m_clip.right * c_one;
    if (x1 >= right)
        return;
    if ((x1 >> c_shift) == (x2 >> c_shift) && x1 >= left) {
        std::int64_t const cover = sign * (y2 - y1);
        AddCell(static_cast<int>(x1 >> c_shift), row, cover, cover * ((x1 & (c_one - 1)) + (x2 & (c_one - 1))));
        return;
    }
    if (x2 <= left) {
        AddCell(m_clip.left, row, sign * (y2 - y1), 0);
        return;
    }
    // The height at which the edge crosses a column's border depends on the whole piece in this row, not on the clip.
    std::int64_t const run = x2 - x1, rise = y2 - y1;
    std::int64_t x = x1, y = y1;
    if (x < left) {
        y = y1 + MultiplyDivide(left - x1, rise, run).floor;
        x = left;
        AddCell(m_clip.left, row, sign * (y - y1), 0);
    }
    int column = static_cast<int>(x >> c_shift);
    int const lastColumn = std::min(static_cast<int>((x2 - 1) >> c_shift), m_clip.right - 1);
    Stepper crossing(y1, (column + 1) * c_one - x1, c_one, rise, run);
    for (; column <= lastColumn; ++column) {
        bool const last = x2 <= (column + 1) * c_one;
        std::int64_t const nextY = last ? y2 : crossing.Get();
        std::int64_t const nextX = last ? x2 : (column + 1) * c_one;
        std::int64_t const cover = sign * (nextY - y);
        AddCell(column, row, cover, cover * ((x - column * c_one) + (nextX - column * c_one)));
        x = nextX;
        y = nextY;
        crossing.Advance();
    }
}

void CellRasteriser::AddToList(int x, int row, std::int64_t cover, std::int64_t area) {
    if (!m_cells.empty() && m_cells.back().x == x && m_cells.back().row == row) {
        m_cells.back().cover += cover;
        m_cells.back().area += area;
        return;
    }
    m_cells.push_back({x, row, cover, area});
    if (m_cells.size() >= m_gridAt)
        MoveToGrid();
}

void CellRasteriser::MoveToGrid() {
    m_grid.assign(GetPixelCount(), {});
    m_usesGrid = true;
    for (Cell const& cell : m_cells)
        AddCell(cell.x, cell.row, cell.cover, cell.area);
    m_cells.clear();
}

void CellRasteriser::Sort() {
    SortByRow();
    for (std::size_t row = 0; row + 1 < m_rowStarts.size(); ++row)
        SortByColumn(m_sorted.data() + m_rowStarts[row], m_sorted.data() + m_rowStarts[row + 1]);
}

void CellRasteriser::SortByRow() {
    std::size_t const rows = static_cast<std::size_t>(m_clip.GetHeight());
    // Each row's count, then its start, which moves to the row's end while its cells are placed: there the next one's
    // start is wanted.
    m_rowStarts.assign(rows + 2, 0);
    std::uint32_t* const starts = m_rowStarts.data() + 1;
    for (Cell const& cell : m_cells)
        ++starts[static_cast<std::size_t>(cell.row - m_clip.top) + 1];
    for (std::size_t row = 0; row != rows; ++row)
        starts[row + 1] += starts[row];
    m_rowStarts.pop_back();
    m_sorted.resize(m_cells.size());
    for (Cell const& cell : m_cells)
        m_sorted[starts[static_cast<std::size_t>(cell.row - m_clip.top)]++] = cell;
}

void CellRasteriser::SortByColumn(Cell* first, Cell* last) {
    constexpr std::ptrdiff_t c_few = 24;
    auto const isBefore = [](Cell const& a, Cell const& b) { return a.x < b.x; };
    if (last - first > c_few) {
        std::sort(first, last, isBefore);
        return;
    }
    // Edges run along: cells come almost in order.
    for (Cell* cell = first; cell < last; ++cell) {
        Cell* to = cell;
        if (cell == first || !isBefore(*cell, cell[-1]))
            continue;
        Cell const moved = *cell;
        for (; to != first && isBefore(moved, to[-1]); --to)
            *to = to[-1];
        *to = moved;
    }
}

} // namespace Renderer::Detail
