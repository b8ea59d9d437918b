// SPDX-License-Identifier: Apache-2.0
#include "raster/raster_solarise_command.h"

#include "frame/example.h"
#include "raster/pipeline/pipeline.h"
#include "raster/raster_examples.h"
#include "raster/solarise_rule.h"

namespace Commands {

Kernel::LocalisedString RasterSolariseCommand::GetDescription() const {
    return Kernel::LocalisedString("Solarise", "Command description");
}

Kernel::RectT<int> RasterSolariseCommand::DoEffect(Kernel::NonCounted<MutableRasterInterface> layer) {
    auto const source = layer->GetBitmap()->Clone(nullptr);
    auto const document = GetDocumentController();
    auto const region = GetEffectRegion(*document, *layer);
    RasterEffectOptions options;
    options.region = &region;
    ApplyRasterEffect(document, *source, layer, options, PointEffect<SolariseRule>());
    return region;
}

static ExampleRegistration const s_rasterSolariseExample({
    .className = "RasterSolariseCommand",
    .prepare = ExampleDocuments::SelectedPixels,
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<RasterSolariseCommand>();
    },
    .keptByContract = {},
    .untold = {CommandExample::Untold::NodeData},
});

static ExampleRegistration const s_rasterSolariseLayersExample({
    .className = "RasterSolariseCommand",
    .prepare = ExampleDocuments::RasterLayers,
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<RasterSolariseCommand>();
    },
    .keptByContract = {},
    .untold = {CommandExample::Untold::NodeData},
});

} // namespace Commands
