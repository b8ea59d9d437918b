// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/noding.h"

#include "engine/geometry/planar_map/parallel.h"

#include <functional>
#include <tuple>

namespace Geometry::Planar {

namespace {

class Noder {
public:
    Noder(FlattenedNet const& flattened, Monitor& monitor)
        : m_flattened(flattened), m_segments(flattened.list.segments), m_monitor(monitor) {}

    Noding Run() {
        CollectHotPixels();
        AssignToLeaves();
        FindHits();
        EmitSubSegments();
        return std::move(m_noding);
    }

private:
    struct Hit {
        std::uint32_t segment = 0, node = 0;
    };

    void CollectHotPixels();
    void AssignToLeaves();
    void FindHits();
    void FindHitsInLeaf(std::uint32_t cell, std::vector<std::uint32_t> const& segments, std::vector<Hit>& hits,
                        Monitor& monitor) const;
    void EmitSubSegments();
    void EmitAlong(std::uint32_t segment, std::vector<std::uint32_t>& nodes, SubSegment* to, Monitor& monitor) const;

    FlattenedNet const& m_flattened;
    std::vector<GridSegment> const& m_segments;
    Monitor& m_monitor;
    Noding m_noding;
    // Nodes by the leaf that they lie in.
    std::vector<std::uint32_t> m_firstInCell, m_nodesByCell;
    // By sections of cells.
    std::vector<std::vector<Hit>> m_hits;
};

// Whether a segment, one of whose ends is `a`, passes through the half-open pixel of q; q lies in its bounds.
bool PassesThrough(GridSegment const& s, GridPoint q) {
    std::int64_t const dx = s.b.x - s.a.x, dy = s.b.y - s.a.y;
    double const width = static_cast<double>(std::abs(dx)) + static_cast<double>(std::abs(dy));
    double const left = static_cast<double>(dx) * static_cast<double>(q.y - s.a.y);
    double const right = static_cast<double>(dy) * static_cast<double>(q.x - s.a.x);
    if (std::fabs(left - right) * 2 > width + 2e-15 * (std::fabs(left) + std::fabs(right)))
        return false;
    Wide const cross = Cross(s.a, s.b, s.a, q);
    Wide const twice = 2 * (cross < 0 ? -cross : cross);
    Wide const limit = static_cast<Wide>(std::abs(dx)) + std::abs(dy);
    if (twice != limit)
        return twice < limit;
    // It only touches a corner, and of the corners only the lower left one belongs to the pixel.
    bool const flip = dx < 0 || (dx == 0 && dy < 0);
    return (flip ? -dy : dy) < 0 && (flip ? -cross : cross) > 0;
}

void Noder::CollectHotPixels() {
    auto& nodes = m_noding.nodes;
    // A vector that grows copies all at once, and then the abort flag waits.
    nodes.reserve(2 * m_segments.size() + m_flattened.crossings.size());
    for (GridSegment const& s : m_segments) {
        m_monitor.Tick();
        if (s.dead)
            continue;
        nodes.push_back(s.a);
        nodes.push_back(s.b);
    }
    for (auto const& crossing : m_flattened.crossings) {
        if (!m_segments[crossing.a].dead && !m_segments[crossing.b].dead)
            nodes.push_back(crossing.at);
        m_monitor.Tick();
    }
    // Where pairs were not looked at all pixels are hot instead.
    for (GridBox const& box : m_flattened.grid.GetCrowdedPoints()) {
        for (std::int64_t y = box.top; y != box.top + box.size; ++y) {
            for (std::int64_t x = box.left; x != box.left + box.size; ++x)
                nodes.push_back({x, y});
        }
        m_monitor.Tick();
    }
    Sort(nodes, std::less<>(), m_monitor);
    std::size_t kept = 0;
    for (std::size_t i = 0; i != nodes.size(); ++i) {
        if (i == 0 || nodes[i] != nodes[kept - 1])
            nodes[kept++] = nodes[i];
        m_monitor.Tick();
    }
    nodes.resize(kept);
}

void Noder::AssignToLeaves() {
    auto const count = static_cast<std::uint32_t>(m_noding.nodes.size());
    std::vector<std::uint32_t> cells(count);
    Fill(m_firstInCell, m_flattened.grid.GetCellCount() + 1, 0u, m_monitor);
    for (std::uint32_t i = 0; i != count; ++i) {
        cells[i] = m_flattened.grid.Locate(m_noding.nodes[i]);
        ++m_firstInCell[cells[i] + 1];
        m_monitor.Tick();
    }
    for (std::size_t i = 0; i + 1 < m_firstInCell.size(); ++i)
        m_firstInCell[i + 1] += m_firstInCell[i];
    m_monitor.Check();
    Fill(m_nodesByCell, count, 0u, m_monitor);
    std::vector<std::uint32_t> next(m_firstInCell.begin(), m_firstInCell.end() - 1);
    m_monitor.Check();
    for (std::uint32_t i = 0; i != count; ++i) {
        m_nodesByCell[next[cells[i]]++] = i;
        m_monitor.Tick();
    }
}

void Noder::FindHits() {
    constexpr std::size_t c_stretch = 2048;
    std::size_t const count = m_firstInCell.size() - 1;
    m_hits.resize(count / c_stretch + 1);
    ForStretches(count, c_stretch, m_monitor, [&](std::size_t first, std::size_t last, Monitor& monitor) {
        auto& hits = m_hits[first / c_stretch];
        std::vector<std::uint32_t> segments;
        for (auto cell = static_cast<std::uint32_t>(first); cell != last; ++cell) {
            if (m_firstInCell[cell] == m_firstInCell[cell + 1])
                continue;
            m_flattened.grid.Gather(cell, segments);
            FindHitsInLeaf(cell, segments, hits, monitor);
            monitor.Tick();
        }
    });
}

void Noder::FindHitsInLeaf(std::uint32_t cell, std::vector<std::uint32_t> const& segments, std::vector<Hit>& hits,
                           Monitor& monitor) const {
    for (std::uint32_t const id : segments) {
        GridSegment const& s = m_segments[id];
        auto const [left, right] = std::minmax(s.a.x, s.b.x);
        auto const [low, high] = std::minmax(s.a.y, s.b.y);
        for (std::uint32_t i = m_firstInCell[cell]; i != m_firstInCell[cell + 1]; ++i) {
            GridPoint const q = m_noding.nodes[m_nodesByCell[i]];
            // Ends are pixels themselves, so nothing beyond their bounds is passed through.
            if (q.x < left || q.x > right || q.y < low || q.y > high)
                continue;
            if (PassesThrough(s, q))
                hits.push_back({id, m_nodesByCell[i]});
        }
        monitor.Tick();
    }
}

void Noder::EmitSubSegments() {
    std::vector<std::uint32_t> order;
    order.reserve(m_segments.size());
    for (std::uint32_t i = 0; i != m_segments.size(); ++i) {
        if (!m_segments[i].dead)
            order.push_back(i);
    }
    auto const& parts = m_flattened.list.parts;
    Sort(
        order,
        [&](std::uint32_t a, std::uint32_t b) {
            return std::tie(parts[a].owner, parts[a].t0) < std::tie(parts[b].owner, parts[b].t0);
        },
        m_monitor);
    std::vector<std::uint32_t> first(m_segments.size() + 1, 0);
    for (auto const& hits : m_hits) {
        for (Hit const& hit : hits) {
            ++first[hit.segment + 1];
            m_monitor.Tick();
        }
    }
    for (std::size_t i = 0; i != m_segments.size(); ++i)
        first[i + 1] += first[i];
    m_monitor.Check();
    std::vector<std::uint32_t> nodes;
    Fill(nodes, first.back(), 0u, m_monitor);
    {
        std::vector<std::uint32_t> next(first.begin(), first.end() - 1);
        for (auto& hits : m_hits) {
            for (Hit const& hit : hits) {
                nodes[next[hit.segment]++] = hit.node;
                m_monitor.Tick();
            }
            hits = {};
        }
    }
    // Where the sub-segments of each segment begin: one fewer than its nodes.
    std::vector<std::size_t> begins(order.size() + 1, 0);
    for (std::size_t i = 0; i != order.size(); ++i) {
        std::uint32_t const count = first[order[i] + 1] - first[order[i]];
        begins[i + 1] = begins[i] + (count == 0 ? 0 : count - 1);
        m_monitor.Tick();
    }
    Fill(m_noding.subSegments, begins.back(), SubSegment(), m_monitor);
    ForStretches(order.size(), 1024, m_monitor, [&](std::size_t from, std::size_t to, Monitor& monitor) {
        std::vector<std::uint32_t> along;
        for (std::size_t i = from; i != to; ++i) {
            along.assign(nodes.begin() + first[order[i]], nodes.begin() + first[order[i] + 1]);
            EmitAlong(order[i], along, m_noding.subSegments.data() + begins[i], monitor);
            monitor.Tick();
        }
    });
}

void Noder::EmitAlong(std::uint32_t segment, std::vector<std::uint32_t>& along, SubSegment* to,
                      Monitor& monitor) const {
    GridSegment const& s = m_segments[segment];
    CurvePart const& part = m_flattened.list.parts[segment];
    auto const& nodes = m_noding.nodes;
    auto const progress = [&](std::uint32_t node) {
        GridPoint const p = nodes[node];
        return static_cast<Wide>(p.x - s.a.x) * (s.b.x - s.a.x) + static_cast<Wide>(p.y - s.a.y) * (s.b.y - s.a.y);
    };
    if (along.size() > 2 || (along.size() == 2 && progress(along[0]) > progress(along[1]))) {
        Sort(
            along,
            [&](std::uint32_t a, std::uint32_t b) {
                Wide const pa = progress(a), pb = progress(b);
                return pa != pb ? pa < pb : a < b;
            },
            monitor);
    }
    auto const stops = m_flattened.GetStops(segment);
    auto const parameter = [&](std::uint32_t node) {
        GridPoint const p = nodes[node];
        if (p == s.a || p == s.b)
            return p == s.a ? part.t0 : part.t1;
        auto const stop = std::find_if(stops.begin(), stops.end(), [&](auto const& at) { return at.at == p; });
        return m_flattened.GetParameterNear(segment, p, stop != stops.end() ? &*stop : nullptr);
    };
    for (std::size_t i = 0; i + 1 < along.size(); ++i)
        *to++ = {part.owner, along[i], along[i + 1], parameter(along[i]), parameter(along[i + 1])};
}

} // namespace

Noding Node(FlattenedNet const& flattened, Monitor& monitor) { return Noder(flattened, monitor).Run(); }

} // namespace Geometry::Planar
