// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/node.h"

namespace Commands {

// The order in which nodes go back to kept places, as indices into the lists: each after the node that is its previous
// sibling there, where that one goes back too, and otherwise as they come. Nodes without a place are left out. Lists of
// a damaged or forged history may be of different lengths, name nothing where a node should be, name one twice, and go
// round in circles.
REDRAFT_API std::vector<std::size_t> FindOrderOfReturn(std::vector<Kernel::Counted<Node>> const& nodes,
                                                       std::vector<Kernel::Counted<Node>> const& parents,
                                                       std::vector<Kernel::Counted<Node>> const& previousSiblings);

} // namespace Commands
