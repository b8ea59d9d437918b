// SPDX-License-Identifier: Apache-2.0
#include "engine/story/wrap_shapes.h"

#include <algorithm>
#include <optional>

namespace Story {

namespace {

// Chords that a cubic is taken for. Text keeps a distance, so that no line shows the difference.
constexpr int c_chords = 16;

Geometry::PointDbl PointAt(Geometry::Segment const& s, double t) {
    double const u = 1 - t;
    double const a = u * u * u, b = 3 * u * u * t, c = 3 * u * t * t, d = t * t * t;
    return {a * s.start.x + b * s.control1.x + c * s.control2.x + d * s.end.x,
            a * s.start.y + b * s.control1.y + c * s.control2.y + d * s.end.y};
}

// The x that a chord covers between two heights.
std::optional<Interval> Clip(Geometry::PointDbl a, Geometry::PointDbl b, double top, double bottom) {
    if (a.y > b.y)
        std::swap(a, b);
    if (b.y < top || a.y > bottom)
        return {};
    auto const xAt = [&](double y) { return a.x + (b.x - a.x) * (y - a.y) / (b.y - a.y); };
    double const x1 = a.y < top && b.y > a.y ? xAt(top) : a.x;
    double const x2 = b.y > bottom && b.y > a.y ? xAt(bottom) : b.x;
    return Interval{std::min(x1, x2), std::max(x1, x2)};
}

} // namespace

// Of each shape everything from its leftmost to its rightmost point in the band counts: lines do not run through holes
// or bays.
std::vector<Interval> FindRooms(std::vector<WrapShape> const& shapes, Interval const& column, double top,
                                double bottom) {
    std::vector<Interval> blocked;
    for (auto const& shape : shapes) {
        if (!shape.outline)
            continue;
        std::optional<Interval> covered;
        double const bandTop = top - shape.distances.bottom;
        double const bandBottom = bottom + shape.distances.top;
        for (auto const& curve : shape.outline->GetCurves()) {
            for (auto const segment : curve->GetSegments()) {
                int const chords = segment.kind == Geometry::SegmentKind::Line ? 1 : c_chords;
                for (int i = 0; i != chords; ++i) {
                    auto const from = chords == 1 ? segment.start : PointAt(segment, double(i) / chords);
                    auto const to = chords == 1 ? segment.end : PointAt(segment, double(i + 1) / chords);
                    auto const part = Clip(from, to, bandTop, bandBottom);
                    if (!part)
                        continue;
                    covered = !covered
                                  ? *part
                                  : Interval{std::min(covered->begin, part->begin), std::max(covered->end, part->end)};
                }
            }
        }
        if (covered)
            blocked.push_back({covered->begin - shape.distances.left, covered->end + shape.distances.right});
    }
    std::sort(blocked.begin(), blocked.end(), [](Interval const& a, Interval const& b) { return a.begin < b.begin; });
    std::vector<Interval> rooms;
    double at = column.begin;
    for (auto const& each : blocked) {
        if (Interval const free{at, std::min(each.begin, column.end)}; free.GetWidth() > 0)
            rooms.push_back(free);
        at = std::max(at, each.end);
    }
    if (Interval const free{at, column.end}; free.GetWidth() > 0)
        rooms.push_back(free);
    return rooms;
}

} // namespace Story
