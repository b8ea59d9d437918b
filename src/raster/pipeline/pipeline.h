// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/raster/dynamic_bitmap.h"
#include "raster/pipeline/format_driver.h"

namespace Commands {

// Common area of two rectangles; (0, 0, 0, 0) when they lie apart. Rectangles that touch lie not apart: they have a
// line or a point in common.
REDRAFT_API Kernel::RectT<int> IntersectTouching(Kernel::RectT<int> const& a, Kernel::RectT<int> const& b);

// Where an effect may change a layer, in its pixels: the whole bitmap, or where the document's selection of pixels
// covers it. (0, 0, 0, 0) when the two lie apart.
REDRAFT_API Kernel::RectT<int> GetEffectRegion(DocumentController const& document, ConstRasterInterface const& layer);

// The document's selection as a mask over a layer; empty when everything or nothing is selected. A mask of other
// samples than the layer's is converted.
REDRAFT_API std::optional<MaskRecord> MakeSelectionMask(DocumentController const& document,
                                                        ConstRasterInterface const& layer);

// Applies an effect to a layer: from `source`, of the layer's format and size, through the document's selection and
// channel mask, into what becomes the layer's bitmap. The pixels are worked on without the document's writer lock, on a
// copy; after an exception the layer is as it was, after an abort it has what was done. Without a document there is no
// mask and all channels change. Nothing happens for a format without pixels.
template <class Effect>
void ApplyRasterEffect(Kernel::Counted<DocumentController> const& document, Raster::DynamicBitmap const& source,
                       Kernel::NonCounted<MutableRasterInterface> layer, RasterEffectOptions& options,
                       Effect const& effect) {
    auto const destination = layer->GetBitmap()->Clone(nullptr);
    int channels = -1;
    bool touched = false;
    {
        std::optional<DomainWriterUnlockSession> unlocked;
        if (document) {
            unlocked.emplace(document);
            channels = document->MergeChannelMask(layer);
        }
        if (destination->IsEmpty() || source.IsEmpty())
            return;
        auto const mask = document ? MakeSelectionMask(*document, *layer) : std::nullopt;
        PipelineOptions own(options, channels);
        DriveEffect(destination->GetMutableBase(), *source.GetBase(), own, mask ? &*mask : nullptr, effect);
        touched = own.touched;
        if (unlocked)
            unlocked->Acquire();
    }
    // The copy differs from the layer's bitmap in what was worked on and shares all else with it, so that it takes its
    // place whole.
    if (touched)
        layer->SetBitmap(destination);
}

} // namespace Commands
