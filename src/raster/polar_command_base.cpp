// SPDX-License-Identifier: Apache-2.0
#include "raster/polar_command_base.h"

#include "raster/pipeline/pipeline.h"
#include "raster/polar_sampler.h"

namespace Commands {

Kernel::RectT<int> RemapLayer(PolarDirection direction, RasterCommand& command,
                              Kernel::NonCounted<MutableRasterInterface> layer) {
    auto const source = layer->GetBitmap()->Clone(nullptr);
    auto const document = command.GetDocumentController();
    // Required: the box counts from (0, 0), wherever the spread lies.
    auto const box = document->GetCurrentSpread()->GetBaseBox(true);
    PolarEffect effect;
    effect.direction = direction;
    effect.parameters.domainToRaster = layer->GetDomainToRasterTransform();
    effect.parameters.rasterToDomain = effect.parameters.domainToRaster.GetInverse();
    effect.parameters.centre = {box.GetWidth() / 2, box.GetHeight() / 2};
    effect.parameters.size = {box.GetWidth(), box.GetHeight()};
    auto const region = source->GetBounds();
    RasterEffectOptions options;
    options.region = &region;
    options.progress = &RasterCommand::Progress;
    options.progressData = &command;
    ApplyRasterEffect(document, *source, layer, options, effect);
    return region;
}

} // namespace Commands
