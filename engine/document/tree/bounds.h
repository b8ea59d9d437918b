// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/node.h"

#include <optional>

// The bounds, in spread space, of a node and of the plain children below it, cut to the bounds of clipping content,
// with captions, those of the node itself only if asked for. `toSpread` takes the node's own space there. Hidden nodes
// count too, as they do for the user who selects them. Without recursion along the plain children; clips inside clips
// are followed 64 deep.
Kernel::RectT<double> ComputeBounds(Node const& node, Raster::AffineTransform::Params const& toSpread,
                                    bool includeLines, bool captions);

// A box in spread space that surely holds the bounds of one shape with its line, without walking its segments. Nothing
// for a node whose bounds may depend on more than its own curves and line.
std::optional<Kernel::RectT<double>> FindRoomOfShape(Node const& node);
