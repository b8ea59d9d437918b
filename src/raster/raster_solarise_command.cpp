// SPDX-License-Identifier: Apache-2.0
#include "raster/raster_solarise_command.h"

#include "raster/pipeline/pipeline.h"
#include "raster/solarise_rule.h"

namespace Commands {

Kernel::RectT<int> RasterSolariseCommand::DoEffect(Kernel::NonCounted<MutableRasterInterface> layer) {
    auto const source = layer->GetBitmap()->Clone(nullptr);
    auto const document = GetDocumentController();
    auto const region = GetEffectRegion(*document, *layer);
    RasterEffectOptions options;
    options.region = &region;
    ApplyRasterEffect(document, *source, layer, options, PointEffect<SolariseRule>());
    return region;
}

} // namespace Commands
