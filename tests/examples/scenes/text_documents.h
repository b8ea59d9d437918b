// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_nodes.h"
#include "tests/examples/scenes/example_documents.h"

namespace ExampleDocuments {

// A frame of one column and one of two with filler text, linked frames of which the second is selected, an empty frame
// and a shape; frames are scaled, turned and have children.
void TextFrames(DocumentController& controller);
Kernel::Counted<FrameTextNode> MakeTextFrame(Kernel::RectT<double> rect, char const* text);

} // namespace ExampleDocuments
