// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/raster/samples.h"

#include <gtest/gtest.h>

namespace Raster {
namespace {

using Rect = Kernel::RectT<int>;

// The rule as it is told, pixel by pixel: the mean of the pixels that exist, colours weighted by alpha.
DynamicPixel MeanOfFour(BitmapBase const& above, int x, int y) {
    FormatInfo const& info = above.GetInfo();
    std::vector<DynamicPixel> pixels;
    for (int dy = 0; dy != 2; ++dy) {
        for (int dx = 0; dx != 2; ++dx) {
            if (2 * x + dx < above.GetWidth() && 2 * y + dy < above.GetHeight())
                pixels.push_back(above.GetPixel(2 * x + dx, 2 * y + dy));
        }
    }
    int const alpha = info.channelCount - 1;
    double total = 0;
    bool plain = true;
    for (auto const& pixel : pixels) {
        total += pixel.GetSample(alpha);
        plain = plain && pixel.GetSample(alpha) == pixels[0].GetSample(alpha);
    }
    plain = plain || !(total > 0);
    auto const count = static_cast<double>(pixels.size());
    DynamicPixel mean(above.GetFormat());
    for (int c = 0; c != info.channelCount; ++c) {
        double sum = 0;
        for (auto const& pixel : pixels)
            sum += pixel.GetSample(c) * (plain || c == alpha ? 1 : pixel.GetSample(alpha));
        double const value = sum / (plain || c == alpha ? count : total);
        mean.SetSample(c, value);
    }
    return mean;
}

void ExpectLevelFollows(BitmapBase const& above, BitmapBase const& level) {
    ASSERT_EQ(level.GetWidth(), (above.GetWidth() + 1) / 2);
    ASSERT_EQ(level.GetHeight(), (above.GetHeight() + 1) / 2);
    double const tolerance = above.GetInfo().isFloat ? 1e-6 : 0;
    for (int y = 0; y < level.GetHeight(); y += 7) {
        for (int x = 0; x < level.GetWidth(); x += x < level.GetWidth() - 9 ? 5 : 1) {
            DynamicPixel const wanted = MeanOfFour(above, x, y), found = level.GetPixel(x, y);
            for (int c = 0; c != above.GetInfo().channelCount; ++c)
                ASSERT_NEAR(found.GetSample(c), wanted.GetSample(c), tolerance)
                    << GetFormatName(above.GetFormat()) << " " << x << ", " << y << " channel " << c;
        }
    }
}

TEST(Mipmaps, EveryLevelIsTheMeanOfTheOneAboveInEveryFormat) {
    for (Format const format : AllFormats()) {
        auto const bitmap = MakeNoiseBitmap(format, 701, 515, 7, MipmapMode::OnDemand);
        ASSERT_EQ(bitmap->GetMipmapLevels(), 2);
        bitmap->UpdateMipmaps(0, nullptr);
        auto const first = bitmap->GetMipmap(1), second = bitmap->GetMipmap(2);
        ASSERT_TRUE(first && second);
        ExpectLevelFollows(*bitmap, *first);
        ExpectLevelFollows(*first, *second);
    }
}

TEST(Mipmaps, TransparentPixelsLendNoColour) {
    auto const bitmap = BitmapBase::Create(600, 600, FormatRGBA8, MipmapMode::Immediate);
    bitmap->Fill({0, 0, 1, 1}, MakePixel(FormatRGBA8, {200, 100, 50, 255}));
    EXPECT_EQ(bitmap->GetMipmap(1)->GetPixel(0, 0), MakePixel(FormatRGBA8, {200, 100, 50, 64}));
}

TEST(Mipmaps, OnlyTheDirtyRectangleIsRenewed) {
    auto const bitmap = MakeNoiseBitmap(FormatA8, 1500, 1500, 8, MipmapMode::OnDemand);
    bitmap->UpdateMipmaps(0, nullptr);
    auto const before = bitmap->GetMipmap(1);
    bitmap->Fill({100, 100, 120, 120}, MakePixel(FormatA8, {255}));
    bitmap->Fill({110, 90, 115, 95}, MakePixel(FormatA8, {255}));
    EXPECT_FALSE(bitmap->IsMipmapValid(1));
    EXPECT_EQ(bitmap->GetMipmapDirtyRect(1), (Rect{100, 90, 120, 120}));
    bitmap->UpdateMipmaps(1, nullptr);
    EXPECT_TRUE(bitmap->IsMipmapValid(1));
    EXPECT_FALSE(bitmap->IsMipmapValid(2));
    EXPECT_EQ(bitmap->GetMipmapDirtyRect(1), Rect{});
    auto const after = bitmap->GetMipmap(1);
    ExpectLevelFollows(*bitmap, *after);
    // The level's other tiles are those of the level as it was.
    EXPECT_TRUE(after->GetPlane(0).GetConstTile(2, 2).SharesSamplesWith(before->GetPlane(0).GetConstTile(2, 2)));
    EXPECT_FALSE(after->GetPlane(0).GetConstTile(0, 0).SharesSamplesWith(before->GetPlane(0).GetConstTile(0, 0)));
}

TEST(Mipmaps, ModesSayWhenLevelsAreMadeAndRenewed) {
    struct Row {
        MipmapMode mode;
        bool exists;
        bool renewedByChange;
        bool renewedOnDemand;
    };
    for (Row const& row : {Row{MipmapMode::None, false, false, false}, Row{MipmapMode::Immediate, true, true, true},
                           Row{MipmapMode::OnDemand, true, false, true}, Row{MipmapMode::Frozen, true, false, false},
                           Row{MipmapMode::Deferred, false, false, true}}) {
        auto const bitmap = BitmapBase::Create(600, 600, FormatA8, row.mode);
        EXPECT_EQ(static_cast<bool>(bitmap->GetMipmap(1)), row.exists) << static_cast<int>(row.mode);
        bitmap->Fill({0, 0, 300, 300}, MakePixel(FormatA8, {80}));
        auto const sample = [&] {
            auto const level = bitmap->GetMipmap(2);
            return level ? level->GetPixel(1, 1).GetSample(0) : -1;
        };
        EXPECT_EQ(sample() == 80, row.renewedByChange) << static_cast<int>(row.mode);
        bitmap->UpdateMipmaps(0, nullptr);
        EXPECT_EQ(sample() == 80, row.renewedOnDemand) << static_cast<int>(row.mode);
    }
}

TEST(Mipmaps, ClonesKeepTheirLevels) {
    auto const bitmap = MakeNoiseBitmap(FormatA16, 600, 600, 9, MipmapMode::Immediate);
    auto const clone = bitmap->Clone(nullptr);
    auto const expected = bitmap->GetMipmap(1)->GetPixel(3, 3);
    bitmap->Clear(MakePixel(FormatA16, {1}));
    EXPECT_EQ(clone->GetMipmap(1)->GetPixel(3, 3), expected);
    EXPECT_TRUE(clone->IsMipmapValid(1));
    EXPECT_EQ(bitmap->GetMipmap(1)->GetPixel(3, 3).GetSample(0), 1);
}

TEST(Mipmaps, AbortLeavesTheLevelInvalid) {
    auto const bitmap = MakeNoiseBitmap(FormatRGBA8, 2000, 600, 10, MipmapMode::OnDemand);
    bool abort = true;
    bitmap->UpdateMipmaps(0, &abort);
    EXPECT_FALSE(bitmap->IsMipmapValid(1));
    abort = false;
    bitmap->UpdateMipmaps(0, &abort);
    ExpectLevelFollows(*bitmap, *bitmap->GetMipmap(1));
}

TEST(Mipmaps, BitmapsOfOneTileAndThinOnesHaveTheLevelsTheyNeed) {
    EXPECT_EQ(BitmapBase::Create(256, 256, FormatA8, MipmapMode::Immediate)->GetMipmapLevels(), 0);
    auto const thin = BitmapBase::Create(1, 1025, FormatA8, MipmapMode::Immediate);
    EXPECT_EQ(thin->GetMipmapLevels(), 3);
    thin->Clear(MakePixel(FormatA8, {9}));
    EXPECT_EQ(thin->GetMipmap(3)->GetSize(), (Kernel::SizeT<int>{1, 129}));
    EXPECT_EQ(thin->GetMipmap(3)->GetPixel(0, 128).GetSample(0), 9);
    EXPECT_FALSE(thin->GetMipmap(0));
    EXPECT_FALSE(thin->GetMipmap(4));
}

TEST(Mipmaps, OfHugeBlankBitmapsTakeNoPixelMemory) {
    auto const before = Tile::GetAllocatedBytes();
    auto const bitmap = BitmapBase::Create(100000, 100000, FormatRGBA8, MipmapMode::OnDemand);
    bitmap->Clear(MakePixel(FormatRGBA8, {1, 2, 3, 4}));
    bitmap->UpdateMipmaps(0, nullptr);
    EXPECT_EQ(bitmap->GetMipmap(9)->GetPixel(0, 0), MakePixel(FormatRGBA8, {1, 2, 3, 4}));
    EXPECT_EQ(Tile::GetAllocatedBytes(), before);
}

} // namespace
} // namespace Raster
