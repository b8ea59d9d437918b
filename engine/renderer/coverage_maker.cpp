// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/coverage_maker.h"

#include <cmath>

namespace Renderer::Detail {

namespace {

// Pixels that the edges of a shape may cross for its coverage to be kept; a run of 12 bytes comes from each.
constexpr double c_mostCrossings = 1 << 17;
// Areas that are not worth an estimate.
constexpr double c_fewPixels = 1024;
// Memory of outlines that is used again, in bytes.
constexpr std::size_t c_mostMemoryKept = std::size_t{1} << 22;

// About how many pixels edges cross inside the area; counting ends beyond the most that is kept.
double EstimateCrossings(Polygons const& polygons, RectInt const& area) {
    double crossings = 0;
    double const left = area.left, right = area.right, top = area.top, bottom = area.bottom;
    for (std::size_t i = 0; i != polygons.GetCount(); ++i) {
        auto const polygon = polygons.GetPolygon(i);
        auto const inside = [&](PointDbl const& p) {
            return PointDbl{std::clamp(p.x, left, right), std::clamp(p.y, top, bottom)};
        };
        PointDbl last = inside(polygon.back());
        for (PointDbl const& point : polygon) {
            PointDbl const p = inside(point);
            crossings += std::fabs(p.x - last.x) + std::fabs(p.y - last.y) + 1;
            last = p;
        }
        if (crossings > c_mostCrossings)
            break;
    }
    return crossings;
}

} // namespace

Shape CoverageMaker::MakeShape(Shape const& outline, RectInt const& limit, Geometry::WindingOrderMode winding,
                               bool antialias) {
    Shape shape;
    if (outline.empty())
        return shape;
    // Often much less than what the ends of handles and the longest mitres could reach. Edges are rounded to 1/65536.
    RectInt const area = ToPixels(outline.polygons.GetBounds(), 1.0 / 256, limit);
    if (area.IsEmpty())
        return shape;
    // Edges of a small outline leave a cell in about each of its pixels, and it has no more runs than those.
    double const pixels = static_cast<double>(area.GetWidth()) * area.GetHeight();
    double const crossings = pixels <= c_fewPixels ? pixels : EstimateCrossings(outline.polygons, area);
    if (crossings + area.GetHeight() > c_mostCrossings) {
        shape.polygons = outline.polygons;
        return shape;
    }
    m_runs.Clear();
    SweepPolygons(
        m_rasteriser, outline.polygons, area, winding, antialias,
        [&](int y, int left, int right, std::uint32_t coverage) {
            m_runs.Add(y, {left, right, coverage});
        },
        static_cast<std::size_t>(crossings));
    shape.runs = m_runs;
    return shape;
}

std::unique_ptr<ItemOutlines const> CoverageMaker::Make(DrawItem const& item, DisplayList const& list,
                                                        RectInt const& area) {
    MakeOutlines(item, list, m_outlines);
    auto made = std::make_unique<ItemOutlines>();
    made->fill = MakeShape(m_outlines.fill, area, item.winding, item.antialias);
    made->line = MakeShape(m_outlines.line, area, Geometry::WindingOrderMode::NonZero, item.antialias);
    made->alignedLine = MakeShape(m_outlines.alignedLine, area, Geometry::WindingOrderMode::NonZero, item.antialias);
    if (m_outlines.GetMemoryUse() > c_mostMemoryKept)
        m_outlines = {};
    return made;
}

} // namespace Renderer::Detail
