// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "shapes/outlines/child_copies.h"
#include "shapes/outlines/divide_inputs.h"

namespace Commands {

// A shape that a divide has made, and where it goes.
struct DividedPiece {
    Kernel::Counted<PolyCurveNode> node;
    Kernel::Counted<Node> parent;
    // The node to stand behind: the source, or the piece before. Each input's pieces begin at the source again.
    Kernel::Counted<Node> anchor;
    // To be put into the piece.
    std::vector<ChildCopy> children;
};

// Cuts the inputs along each other's edges. The pieces of an input, its areas before its lines, lie where the source
// lies and have its look. Lines are made where no shape is filled or `retainAll` is set, and are not painted as areas.
// Filled shapes that lie apart from all others have nothing to give but their outlines: these become lines that keep
// their fill. Without a map there are no pieces. `controller` is that of the document.
REDRAFT_API std::vector<DividedPiece> MakePieces(DivideInputs const& inputs, bool retainAll,
                                                 Kernel::Counted<DocumentController const> const& controller);

} // namespace Commands
