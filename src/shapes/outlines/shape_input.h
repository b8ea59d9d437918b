// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/nodes.h"
#include "platform/geometry/curve_intersection_graph.h"

#include <optional>

namespace Commands {

using ShapeInput = Geometry::CurveIntersectionGraph::Input;

// A fill with no more opacity than this does not count, wherever it is asked what a shape covers.
inline constexpr double c_visibleFill = 0.01;

// An object's curves with their winding rule, in spread space: an ordinary input that is neither filled nor stroked.
// Nothing when the object has no outline at present.
REDRAFT_API std::optional<ShapeInput> MakeShapeInput(ConstCurvesInterface const& shape);
REDRAFT_API bool HasVisibleBrush(Kernel::Countable const* object);
// A picture in the place of its own rectangle: it fills that rectangle, though no brush says so.
REDRAFT_API bool IsPicture(Kernel::Countable const* object);

// Makes `outline`, in spread space, all that an input consists of.
void ReplaceByOutline(ShapeInput& input, Kernel::Counted<Geometry::PolyCurveDbl const> outline, bool filled);

// Paints an image's rectangle with its picture: curves in the image's node space show it where the image did.
REDRAFT_API Kernel::Counted<Renderer::FillDescriptor const> MakeImageFill(ImageNode const& image);

} // namespace Commands
