// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/examples/scenes/example_documents.h"

namespace ExampleDocuments {

// Shapes with a line that scales with them and with one that does not, placed at a scale of 2; one without a line; an
// open path; a group, a text and the second of two linked frames. All but the first of these are selected.
void Lines(DocumentController& controller);

} // namespace ExampleDocuments
