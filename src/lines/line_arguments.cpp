// SPDX-License-Identifier: Apache-2.0
#include "lines/line_arguments.h"

#include "platform/geometry/path_data.h"

namespace Commands {

namespace {

// As SVG path data.
constexpr std::string_view c_arrowHeadPaths[] = {
    "",
    "M0,0 L-4,2 L-4,-2 Z",
    "M0,0 L-5,2.5 L-3.5,0 L-5,-2.5 Z",
    "M0,0 C0,1.1 -0.9,2 -2,2 C-3.1,2 -4,1.1 -4,0 C-4,-1.1 -3.1,-2 -2,-2 C-0.9,-2 0,-1.1 0,0 Z",
    "M0,1.5 L-3,1.5 L-3,-1.5 L0,-1.5 Z",
    "M0,2 L-1,2 L-1,-2 L0,-2 Z",
};
static_assert(std::size(c_arrowHeadPaths) == std::size(c_arrowHeadNames));

Kernel::Counted<Renderer::LineStyleArrowHead const> MakeHead(ArrowHeadShape shape, double scale) {
    if (shape == ArrowHeadShape::None)
        return {};
    return Kernel::MakeCounted<Renderer::LineStyleArrowHead const>(MakeArrowHeadShape(shape), scale, scale);
}

} // namespace

Kernel::Counted<Geometry::PolyCurveDbl const> MakeArrowHeadShape(ArrowHeadShape shape) {
    if (shape == ArrowHeadShape::None)
        return {};
    return Geometry::ReadPathData(c_arrowHeadPaths[static_cast<std::size_t>(shape)]).curves;
}

LineArgument::operator Kernel::Counted<Renderer::LineStyleDescriptor>() const {
    auto const style = Kernel::MakeCounted<Renderer::LineStyle>(weight);
    bool const isDashed = type == Renderer::LineType::Solid && !dash.empty();
    style->SetType(isDashed ? Renderer::LineType::Dashed : type);
    style->SetCap(cap);
    style->SetJoin(join);
    style->SetMitreLimit(mitreLimit);
    style->SetDashPattern(dash);
    style->SetDashPhase(dashPhase);
    auto line = Kernel::MakeCounted<Renderer::LineStyleDescriptor>(Kernel::Consolidated<Renderer::LineStyle>(style));
    line->SetStrokeAlignment(alignment);
    line->SetDrawBehindFill(behindFill);
    line->SetScaleWithObject(scaleWithObject);
    line->SetFrontArrowHead(MakeHead(startHead, startHeadScale));
    line->SetBackArrowHead(MakeHead(endHead, endHeadScale));
    line->SetArrowHeadsBeyondEnds(headsBeyondEnds);
    return line;
}

} // namespace Commands
