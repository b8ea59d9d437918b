// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/conversion.h"
#include "tests/kernels/kernel_runs.h"
#include "tests/kernels/samples.h"

#include <gtest/gtest.h>

namespace Tests {
namespace {

using namespace Raster;

class ConversionKernels : public testing::TestWithParam<int> {};

constexpr int c_pairWidth = 263, c_pairHeight = 6;

template <class SourceTraits, class Traits>
void CompareConversion(int language) {
    using Sample = typename Traits::Sample;
    SCOPED_TRACE(std::string(GetFormatName(SourceTraits::c_format)) + " to " + GetFormatName(Traits::c_format));
    auto const source = MakePicture<SourceTraits>(c_pairWidth, c_pairHeight, 11);
    auto const expected = BufferBase::Create(c_pairWidth, c_pairHeight, Traits::c_format);
    ConvertPixels(*source, *expected, *PixelConverter::MakePlain(SourceTraits::c_format, Traits::c_format));
    auto const destination = MakePicture<Traits>(c_pairWidth, c_pairHeight, 12);
    ASSERT_TRUE(RunKernel(GetDriver(language),
                          MakeCopyKernel(language, SourceTraits::c_format, Traits::c_format, false), *source,
                          *destination, nullptr, {}));
    for (int c = 0; c != Traits::c_channelCount; ++c) {
        for (int y = 0; y != c_pairHeight; ++y) {
            for (int x = 0; x != c_pairWidth; ++x)
                ASSERT_PRED2(IsSame<Sample>, GetSample<Sample>(*destination, c, x, y),
                             GetSample<Sample>(*expected, c, x, y))
                    << c << ' ' << x << ' ' << y;
        }
    }
}

// In OpenCL C a quarter of the pairs, which takes long enough: each format comes in and goes out, and the texts are the
// same.
TEST_P(ConversionKernels, ConvertAsTheSoftwareEngineDoes) {
    int pairs = 0;
    bool const isQuarter = GetParam() == c_kernelLanguageOpenCL;
    for (int from = 0; from != c_formatCount; ++from) {
        for (int to = 0; to != c_formatCount; ++to) {
            VisitFormat(static_cast<Format>(from), [&](auto source) {
                if constexpr (decltype(source)::c_colourCount != 0) {
                    VisitFormat(static_cast<Format>(to), [&](auto destination) {
                        EXPECT_EQ(GetConversionFragment(0, static_cast<Format>(from), static_cast<Format>(to)),
                                  GetConversionFragment(1, static_cast<Format>(from), static_cast<Format>(to)));
                        if (isQuarter && (from + to) % 4 != 0)
                            return;
                        CompareConversion<decltype(source), decltype(destination)>(GetParam());
                        ++pairs;
                    });
                }
            });
        }
    }
    EXPECT_EQ(pairs, isQuarter ? 16 : 7 * 10);
}

TEST(Conversions, HaveNoFragmentFromAlphaAlone) {
    for (Format const from : {FormatA8, FormatA16, FormatAF}) {
        for (int to = -1; to != c_formatCount + 1; ++to) {
            auto const format = static_cast<Format>(to);
            for (int language : {0, 1})
                EXPECT_EQ(GetConversionFragment(language, from, format),
                          from == format ? GetIdentityConversionFragment(language) : nullptr);
        }
    }
}

TEST(Conversions, AreTheIdentityBetweenEqualFormats) {
    for (int i = 0; i != c_formatCount; ++i) {
        auto const format = static_cast<Format>(i);
        EXPECT_EQ(GetConversionFragment(1, format, format),
                  IsHandledFormat(format) ? GetIdentityConversionFragment(1) : nullptr);
    }
}

INSTANTIATE_TEST_SUITE_P(, ConversionKernels, testing::ValuesIn(c_testedLanguages), NameLanguage);

} // namespace
} // namespace Tests
