// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/node.h"

#include <functional>

// Tells the bounds of a node and of all plain children and captions below it, as Node::GetBounds gives them for each,
// in one walk: that of one node looks at all below it. Children come before their parents; what a node draws in place
// of its children, clips and masks are not told.
REDRAFT_ENGINE void
ForEachBounds(Node const& top, bool includeLines,
              std::function<void(Node const& node, Kernel::RectT<double> const& bounds)> const& visit);
