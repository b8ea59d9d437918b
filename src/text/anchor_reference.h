// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/cross_reference.h"

namespace Commands {

// An anchor of one of the document's texts, as programs outside the library name it: by its identity or its name.
struct AnchorReference {
    // Stands for none.
    struct None {};

    AnchorReference() = default;
    AnchorReference(None) {}
    explicit AnchorReference(Kernel::Counted<Story::AnchorData> named) : anchor(std::move(named)) {}

    Kernel::Counted<Story::AnchorData> anchor;
    operator Kernel::Counted<Story::AnchorData>() const { return anchor; }
    operator Kernel::Counted<Story::AnchorData const>() const { return anchor; }
};

} // namespace Commands
