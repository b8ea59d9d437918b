// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/node.h"

// The root of one of the document's symbols.
struct SymbolReference {
    Kernel::Counted<Node> node;
    operator Kernel::JailCounted<Node>() const { return node; }
};
