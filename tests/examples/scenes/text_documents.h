// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_nodes.h"
#include "tests/examples/scenes/example_documents.h"

namespace ExampleDocuments {

// A frame of one column and one of two with filler text, linked frames of which the second is selected, an empty frame
// and a shape; frames are scaled, turned and have children.
void TextFrames(DocumentController& controller);
// A frame full of text with an ellipse and a group in its middle, which it runs through as yet, and linked frames of
// which the first lies beside them; the ellipse and the group are selected. With `wraps` the text runs around them.
void TextAroundShapes(DocumentController& controller, bool wraps);
Kernel::Counted<FrameTextNode> MakeTextFrame(Kernel::RectT<double> rect, char const* text);

} // namespace ExampleDocuments
