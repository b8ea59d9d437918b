// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/node.h"
#include "platform/document/object_style.h"
#include "platform/geometry/curve_intersection_graph.h"

namespace Commands {

// Where an input of a divide came from, and what its pieces look like.
struct DivideSource {
    Kernel::Counted<Node> node;
    Kernel::Counted<ObjectStyle> style;
    // Identity but for glyphs: there the transform that they were drawn with.
    Raster::AffineTransform::Params renderTransform;
};

using DivideInput = Geometry::CurveIntersectionGraph::Input;

// What the clips of a group leave to its members, in spread space.
struct DivideGroupClip {
    enum class Kind { None, Nothing, Area };
    Kind kind = Kind::None;
    // Of an area.
    DivideInput input;
    Kernel::Counted<Geometry::PolyCurveDbl const> outline;
    // Boxes around every stretch of the outline.
    std::vector<Geometry::RectDbl> edges;
};

} // namespace Commands
