// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/generated_image_node.h"

namespace ExampleDocuments {

// Pictures of several sizes as generations, the first one hidden in part by a mask; outside of any tree.
Kernel::Counted<GeneratedImageNode> MakeGenerated(Raster::Format format);
// Three of them, the last with one picture only; all are selected, and a shape.
void GeneratedImages(DocumentController& controller);

} // namespace ExampleDocuments
