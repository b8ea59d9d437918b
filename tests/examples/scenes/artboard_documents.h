// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/artboard.h"
#include "tests/examples/scenes/example_documents.h"

namespace ExampleDocuments {

// An artboard with a fill, on the current spread.
Kernel::Counted<ArtboardNode> AppendArtboard(DocumentController& controller, char const* name,
                                             Kernel::RectT<double> box);
// Three artboards in a row, with shapes, a group and a text on them, and one below; the first is selected.
void Artboards(DocumentController& controller);

} // namespace ExampleDocuments
