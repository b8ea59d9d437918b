// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"

namespace Shell {

// The spreads, outside the tree, that the texts of a document lack: each is like the last one that the text is on, with
// frames in the same places, linked behind it. Of all texts that have grown beyond their frames, or of the selected
// ones where any is selected. Throws Failure for a text that has no frames, or whose frames have no room for it.
std::vector<Kernel::Counted<Node>> MakeOverflowSpreads(DocumentController& document, Selection const& selection);

} // namespace Shell
