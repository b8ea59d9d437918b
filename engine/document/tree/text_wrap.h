// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/nodes.h"
#include "platform/story/composition.h"

// Remembers that some node has text run around it. Until the first one has, frames need not look for shapes.
void NoteTextWrap(Node const& node);
bool HasTextWrap();

// The shapes on the frame's spread that its text keeps clear of, in the space that `fromSpread` leads to: of each
// object with a wrap style the shapes in its list WrapShape, or else its default ones. Objects that hold the frame, and
// those that it holds, are left out.
std::vector<Story::WrapShape> CollectWrapShapes(Node const& frame, Raster::AffineTransform::Params const& fromSpread);
