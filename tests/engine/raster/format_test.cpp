// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/dynamic_bitmap.h"
#include "platform/raster/dynamic_buffer.h"

#include "platform/kernel/exception.h"

#include <gtest/gtest.h>

namespace Raster {
namespace {

struct Row {
    Format format;
    int channelCount;
    int sampleBytes;
    Format maskFormat;
    int allChannels;
    char const* name;
};

TEST(Format, TableHasTheNumbersThatDocumentsHold) {
    Row const rows[] = {{FormatRGBA8, 4, 1, FormatA8, 15, "RGBA8"},   {FormatRGBA16, 4, 2, FormatA16, 15, "RGBA16"},
                        {FormatIA8, 2, 1, FormatA8, 3, "IA8"},        {FormatIA16, 2, 2, FormatA16, 3, "IA16"},
                        {FormatCMYKA8, 5, 1, FormatA8, 31, "CMYKA8"}, {FormatLABA16, 4, 2, FormatA16, 15, "LABA16"},
                        {FormatA8, 1, 1, FormatA8, 1, "A8"},          {FormatA16, 1, 2, FormatA16, 1, "A16"},
                        {FormatRGBAF, 4, 4, FormatAF, 15, "RGBAF"},   {FormatAF, 1, 4, FormatAF, 1, "AF"}};
    for (Row const& row : rows) {
        FormatInfo const info = GetFormatInfo(row.format);
        EXPECT_EQ(info.channelCount, row.channelCount) << row.name;
        EXPECT_EQ(info.sampleBytes, row.sampleBytes) << row.name;
        EXPECT_EQ(info.maskFormat, row.maskFormat) << row.name;
        EXPECT_EQ(info.allChannels, row.allChannels) << row.name;
        EXPECT_STREQ(GetFormatName(row.format), row.name);
    }
    EXPECT_EQ(static_cast<int>(FormatRGBAF), 9);
    EXPECT_EQ(static_cast<int>(FormatAF), 10);
}

TEST(Format, EightAndValuesOutsideTheTableAreVisitedByNothing) {
    for (int value : {-1, 8, 11, 1000}) {
        EXPECT_FALSE(VisitFormat(static_cast<Format>(value), [](auto) { FAIL(); })) << value;
        EXPECT_FALSE(IsHandledFormat(static_cast<Format>(value))) << value;
    }
}

TEST(Format, BitmapsAndBuffersAreMadeInTheTypeOfTheirFormat) {
    for (int value = 0; value != c_formatCount; ++value) {
        auto const format = static_cast<Format>(value);
        VisitFormat(format, [&](auto traits) {
            using Traits = decltype(traits);
            DynamicBitmap const bitmap(3, 2, format);
            EXPECT_EQ(bitmap.As<typename Traits::BitmapType>().c_format, format);
            int visits = 0;
            EXPECT_TRUE(bitmap.Visit([&](auto const& typed) {
                EXPECT_EQ(typed.GetFormat(), format);
                EXPECT_EQ(typed.c_channelCount, GetFormatInfo(format).channelCount);
                ++visits;
            }));
            EXPECT_EQ(visits, 1);
            DynamicBuffer const buffer(3, 2, format);
            EXPECT_EQ(buffer.As<typename Traits::BufferType>().c_format, format);
        });
    }
}

TEST(DynamicPixel, RoundsAndClampsSamplesOfIntegerFormats) {
    DynamicPixel pixel(FormatRGBA8);
    pixel.SetSample(0, 12.5);
    pixel.SetSample(1, 300);
    pixel.SetSample(2, -4);
    pixel.SetSample(3, std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(pixel.GetSample(0), 13);
    EXPECT_EQ(pixel.GetSample(1), 255);
    EXPECT_EQ(pixel.GetSample(2), 0);
    EXPECT_EQ(pixel.GetSample(3), 0);
    EXPECT_THROW(pixel.SetSample(4, 0), Kernel::Exception);
}

TEST(DynamicPixel, IsMadeFromAPixelAndGivenBackAsOne) {
    using RGBA8 = FormatTraits<FormatRGBA8>::PixelType;
    RGBA8 const pixel{{1, 2, 3, 4}};
    DynamicPixel const dynamic(pixel);
    EXPECT_EQ(dynamic.GetFormat(), FormatRGBA8);
    EXPECT_EQ(dynamic.As<RGBA8>(), pixel);
    EXPECT_EQ(pixel.Get<Green8>(), 2);
    EXPECT_EQ(pixel.Alpha(), 4);
}

} // namespace
} // namespace Raster
