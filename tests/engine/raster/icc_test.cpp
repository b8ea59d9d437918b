// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/lcms.h"
#include "platform/kernel/exception.h"
#include "platform/raster/icc_manager.h"
#include "platform/raster/icc_profile_use.h"
#include "tests/engine/raster/samples.h"
#include "tests/support/ink_profile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace Raster {
namespace {

using ProfileReference = Kernel::Consolidated<ICCProfile>;

// An RGB profile with other primaries and a plain gamma.
ProfileReference MakeWideGamutProfile() {
    cmsCIExyY const white{0.3127, 0.3290, 1.0};
    cmsCIExyYTRIPLE const primaries{{0.64, 0.33, 1}, {0.21, 0.71, 1}, {0.15, 0.06, 1}};
    cmsToneCurve* const curve = cmsBuildGamma(Lcms::GetContext(), 2.2);
    cmsToneCurve* const curves[3] = {curve, curve, curve};
    Lcms::Profile const profile(cmsCreateRGBProfileTHR(Lcms::GetContext(), &white, &primaries, curves));
    cmsFreeToneCurve(curve);
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile.get(), nullptr, &size);
    std::vector<std::byte> data(size);
    cmsSaveProfileToMem(profile.get(), data.data(), &size);
    return ICCProfile::FromData(data);
}

// A CMYK profile of lcms's own making: a table that maps ink straight to Lab by the plain rules is enough here.
ProfileReference MakeInkProfile() {
    cmsContext const context = Lcms::GetContext();
    Lcms::Profile const profile(cmsCreateProfilePlaceholder(context));
    cmsSetProfileVersion(profile.get(), 2.1);
    cmsSetDeviceClass(profile.get(), cmsSigOutputClass);
    cmsSetColorSpace(profile.get(), cmsSigCmykData);
    cmsSetPCS(profile.get(), cmsSigLabData);
    auto const writePipeline = [&](cmsTagSignature tag, unsigned inputs, unsigned outputs, unsigned grid,
                                   cmsSAMPLER16 sampler) {
        cmsPipeline* const pipeline = cmsPipelineAlloc(context, inputs, outputs);
        cmsStage* const table = cmsStageAllocCLut16bit(context, grid, inputs, outputs, nullptr);
        cmsStageSampleCLut16bit(table, sampler, nullptr, 0);
        cmsPipelineInsertStage(pipeline, cmsAT_BEGIN, table);
        cmsWriteTag(profile.get(), tag, pipeline);
        cmsPipelineFree(pipeline);
    };
    // Lightness falls with ink; colours are left out.
    writePipeline(cmsSigAToB1Tag, 4, 3, 9, [](cmsUInt16Number const in[], cmsUInt16Number out[], void*) -> int {
        unsigned const ink = (in[0] + in[1] + in[2]) / 3;
        out[0] = static_cast<cmsUInt16Number>(65535 - std::min(65535u, ink + in[3]));
        out[1] = out[2] = 32896;
        return 1;
    });
    writePipeline(cmsSigBToA1Tag, 3, 4, 9, [](cmsUInt16Number const in[], cmsUInt16Number out[], void*) -> int {
        out[0] = out[1] = out[2] = 0;
        out[3] = static_cast<cmsUInt16Number>(65535 - in[0]);
        return 1;
    });
    cmsUInt32Number size = 0;
    EXPECT_TRUE(cmsSaveProfileToMem(profile.get(), nullptr, &size)) << Lcms::TakeLastError();
    std::vector<std::byte> data(size);
    cmsSaveProfileToMem(profile.get(), data.data(), &size);
    return ICCProfile::FromData(data);
}

TEST(IccProfile, DefaultsAreTheSameBytesOnEveryDay) {
    for (auto const model : {ColourModel::RGB, ColourModel::Grey, ColourModel::Lab}) {
        auto const data = Lcms::MakeDefaultProfile(model);
        EXPECT_EQ(data, Lcms::MakeDefaultProfile(model));
        // Year 2000, month 1, day 1.
        EXPECT_EQ(data[24], std::byte(0x07));
        EXPECT_EQ(data[25], std::byte(0xD0));
        EXPECT_EQ(data[27], std::byte(1));
        EXPECT_EQ(ICCManager::GetInstance().GetDefaultProfile(model)->GetColourModel(), model);
    }
}

TEST(IccProfile, IsFoundByItsDescription) {
    auto& manager = ICCManager::GetInstance();
    auto const srgb = manager.GetProfileForString("sRGB IEC61966-2.1");
    ASSERT_TRUE(srgb);
    EXPECT_EQ(srgb, manager.GetDefaultProfile(ColourModel::RGB));
    EXPECT_EQ(srgb->GetDescription(), Kernel::String("sRGB IEC61966-2.1"));
    EXPECT_FALSE(manager.GetProfileForString("no such profile"));
}

TEST(IccProfile, EqualBytesAreOneObject) {
    auto const srgb = ICCManager::GetInstance().GetDefaultProfile(ColourModel::RGB);
    EXPECT_EQ(ICCProfile::FromData(srgb->GetData()), srgb);
    EXPECT_NE(MakeWideGamutProfile(), srgb);
}

TEST(IccProfile, RefusesWhatIsNone) {
    EXPECT_THROW(ICCProfile::FromData({}), Kernel::DamagedDataException);
    std::vector<std::byte> data(5000, std::byte(0x41));
    EXPECT_THROW(ICCProfile::FromData(data), Kernel::DamagedDataException);
    auto const srgb = ICCManager::GetInstance().GetDefaultProfile(ColourModel::RGB);
    data.assign(srgb->GetData().begin(), srgb->GetData().begin() + 100);
    EXPECT_THROW(ICCProfile::FromData(data), Kernel::DamagedDataException);
}

TEST(IccProfile, NoChangedByteMakesItCrash) {
    auto const srgb = ICCManager::GetInstance().GetDefaultProfile(ColourModel::RGB);
    for (std::size_t i = 0; i != srgb->GetData().size(); ++i) {
        std::vector<std::byte> data(srgb->GetData().begin(), srgb->GetData().end());
        data[i] ^= std::byte(0xFF);
        try {
            auto const profile = ICCProfile::FromData(data);
            auto const from = profile->GetColourModel() == ColourModel::RGB    ? FormatRGBA8
                              : profile->GetColourModel() == ColourModel::Grey ? FormatIA8
                              : profile->GetColourModel() == ColourModel::CMYK ? FormatCMYKA8
                                                                               : FormatLABA16;
            auto const converter = ICCManager::GetInstance().MakeConverter(from, profile, FormatRGBA8, srgb);
            ConvertBitmap(*BitmapBase::Create(2, 2, from), *converter, nullptr);
        } catch (Kernel::Exception const& e) {
            EXPECT_STRNE(e.what(), "");
        }
    }
}

TEST(IccConversion, EqualProfilesOnlyChangeTheSamplesWidth) {
    auto const wide = MakeWideGamutProfile();
    auto const source = MakeNoiseBitmap(FormatRGBA8, 50, 50, 21);
    auto const managed = ConvertBitmap(
        *source, *ICCManager::GetInstance().MakeConverter(FormatRGBA8, wide, FormatRGBA16, wide), nullptr);
    auto const plain = ConvertBitmap(*source, *PixelConverter::MakePlain(FormatRGBA8, FormatRGBA16), nullptr);
    EXPECT_TRUE(managed->HasEqualPixels(*plain));
}

TEST(IccConversion, RgbProfilesFollowTheirMatrices) {
    auto const wide = MakeWideGamutProfile();
    auto& manager = ICCManager::GetInstance();
    // sRGB and this profile share white, red and blue; grey therefore only changes its curve.
    for (int level : {0, 20, 100, 200, 255}) {
        double const v = level / 255.0;
        double const linear = v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
        double const wanted = std::pow(linear, 1 / 2.2);
        auto const level8 = static_cast<double>(level);
        for (auto const to : {FormatRGBA8, FormatRGBA16, FormatRGBAF}) {
            for (auto const from : {FormatRGBA8, FormatRGBAF}) {
                auto const source = BitmapBase::Create(1, 1, from);
                source->Clear(MakePixel(FormatRGBA8, {level8, level8, level8, 128}));
                auto const result = ConvertBitmap(*source, *manager.MakeConverter(from, {}, to, wide), nullptr);
                double const scale = to == FormatRGBA8 ? 255 : to == FormatRGBA16 ? 65535 : 1;
                for (int c = 0; c != 3; ++c)
                    EXPECT_NEAR(result->GetPixel(0, 0).GetSample(c) / scale, wanted, level < 30 ? 0.006 : 0.003)
                        << GetFormatName(from) << " to " << GetFormatName(to) << ", " << level;
                EXPECT_NEAR(result->GetPixel(0, 0).GetSample(3) / scale, 128 / 255.0, 1e-5);
            }
        }
    }
}

TEST(IccConversion, LabOfManagedColoursEqualsThePlainRules) {
    auto const source = MakeNoiseBitmap(FormatRGBA16, 60, 60, 22);
    auto& manager = ICCManager::GetInstance();
    auto const managed = ConvertBitmap(*source, *manager.MakeConverter(FormatRGBA16, {}, FormatLABA16, {}), nullptr);
    auto const plain = ConvertBitmap(*source, *PixelConverter::MakePlain(FormatRGBA16, FormatLABA16), nullptr);
    double worst = 0;
    for (int y = 0; y != 60; ++y) {
        for (int x = 0; x != 60; ++x) {
            for (int c = 0; c != 3; ++c)
                worst = std::max(worst,
                                 std::fabs(managed->GetPixel(x, y).GetSample(c) - plain->GetPixel(x, y).GetSample(c)));
        }
    }
    // Half a unit of 8-bit Lab.
    EXPECT_LT(worst, 128);
}

TEST(IccConversion, FloatsKeepColoursBeyondFullScale) {
    auto const wide = MakeWideGamutProfile();
    auto const source = BitmapBase::Create(1, 1, FormatRGBAF);
    source->Clear(MakePixel(FormatRGBAF, {0.1, 1.0, 0.1, 1}));
    auto const result =
        ConvertBitmap(*source, *ICCManager::GetInstance().MakeConverter(FormatRGBAF, wide, FormatRGBAF, {}), nullptr);
    EXPECT_LT(result->GetPixel(0, 0).GetSample(0), 0);
}

TEST(IccConversion, InkWithoutAProfileFollowsThePlainRules) {
    auto const source = MakeNoiseBitmap(FormatRGBA8, 40, 40, 23);
    auto& manager = ICCManager::GetInstance();
    auto const managed = ConvertBitmap(*source, *manager.MakeConverter(FormatRGBA8, {}, FormatCMYKA8, {}), nullptr);
    auto const plain = ConvertBitmap(*source, *PixelConverter::MakePlain(FormatRGBA8, FormatCMYKA8), nullptr);
    EXPECT_TRUE(managed->HasEqualPixels(*plain));
    auto const grey = manager.MakeConverter(FormatCMYKA8, {}, FormatIA16, {});
    EXPECT_EQ(grey->GetTo(), FormatIA16);
    auto const white = BitmapBase::Create(1, 1, FormatCMYKA8);
    auto const result = ConvertBitmap(*white, *grey, nullptr);
    EXPECT_NEAR(result->GetPixel(0, 0).GetSample(0), 65535, 2);
}

TEST(IccConversion, InkWithAProfileFollowsIt) {
    auto const ink = MakeInkProfile();
    ASSERT_EQ(ink->GetColourModel(), ColourModel::CMYK);
    auto& manager = ICCManager::GetInstance();
    auto const source = BitmapBase::Create(1, 1, FormatRGBA8);
    source->Clear(MakePixel(FormatRGBA8, {255, 0, 0, 99}));
    auto const result = ConvertBitmap(*source, *manager.MakeConverter(FormatRGBA8, {}, FormatCMYKA8, ink), nullptr);
    DynamicPixel const pixel = result->GetPixel(0, 0);
    // This profile knows black alone: Lab lightness 54.3 leaves 45.7 % of it.
    EXPECT_EQ(pixel.GetSample(0), 0);
    EXPECT_NEAR(pixel.GetSample(3), 0.457 * 255, 4);
    EXPECT_EQ(pixel.GetSample(4), 99);
    EXPECT_THROW(manager.MakeConverter(FormatRGBA8, ink, FormatCMYKA8, ink), Kernel::Exception);
}

TEST(IccConversion, ColoursComeByThePlainRulesIntoAProfileThatHasNoWayForThem) {
    auto const ink = Support::MakeInkProfile();
    EXPECT_TRUE(CanBeTarget(*ink));
    // The table from colours to ink, by another name.
    std::vector<std::byte> data(ink->GetData().begin(), ink->GetData().end());
    auto const name = std::as_bytes(std::span("B2A0", 4));
    auto const place = std::ranges::search(data, name).begin();
    ASSERT_NE(place, data.end());
    *place = std::byte('X');
    auto const paper = ICCProfile::FromData(data);
    EXPECT_FALSE(CanBeTarget(*paper));
    for (auto const model : {ColourModel::RGB, ColourModel::Grey, ColourModel::Lab})
        EXPECT_TRUE(CanBeTarget(*ICCManager::GetInstance().GetDefaultProfile(model)));
    auto& manager = ICCManager::GetInstance();
    auto const source = BufferBase::Create(1, 1, FormatRGBA8);
    std::uint8_t const pixel[4] = {200, 100, 50, 255};
    source->WritePixels({0, 0, 1, 1}, pixel, 4);
    auto const into = [&](ProfileReference const& profile) {
        auto const target = BufferBase::Create(1, 1, FormatCMYKA8);
        ConvertPixels(*source, *target, *manager.MakeConverter(FormatRGBA8, {}, FormatCMYKA8, profile));
        return target->GetPixel(0, 0);
    };
    EXPECT_EQ(into({}), into(paper));
    EXPECT_NE(into({}), into(ink));
    // Out of it the profile is used, but for the black point, which is found by the table.
    auto const back = [&](ProfileReference const& profile) {
        auto const inked = BufferBase::Create(1, 1, FormatCMYKA8);
        std::uint8_t const half[5] = {0, 0, 0, 128, 255};
        inked->WritePixels({0, 0, 1, 1}, half, 5);
        auto const target = BufferBase::Create(1, 1, FormatRGBA8);
        ConvertPixels(*inked, *target, *manager.MakeConverter(FormatCMYKA8, profile, FormatRGBA8, {}));
        return target->GetPixel(0, 0).GetSample(0);
    };
    EXPECT_NEAR(back(ink), back(paper), 1);
    EXPECT_GT(std::abs(back({}) - back(paper)), 1);
}

TEST(IccConversion, ConvertersAreKept) {
    auto const wide = MakeWideGamutProfile();
    auto& manager = ICCManager::GetInstance();
    EXPECT_EQ(manager.MakeConverter(FormatRGBA8, wide, FormatIA8, {}).get(),
              manager.MakeConverter(FormatRGBA8, wide, FormatIA8, {}).get());
}

TEST(IccProfileSet, HoldsOneProfileForEachColourModel) {
    ICCProfileSet set;
    EXPECT_EQ(set, ICCProfileSet());
    EXPECT_EQ(set.Get(ColourModel::RGB), ICCManager::GetInstance().GetDefaultProfile(ColourModel::RGB));
    EXPECT_FALSE(set.Get(ColourModel::CMYK));
    auto const wide = MakeWideGamutProfile();
    set.Set(wide);
    EXPECT_EQ(set.Get(ColourModel::RGB), wide);
    EXPECT_NE(set, ICCProfileSet());
    set.Reset(ColourModel::RGB);
    EXPECT_EQ(set, ICCProfileSet());
}

} // namespace
} // namespace Raster
