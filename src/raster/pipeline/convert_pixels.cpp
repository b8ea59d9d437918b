// SPDX-License-Identifier: Apache-2.0
#include "raster/pipeline/convert_pixels.h"

#include "raster/pipeline/format_driver.h"

namespace Commands {

namespace {

// The pair of formats is looked up when it runs: one converter serves what a shader for each pair would be.
class FormatPairEffect final : public HardwareStages {
public:
    HardwareStages const& GetHardwareStages() const { return *this; }
    bool Blends() const override { return false; }
    double GetLeastScale() const { return 1; }

    // `level`: of the source, as in WithShader.
    void RunFrom(Raster::BitmapBase const& source, int level, Raster::BitmapBase& destination,
                 RunRecord const& run) const {
        auto const converter = Raster::PixelConverter::MakePlain(source.GetFormat(), destination.GetFormat());
        auto const whole = level == 0 ? nullptr : Enlarge(source, level, destination.GetSize());
        Raster::ConvertPixels(whole ? *whole : source, run.rect, destination, {run.rect.left, run.rect.top}, *converter,
                              run.abort);
    }

private:
    // A level as large as the bitmap that it was made of.
    static Kernel::Counted<Raster::BitmapBase> Enlarge(Raster::BitmapBase const& source, int level,
                                                       Kernel::SizeT<int> size) {
        auto whole = Raster::BitmapBase::Create(size.width, size.height, source.GetFormat());
        Raster::VisitFormat(source.GetFormat(), [&](auto traits) {
            using Traits = decltype(traits);
            RunRecord run;
            run.rect = whole->GetBounds();
            run.channels = Traits::c_allChannels;
            PointEffect<CopyRule>().template WithShader<Traits, Traits>(source, level, [&](auto const& shader) {
                TileEngine<Traits, std::decay_t<decltype(shader)>>(*whole, shader, run, nullptr).Run();
            });
        });
        return whole;
    }
};

bool HasColours(Raster::DynamicBitmap const& bitmap) {
    auto const info = Raster::GetFormatInfo(bitmap.GetFormat());
    return !bitmap.IsEmpty() && info.channelCount != 0 && info.colourModel != Raster::ColourModel::AlphaOnly;
}

} // namespace

void ConvertPixelsInto(Raster::DynamicBitmap& destination, Raster::DynamicBitmap const& source) {
    if (!HasColours(destination) || !HasColours(source))
        return;
    auto& target = destination.GetMutableBase();
    RasterEffectOptions options;
    auto const common = target.GetBounds().Intersected(source.GetBounds());
    if (common != target.GetBounds()) {
        target.Clear(Raster::DynamicPixel(target.GetFormat()));
        options.region = &common;
    }
    PipelineOptions own(options, -1);
    Raster::VisitFormat(target.GetFormat(), [&](auto traits) {
        using Traits = decltype(traits);
        FormatDriver<Traits, Traits, FormatPairEffect>(target, *source.GetBase(), own, nullptr, FormatPairEffect())
            .Run();
    });
}

} // namespace Commands
