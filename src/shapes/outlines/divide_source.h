// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/node.h"
#include "platform/document/object_style.h"

namespace Commands {

// Where an input of a divide came from, and how its pieces look.
struct DivideSource {
    Kernel::Counted<Node> node;
    Kernel::Counted<ObjectStyle> style;
    // Identity but for glyphs: there the transform that they were drawn with.
    Raster::AffineTransform::Params renderTransform;
};

} // namespace Commands
