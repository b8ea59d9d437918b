// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/hardware_devices.h"
#include "raster/pipeline/convert_pixels.h"
#include "raster/pipeline/format_driver.h"
#include "raster/polar_sampler.h"
#include "raster/solarise_rule.h"
#include "tests/raster/hardware/test_devices.h"
#include "tests/raster/layer_fixture.h"

#include <numbers>

// Remapped pixels, levels and conversions: the same runs on a device and in software.
namespace {

using namespace Commands;
using Judge::Planes;
using Raster::FormatTraits;
using Devices = Raster::Hardware<Raster::DefaultImplementation>;

// A run of an effect: with level > 0 the source is that mipmap level.
template <class Effect>
struct EffectRun {
    Effect effect;
    Kernel::Counted<Raster::BitmapBase const> source;
    int level = 0;
    Kernel::Counted<Raster::BitmapBase const> destination;
    std::optional<MaskRecord> mask;
    int channels = 0;
    Kernel::RectT<int> rect;

    MaskRecord const* GetMask() const { return mask ? &*mask : nullptr; }

    template <class Traits, class SourceTraits = Traits>
    Planes<Traits> InSoftware() const {
        auto const result = destination->Clone(nullptr);
        RunRecord run;
        run.rect = rect;
        run.channels = channels;
        SoftwareRun<SourceTraits, Traits, Effect>::Run(*result, *source, level, run, GetMask(), effect);
        return Read<Traits>(*result);
    }

    template <class Traits>
    Planes<Traits> OnDevice(int language) const {
        Raster::HardwareDevicesSession const session(GetTestDevices(language));
        auto const result = destination->Clone(nullptr);
        bool const isDone = TryHardware({*result, *source, level, rect, channels, channels == Traits::c_allChannels,
                                         GetMask(), effect.GetHardwareStages(), nullptr, [](auto) { return nullptr; }});
        EXPECT_TRUE(isDone);
        return Read<Traits>(*result);
    }

    template <class Traits>
    static Planes<Traits> Read(Raster::BitmapBase const& bitmap) {
        Planes<Traits> planes(bitmap.GetWidth(), bitmap.GetHeight());
        for (int c = 0; c != Traits::c_channelCount; ++c)
            bitmap.GetPlane(c).ReadSamples(bitmap.GetBounds(), planes.samples[c].data(),
                                           std::size_t(bitmap.GetWidth()) * sizeof(typename Traits::Sample));
        return planes;
    }
};

struct Difference {
    // Of two samples, in parts of full scale.
    double most = 0;
    // The share of samples that lie further apart than a 250th of full scale.
    double visible = 0;
};

template <class Traits>
Difference Compare(Planes<Traits> const& a, Planes<Traits> const& b) {
    Difference difference;
    std::size_t all = 0, visible = 0;
    for (int c = 0; c != Traits::c_channelCount; ++c) {
        for (std::size_t i = 0; i != a.samples[c].size(); ++i) {
            double const distance =
                std::abs(double(a.samples[c][i]) - double(b.samples[c][i])) / double(Judge::c_full<Traits>);
            difference.most = std::max(difference.most, distance);
            ++all;
            visible += distance > 1.0 / 250;
        }
    }
    difference.visible = double(visible) / double(all);
    return difference;
}

// Waves that close at the left and right edge, so that neighbours differ by about a hundredth of full scale, also where
// a circle closes; alpha is full in part.
template <class Traits>
Kernel::Counted<Raster::BitmapBase const> MakeWaves(int width, int height) {
    Planes<Traits> planes(width, height);
    for (int c = 0; c != Traits::c_channelCount; ++c) {
        for (int y = 0; y != height; ++y) {
            for (int x = 0; x != width; ++x) {
                double const wave = std::sin(2 * std::numbers::pi * (x + 0.5) / width + c) *
                                    std::cos(std::numbers::pi * (y + 0.5) / height + c);
                double const v = c == Traits::c_alphaIndex ? std::min(1.0, 0.8 + wave / 2) : 0.5 + 0.45 * wave;
                planes.At(c, x, y) = static_cast<typename Traits::Sample>(v * double(Judge::c_full<Traits>) +
                                                                          (Traits::c_isFloat ? 0 : 0.5));
            }
        }
    }
    Raster::DynamicBitmap bitmap(width, height, Traits::c_format);
    planes.Store(bitmap);
    return bitmap.GetBase().ToCounted();
}

constexpr int c_layerWidth = 311, c_layerHeight = 230;

PolarEffect MakePolarEffect(PolarDirection direction, Judge::Params const& layerToSpread) {
    PolarEffect effect;
    effect.direction = direction;
    effect.parameters = {layerToSpread, {7, -4}, {240, 180}, {480, 360}, layerToSpread.GetInverse()};
    return effect;
}

template <class Traits>
class RemappedParity : public testing::Test {};
TYPED_TEST_SUITE(RemappedParity, Formats);

// The engines differ on purpose in pi and in precision: a sample point may come to lie in a neighbouring pixel. Over
// waves hardly one of the 25 points does, and each is worth 1/25 of a small step. Rounding may add a unit.
template <class Traits>
constexpr double GetWaveBound(int level) {
    double const unit = Traits::c_isFloat ? 0 : 1.0 / double(Judge::c_full<Traits>);
    return std::max(unit, 0.001 * (1 << level));
}

TYPED_TEST(RemappedParity, OfPolarEffectsOverWaves) {
    using Traits = TypeParam;
    for (auto const direction : {PolarDirection::PolarToRectangular, PolarDirection::RectangularToPolar}) {
        for (auto const& transform : {Judge::Params{1, 0, 60, 0, 1, 40}, Judge::Params{1.2, 0.3, 20, -0.2, 1.1, 70}}) {
            auto const layer = MakeWaves<Traits>(c_layerWidth, c_layerHeight);
            EffectRun<PolarEffect> run{
                MakePolarEffect(direction, transform), layer, 0, layer, {}, Traits::c_allChannels, layer->GetBounds()};
            auto const expected = run.template InSoftware<Traits>();
            for (int language : {0, 1}) {
                auto const difference = Compare(expected, run.template OnDevice<Traits>(language));
                EXPECT_LE(difference.most, GetWaveBound<Traits>(0))
                    << "direction " << int(direction) << ", language " << language;
            }
        }
    }
}

// Over noise a point in a neighbouring pixel shows; this happens to few.
TYPED_TEST(RemappedParity, OfPolarEffectsOverNoiseThroughMasksAndChannels) {
    using Traits = TypeParam;
    auto const noise = Judge::RandomBitmap<Traits>(c_layerWidth, c_layerHeight, 3)->GetBase().ToCounted();
    auto const existing = Judge::RandomBitmap<Traits>(c_layerWidth, c_layerHeight, 4)->GetBase().ToCounted();
    auto const mask = MakeSoftMask<FormatTraits<Traits::c_maskFormat>>(240, 200, 5);
    for (auto const direction : {PolarDirection::PolarToRectangular, PolarDirection::RectangularToPolar}) {
        bool const storesAll = direction == PolarDirection::PolarToRectangular;
        int const channels = storesAll ? Traits::c_allChannels : Traits::c_allChannels & 5;
        EffectRun<PolarEffect> run{MakePolarEffect(direction, {1, 0, 60, 0, 1, 40}),
                                   noise,
                                   0,
                                   existing,
                                   MaskRecord{mask->GetBase().ToCounted(), {1, 0, -31, 0, 1, -17}},
                                   channels,
                                   Kernel::RectT<int>{3, 5, 290, 221}};
        auto const expected = run.template InSoftware<Traits>();
        for (int language : {0, 1}) {
            auto const result = run.template OnDevice<Traits>(language);
            EXPECT_LT(Compare(expected, result).visible, 0.0025)
                << "direction " << int(direction) << ", language " << language;
            auto const before = EffectRun<PolarEffect>::Read<Traits>(*existing);
            for (int c = 0; c != Traits::c_channelCount; ++c) {
                for (int x = 0; x != c_layerWidth; ++x) {
                    // Beside the rectangle, and in channels that are switched off, nothing changes.
                    ASSERT_EQ(before.At(c, x, 4), result.At(c, x, 4));
                    if (!(channels >> c & 1)) {
                        ASSERT_EQ(before.At(c, x, 100), result.At(c, x, 100));
                    }
                }
            }
        }
    }
}

// A level of half, or an eighth of the size stands for the source.
TYPED_TEST(RemappedParity, OfLevels) {
    using Traits = TypeParam;
    for (int level : {1, 3}) {
        int const width = ((c_layerWidth - 1) >> level) + 1, height = ((c_layerHeight - 1) >> level) + 1;
        auto const existing = Judge::RandomBitmap<Traits>(c_layerWidth, c_layerHeight, 6)->GetBase().ToCounted();
        EffectRun<PointEffect<SolariseRule>> const solarise{
            {},
            Judge::RandomBitmap<Traits>(width, height, 7)->GetBase().ToCounted(),
            level,
            existing,
            {},
            Traits::c_allChannels,
            existing->GetBounds()};
        EffectRun<PolarEffect> const polar{MakePolarEffect(PolarDirection::RectangularToPolar, {1, 0, 60, 0, 1, 40}),
                                           MakeWaves<Traits>(width, height),
                                           level,
                                           existing,
                                           {},
                                           Traits::c_allChannels,
                                           existing->GetBounds()};
        auto const solarised = solarise.template InSoftware<Traits>();
        auto const remapped = polar.template InSoftware<Traits>();
        for (int language : {0, 1}) {
            EXPECT_EQ(Compare(solarised, solarise.template OnDevice<Traits>(language)).most, 0) << level;
            // The steps between neighbours are larger.
            EXPECT_LE(Compare(remapped, polar.template OnDevice<Traits>(language)).most, GetWaveBound<Traits>(level))
                << level;
        }
    }
}

// As the dither merges its 16-bit pixels into a layer; also from a level.
TYPED_TEST(RemappedParity, OfConversionsThroughMasks) {
    using Traits = TypeParam;
    using From = FormatTraits<Raster::FormatRGBA16>;
    auto const existing = Judge::RandomBitmap<Traits>(c_layerWidth, c_layerHeight, 21)->GetBase().ToCounted();
    auto const mask = MakeSoftMask<FormatTraits<Traits::c_maskFormat>>(240, 200, 5);
    for (int level : {0, 1}) {
        int const width = ((c_layerWidth - 1) >> level) + 1, height = ((c_layerHeight - 1) >> level) + 1;
        EffectRun<ConversionEffect> const run{{},
                                              Judge::RandomBitmap<From>(width, height, 22)->GetBase().ToCounted(),
                                              level,
                                              existing,
                                              MaskRecord{mask->GetBase().ToCounted(), {1, 0, -31, 0, 1, -17}},
                                              Traits::c_allChannels,
                                              existing->GetBounds()};
        auto const expected = run.template InSoftware<Traits, From>();
        EXPECT_NE(Compare(expected, run.template Read<Traits>(*existing)).most, 0);
        for (int language : {0, 1})
            EXPECT_LE(Compare(expected, run.template OnDevice<Traits>(language)).most, Traits::c_isFloat ? 1e-6 : 0)
                << "level " << level << ", language " << language;
    }
}

// Each format comes in and goes out once; tests of kernels by themselves try all pairs.
TEST(ConversionParity, OfWholeBitmapsIsExact) {
    Raster::Format const formats[] = {Raster::FormatRGBA8, Raster::FormatRGBA16, Raster::FormatIA8,
                                      Raster::FormatIA16,  Raster::FormatCMYKA8, Raster::FormatLABA16,
                                      Raster::FormatRGBAF};
    for (std::size_t i = 0; i != std::size(formats); ++i) {
        for (std::size_t step : {0u, 3u}) {
            auto const from = formats[i], to = formats[(i + step) % std::size(formats)];
            Kernel::Counted<Raster::DynamicBitmap> source;
            Raster::VisitFormat(from, [&](auto traits) {
                source = Judge::RandomBitmap<decltype(traits)>(c_layerWidth, c_layerHeight, unsigned(i) + 10);
            });
            for (auto const& size : {Kernel::SizeT<int>{c_layerWidth, c_layerHeight}, {200, 300}}) {
                Raster::DynamicBitmap expected(size.width, size.height, to);
                ConvertPixelsInto(expected, *source);
                for (int language : {0, 1}) {
                    Raster::HardwareDevicesSession const session(GetTestDevices(language));
                    auto const executed = Devices::GetExecutedKernels();
                    Raster::DynamicBitmap result(size.width, size.height, to);
                    ConvertPixelsInto(result, *source);
                    EXPECT_EQ(executed + 1, Devices::GetExecutedKernels());
                    EXPECT_TRUE(result.GetBase()->HasEqualPixels(*expected.GetBase()))
                        << Raster::GetFormatName(from) << " to " << Raster::GetFormatName(to) << ", language "
                        << language;
                }
            }
        }
    }
}

} // namespace
