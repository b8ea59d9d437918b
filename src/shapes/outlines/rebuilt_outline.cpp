// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/rebuilt_outline.h"

#include "platform/geometry/kept_contours.h"

namespace Commands {

PlanarMaps::Outline RebuildOutline(ConstCurvesInterface const& shape, RebuiltAreas areas, PlanarMaps& maps) {
    auto input = MakeShapeInput(shape);
    if (!input || input->curves.empty())
        return {};
    input->transform = Geometry::Transform::Identity();
    input->filled = HasVisibleBrush(&shape);
    auto const graph = maps.Make({*input}, PlanarMaps::Graph::BoolOpMethod::Divide);
    if (!graph || maps.IsAborted())
        return {};
    graph->PrepareShapeBuilder();
    if (areas == RebuiltAreas::Enclosed || !input->filled)
        graph->EnableAllAreas();
    auto outline = Geometry::KeepContours(graph->GetEnabledOutline(true, true, true, false), *input);
    if (!outline || outline->empty())
        return {};
    if (!input->filled) {
        if (auto const tails = graph->GetExternalTails(true, true, true))
            outline->AddPolyCurve(*tails);
    }
    return outline;
}

} // namespace Commands
