// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/node.h"

// A node whose bitmap, or the bitmap that fills it, cannot be read, and why in one line.
struct DamagedNode {
    Kernel::Counted<Node const> node;
    Kernel::String reason;
};

// Reads all bitmaps of a node and of those below it, with their profiles; the nodes that some are damaged of, in tree
// order. Returns early when *abort becomes true.
REDRAFT_ENGINE std::vector<DamagedNode> FindDamagedBitmaps(Node const& top, bool const* abort);

// A layer's name in messages: "layer Holiday".
REDRAFT_ENGINE Kernel::String GetLayerName(Node const& node);
