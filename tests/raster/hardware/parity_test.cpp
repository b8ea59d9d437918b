// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/hardware.h"
#include "platform/raster/hardware_devices.h"
#include "raster/pipeline/pipeline.h"
#include "raster/polar_sampler.h"
#include "raster/solarise_rule.h"
#include "tests/raster/hardware/test_devices.h"
#include "tests/raster/layer_fixture.h"

// The same runs on a device and in software. Each pair of tests is one of the two kernel languages.
namespace {

using namespace Commands;
using Judge::Planes;
using Devices = Raster::Hardware<Raster::DefaultImplementation>;
using Rect = Kernel::RectT<int>;
using Bitmap = Kernel::Counted<Raster::DynamicBitmap>;

// Not multiples of tiles, of work items or of rows.
constexpr int c_width = 301, c_height = 263;

struct Case {
    std::optional<MaskRecord> mask;
    int channels = -1;
    std::optional<Rect> region;
};

// Runs an effect from the source into a copy of the destination.
template <class Effect>
Bitmap Apply(Raster::DynamicBitmap const& source, Raster::DynamicBitmap const& destination, Case const& how,
             Effect const& effect) {
    auto const result = destination.Clone(nullptr);
    RasterEffectOptions options;
    if (how.region)
        options.region = &*how.region;
    PipelineOptions own(options, how.channels);
    DriveEffect(result->GetMutableBase(), *source.GetBase(), own, how.mask ? &*how.mask : nullptr, effect);
    return result;
}

// The same on the device of a language; fails where that refused.
template <class Effect>
Bitmap RunOnDevice(int language, Raster::DynamicBitmap const& source, Raster::DynamicBitmap const& destination,
                   Case const& how, Effect const& effect) {
    Raster::HardwareDevicesSession const session(GetTestDevices(language));
    auto const executed = Devices::GetExecutedKernels(), failed = Devices::GetFailedKernels();
    auto result = Apply(source, destination, how, effect);
    EXPECT_EQ(executed + 1, Devices::GetExecutedKernels());
    EXPECT_EQ(failed, Devices::GetFailedKernels());
    return result;
}

// The largest distance of two samples, in units of full scale.
template <class Traits>
double FindDistance(Raster::DynamicBitmap const& a, Raster::DynamicBitmap const& b) {
    Planes<Traits> const left(a), right(b);
    double most = 0;
    for (int c = 0; c != Traits::c_channelCount; ++c) {
        for (std::size_t i = 0; i != left.samples[c].size(); ++i) {
            double const l = static_cast<double>(left.samples[c][i]), r = static_cast<double>(right.samples[c][i]);
            // Equal infinities have no distance, nor have numbers that are none.
            if (l != r && !(std::isnan(l) && std::isnan(r)))
                most = std::max(most, std::abs(l - r) / static_cast<double>(Judge::c_full<Traits>));
        }
    }
    return most;
}

template <class Traits>
MaskRecord MakeMask(Judge::Params const& transform) {
    auto const mask = MakeSoftMask<Raster::FormatTraits<Traits::c_maskFormat>>(240, 200, 5);
    return {mask->GetBase().ToCounted(), transform};
}

// Without a mask; through one at whole pixels; and through one that is turned and reaches beyond the edges.
template <class Traits>
std::vector<Case> MakeCases() {
    std::vector<Case> cases;
    int const all = Traits::c_allChannels;
    for (int channels : {-1, all & ~(1 << Traits::c_alphaIndex), all & 5, all & 2, 0}) {
        cases.push_back({std::nullopt, channels, std::nullopt});
        cases.push_back({MakeMask<Traits>({1, 0, -31, 0, 1, -17}), channels, std::nullopt});
    }
    cases.push_back({std::nullopt, -1, Rect{37, 41, 259, 258}});
    cases.push_back({MakeMask<Traits>({0.75, 0.5, -20.25, -0.5, 0.75, 90.375}), -1, Rect{3, 5, 290, 261}});
    return cases;
}

// Floats beyond full scale, below zero and next to the ends.
template <class Traits>
Bitmap MakeSource(unsigned seed) {
    auto bitmap = Judge::RandomBitmap<Traits>(c_width, c_height, seed);
    if constexpr (Traits::c_isFloat) {
        Planes<Traits> planes(*bitmap);
        float const values[] = {1.5f, 40.0f, -0.25f, 1.0000001f, 0.99999994f, -0.0f, 1e-30f};
        std::mt19937 random(seed + 1);
        for (auto& plane : planes.samples) {
            for (auto& sample : plane) {
                if (random() % 4 == 0)
                    sample = values[random() % std::size(values)];
            }
        }
        planes.Store(*bitmap);
    }
    return bitmap;
}

template <class Traits, class Effect>
void CompareAll(int language, Effect const& effect, double bound) {
    auto const source = MakeSource<Traits>(1), destination = MakeSource<Traits>(7);
    for (auto const& how : MakeCases<Traits>()) {
        SCOPED_TRACE("language " + std::to_string(language) + ", format " + Raster::GetFormatName(Traits::c_format) +
                     (how.mask ? ", mask" : "") + ", channels " + std::to_string(how.channels));
        auto const expected = Apply(*source, *destination, how, effect);
        auto const result = RunOnDevice(language, *source, *destination, how, effect);
        EXPECT_LE(FindDistance<Traits>(*expected, *result), bound);
        EXPECT_EQ(how.channels == 0, FindDistance<Traits>(*destination, *expected) == 0);
    }
}

template <class Traits>
class KernelParity : public testing::Test {};
TYPED_TEST_SUITE(KernelParity, Formats);

// Point effects are equal; floats where blending divides may differ in the last places.
template <class Traits>
constexpr double c_pointBound = Traits::c_isFloat ? 1e-6 : 0;

TYPED_TEST(KernelParity, OfSolarise) {
    for (int language : {0, 1})
        CompareAll<TypeParam>(language, PointEffect<SolariseRule>(), c_pointBound<TypeParam>);
}

TYPED_TEST(KernelParity, OfThePlainCopy) {
    for (int language : {0, 1})
        CompareAll<TypeParam>(language, PointEffect<CopyRule>(), c_pointBound<TypeParam>);
}

} // namespace
