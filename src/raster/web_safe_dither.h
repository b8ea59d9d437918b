// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/raster/dynamic_bitmap.h"

namespace Commands {

// Leaves a region of a bitmap with colours of the web-safe palette only. Errors are diffused in a working copy of 16
// bits, so that nothing is lost on the way.
class REDRAFT_API WebSafeDither {
public:
    // Copies the region, which lies inside the bitmap and is not empty.
    WebSafeDither(Raster::DynamicBitmap const& source, Kernel::RectT<int> const& region);

    // The long part; needs no document.
    void Diffuse();
    // Writes the region into a layer of the bitmap's size, through the document's selection of pixels. Required:
    // whatever channels the user has switched off, all are written to.
    void MergeInto(DocumentController const& document, MutableRasterInterface& layer) const;

private:
    using WorkingTraits = Raster::FormatTraits<Raster::FormatRGBA16>;

    Kernel::RectT<int> m_region;
    WorkingTraits::BitmapType m_working;
};

} // namespace Commands
