// SPDX-License-Identifier: Apache-2.0
#include "lines/line_arguments.h"

#include "platform/geometry/path_data.h"

#include <numbers>

namespace Commands {

namespace {

// As SVG path data.
constexpr std::string_view c_arrowHeadPaths[] = {
    "",
    "M4,0 L0,2 L0,-2 Z",
    "M3.5,0 L-1.5,2.5 L0,0 L-1.5,-2.5 Z",
    // The line reaches into the circle to where that is as wide.
    "M3.93,0 C3.93,1.1 3.03,2 1.93,2 C0.83,2 -0.07,1.1 -0.07,0 C-0.07,-1.1 0.83,-2 1.93,-2 C3.03,-2 3.93,-1.1 3.93,0 Z",
    "M3,1.5 L0,1.5 L0,-1.5 L3,-1.5 Z",
    "M1,2 L0,2 L0,-2 L1,-2 Z",
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
    style->SetBrush({brushRoundness, brushAngle * std::numbers::pi / 180});
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
