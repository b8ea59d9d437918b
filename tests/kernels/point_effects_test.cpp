// SPDX-License-Identifier: Apache-2.0
#include "raster/pipeline/shaders.h"
#include "raster/solarise_rule.h"
#include "tests/kernels/kernel_runs.h"
#include "tests/kernels/samples.h"

#include <gtest/gtest.h>

namespace Tests {
namespace {

using namespace Raster;
using Commands::SolariseRule;

constexpr int c_pointWidth = 259, c_pointHeight = 5;

class PointEffectKernels : public testing::TestWithParam<int> {};

HardwareKernelDescriptor MakeSolariseKernel(int language, Format format) {
    auto kernel = MakeCopyKernel(language, format, format);
    kernel.process = SolariseRule::GetHardwareFragment(language);
    return kernel;
}

template <class Traits>
void SolarisePixel(BufferBase const& source, int x, int y, typename Traits::Sample* pixel) {
    using Sample = typename Traits::Sample;
    Sample in[5] = {};
    Sample const* from[5];
    Sample* to[5];
    for (int c = 0; c != Traits::c_channelCount; ++c) {
        in[c] = pixel[c] = GetSample<Sample>(source, c, x, y);
        from[c] = &in[c];
        to[c] = &pixel[c];
    }
    typename SolariseRule::ForFormat<Traits>().Process(from, to, 1);
}

// The formula of kernels multiplies by 0, which makes no number of what is infinite.
template <class Traits>
bool HasInfinite(BufferBase const& source, int x, int y) {
    for (int c = 0; c != Traits::c_channelCount; ++c) {
        if (std::isinf(static_cast<float>(GetSample<typename Traits::Sample>(source, c, x, y))))
            return true;
    }
    return false;
}

TEST_P(PointEffectKernels, SolariseByTheRule) {
    for (int i = 0; i != c_formatCount; ++i) {
        VisitFormat(static_cast<Format>(i), [&](auto traits) {
            using Traits = decltype(traits);
            using Sample = typename Traits::Sample;
            SCOPED_TRACE(GetFormatName(Traits::c_format));
            auto const source = MakePicture<Traits>(c_pointWidth, c_pointHeight, 1);
            auto const destination = MakePicture<Traits>(c_pointWidth, c_pointHeight, 2);
            ASSERT_TRUE(RunKernel(GetDriver(GetParam()), MakeSolariseKernel(GetParam(), Traits::c_format), *source,
                                  *destination, nullptr, {}));
            for (int y = 0; y != c_pointHeight; ++y) {
                for (int x = 0; x != c_pointWidth; ++x) {
                    Sample expected[5];
                    SolarisePixel<Traits>(*source, x, y, expected);
                    for (int c = 0; c != Traits::c_channelCount && !HasInfinite<Traits>(*source, x, y); ++c)
                        ASSERT_PRED2(IsSame<Sample>, GetSample<Sample>(*destination, c, x, y), expected[c])
                            << c << ' ' << x << ' ' << y;
                }
            }
        });
    }
}

TEST_P(PointEffectKernels, BlendThroughMasksAndStoreChannelsByTheRule) {
    for (int i = 0; i != c_formatCount; ++i) {
        VisitFormat(static_cast<Format>(i), [&](auto traits) {
            using Traits = decltype(traits);
            using Sample = typename Traits::Sample;
            SCOPED_TRACE(GetFormatName(Traits::c_format));
            auto kernel = MakeSolariseKernel(GetParam(), Traits::c_format);
            kernel.readMask = GetMaskChainFragment(GetParam(), Traits::c_maskFormat);
            kernel.filter = GetChannelFilterFragment(GetParam(), Traits::c_format);
            auto const source = MakePicture<Traits>(c_pointWidth, c_pointHeight, 3);
            auto const mask = MakePicture<FormatTraits<Traits::c_maskFormat>>(200, 9, 4);
            // Turned, scaled and moved, so that some pixels lie outside of the mask.
            std::array<float, 6> const terms = {0.75f, 0.125f, -3.25f, -0.0078125f, 2, 0.5f};
            AffineStage const stage{{terms[0], terms[1], terms[2], terms[3], terms[4], terms[5]}};
            // Bits of channels that the format lacks have no effect.
            for (int channels : {Traits::c_allChannels, 31, 1, Traits::c_allChannels & 0b01010,
                                 1 << Traits::c_alphaIndex, Traits::c_allChannels & ~(1 << Traits::c_alphaIndex)}) {
                auto const existing = MakePicture<Traits>(c_pointWidth, c_pointHeight, 5);
                auto const destination = existing->Clone(nullptr);
                KernelBlocks blocks;
                blocks.mask = MakeMaskBlock(*mask, terms);
                blocks.filter = {static_cast<float>(channels)};
                ASSERT_TRUE(RunKernel(GetDriver(GetParam()), kernel, *source, *destination, &*mask, blocks));
                int outside = 0;
                for (int y = 0; y != c_pointHeight; ++y) {
                    for (int x = 0; x != c_pointWidth; ++x) {
                        Sample pixel[5], old[5];
                        SolarisePixel<Traits>(*source, x, y, pixel);
                        for (int c = 0; c != Traits::c_channelCount; ++c)
                            old[c] = GetSample<Sample>(*existing, c, x, y);
                        auto place = TransformPixelCentre(stage, x, y);
                        bool const isInside = Zero::Resolve(place.x, place.y, mask->GetWidth(), mask->GetHeight());
                        Sample const m = isInside ? GetSample<Sample>(*mask, 0, place.x, place.y) : Sample(0);
                        outside += !isInside;
                        Commands::BlendPixel<Sample, Traits::c_colourCount>(pixel, old, m);
                        bool const isOrdinary = !HasInfinite<Traits>(*source, x, y);
                        for (int c = 0; c != Traits::c_channelCount && isOrdinary; ++c)
                            ASSERT_PRED2(IsSame<Sample>, GetSample<Sample>(*destination, c, x, y),
                                         channels >> c & 1 ? pixel[c] : old[c])
                                << c << ' ' << x << ' ' << y << " mask " << double(m);
                    }
                }
                EXPECT_GT(outside, 100);
                EXPECT_LT(outside, c_pointWidth * c_pointHeight - 100);
            }
        });
    }
}

// Items that end at the edges and beyond them, and a part of the picture only.
TEST_P(PointEffectKernels, WriteNothingBesideTheirRectangle) {
    using Traits = FormatTraits<FormatIA8>;
    auto const source = MakePicture<Traits>(c_pointWidth, c_pointHeight, 6);
    auto const kernel = MakeSolariseKernel(GetParam(), FormatIA8);
    Kernel::RectT<int> const rect{3, 1, 250, 4};
    for (int pixelsPerItem : {1, 3, 4, 256}) {
        auto const existing = MakePicture<Traits>(c_pointWidth, c_pointHeight, 7);
        auto const destination = existing->Clone(nullptr);
        ASSERT_TRUE(RunKernel(GetDriver(GetParam()), kernel, *source, *destination, nullptr, {}, pixelsPerItem, &rect));
        for (int y = 0; y != c_pointHeight; ++y) {
            for (int x = 0; x != c_pointWidth; ++x) {
                std::uint8_t pixel[5];
                SolarisePixel<Traits>(*source, x, y, pixel);
                bool const isInside = x >= rect.left && x < rect.right && y >= rect.top && y < rect.bottom;
                for (int c = 0; c != 2; ++c)
                    ASSERT_EQ(GetSample<std::uint8_t>(*destination, c, x, y),
                              isInside ? pixel[c] : GetSample<std::uint8_t>(*existing, c, x, y))
                        << c << ' ' << x << ' ' << y << ' ' << pixelsPerItem;
            }
        }
    }
}

// A mipmap level in place of its source.
TEST_P(PointEffectKernels, ReadLevelsAsTheSoftwareEngine) {
    using Traits = FormatTraits<FormatRGBA8>;
    constexpr int c_level = 2;
    auto const level = MakePicture<Traits>((c_pointWidth + 3) / 4, (c_pointHeight * 8 + 3) / 4, 8);
    auto kernel = MakeSolariseKernel(GetParam(), FormatRGBA8);
    kernel.transform = GetTransformChainFragment(GetParam(), IdentityTransform::GetHardwareFragment(GetParam()),
                                                 ScaleTransform::GetHardwareFragment(GetParam()));
    KernelBlocks blocks;
    blocks.transform = {0, 0.25f, 0.25f};
    auto const destination = BufferBase::Create(c_pointWidth, c_pointHeight * 8, FormatRGBA8);
    ASSERT_TRUE(RunKernel(GetDriver(GetParam()), kernel, *level, *destination, nullptr, blocks));

    Traits::BitmapType bitmap(level->GetWidth(), level->GetHeight());
    for (int c = 0; c != Traits::c_channelCount; ++c)
        bitmap.GetPlane(c).WriteSamples(level->GetBounds(), level->GetRow(c, 0), level->GetRowBytes());
    SolariseRule::ForFormat<Traits> const rule;
    Commands::LevelPointShader<Traits, SolariseRule::ForFormat<Traits>> const shader(bitmap, c_level, rule);
    auto worker = shader.Open(destination->GetBounds());
    for (int y = 0; y != destination->GetHeight(); ++y) {
        // Whole spans, 32 pixels each.
        std::uint8_t rows[4][c_pointWidth + 64];
        std::uint8_t* const out[] = {rows[0], rows[1], rows[2], rows[3]};
        worker.Process(0, y, c_pointWidth, out);
        for (int c = 0; c != 4; ++c) {
            for (int x = 0; x != c_pointWidth; ++x)
                ASSERT_EQ(GetSample<std::uint8_t>(*destination, c, x, y), rows[c][x]) << c << ' ' << x << ' ' << y;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, PointEffectKernels, testing::ValuesIn(c_testedLanguages), NameLanguage);

} // namespace
} // namespace Tests
