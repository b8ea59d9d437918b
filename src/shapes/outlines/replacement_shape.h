// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/document/nodes.h"

namespace Commands {

// A node with curves of its own that is to take the place of one that computes its curves: `outline`, in spread space,
// with the old node's look, name and winding rule, and copies of what stands in it and clips it. It has no contour. The
// old node must have a parent, and is left as it is. `outline` is moved to the parent's space. `controller` is that of
// the document.
REDRAFT_API Kernel::Counted<PolyCurveNode>
MakeReplacementShape(Node const& old, ConstCurvesInterface const& oldShape,
                     Kernel::Counted<Geometry::PolyCurveDbl> outline,
                     Kernel::Counted<DocumentController const> const& controller);

} // namespace Commands
