// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/nodes.h"
#include "platform/document/object_style.h"

namespace Commands {

// The whole appearance of a node of the document, but for whether it is shown.
REDRAFT_API Kernel::Counted<ObjectStyle> TakeWholeStyle(Node const& node, DocumentNode const& document);

} // namespace Commands
