// SPDX-License-Identifier: Apache-2.0
#include "raster/raster_web_safe_dither_command.h"

#include "frame/example.h"
#include "raster/error_diffusion.h"
#include "raster/pipeline/pipeline.h"
#include "raster/raster_examples.h"

namespace Commands {

namespace {

using WorkingTraits = Raster::FormatTraits<Raster::FormatRGBA16>;
using WorkingBitmap = WorkingTraits::BitmapType;

// Diffuses errors in place. The options' link leads to the palette.
struct DiffusionEffect {
    double GetLeastScale() const { return 1; }
    void RunWhole(Raster::BitmapBase& destination, RunRecord const& run, PipelineOptions const& options) const {
        DiffuseErrors(static_cast<WorkingBitmap&>(destination), run.rect,
                      *static_cast<Raster::DynamicPalette const*>(options.result), run.abort);
    }
};

// Converts the working bitmap into the layer, through the document's selection. Required: whatever channels the user
// has switched off, all are written to.
void MergeConverted(DocumentController const& document, WorkingBitmap const& working, RasterEffectOptions& options,
                    MutableRasterInterface& layer) {
    auto const mask = MakeSelectionMask(document, layer);
    auto const target = layer.GetMutableBitmap();
    PipelineOptions own(options, -1);
    Raster::VisitFormat(target->GetFormat(), [&](auto traits) {
        using Traits = decltype(traits);
        FormatDriver<WorkingTraits, Traits, ConversionEffect>(target->GetMutableBase(), working, own,
                                                              mask ? &*mask : nullptr, ConversionEffect())
            .Run();
    });
}

} // namespace

Kernel::LocalisedString RasterWebSafeDitherCommand::GetDescription() const {
    return Kernel::LocalisedString("Websafe Dither", "Command description");
}

Kernel::Counted<DocumentCommand> RasterWebSafeDitherCommand::Clone() const {
    return Kernel::MakeCounted<RasterWebSafeDitherCommand>();
}

Kernel::RectT<int> RasterWebSafeDitherCommand::DoEffect(Kernel::NonCounted<MutableRasterInterface> layer) {
    auto const document = GetDocumentController();
    auto const region = GetEffectRegion(*document, *layer);
    auto const source = layer->GetBitmap();
    if (source->IsEmpty() || region.IsEmpty())
        return region;
    WorkingBitmap working(source->GetWidth(), source->GetHeight(), Raster::MipmapMode::Deferred);
    Raster::ConvertPixels(*source->GetBase(), region, working, {region.left, region.top},
                          *Raster::PixelConverter::MakePlain(source->GetFormat(), WorkingTraits::c_format), nullptr);
    {
        DomainWriterUnlockSession unlocked(document);
        Raster::DynamicPalette palette;
        palette.AddWebSafeColours();
        palette.AddColour(Raster::DynamicPixel(Raster::FormatRGBA8), true);
        RasterEffectOptions options;
        options.region = &region;
        options.result = &palette;
        PipelineOptions own(options, -1);
        FormatDriver<WorkingTraits, WorkingTraits, DiffusionEffect>(working, working, own, nullptr, DiffusionEffect())
            .Run();
        unlocked.Acquire();
    }
    RasterEffectOptions options;
    options.region = &region;
    MergeConverted(*document, working, options, *layer);
    return region;
}

static ExampleRegistration const s_rasterWebSafeDitherExample({
    .className = "RasterWebSafeDitherCommand",
    .prepare = ExampleDocuments::SelectedPixels,
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<RasterWebSafeDitherCommand>();
    },
    .keptByContract = {},
    .untold = {CommandExample::Untold::NodeData},
});

static ExampleRegistration const s_rasterWebSafeDitherLayersExample({
    .className = "RasterWebSafeDitherCommand",
    .prepare = ExampleDocuments::RasterLayers,
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<RasterWebSafeDitherCommand>();
    },
    .keptByContract = {},
    .untold = {CommandExample::Untold::NodeData},
});

} // namespace Commands
