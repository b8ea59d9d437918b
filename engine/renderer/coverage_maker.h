// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/cell_rasteriser.h"
#include "engine/renderer/display_list.h"

namespace Renderer::Detail {

// Calls emit(y, left, right, coverage) for the runs of pixels that polygons cover inside the rectangle. Without smooth
// edges a pixel is covered when half of it or more is.
template <class F>
void SweepPolygons(CellRasteriser& rasteriser, Polygons const& polygons, RectInt const& rect,
                   Geometry::WindingOrderMode winding, bool antialias, F&& emit, std::size_t expectedCells = 0) {
    // More than places are rounded by.
    constexpr double c_margin = 1.0 / 1024;
    auto const& bounds = polygons.GetBounds();
    bool const isInside = bounds.left >= rect.left + c_margin && bounds.top >= rect.top + c_margin &&
                          bounds.right <= rect.right - c_margin && bounds.bottom <= rect.bottom - c_margin;
    rasteriser.Reset(rect, expectedCells);
    for (std::size_t i = 0; i != polygons.GetCount(); ++i)
        rasteriser.AddPolygon(polygons.GetPolygon(i), isInside);
    if (antialias) {
        rasteriser.Sweep(winding, emit);
        return;
    }
    rasteriser.Sweep(winding, [&](int y, int left, int right, std::uint32_t coverage) {
        if (2 * coverage >= c_fullCoverage)
            emit(y, left, right, c_fullCoverage);
    });
}

// Makes the outlines of items, and their coverage where it is small enough to be kept: of items that reach over
// several bands it is computed once then. One serves one thread.
class CoverageMaker {
public:
    // Pixels outside `area` are never asked for.
    std::unique_ptr<ItemOutlines const> Make(DrawItem const& item, DisplayList const& list, RectInt const& area);

private:
    Shape MakeShape(Shape const& outline, RectInt const& limit, Geometry::WindingOrderMode winding, bool antialias);

    CellRasteriser m_rasteriser;
    ItemOutlines m_outlines;
    CoverageRuns m_runs;
};

} // namespace Renderer::Detail
