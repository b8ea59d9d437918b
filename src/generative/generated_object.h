// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"

namespace Commands {

// Puts a copy of a generated object, which stands in no tree yet, among those that the document remembers. Undo leaves
// it there.
REDRAFT_API void RememberGenerated(Kernel::Counted<DocumentController> const& document, Node const& object,
                                   Raster::Format format, Raster::ICCManager::ICCProfileSet const& profiles);

// The transform that brings the middle of a box to the middle of a spread's.
REDRAFT_API Raster::AffineTransform::Params GetCentring(Kernel::RectT<double> const& box,
                                                        Kernel::RectT<double> const& spread);
// The same, and a box that is wider or higher than the spread is scaled down to fit, its aspect kept. The identity
// where there is no such transform: for a rectangle that was never set, or a side of length 0 that would have to become
// longer.
REDRAFT_API Raster::AffineTransform::Params GetFitting(Kernel::RectT<double> const& box,
                                                       Kernel::RectT<double> const& spread);

} // namespace Commands
