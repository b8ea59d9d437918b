// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/renderer/line_style.h"

namespace Renderer {

// The outline of a line along curves, dashes and arrow heads included, as polygons in the curves' space that are to be
// filled by the non-zero rule. They stay within `tolerance` of the true outline, in units of the space that `toTarget`
// leads to; lines that do not scale with their object have their weight there. An alignment beside the curves is not
// heeded. Null where nothing is drawn: without a line, and where `toTarget` cannot be turned back.
REDRAFT_ENGINE Kernel::Counted<Geometry::PolyCurveDbl> MakeLineOutline(Geometry::PolyCurveDbl const& curves,
                                                                       LineStyleDescriptorConst const& line,
                                                                       Geometry::Transform const& toTarget,
                                                                       double tolerance);

} // namespace Renderer
