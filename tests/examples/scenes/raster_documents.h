// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"

namespace ExampleDocuments {

// A picture of smooth colours and soft edges, the same on every machine: no two rows or columns are equal, alpha is
// full in the middle.
Kernel::Counted<Raster::DynamicBitmap> MakePicture(int width, int height, Raster::Format format);
// A layer of it on the current spread.
Kernel::Counted<RasterNode> AppendPicture(DocumentController& controller, int width, int height, Raster::Format format,
                                          Raster::AffineTransform::Params const& transform);

// A layer, some of whose pixels a soft mask selects; it is the selection.
void SelectedPixels(DocumentController& controller);
// Two layers of one size, which are selected.
void TwoLayers(DocumentController& controller);
// Layers of several formats and transforms, and a shape; all are selected.
void RasterLayers(DocumentController& controller);

} // namespace ExampleDocuments
