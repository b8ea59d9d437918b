// SPDX-License-Identifier: Apache-2.0
#include "raster/raster_web_safe_dither_command.h"

#include "raster/pipeline/pipeline.h"
#include "raster/web_safe_dither.h"

namespace Commands {

Kernel::RectT<int> RasterWebSafeDitherCommand::DoEffect(Kernel::NonCounted<MutableRasterInterface> layer) {
    auto const document = GetDocumentController();
    auto const region = GetEffectRegion(*document, *layer);
    auto const source = layer->GetBitmap();
    if (source->IsEmpty() || region.IsEmpty())
        return region;
    WebSafeDither dither(*source, region);
    {
        DomainWriterUnlockSession unlocked(document);
        dither.Diffuse();
        unlocked.Acquire();
    }
    dither.MergeInto(*document, *layer);
    return region;
}

} // namespace Commands
