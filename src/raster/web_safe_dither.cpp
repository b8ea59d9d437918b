// SPDX-License-Identifier: Apache-2.0
#include "raster/web_safe_dither.h"

#include "raster/error_diffusion.h"
#include "raster/pipeline/pipeline.h"

namespace Commands {

namespace {

// Diffuses errors in place. The options' link leads to the palette.
struct DiffusionEffect final : HardwareStages {
    HardwareStages const& GetHardwareStages() const { return *this; }
    // Each pixel hangs on those before it.
    bool HasKernel() const override { return false; }
    double GetLeastScale() const { return 1; }
    void RunWhole(Raster::BitmapBase& destination, RunRecord const& run, PipelineOptions const& options) const {
        using WorkingBitmap = Raster::FormatTraits<Raster::FormatRGBA16>::BitmapType;
        DiffuseErrors(static_cast<WorkingBitmap&>(destination), run.rect,
                      *static_cast<Raster::DynamicPalette const*>(options.result), run.abort);
    }
};

} // namespace

WebSafeDither::WebSafeDither(Raster::DynamicBitmap const& source, Kernel::RectT<int> const& region)
    : m_region(region), m_working(source.GetWidth(), source.GetHeight(), Raster::MipmapMode::Deferred) {
    auto const converter = Raster::PixelConverter::MakePlain(source.GetFormat(), WorkingTraits::c_format);
    Raster::ConvertPixels(*source.GetBase(), region, m_working, {region.left, region.top}, *converter, nullptr);
}

void WebSafeDither::Diffuse() {
    Raster::DynamicPalette palette;
    palette.AddWebSafeColours();
    palette.AddColour(Raster::DynamicPixel(Raster::FormatRGBA8), true);
    RasterEffectOptions options;
    options.region = &m_region;
    options.result = &palette;
    PipelineOptions own(options, -1);
    FormatDriver<WorkingTraits, WorkingTraits, DiffusionEffect>(m_working, m_working, own, nullptr, DiffusionEffect())
        .Run();
}

void WebSafeDither::MergeInto(DocumentController const& document, MutableRasterInterface& layer) const {
    RasterEffectOptions options;
    options.region = &m_region;
    auto const mask = MakeSelectionMask(document, layer);
    auto const target = layer.GetMutableBitmap();
    PipelineOptions own(options, -1);
    Raster::VisitFormat(target->GetFormat(), [&](auto traits) {
        using Traits = decltype(traits);
        FormatDriver<WorkingTraits, Traits, ConversionEffect>(target->GetMutableBase(), m_working, own,
                                                              mask ? &*mask : nullptr, ConversionEffect())
            .Run();
    });
}

} // namespace Commands
