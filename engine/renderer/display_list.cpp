// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/display_list.h"

#include <algorithm>
#include <cmath>

namespace Renderer::Detail {

void MakeOutlines(DrawItem const& item, DisplayList const& list, ItemOutlines& outlines) {
    outlines.fill.Clear();
    outlines.line.Clear();
    outlines.alignedLine.Clear();
    bool const aligned = item.lineStyle && item.lineStyle->GetStrokeAlignment() != StrokeAlignment::Centre &&
                         item.curves->HasClosedCurve();
    if (item.fill || aligned)
        AddFillOutline(*item.curves, item.toPixels, list.GetVisible(), outlines.fill.polygons);
    if (item.lineStyle) {
        LineRequest request{*item.lineStyle, item.toPixels, list.scalar, list.GetVisible()};
        if (aligned) {
            request.parts = LineParts::Closed;
            request.widthFactor = 2;
            AddLineOutline(*item.curves, request, outlines.alignedLine.polygons);
            request.parts = LineParts::Open;
            request.widthFactor = 1;
        }
        AddLineOutline(*item.curves, request, outlines.line.polygons);
    }
}

RectInt ToPixels(RectDbl const& bounds, double margin, RectInt const& picture) {
    // NaN falls to the far side: nothing is missed.
    auto const low = [margin](double v, int first) {
        double const wanted = std::floor(v - margin);
        return wanted > first ? static_cast<int>(std::min(wanted, 2147483000.0)) : first;
    };
    auto const high = [margin](double v, int last) {
        double const wanted = std::ceil(v + margin);
        return wanted < last ? static_cast<int>(std::max(wanted, -2147483000.0)) : last;
    };
    RectInt const pixels{low(bounds.left, picture.left), low(bounds.top, picture.top),
                         high(bounds.right, picture.right), high(bounds.bottom, picture.bottom)};
    return pixels.Intersected(picture);
}

} // namespace Renderer::Detail
