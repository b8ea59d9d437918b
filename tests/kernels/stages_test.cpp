// SPDX-License-Identifier: Apache-2.0
#include "raster/polar_sampler.h"
#include "tests/kernels/kernel_runs.h"
#include "tests/kernels/samples.h"

#include <gtest/gtest.h>

namespace Tests {
namespace {

using namespace Raster;
using Commands::PolarDirection;

class KernelStages : public testing::TestWithParam<int> {
protected:
    int language = GetParam();
    char const* identity = IdentityTransform::GetHardwareFragment(language);
    char const* translation = TranslationTransform::GetHardwareFragment(language);
    char const* scale = ScaleTransform::GetHardwareFragment(language);
    char const* affine = AffineStage::GetHardwareFragment(language);

    char const* Chain(char const* left, char const* right) const {
        return GetTransformChainFragment(language, left, right);
    }

    // The place that a kernel's Transform gives for each pixel's corner, as the first two channels of floats.
    Buffers FindPlaces(char const* transform, std::vector<float> block, int width, int height) {
        auto kernel = MakeCopyKernel(language, FormatRGBAF, FormatRGBAF);
        kernel.transform = transform;
        kernel.process = R"(
FUNCTION dest_type Process(CONTEXT, dest_type source, int2 location, int block) {
    float2 const corner = MAKE_FLOAT2((float)location.x, (float)location.y);
    float2 const place = Transform(context, corner, (int)PARAMETER(2));
    return MAKE_FLOAT4(place.x, place.y, 0.0f, 0.0f);
}
)";
        KernelBlocks blocks;
        blocks.transform = std::move(block);
        auto places = BufferBase::Create(width, height, FormatRGBAF);
        EXPECT_TRUE(RunKernel(GetDriver(language), kernel, *places, *places, nullptr, blocks));
        return places;
    }

    template <class Transform>
    void ExpectPlaces(char const* text, std::vector<float> block, Transform const& transform) {
        auto const places = FindPlaces(text, std::move(block), 65, 3);
        for (int y = 0; y != 3; ++y) {
            for (int x = 0; x != 65; ++x) {
                auto const p = transform.Apply(Kernel::PointT<double>{double(x), double(y)});
                ASSERT_FLOAT_EQ(GetSample<float>(*places, 0, x, y), float(p.x)) << x << ' ' << y;
                ASSERT_FLOAT_EQ(GetSample<float>(*places, 1, x, y), float(p.y)) << x << ' ' << y;
            }
        }
    }
};

TEST_P(KernelStages, MovePlacesAsTheTransformsDo) {
    TranslationTransform const move{2.5, -7};
    ScaleTransform const grow{3, 0.5};
    AffineStage const turn{{2, -1, 40, 0.25, 3, -8}};
    ExpectPlaces(identity, {}, IdentityTransform{});
    ExpectPlaces(translation, {2.5f, -7}, move);
    ExpectPlaces(scale, {3, 0.5f}, grow);
    ExpectPlaces(affine, {2, -1, 40, 0.25f, 3, -8}, turn);
}

// Lengths of left parts lead through the block, at every depth and on both sides; a part that stands twice is itself
// both times.
TEST_P(KernelStages, ChainTransformsFromLeftToRight) {
    using Move = ChainTransform<TranslationTransform, ScaleTransform>;
    Move const move{{2.5, -7}, {3, 0.5}};
    Move const other{{-1, 4}, {0.25, 2}};
    AffineStage const turn{{2, -1, 40, 0.25, 3, -8}};
    char const* const moveText = Chain(translation, scale);
    ExpectPlaces(moveText, {2, 2.5f, -7, 3, 0.5f}, move);
    ExpectPlaces(Chain(moveText, Chain(affine, moveText)),
                 {5, 2, 2.5f, -7, 3, 0.5f, 6, 2, -1, 40, 0.25f, 3, -8, 2, -1, 4, 0.25f, 2},
                 ChainTransform<Move, ChainTransform<AffineStage, Move>>{move, {turn, other}});
    ExpectPlaces(Chain(Chain(moveText, moveText), identity), {11, 5, 2, 2.5f, -7, 3, 0.5f, 2, -1, 4, 0.25f, 2},
                 ChainTransform<Move, Move>{move, other});
}

TEST_P(KernelStages, ReadBeyondTheEdgesAsTheExtensionsSay) {
    // Rows without padding: one pixel too far is the next row's.
    constexpr int c_width = 64;
    auto const source = MakePicture<FormatTraits<FormatCMYKA8>>(c_width, 7, 31);
    for (bool const isRepeat : {false, true}) {
        auto kernel = MakeCopyKernel(language, FormatCMYKA8, FormatCMYKA8);
        kernel.transform = translation;
        kernel.extend = isRepeat ? Repeat::GetHardwareFragment(language) : Zero::GetHardwareFragment(language);
        for (float const far : {6.0f, 3e9f, std::numeric_limits<float>::infinity()}) {
            KernelBlocks blocks;
            blocks.transform = {-far, far};
            auto const destination = BufferBase::Create(90, 9, FormatCMYKA8);
            ASSERT_TRUE(RunKernel(GetDriver(language), kernel, *source, *destination, nullptr, blocks));
            TranslationTransform const stage{-far, far};
            for (int y = 0; y != 9; ++y) {
                for (int x = 0; x != 90; ++x) {
                    auto p = TransformPixelCentre(stage, x, y);
                    bool const isThere =
                        isRepeat ? Repeat::Resolve(p.x, p.y, c_width, 7) : Zero::Resolve(p.x, p.y, c_width, 7);
                    for (int c = 0; c != 5; ++c)
                        ASSERT_EQ(GetSample<std::uint8_t>(*destination, c, x, y),
                                  isThere ? GetSample<std::uint8_t>(*source, c, p.x, p.y) : 0)
                            << c << ' ' << x << ' ' << y << ' ' << far;
                }
            }
        }
    }
}

// Between spread and layer all steps are floats here, and doubles in the software engine; pi differs by 3e-6.
TEST_P(KernelStages, FindPolarPlacesNearTheRule) {
    constexpr int c_width = 301, c_height = 203;
    Commands::PolarParameters parameters;
    parameters.rasterToDomain = {1, 0, 3, 0, 1, -2};
    parameters.offset = {0.5, -1.5};
    parameters.centre = {150, 100};
    parameters.size = {300, 200};
    parameters.domainToRaster = {1, 0, -3, 0, 1, 2};
    for (auto const direction : {PolarDirection::PolarToRectangular, PolarDirection::RectangularToPolar}) {
        bool const isRectangular = direction == PolarDirection::PolarToRectangular;
        std::vector<float> block = {isRectangular ? 13.0f : 15.0f, 6, 1, 0, 3, 0, 1, -2, 150, 100, 300, 200};
        if (!isRectangular)
            block.insert(block.end(), {1 / 150.0f, 1 / 100.0f});
        block.insert(block.end(), {0.5f, -1.5f, 1, 0, -3, 0, 1, 2});
        ASSERT_EQ(block.size(), isRectangular ? 20u : 22u);
        auto const places =
            FindPlaces(Chain(Chain(affine, Commands::GetPolarTransformFragment(language, direction)), affine), block,
                       c_width, c_height);
        double greatest = 0;
        for (int y = 0; y != c_height; ++y) {
            for (int x = 0; x != c_width; ++x) {
                auto const p = Commands::LocatePolar(direction, parameters, x, y);
                double dx = std::abs(double(GetSample<float>(*places, 0, x, y)) - double(p.x));
                // Where the circle closes both ends are right.
                if (!isRectangular)
                    dx = std::min(dx, std::abs(dx - 300));
                double const dy = std::abs(double(GetSample<float>(*places, 1, x, y)) - double(p.y));
                greatest = std::max({greatest, dx, dy});
            }
        }
        EXPECT_LT(greatest, 0.002) << "direction " << int(direction);
    }
}

// The mean of 25 samples at these places of a picture, in doubles, colours weighted by alpha.
template <class Traits>
std::array<double, 5> FindMean(BufferBase const& source, std::vector<Kernel::PointT<int>> const& places) {
    using Sample = typename Traits::Sample;
    constexpr double c_full = Traits::c_maximum;
    std::array<double, 5> sums{};
    double& alpha = sums[Traits::c_alphaIndex];
    for (auto place : places) {
        Repeat::Resolve(place.x, place.y, source.GetWidth(), source.GetHeight());
        double const weight = GetSample<Sample>(source, Traits::c_alphaIndex, place.x, place.y);
        for (int c = 0; c != Traits::c_colourCount; ++c)
            sums[std::size_t(c)] += weight * GetSample<Sample>(source, c, place.x, place.y);
        alpha += weight;
    }
    // Hardly any alpha counts as none.
    double const divisor = alpha > 25e-20 ? alpha : 25 * c_full;
    for (int c = 0; c != Traits::c_colourCount; ++c)
        sums[std::size_t(c)] = std::min(sums[std::size_t(c)] / divisor, c_full);
    alpha /= 25;
    return sums;
}

TEST_P(KernelStages, TakeTheMeanOfSamples) {
    constexpr int c_width = 61, c_height = 7;
    float const terms[] = {0.75f, 0.25f, -5.3f, -0.05f, 2.1f, -3.7f};
    for (int i = 0; i != c_formatCount; ++i) {
        VisitFormat(static_cast<Format>(i), [&](auto traits) {
            using Traits = decltype(traits);
            using Sample = typename Traits::Sample;
            SCOPED_TRACE(GetFormatName(Traits::c_format));
            // Half a unit for rounding, and a little for sums of floats.
            double const bound = Traits::c_isFloat ? 2e-6 : sizeof(Sample) == 1 ? 0.501 : 0.55;
            auto const source = MakePicture<Traits>(43, 13, 41);
            // No mean takes part of what is no number or infinite, and floats above full scale are capped.
            for (int c = 0; c != Traits::c_channelCount; ++c) {
                for (int y = 0; y != 13; ++y) {
                    auto* const row = static_cast<Sample*>(source->GetRow(c, y));
                    std::replace_if(
                        row, row + 43,
                        [](Sample v) { return !(float(v) >= 0 && float(v) <= float(Traits::c_maximum)); }, Sample(1));
                }
            }
            auto kernel = MakeCopyKernel(language, Traits::c_format, Traits::c_format);
            kernel.transform = affine;
            kernel.sample = Commands::GetMeanOfSamplesFragment(language);
            kernel.extend = Repeat::GetHardwareFragment(language);
            KernelBlocks blocks;
            blocks.transform.assign(std::begin(terms), std::end(terms));
            auto const destination = BufferBase::Create(c_width, c_height, Traits::c_format);
            ASSERT_TRUE(RunKernel(GetDriver(language), kernel, *source, *destination, nullptr, blocks));
            for (int y = 0; y != c_height; ++y) {
                for (int x = 0; x != c_width; ++x) {
                    std::vector<Kernel::PointT<int>> places;
                    for (int k = 0; k != 25; ++k) {
                        float const px = float(x) + float(k % 5) * 0.2f, py = float(y) + float(k / 5) * 0.2f;
                        places.push_back({static_cast<int>(px * terms[0] + py * terms[1] + terms[2]),
                                          static_cast<int>(px * terms[3] + py * terms[4] + terms[5])});
                    }
                    auto const mean = FindMean<Traits>(*source, places);
                    for (int c = 0; c != Traits::c_channelCount; ++c) {
                        double const made = double(GetSample<Sample>(*destination, c, x, y));
                        ASSERT_NEAR(made, mean[std::size_t(c)], bound) << c << ' ' << x << ' ' << y;
                    }
                }
            }
        });
    }
}

INSTANTIATE_TEST_SUITE_P(, KernelStages, testing::ValuesIn(c_testedLanguages), NameLanguage);

} // namespace
} // namespace Tests
