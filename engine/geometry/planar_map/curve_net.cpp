// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/curve_net.h"

#include "platform/geometry/curve_operations.h"

#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <tuple>

namespace Geometry::Planar {

namespace {

// Bits of the extent in grid units: coarse enough that the rounding of the input's own coordinates stays below one
// unit, and up to the finest where a contour is so small beside the whole that it would lose its shape.
constexpr int c_usualBits = 38;
constexpr int c_mostBits = 50;
constexpr int c_bitsOfSmallContour = 17;

struct End {
    GridPoint at;
    PointDbl position;
    friend bool operator<(End const& a, End const& b) {
        return std::tie(a.at, a.position.x, a.position.y) < std::tie(b.at, b.position.x, b.position.y);
    }
};

// Finds the first vertex within the weld distance of a point. Open addressing over square cells, which hold a few
// vertices each, since these keep apart.
class WeldGrid {
public:
    WeldGrid(std::vector<NetVertex> const& vertices, std::size_t capacity)
        : m_vertices(vertices), m_slots(std::bit_ceil(2 * capacity + 2), c_none) {}

    std::uint32_t Find(GridPoint p) const {
        constexpr auto c_reach = static_cast<std::int64_t>(c_weldDistance);
        std::int64_t const right = (p.x + c_reach) >> c_shift, bottom = (p.y + c_reach) >> c_shift;
        std::uint32_t first = c_none;
        for (std::int64_t x = (p.x - c_reach) >> c_shift; x <= right; ++x) {
            for (std::int64_t y = (p.y - c_reach) >> c_shift; y <= bottom; ++y) {
                for (std::size_t slot = Hash(x, y);; ++slot) {
                    std::uint32_t const vertex = m_slots[slot & (m_slots.size() - 1)];
                    if (vertex == c_none)
                        break;
                    GridPoint const q = m_vertices[vertex].at;
                    if (std::max(std::abs(q.x - p.x), std::abs(q.y - p.y)) <= c_reach)
                        first = std::min(first, vertex);
                }
            }
        }
        return first;
    }
    void Add(std::uint32_t vertex) {
        GridPoint const p = m_vertices[vertex].at;
        std::size_t slot = Hash(p.x >> c_shift, p.y >> c_shift);
        while (m_slots[slot & (m_slots.size() - 1)] != c_none)
            ++slot;
        m_slots[slot & (m_slots.size() - 1)] = vertex;
    }

    static constexpr std::uint32_t c_none = std::numeric_limits<std::uint32_t>::max();

private:
    static constexpr int c_shift = 5;
    static std::size_t Hash(std::int64_t x, std::int64_t y) {
        std::uint64_t const h =
            static_cast<std::uint64_t>(x) * 0x9E3779B97F4A7C15u + static_cast<std::uint64_t>(y) * 0xC2B2AE3D27D4EB4Fu;
        return h ^ h >> 29;
    }

    std::vector<NetVertex> const& m_vertices;
    std::vector<std::uint32_t> m_slots;
};

bool IsStraight(Segment const& s) {
    double const dx = s.end.x - s.start.x, dy = s.end.y - s.start.y, length = std::hypot(dx, dy);
    double last = 0;
    for (PointDbl const p : {s.control1, s.control2}) {
        double const x = p.x - s.start.x, y = p.y - s.start.y;
        double const along = x * dx + y * dy;
        if (std::fabs(x * dy - y * dx) > 0.5 * length || along < last || along > length * length)
            return false;
        last = along;
    }
    return length > 0;
}

bool IsAPoint(Segment const& s) {
    for (PointDbl const p : {s.control1, s.control2, s.end}) {
        if (std::max(std::fabs(p.x - s.start.x), std::fabs(p.y - s.start.y)) > 4 * c_weldDistance)
            return false;
    }
    return true;
}

// A key that tells curves between the same vertices apart at once. Rounded, since reversing costs a last digit.
struct CurveKey {
    std::uint32_t from = 0, to = 0;
    bool straight = false;
    GridPoint control1, control2;
    auto Tie() const { return std::tie(from, to, straight, control1, control2); }
    friend bool operator==(CurveKey const& a, CurveKey const& b) { return a.Tie() == b.Tie(); }
    friend bool operator<(CurveKey const& a, CurveKey const& b) { return a.Tie() < b.Tie(); }
};

struct KeyedUse {
    CurveKey key;
    std::uint32_t use = 0;
    std::uint32_t segment = 0;
    bool reversed = false;
};

} // namespace

CurveNet::CurveNet(SourceCurves const& sourceCurves, std::span<std::uint32_t const> chosen, Monitor& monitor)
    : source(sourceCurves) {
    ChooseFrame(chosen);
    CollectVertices(chosen, monitor);
    CollectCurves(chosen, monitor);
    m_ends = {};
    m_vertexOfEnd = {};
    CutAtTouchingEnds(monitor);
    UniteCoincidingPieces(monitor);
    CountUses(monitor);
}

void CurveNet::ChooseFrame(std::span<std::uint32_t const> chosen) {
    RectDbl all = source.contours[chosen.front()].box;
    double smallest = std::numeric_limits<double>::infinity();
    for (std::uint32_t const index : chosen) {
        RectDbl const& box = source.contours[index].box;
        all = {std::min(all.left, box.left), std::min(all.top, box.top), std::max(all.right, box.right),
               std::max(all.bottom, box.bottom)};
        double const size = std::max(box.GetWidth(), box.GetHeight());
        if (size > 0)
            smallest = std::min(smallest, size);
    }
    double const extent = std::max(all.GetWidth(), all.GetHeight());
    frame.origin = {all.left, all.top};
    if (!(extent > 0))
        return;
    // frexp gives extent <= 2^bits with bits - 1 below its logarithm.
    int extentBits = 0, smallBits = 0;
    std::frexp(extent, &extentBits);
    std::frexp(smallest, &smallBits);
    int const bits = std::clamp(extentBits - smallBits + c_bitsOfSmallContour, c_usualBits, c_mostBits);
    frame.unitsPerLength = std::ldexp(1.0, std::clamp(bits - extentBits, -1000, 1000));
}

Segment CurveNet::GetSourceCurve(std::uint32_t curve) const {
    NetCurve const& c = curves[curve];
    Segment const& segment = source.segments[c.segment];
    Segment const s = c.reversed ? Reversed(segment) : segment;
    return c.straight ? Segment::Line(s.start, s.end) : s;
}

Segment CurveNet::GetGridCurve(std::uint32_t curve) const { return frame.ToGrid(GetSourceCurve(curve)); }

std::uint32_t CurveNet::FindVertex(GridPoint p) const {
    return m_vertexOfEnd[static_cast<std::size_t>(std::lower_bound(m_ends.begin(), m_ends.end(), p) - m_ends.begin())];
}

void CurveNet::CollectVertices(std::span<std::uint32_t const> chosen, Monitor& monitor) {
    std::vector<End> ends;
    for (std::uint32_t const index : chosen) {
        SourceContour const& contour = source.contours[index];
        for (std::uint32_t i = 0; i != contour.segmentCount; ++i) {
            Segment const& s = source.segments[contour.firstSegment + i];
            ends.push_back({Rounded(frame.ToGrid(s.start)), s.start});
            if (i + 1 == contour.segmentCount)
                ends.push_back({Rounded(frame.ToGrid(s.end)), s.end});
            monitor.Tick();
        }
    }
    Sort(ends, std::less<>(), monitor);
    WeldGrid grid(vertices, ends.size());
    for (End const& end : ends) {
        if (!m_ends.empty() && m_ends.back() == end.at)
            continue;
        m_ends.push_back(end.at);
        std::uint32_t vertex = grid.Find(end.at);
        if (vertex == WeldGrid::c_none) {
            vertex = static_cast<std::uint32_t>(vertices.size());
            vertices.push_back({end.at, end.position});
            grid.Add(vertex);
        }
        m_vertexOfEnd.push_back(vertex);
        monitor.Tick();
    }
}

void CurveNet::CollectCurves(std::span<std::uint32_t const> chosen, Monitor& monitor) {
    std::vector<KeyedUse> keyed;
    for (std::uint32_t const index : chosen) {
        SourceContour const& contour = source.contours[index];
        NetContour walked{contour.input, contour.closed, static_cast<std::uint32_t>(uses.size()), 0};
        for (std::uint32_t i = 0; i != contour.segmentCount; ++i) {
            monitor.Tick();
            std::uint32_t const number = contour.firstSegment + i;
            Segment const s = frame.ToGrid(source.segments[number]);
            CurveKey key{FindVertex(Rounded(s.start)), FindVertex(Rounded(s.end)), false, {}, {}};
            if (key.from == key.to && (s.kind == SegmentKind::Line || IsAPoint(s)))
                continue;
            key.straight = s.kind == SegmentKind::Line || IsStraight(s);
            bool reversed = key.from > key.to;
            if (!key.straight) {
                key.control1 = Rounded(s.control1);
                key.control2 = Rounded(s.control2);
                reversed = reversed || (key.from == key.to && key.control1 > key.control2);
            }
            if (reversed) {
                std::swap(key.from, key.to);
                std::swap(key.control1, key.control2);
            }
            bool const implied = contour.impliedClosing && i + 1 == contour.segmentCount;
            keyed.push_back({key, static_cast<std::uint32_t>(uses.size()), number, reversed});
            uses.push_back({0, reversed, implied});
            ++walked.useCount;
        }
        if (walked.useCount != 0)
            contours.push_back(walked);
    }
    Sort(
        keyed, [](KeyedUse const& a, KeyedUse const& b) { return std::tie(a.key, a.use) < std::tie(b.key, b.use); },
        monitor);
    for (std::size_t i = 0; i != keyed.size(); ++i) {
        KeyedUse const& k = keyed[i];
        if (i == 0 || !(keyed[i - 1].key == k.key))
            curves.push_back({k.segment, k.reversed, k.key.straight, k.key.from, k.key.to, 0, 0});
        uses[k.use].curve = static_cast<std::uint32_t>(curves.size() - 1);
        monitor.Tick();
    }
}

} // namespace Geometry::Planar
