// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/source_curves.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <span>
#include <unordered_map>

namespace Geometry::Planar {

namespace {

// Numbers with fewer decimals, beside the extent, are meant as they stand.
constexpr double c_mostUncertainty = 0x1p-22;
// Segments that begin in one place; beyond so many the rest is not looked at.
constexpr std::size_t c_mostAtOnePlace = 64;

struct Candidate {
    std::uint32_t contour = 0, segment = 0;
    bool reversed = false;
};

double PointDistance(PointDbl a, PointDbl b) { return std::hypot(a.x - b.x, a.y - b.y); }

Segment Turned(Segment const& s, bool reversed) {
    return reversed ? Segment{s.kind, s.end, s.control2, s.control1, s.start} : s;
}

// How far the controls of one segment are from those of another.
double MaxDistance(Segment const& a, Segment const& b) {
    return std::max(std::max(PointDistance(a.start, b.start), PointDistance(a.control1, b.control1)),
                    std::max(PointDistance(a.control2, b.control2), PointDistance(a.end, b.end)));
}

class CopyRestorer {
public:
    CopyRestorer(SourceCurves& source, double tolerance, Monitor& monitor)
        : m_source(source), m_cell(4 * tolerance), m_monitor(monitor) {}

    void Run(double most) {
        std::vector<std::uint32_t> rounded;
        for (std::uint32_t c = 0; c != m_source.contours.size(); ++c) {
            if (m_source.contours[c].uncertainty > 0 && m_source.contours[c].uncertainty <= most)
                rounded.push_back(c);
        }
        if (rounded.empty())
            return;
        m_written = m_source.segments;
        for (std::uint32_t c = 0; c != m_source.contours.size(); ++c)
            List(c);
        // The more certain ones first, so that a copy of a copy gets what that one has got. Equally certain ones are
        // never taken for each other, so their order does not matter.
        Sort(
            rounded,
            [&](std::uint32_t a, std::uint32_t b) {
                return m_source.contours[a].uncertainty < m_source.contours[b].uncertainty;
            },
            m_monitor);
        for (std::uint32_t const c : rounded)
            Restore(m_source.contours[c]);
    }

private:
    static std::uint64_t Key(std::int64_t x, std::int64_t y) {
        return static_cast<std::uint64_t>(x) * 0x9E3779B97F4A7C15u ^ static_cast<std::uint64_t>(y);
    }
    std::int64_t CellOf(double coordinate) const {
        return static_cast<std::int64_t>(std::floor(std::clamp(coordinate / m_cell, -0x1p60, 0x1p60)));
    }

    void List(std::uint32_t number) {
        SourceContour const& contour = m_source.contours[number];
        for (std::uint32_t i = 0; i != contour.segmentCount; ++i) {
            Segment const& s = m_source.segments[contour.firstSegment + i];
            for (bool const reversed : {false, true}) {
                PointDbl const p = reversed ? s.end : s.start;
                auto& here = m_byStart[Key(CellOf(p.x), CellOf(p.y))];
                if (here.size() < c_mostAtOnePlace)
                    here.push_back({number, contour.firstSegment + i, reversed});
            }
            m_monitor.Tick();
        }
    }

    // The segment that `s` of an uncertain contour stands for; none where no contour that is more certain has one. Both
    // are compared as they were written.
    std::optional<Segment> Find(Segment const& s, double uncertainty) const {
        std::optional<Segment> best;
        double nearest = std::numeric_limits<double>::infinity();
        std::int64_t const x = CellOf(s.start.x), y = CellOf(s.start.y);
        for (std::int64_t dx = -1; dx <= 1; ++dx) {
            for (std::int64_t dy = -1; dy <= 1; ++dy) {
                auto const found = m_byStart.find(Key(x + dx, y + dy));
                if (found == m_byStart.end())
                    continue;
                for (Candidate const& candidate : found->second) {
                    double const other = m_source.contours[candidate.contour].uncertainty;
                    if (!(other < uncertainty))
                        continue;
                    Segment const written = Turned(m_written[candidate.segment], candidate.reversed);
                    double const distance = MaxDistance(s, written);
                    if (written.kind == s.kind && distance <= uncertainty + other && distance < nearest) {
                        nearest = distance;
                        best = Turned(m_source.segments[candidate.segment], candidate.reversed);
                    }
                }
            }
        }
        return best;
    }

    void Restore(SourceContour& contour) {
        std::span const segments = std::span(m_source.segments).subspan(contour.firstSegment, contour.segmentCount);
        // Also of a path that is not closed but encloses an area: its ends must not come apart.
        bool const endsWhereItBegan = segments.front().start == segments.back().end;
        std::vector<bool> isFound(segments.size(), false);
        for (std::size_t i = 0; i != segments.size(); ++i) {
            m_monitor.Tick();
            if (auto const found = Find(segments[i], contour.uncertainty)) {
                segments[i] = *found;
                isFound[i] = true;
            }
        }
        if (std::find(isFound.begin(), isFound.end(), true) == isFound.end())
            return;
        // Each segment begins where the one before it ends; those that were not found follow.
        for (std::size_t i = 0; i != segments.size(); ++i) {
            std::size_t const next = (i + 1) % segments.size();
            if (next == 0 && !endsWhereItBegan)
                break;
            (isFound[next] ? segments[i].end : segments[next].start) =
                isFound[next] ? segments[next].start : segments[i].end;
        }
        for (Segment& s : segments) {
            if (s.kind == SegmentKind::Line)
                s = Segment::Line(s.start, s.end);
            // Points may have left the box, and the map's grid begins at the boxes.
            for (PointDbl const p : {s.start, s.control1, s.control2, s.end})
                contour.box = {std::min(contour.box.left, p.x), std::min(contour.box.top, p.y),
                               std::max(contour.box.right, p.x), std::max(contour.box.bottom, p.y)};
        }
    }

    SourceCurves& m_source;
    double m_cell;
    Monitor& m_monitor;
    // The segments before any was restored.
    std::vector<Segment> m_written;
    std::unordered_map<std::uint64_t, std::vector<Candidate>> m_byStart;
};

} // namespace

void RestoreRoundedCopies(SourceCurves& source, Monitor& monitor) {
    if (source.contours.empty())
        return;
    RectDbl all = source.contours.front().box;
    for (SourceContour const& contour : source.contours)
        all = {std::min(all.left, contour.box.left), std::min(all.top, contour.box.top),
               std::max(all.right, contour.box.right), std::max(all.bottom, contour.box.bottom)};
    double const most = std::max(all.GetWidth(), all.GetHeight()) * c_mostUncertainty;
    CopyRestorer(source, most, monitor).Run(most);
}

} // namespace Geometry::Planar
