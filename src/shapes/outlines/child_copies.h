// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/node.h"

#include <functional>

namespace Commands {

// A copy of a child that stands nowhere yet, and the list that it is to stand in.
struct ChildCopy {
    NodeChildListType list;
    Kernel::Counted<Node> node;
};

// Copies of a node's children, list by list and in tree order, made together so that they refer to each other as the
// originals do. `isWanted` may be empty: all are.
REDRAFT_API std::vector<ChildCopy>
CopyChildren(Node const& from, std::function<bool(NodeChildListType, Node const&)> const& isWanted = {});

} // namespace Commands
