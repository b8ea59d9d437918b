// SPDX-License-Identifier: Apache-2.0
#include "raster/raster_polar_to_rectangular_command.h"
#include "raster/raster_rectangular_to_polar_command.h"

#include "platform/raster/bitmap.h"
#include "raster/pipeline/pipeline.h"
#include "raster/polar_sampler.h"
#include "raster/vector_math.h"
#include "tests/raster/layer_fixture.h"

namespace {

using namespace Commands;
using Judge::Params;
using Judge::Planes;

// Where the sample at (x, y) of the result comes from, as the steps tell it; `slack` becomes the least distance of the
// numbers on the way from where a rounding would go the other way, in pixels.
struct Location {
    int x, y;
    double slack;
};

struct Spread {
    Params toRaster;
    double width, height;
};

// The distance of a double from the middle between its float and the next, when that would move the pixel.
double RoundingSlack(double v) {
    float const rounded = static_cast<float>(v);
    float const up = std::nextafter(rounded, 1e30f), down = std::nextafter(rounded, -1e30f);
    return std::min(std::abs(v - (double(rounded) + double(up)) / 2),
                    std::abs(v - (double(rounded) + double(down)) / 2));
}

int Clamped(float v, int size) {
    if (!(v > 0))
        return 0;
    return v >= static_cast<float>(size - 1) ? size - 1 : static_cast<int>(std::trunc(v));
}

Location Locate(bool toPolar, Spread const& spread, double x, double y, int width, int height, float scale) {
    Params const toDomain = spread.toRaster.GetInverse();
    double const sx = double(float(toDomain.a * x + toDomain.b * y + toDomain.tx));
    double const sy = double(float(toDomain.c * x + toDomain.d * y + toDomain.ty));
    double px = 0, py = 0, slack = 1;
    if (toPolar) {
        double const dx = (sx - spread.width / 2) * (1 / (spread.width * 0.5));
        double const dy = (sy - spread.height / 2) * (1 / (spread.height * 0.5));
        double const radius = std::hypot(dx, dy);
        double const angle = std::atan2(dx, dy) + 3.141590118408203;
        double const along = angle * spread.width / 6.283180236816406;
        slack = RoundingSlack(along);
        px = double(float(along));
        py = radius * spread.height;
    } else {
        double const radius = sy / spread.height;
        double const angle = -3.141592653589793 + sx * 2 * 3.141592653589793 / spread.width;
        px = spread.width / 2 + radius * std::sin(angle) * 0.5 * spread.width;
        py = spread.height / 2 + radius * std::cos(angle) * 0.5 * spread.height;
    }
    double const rx = spread.toRaster.a * px + spread.toRaster.b * py + spread.toRaster.tx;
    double const ry = spread.toRaster.c * px + spread.toRaster.d * py + spread.toRaster.ty;
    slack = std::min({slack, RoundingSlack(rx), RoundingSlack(ry)});
    return {Clamped(float(rx) * scale, width), Clamped(float(ry) * scale, height), slack};
}

template <class Traits>
struct Remapped {
    Planes<Traits> planes;
    // Of each pixel's sample points, in rows.
    std::vector<double> slack;
};

template <class Traits>
Remapped<Traits> Remap(bool toPolar, Spread const& spread, Planes<Traits> const& source, Kernel::SizeT<int> const& size,
                       float scale = 1) {
    float const full = Judge::c_full<Traits>;
    float const factor = 1.0f / full;
    constexpr int c_alpha = Traits::c_alphaIndex;
    double const offsets[] = {0, 0.2, 0.4, 0.6, 0.8};
    Remapped<Traits> result{Planes<Traits>(size.width, size.height), {}};
    for (int y = 0; y != size.height; ++y) {
        for (int x = 0; x != size.width; ++x) {
            float sums[5] = {};
            double slack = 1;
            for (double const v : offsets) {
                for (double const u : offsets) {
                    auto const place = Locate(toPolar, spread, x + u, y + v, source.width, source.height, scale);
                    slack = std::min(slack, place.slack);
                    float const alpha = static_cast<float>(source.At(c_alpha, place.x, place.y));
                    for (int c = 0; c != c_alpha; ++c) {
                        float sample = static_cast<float>(source.At(c, place.x, place.y));
                        if (alpha != full)
                            sample *= alpha * factor;
                        sums[c] += sample;
                    }
                    sums[c_alpha] += alpha;
                }
            }
            for (float& sum : sums)
                sum *= 0.04f;
            if (sums[c_alpha] != full && sums[c_alpha] > 1e-20f) {
                for (int c = 0; c != c_alpha; ++c)
                    sums[c] = std::min(sums[c] * full / sums[c_alpha], full);
            }
            for (int c = 0; c != Traits::c_channelCount; ++c)
                result.planes.At(c, x, y) = Judge::ToSample<typename Traits::Sample>(sums[c], full);
            result.slack.push_back(slack);
        }
    }
    return result;
}

Kernel::Counted<DocumentCommand> MakeCommand(bool toPolar) {
    if (toPolar)
        return Kernel::MakeCounted<RasterRectangularToPolarCommand>();
    return Kernel::MakeCounted<RasterPolarToRectangularCommand>();
}

// Where pixels differ, a number on the way to one of their samples was so close to the edge of a rounding that sine,
// cosine, arc tangent or the root decide by their last digit. Such pixels are hardly ever met.
template <class Traits>
void ExpectEqual(Planes<Traits> const& expected, std::vector<double> const& slack, Planes<Traits> const& found) {
    std::size_t different = 0;
    for (std::size_t i = 0; i != slack.size(); ++i) {
        for (int c = 0; c != Traits::c_channelCount; ++c) {
            if (expected.samples[c][i] == found.samples[c][i])
                continue;
            ++different;
            EXPECT_LT(slack[i], 1e-9) << "pixel " << i << ", channel " << c;
        }
    }
    EXPECT_LE(different, slack.size() / 1000);
}

template <class Traits>
class PolarEveryFormat : public testing::Test {};
TYPED_TEST_SUITE(PolarEveryFormat, Formats);

TYPED_TEST(PolarEveryFormat, EqualsTheRuleOnOneAndTwoThreads) {
    Params const transforms[] = {{}, {1.5, 0, 60, 0, 1.25, 40}, {0.8, -0.6, 250, 0.6, 0.8, 20}};
    for (bool const toPolar : {false, true}) {
        unsigned threads = 1;
        for (auto const& transform : transforms) {
            ThreadCount const scope(1 + threads++ % 2);
            LayerDocument document(Judge::RandomBitmap<TypeParam>(301, 67, 9), transform);
            auto const expected =
                Remap(toPolar, {transform.GetInverse(), 600, 500}, document.Read<TypeParam>(), {301, 67});
            auto const before = document.Read<TypeParam>();
            document.controller->Run(MakeCommand(toPolar));
            ExpectEqual(expected.planes, expected.slack, document.Read<TypeParam>());
            document.controller->Undo();
            EXPECT_EQ(0u, Judge::CountDifferent(before, document.Read<TypeParam>()));
        }
    }
}

TYPED_TEST(PolarEveryFormat, KeepsTheChannelsThatAreSwitchedOffAndBlendsThroughTheMask) {
    using MaskTraits = Raster::FormatTraits<TypeParam::c_maskFormat>;
    Params const transform{2, 0, 10, 0, 3, 25}, maskTransform{1, 0, 90, 0, 1, 60};
    for (bool const toPolar : {false, true}) {
        for (int const channels : {-1, 1, TypeParam::c_allChannels >> 1}) {
            LayerDocument document(Judge::RandomBitmap<TypeParam>(130, 90, 2), transform);
            auto const mask = MakeSoftMask<MaskTraits>(150, 140, 5);
            document.controller->SetRasterSelection(SelectionRasterNode::CreateMask(mask, maskTransform));
            document.controller->SetChannelMask(channels);
            auto expected = document.Read<TypeParam>();
            auto const remapped = Remap(toPolar, {transform.GetInverse(), 600, 500}, expected, {130, 90});
            Planes<MaskTraits> const maskPlanes(*mask);
            Judge::Merge(expected, remapped.planes, {0, 0, 130, 90}, channels,
                         [&](int x, int y) { return Judge::ReadMask(maskPlanes, maskTransform, transform, x, y); });
            document.controller->Run(MakeCommand(toPolar));
            ExpectEqual(expected, remapped.slack, document.Read<TypeParam>());
        }
    }
}

using RGBA8 = Raster::FormatTraits<Raster::FormatRGBA8>;

TEST(Polar, ReadsTheNearestEdgePixelBeyondABitmapThatIsSmallerThanTheSpread) {
    auto bitmap = Kernel::MakeCounted<Raster::DynamicBitmap>(3, 2, Raster::FormatRGBA8);
    std::uint8_t const pixels[] = {1,  2,  3,  255, 4,  5,  6,  255, 7,  8,  9,  255,
                                   11, 12, 13, 255, 14, 15, 16, 255, 17, 18, 19, 255};
    bitmap->WritePixels({0, 0, 3, 2}, pixels, 12);
    LayerDocument document(bitmap);
    document.controller->Run(Kernel::MakeCounted<RasterPolarToRectangularCommand>());
    // All samples of the first rows lie near the middle of the spread, beyond the bottom right corner.
    auto const result = document.Read<RGBA8>();
    EXPECT_EQ((std::vector<std::uint8_t>(6, 17)), result.samples[0]);
    EXPECT_EQ((std::vector<std::uint8_t>(6, 255)), result.samples[3]);
}

// The radius is a number divided by zero. Infinite coordinates read the last pixel, and NaN the first.
TEST(Polar, OfASpreadWithoutHeightDividesByZero) {
    for (bool const toPolar : {false, true}) {
        auto const bitmap = Judge::RandomBitmap<RGBA8>(40, 30, 2);
        Planes<RGBA8> planes(*bitmap);
        std::fill(planes.samples[3].begin(), planes.samples[3].end(), std::uint8_t(255));
        planes.Store(*bitmap);
        LayerDocument document(bitmap);
        document.controller->GetCurrentSpread()->SetBaseBox({0, 0, 600, 0});
        auto const expected = Remap(toPolar, {{}, 600, 0}, planes, {40, 30});
        document.controller->Run(MakeCommand(toPolar));
        EXPECT_EQ(0u, Judge::CountDifferent(expected.planes, document.Read<RGBA8>()));
    }
}

TEST(Polar, OfASingularTransformEnds) {
    for (bool const toPolar : {false, true}) {
        LayerDocument document(Judge::RandomBitmap<RGBA8>(40, 30, 2), {0, 0, 5, 0, 0, 7});
        document.controller->Run(MakeCommand(toPolar));
        EXPECT_TRUE(document.controller->CanUndo());
    }
}

TEST(Polar, PutsTheTopRowIntoTheMiddleOfTheCircles) {
    LayerDocument document(Kernel::MakeCounted<Raster::DynamicBitmap>(600, 500, Raster::FormatRGBA8));
    auto const white =
        Raster::Pixel<Raster::Red8, Raster::Green8, Raster::Blue8, Raster::Alpha8, Raster::X5>{{255, 255, 255, 255}};
    auto const black =
        Raster::Pixel<Raster::Red8, Raster::Green8, Raster::Blue8, Raster::Alpha8, Raster::X5>{{0, 0, 0, 255}};
    auto const bitmap = document.layer->GetMutableBitmap();
    bitmap->Clear(black);
    bitmap->GetMutableBase().Fill({0, 0, 600, 10}, white);
    document.controller->Run(Kernel::MakeCounted<RasterRectangularToPolarCommand>());
    auto const result = document.Read<RGBA8>();
    EXPECT_EQ(255, result.At(0, 300, 250));
    EXPECT_EQ(255, result.At(0, 303, 252));
    EXPECT_EQ(0, result.At(0, 310, 250));
    EXPECT_EQ(0, result.At(0, 5, 5));
}

TEST(Polar, TransparentPixelsAddNothingToTheColour) {
    LayerDocument document(Kernel::MakeCounted<Raster::DynamicBitmap>(600, 500, Raster::FormatRGBA8));
    Planes<RGBA8> planes(600, 500);
    for (int y = 0; y != 500; ++y) {
        for (int x = 0; x != 600; ++x) {
            bool const clear = (x + y) % 2 == 0;
            planes.At(0, x, y) = clear ? 255 : 40;
            planes.At(3, x, y) = clear ? 0 : 255;
        }
    }
    planes.Store(*document.layer->GetMutableBitmap());
    document.controller->Run(Kernel::MakeCounted<RasterRectangularToPolarCommand>());
    auto const result = document.Read<RGBA8>();
    std::size_t mixed = 0;
    for (std::size_t i = 0; i != result.samples[0].size(); ++i) {
        if (result.samples[3][i] == 0)
            continue;
        mixed += result.samples[3][i] < 255;
        ASSERT_EQ(40, result.samples[0][i]);
    }
    EXPECT_GT(mixed, 100000u);
}

// The axes of this layer nearly fall together: the way to the spread and that back lengthen both.
TEST(Polar, ReadsALevelWhereTheTransformShrinks) {
    Params const transform{1, 0.9, 0, 0.9, 1, 0};
    PolarParameters parameters;
    EXPECT_DOUBLE_EQ(1, parameters.GetLeastScale());
    parameters.rasterToDomain = transform;
    parameters.domainToRaster = transform.GetInverse();
    EXPECT_NEAR(1.81 / 0.19, parameters.GetLeastScale(), 1e-12);
    for (bool const toPolar : {false, true}) {
        auto const bitmap = Judge::RandomBitmap<RGBA8>(700, 300, 3, Raster::MipmapMode::OnDemand);
        LayerDocument document(bitmap, transform);
        document.controller->Run(MakeCommand(toPolar));
        // 9.5 could be halved three times, but there are two levels.
        ASSERT_EQ(2, bitmap->GetBase()->GetMipmapLevels());
        auto const level = bitmap->GetBase()->Clone(nullptr);
        level->UpdateMipmaps(2, nullptr);
        Raster::DynamicBitmap const reduced(Kernel::Counted<Raster::BitmapBase>(level->GetMipmap(2)->Clone(nullptr)));
        auto const expected =
            Remap(toPolar, {transform.GetInverse(), 600, 500}, Planes<RGBA8>(reduced), {700, 300}, 0.25f);
        ExpectEqual(expected.planes, expected.slack, document.Read<RGBA8>());
    }
}

TEST(Polar, ReportsItsProgress) {
    class Listener final : public ProgressListener {
    public:
        void Progress(DomainCommand const&, float fraction) override {
            ++count;
            last = std::max(last, fraction);
        }
        int count = 0;
        float last = 0;
    } listener;
    LayerDocument document(Judge::RandomBitmap<RGBA8>(600, 500, 2));
    document.controller->SetProgressListener(&listener);
    document.controller->Run(Kernel::MakeCounted<RasterRectangularToPolarCommand>());
    document.controller->SetProgressListener(nullptr);
    EXPECT_GE(listener.count, 1);
    EXPECT_FLOAT_EQ(1, listener.last);
    EXPECT_EQ(DomainCommand::ProgressType::LargeBar,
              Kernel::MakeCounted<RasterRectangularToPolarCommand>()->GetProgressType());
}

double UnitsInTheLastPlace(double found, double exact) {
    double const unit = std::nextafter(std::abs(exact), 1e300) - std::abs(exact);
    return std::abs(found - exact) / unit;
}

TEST(VectorMath, IsWithinTwoUnitsInTheLastPlace) {
    std::mt19937_64 random(3);
    auto const uniform = [&](double from, double to) {
        return from + (to - from) * (static_cast<double>(random() >> 11) / 9007199254740992.0);
    };
    double worstArc = 0, worstSine = 0;
    for (int i = 0; i != 300000; ++i) {
        double const x = uniform(-3, 3), y = uniform(-3, 3) * (i % 3 == 0 ? 1e-6 : 1);
        worstArc = std::max(worstArc, UnitsInTheLastPlace(ArcTangent(y, x), std::atan2(y, x)));
        double const angle = uniform(-30, 30);
        double sine = 0, cosine = 0;
        SineAndCosine(angle, sine, cosine);
        // Near a zero the error of the angle counts against 1.
        worstSine = std::max({worstSine, std::abs(sine - std::sin(angle)), std::abs(cosine - std::cos(angle))});
    }
    EXPECT_LT(worstArc, 2.5);
    EXPECT_LT(worstSine, 4e-16);
    EXPECT_EQ(0, ArcTangent(0, 0));
    EXPECT_EQ(std::atan2(1.0, 0.0), ArcTangent(1, 0));
    EXPECT_EQ(std::atan2(0.0, -1.0), ArcTangent(0, -1));
    EXPECT_EQ(std::atan2(-1.0, 0.0), ArcTangent(-1, 0));
}

} // namespace
