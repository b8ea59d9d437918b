// SPDX-License-Identifier: Apache-2.0
#include "engine/tracing/trace.h"

#include "engine/tracing/borders.h"
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <cmath>

namespace Tracing {

namespace {

using Geometry::PointDbl;
using Geometry::Segment;

// How far a shape reaches under those above it, in pixels: beyond the pixels that the border crosses.
constexpr double c_reach = 0.8;
// How far from a meeting of borders it does so only, as a part of that.
constexpr double c_drawnIn = 0.5;

PointDbl Along(PointDbl from, PointDbl to) {
    double const x = to.x - from.x, y = to.y - from.y, length = std::hypot(x, y);
    return length > 0 ? PointDbl{x / length, y / length} : PointDbl{};
}

// The directions of a segment at its ends; controls may stand on the ends.
PointDbl GetStartDirection(Segment const& s) {
    for (auto const& to : {s.control1, s.control2, s.end}) {
        if (to != s.start)
            return Along(s.start, to);
    }
    return {};
}
PointDbl GetEndDirection(Segment const& s) {
    for (auto const& from : {s.control2, s.control1, s.start}) {
        if (from != s.end)
            return Along(from, s.end);
    }
    return {};
}

Segment Reversed(Segment const& s) { return {s.kind, s.end, s.control2, s.control1, s.start}; }

class ShapeMaker {
public:
    ShapeMaker(Labels const& labels, Regions const& regions, Borders const& borders)
        : m_labels(labels), m_regions(regions), m_borders(borders) {
        OrderRegions();
        // Through such an area all would be seen that reaches under it.
        m_hasSeeThrough = std::any_of(regions.labels.begin() + 1, regions.labels.end(),
                                      [&](std::uint8_t label) { return labels.colours[label][3] != 255; });
    }

    std::vector<Shape> Make(bool const* abort) const {
        std::vector<std::vector<Ring const*>> rings(m_order.size());
        for (auto const& ring : m_borders.rings)
            rings[static_cast<std::size_t>(m_places[static_cast<std::size_t>(ring.region)])].push_back(&ring);
        std::vector<Shape> shapes(m_order.size());
        constexpr std::size_t c_share = 64;
        Kernel::ParallelFor((shapes.size() + c_share - 1) / c_share, [&](std::size_t share) {
            if (Kernel::IsAbortSet(abort))
                throw Kernel::AbortException();
            for (std::size_t i = share * c_share; i != std::min(shapes.size(), (share + 1) * c_share); ++i) {
                shapes[i].colour = GetColour(m_order[i]);
                shapes[i].outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
                // In a picture without clear parts the undermost shape is under everything.
                if (i == 0 && !m_hasSeeThrough) {
                    shapes[i].outline->AddCurve(MakeFrame());
                    continue;
                }
                for (auto const* const ring : rings[i]) {
                    if (ring->isOuter || !IsCovered(*ring))
                        shapes[i].outline->AddCurve(MakeContour(*ring));
                }
            }
        });
        return shapes;
    }

private:
    Picture::Pixel const& GetColour(std::int32_t region) const {
        return m_labels.colours[m_regions.labels[static_cast<std::size_t>(region)]];
    }

    // An area is painted before those that it surrounds, and before smaller ones beside it.
    void OrderRegions() {
        std::vector<double> areas(m_regions.labels.size(), 0);
        for (auto const& ring : m_borders.rings) {
            auto& area = areas[static_cast<std::size_t>(ring.region)];
            if (ring.isOuter)
                area = std::max(area, ring.area);
        }
        for (std::size_t i = 1; i < areas.size(); ++i) {
            if (m_regions.labels[i] != 0)
                m_order.push_back(static_cast<std::int32_t>(i));
        }
        std::stable_sort(m_order.begin(), m_order.end(), [&](std::int32_t a, std::int32_t b) {
            return areas[static_cast<std::size_t>(a)] > areas[static_cast<std::size_t>(b)];
        });
        m_places.assign(m_regions.labels.size(), -1);
        for (std::size_t i = 0; i != m_order.size(); ++i)
            m_places[static_cast<std::size_t>(m_order[i])] = static_cast<std::int32_t>(i);
    }

    std::int32_t GetNeighbour(BorderPart const& part) const {
        auto const& border = m_borders.borders[part.border];
        return part.isReversed ? border.left : border.right;
    }

    // Whether the region reaches under what is beyond a part of its border.
    bool ReachesUnder(std::int32_t region, BorderPart const& part) const {
        auto const other = GetNeighbour(part);
        return m_places[static_cast<std::size_t>(other)] > m_places[static_cast<std::size_t>(region)] &&
               GetColour(other)[3] == 255;
    }

    // A hole that is covered altogether need not be one.
    bool IsCovered(Ring const& hole) const {
        return !m_hasSeeThrough && std::all_of(hole.parts.begin(), hole.parts.end(),
                                               [&](BorderPart const& part) { return ReachesUnder(hole.region, part); });
    }

    Kernel::Counted<Geometry::CurveDbl> MakeContour(Ring const& ring) const {
        auto const contour = Kernel::MakeCounted<Geometry::CurveDbl>();
        PointDbl at;
        auto const go = [&](Segment s) {
            // Curves bulge, and shapes that reach under others would reach out of the picture.
            for (auto* const point : {&s.start, &s.control1, &s.control2, &s.end})
                *point = {std::clamp<double>(point->x, 0, m_regions.width),
                          std::clamp<double>(point->y, 0, m_regions.height)};
            if (contour->empty()) {
                contour->MoveTo(s.start);
            } else if (s.start != at) {
                contour->LineTo(s.start);
            }
            at = s.end;
            if (s.kind == Geometry::SegmentKind::Cubic)
                contour->CubicTo(s.control1, s.control2, s.end);
            else if (s.start != s.end)
                contour->LineTo(s.end);
        };
        for (auto const& part : ring.parts) {
            auto const& border = m_borders.borders[part.border];
            auto const& curve = border.curve;
            bool const reaches = ReachesUnder(ring.region, part);
            PointDbl const start = part.isReversed ? curve.back().end : curve.front().start;
            // Where borders meet, the shape keeps to the meeting: others that it must not cover begin there.
            if (reaches && !border.isRing)
                go(Segment::Line(start, start));
            for (std::size_t i = 0; i != curve.size(); ++i) {
                auto const s = part.isReversed ? Reversed(curve[curve.size() - 1 - i]) : curve[i];
                go(reaches ? Displaced(s, !border.isRing && i == 0, !border.isRing && i + 1 == curve.size()) : s);
            }
            PointDbl const end = part.isReversed ? curve.front().start : curve.back().end;
            if (reaches && !border.isRing)
                go(Segment::Line(end, end));
        }
        if (!contour->empty())
            contour->Close();
        return contour;
    }

    Kernel::Counted<Geometry::CurveDbl> MakeFrame() const {
        double const width = m_regions.width, height = m_regions.height;
        auto const frame = Kernel::MakeCounted<Geometry::CurveDbl>();
        frame->MoveTo({0, 0});
        frame->LineTo({width, 0});
        frame->LineTo({width, height});
        frame->LineTo({0, height});
        frame->Close();
        return frame;
    }

    // A segment moved to the right of its way, with ends drawn in where others meet it there.
    static Segment Displaced(Segment s, bool drawsStart, bool drawsEnd) {
        PointDbl const first = GetStartDirection(s), last = GetEndDirection(s);
        double const length = std::hypot(s.end.x - s.start.x, s.end.y - s.start.y);
        double const reach = std::min(c_reach, drawsStart || drawsEnd ? length / 3 : c_reach);
        auto const move = [&](PointDbl point, PointDbl direction, double forwards) {
            return PointDbl{point.x - reach * direction.y + forwards * reach * direction.x,
                            point.y + reach * direction.x + forwards * reach * direction.y};
        };
        s.start = move(s.start, first, drawsStart ? c_drawnIn : 0);
        s.control1 = move(s.control1, first, 0);
        s.control2 = move(s.control2, last, 0);
        s.end = move(s.end, last, drawsEnd ? -c_drawnIn : 0);
        return s;
    }

    Labels const& m_labels;
    Regions const& m_regions;
    Borders const& m_borders;
    bool m_hasSeeThrough = false;
    // Regions from the undermost to the uppermost, and the place of each in that order; -1 for those not painted.
    std::vector<std::int32_t> m_order;
    std::vector<std::int32_t> m_places;
};

} // namespace

std::vector<Shape> TracePicture(Picture const& picture, Options const& options) {
    if (picture.width < 1 || picture.height < 1)
        return {};
    if (std::int64_t{picture.width} * picture.height > c_mostPixels)
        throw Kernel::Exception("the picture is too large to be traced");
    auto const labels = FindLabels(picture, options);
    auto const regions = FindRegions(picture, labels, options);
    auto const borders = FindBorders(picture, labels, regions, options);
    return ShapeMaker(labels, regions, borders).Make(options.abort);
}

} // namespace Tracing
