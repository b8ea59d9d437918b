// SPDX-License-Identifier: Apache-2.0
#include "platform/learning/back_ends.h"
#include "platform/raster/bitmap_image.h"
#include "platform/raster/dynamic_bitmap.h"
#include "tests/engine/raster/samples.h"

#include <cmath>
#include <gtest/gtest.h>

namespace Learning {
namespace {

using Raster::Format;

// The matte is 255 in the left 300 columns, 0 from column 600 on, and falls between.
std::uint8_t GetShare(int x) {
    return static_cast<std::uint8_t>(x < 300 ? 255 : x >= 600 ? 0 : 255 - (x - 300) * 255 / 300);
}

class RampRemover final : public MatteRemover {
public:
    Kernel::Counted<Raster::BufferRGBA8> seen;
    RemoteInference::Result result;
    bool cancels = false;

protected:
    RemoteInference::Result FindMatte(Raster::BufferRGBA8 const& picture, Matte& matte, InferenceCall const&) override {
        seen = picture.Clone(nullptr);
        for (int y = 0; y != matte.GetHeight(); ++y) {
            auto* const row = matte.GetRow(0, y);
            for (int x = 0; x != matte.GetWidth(); ++x)
                row[x] = GetShare(x);
        }
        if (cancels)
            RemoteInference::Cancel();
        return result;
    }
};

constexpr int c_width = 1000, c_height = 300;

Kernel::Counted<Raster::DynamicBitmap> MakeImage(Format format) {
    return Kernel::Counted<Raster::DynamicBitmap>(
        new Raster::DynamicBitmap(Raster::MakeNoiseBitmap(format, c_width, c_height, 7)));
}

RemoteInference::Result Remove(MatteRemover& remover, Kernel::Counted<Raster::DynamicBitmap const> image,
                               Kernel::Counted<Raster::DynamicBitmap>& answer) {
    return remover.RemoveBackground(image, Raster::ICCProfileSet(), answer, InferenceCall(nullptr, nullptr));
}

TEST(MatteRemover, MultipliesAlphaOfEveryFormatAndLeavesColoursAlone) {
    for (Format const format : Raster::AllFormats()) {
        SCOPED_TRACE(Raster::GetFormatName(format));
        RampRemover remover;
        auto const image = MakeImage(format);
        Kernel::Counted<Raster::DynamicBitmap> answer;
        ASSERT_EQ(Remove(remover, image, answer).code, RemoteInference::Answered);
        ASSERT_EQ(answer->GetFormat(), format);
        ASSERT_EQ(answer->GetSize(), image->GetSize());
        auto const& before = *image->GetBase();
        auto const& after = *answer->GetBase();
        int const alpha = before.GetInfo().channelCount - 1;
        for (int y = 0; y < c_height; y += 37) {
            for (int x = 0; x < c_width; x += 11) {
                auto const from = before.GetPixel(x, y), to = after.GetPixel(x, y);
                for (int channel = 0; channel != alpha; ++channel)
                    ASSERT_EQ(from.GetSample(channel), to.GetSample(channel));
                double const scaled = from.GetSample(alpha) * GetShare(x) / 255.0;
                if (before.GetInfo().isFloat)
                    ASSERT_NEAR(to.GetSample(alpha), scaled, 1e-6);
                else
                    ASSERT_EQ(to.GetSample(alpha), std::floor(scaled + 0.5)) << x << " " << y;
            }
        }
        // The image itself is as it was.
        EXPECT_TRUE(before.HasEqualPixels(*Raster::MakeNoiseBitmap(format, c_width, c_height, 7)));
    }
}

TEST(MatteRemover, SharesTilesThatDoNotChange) {
    RampRemover remover;
    auto const image = MakeImage(Raster::FormatRGBA8);
    Kernel::Counted<Raster::DynamicBitmap> answer;
    ASSERT_EQ(Remove(remover, image, answer).code, 0);
    auto const shares = [&](int channel, int tileX) {
        return image->GetBase()->GetPlane(channel).GetConstTile(tileX, 0).SharesSamplesWith(
            answer->GetBase()->GetPlane(channel).GetConstTile(tileX, 0));
    };
    for (int tileX = 0; tileX != 4; ++tileX)
        EXPECT_TRUE(shares(0, tileX));
    EXPECT_TRUE(shares(3, 0));
    EXPECT_FALSE(shares(3, 1));
    // Clear as a whole: takes no memory.
    EXPECT_EQ(answer->GetBase()->GetPlane(3).GetConstTile(3, 0).GetConstant(), 0u);
}

TEST(MatteRemover, GivesThePictureInSrgb) {
    RampRemover remover;
    Kernel::Counted<Raster::DynamicBitmap> const image(new Raster::DynamicBitmap(20, 10, Raster::FormatCMYKA8));
    image->Clear(Raster::MakePixel(Raster::FormatCMYKA8, {255, 0, 0, 0, 255}));
    Kernel::Counted<Raster::DynamicBitmap> answer;
    ASSERT_EQ(Remove(remover, image, answer).code, 0);
    auto const pixel = remover.seen->GetPixel(19, 9);
    EXPECT_EQ(pixel.GetSample(0), 0);
    EXPECT_EQ(pixel.GetSample(2), 255);
    EXPECT_EQ(pixel.GetSample(3), 255);

    auto const grey = Raster::ICCManager::GetInstance().GetDefaultProfile(Raster::ColourModel::Grey);
    Kernel::Counted<Raster::DynamicBitmap> const mid(new Raster::DynamicBitmap(20, 10, Raster::FormatIA16));
    mid->SetProfile(grey);
    mid->Clear(Raster::MakePixel(Raster::FormatIA16, {32896, 65535}));
    ASSERT_EQ(Remove(remover, mid, answer).code, 0);
    EXPECT_NEAR(remover.seen->GetPixel(0, 0).GetSample(0), 128, 1);
    EXPECT_EQ(answer->GetProfile(), grey);
}

TEST(MatteRemover, PassesFailuresOnAndLeavesTheAnswerAlone) {
    RampRemover remover;
    remover.result = {RemoteInference::Refused, "no"};
    Kernel::Counted<Raster::DynamicBitmap> answer;
    auto const result = Remove(remover, MakeImage(Raster::FormatRGBA8), answer);
    EXPECT_EQ(result.code, RemoteInference::Refused);
    EXPECT_EQ(result.detail, Kernel::String("no"));
    EXPECT_FALSE(answer);
}

TEST(MatteRemover, IsCancelled) {
    RampRemover remover;
    remover.cancels = true;
    Kernel::Counted<Raster::DynamicBitmap> answer;
    EXPECT_EQ(Remove(remover, MakeImage(Raster::FormatRGBA8), answer).code, RemoteInference::Cancelled);
    EXPECT_TRUE(remover.seen);
    remover.seen = {};
    EXPECT_EQ(Remove(remover, MakeImage(Raster::FormatRGBA8), answer).code, RemoteInference::Cancelled);
    RemoteInference::ResetCancel();
    EXPECT_FALSE(remover.seen);
    EXPECT_FALSE(answer);
}

TEST(MatteRemover, RefusesPicturesThatAreTooLarge) {
    RampRemover remover;
    Kernel::Counted<Raster::DynamicBitmap> const image(
        new Raster::DynamicBitmap(1 << 14, (1 << 13) + 1, Raster::FormatA8));
    Kernel::Counted<Raster::DynamicBitmap> answer;
    EXPECT_EQ(Remove(remover, image, answer).code, RemoteInference::TooLarge);
    EXPECT_FALSE(remover.seen);
}

} // namespace
} // namespace Learning
