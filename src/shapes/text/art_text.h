// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/document/text_nodes.h"

namespace Commands {

// The text of a frame as art text that stands where the frame shows it, with the frame's look, its name and copies of
// its children: one node for each column that shows text, in a group when they are several. Null when no column shows
// any. The frame is left as it is. `controller` is that of its document.
REDRAFT_API Kernel::Counted<Node> MakeArtText(FrameTextNode const& frame, Story::ComposedFrame const& composed,
                                              Kernel::Counted<DocumentController const> const& controller);

} // namespace Commands
