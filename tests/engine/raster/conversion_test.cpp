// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/conversion.h"

#include "engine/raster/exact_math.h"
#include "platform/kernel/exception.h"
#include "platform/raster/icc_manager.h"
#include "tests/engine/raster/samples.h"

#include <gtest/gtest.h>

#include <cmath>

namespace Raster {
namespace {

struct Working {
    float r, g, b, a;
};

float ClampUnit(float v) { return std::isnan(v) ? 0 : std::clamp(v, 0.0f, 1.0f); }

double Maximum(Format format) {
    FormatInfo const info = GetFormatInfo(format);
    return info.isFloat ? 1 : info.sampleBytes == 1 ? 255 : 65535;
}

// The slow twin: the rules as they are told, one pixel at a time. Lab has a reference of its own below.
Working ToWorking(DynamicPixel const& pixel) {
    FormatInfo const info = GetFormatInfo(pixel.GetFormat());
    auto const scale = static_cast<float>(Maximum(pixel.GetFormat()));
    auto const unit = [&](int c) { return static_cast<float>(pixel.GetSample(c)) / scale; };
    float const alpha = unit(info.channelCount - 1);
    switch (info.colourModel) {
    case ColourModel::RGB:
        return {unit(0), unit(1), unit(2), alpha};
    case ColourModel::Grey:
        return {unit(0), unit(0), unit(0), alpha};
    case ColourModel::CMYK: {
        auto const ink = [&](int c) { return static_cast<float>(pixel.GetSample(c)) * (1.0f / 255.0f); };
        float const k = ink(3);
        auto const light = [&](int c) { return 1 - std::min(1.0f, ink(c) * (1 - k) + k); };
        return {light(0), light(1), light(2), alpha};
    }
    default:
        return {0, 0, 0, alpha};
    }
}

DynamicPixel FromWorking(Working const& w, Format format) {
    FormatInfo const info = GetFormatInfo(format);
    auto const scale = static_cast<float>(Maximum(format));
    DynamicPixel pixel(format);
    auto const set = [&](int c, float v) {
        pixel.SetSample(c, info.isFloat ? static_cast<double>(v)
                                        : static_cast<double>(std::floor(ClampUnit(v) * scale + 0.5f)));
    };
    set(info.channelCount - 1, w.a);
    if (info.colourModel == ColourModel::RGB) {
        set(0, w.r);
        set(1, w.g);
        set(2, w.b);
    } else if (info.colourModel == ColourModel::Grey) {
        set(0, w.r * 0.299f + w.g * 0.587f + w.b * 0.114f);
    } else if (info.colourModel == ColourModel::CMYK) {
        float const c = 1 - ClampUnit(w.r), m = 1 - ClampUnit(w.g), y = 1 - ClampUnit(w.b);
        float const k = std::min({c, m, y});
        set(0, k < 1 ? (c - k) / (1 - k) : 0);
        set(1, k < 1 ? (m - k) / (1 - k) : 0);
        set(2, k < 1 ? (y - k) / (1 - k) : 0);
        set(3, k);
    }
    return pixel;
}

bool HasSlowTwin(Format format) { return format != FormatLABA16; }

TEST(PlainConversion, FastRulesEqualSlowOnesForEveryPair) {
    for (Format const from : AllFormats()) {
        // 77 wide: two whole spans and a tail.
        auto const source = MakeNoiseBitmap(from, 77, 40, 11);
        for (Format const to : AllFormats()) {
            auto const result = ConvertBitmap(*source, *PixelConverter::MakePlain(from, to), nullptr);
            ASSERT_EQ(result->GetFormat(), to);
            if (!HasSlowTwin(from) || !HasSlowTwin(to))
                continue;
            for (int y = 0; y != 40; ++y) {
                for (int x = 0; x != 77; ++x) {
                    DynamicPixel const pixel = source->GetPixel(x, y);
                    DynamicPixel const wanted = from == to ? pixel : FromWorking(ToWorking(pixel), to);
                    ASSERT_EQ(result->GetPixel(x, y), wanted)
                        << GetFormatName(from) << " to " << GetFormatName(to) << " at " << x << ", " << y;
                }
            }
        }
    }
}

TEST(PlainConversion, NarrowSamplesComeBackFromWiderFormats) {
    struct Pair {
        Format narrow;
        Format wide;
    };
    for (auto [narrow, wide] : {Pair{FormatRGBA8, FormatRGBA16},
                                {FormatRGBA8, FormatRGBAF},
                                {FormatRGBA16, FormatRGBAF},
                                {FormatIA8, FormatIA16},
                                {FormatIA16, FormatRGBAF},
                                {FormatA8, FormatA16},
                                {FormatA16, FormatAF}}) {
        auto const source = MakeNoiseBitmap(narrow, 300, 300, 12);
        auto const there = ConvertBitmap(*source, *PixelConverter::MakePlain(narrow, wide), nullptr);
        auto const back = ConvertBitmap(*there, *PixelConverter::MakePlain(wide, narrow), nullptr);
        EXPECT_TRUE(back->HasEqualPixels(*source)) << GetFormatName(narrow) << " " << GetFormatName(wide);
    }
}

// CIE 15 and IEC 61966-2-1 with the C library's functions.
void LabReference(double const rgb[3], double lab[3]) {
    double const m[3][3] = {
        {0.4360747, 0.3850649, 0.1430804}, {0.2225045, 0.7168786, 0.0606169}, {0.0139322, 0.0971045, 0.7141733}};
    double f[3];
    for (int i = 0; i != 3; ++i) {
        double sum = 0, white = 0;
        for (int j = 0; j != 3; ++j) {
            double const v = rgb[j];
            sum += m[i][j] * (v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4));
            white += m[i][j];
        }
        double const t = sum / white;
        f[i] = t > 216.0 / 24389 ? std::cbrt(t) : (24389.0 / 27 * t + 16) / 116;
    }
    lab[0] = 116 * f[1] - 16;
    lab[1] = 500 * (f[0] - f[1]);
    lab[2] = 200 * (f[1] - f[2]);
}

TEST(PlainConversion, LabFollowsTheCie) {
    auto const source = MakeNoiseBitmap(FormatRGBA16, 64, 64, 13);
    auto const lab = ConvertBitmap(*source, *PixelConverter::MakePlain(FormatRGBA16, FormatLABA16), nullptr);
    for (int y = 0; y != 64; ++y) {
        for (int x = 0; x != 64; ++x) {
            DynamicPixel const in = source->GetPixel(x, y), out = lab->GetPixel(x, y);
            double const rgb[3] = {in.GetSample(0) / 65535, in.GetSample(1) / 65535, in.GetSample(2) / 65535};
            double wanted[3];
            LabReference(rgb, wanted);
            ASSERT_NEAR(out.GetSample(0), wanted[0] / 100 * 65535, 0.6);
            ASSERT_NEAR(out.GetSample(1), (wanted[1] + 128) / 255 * 65535, 0.6);
            ASSERT_NEAR(out.GetSample(2), (wanted[2] + 128) / 255 * 65535, 0.6);
            ASSERT_EQ(out.GetSample(3), in.GetSample(3));
        }
    }
    DynamicPixel const white = MakePixel(FormatRGBA8, {255, 255, 255, 255}).Converted(FormatLABA16);
    EXPECT_EQ(white, MakePixel(FormatLABA16, {65535, 32896, 32896, 65535}));
}

TEST(PlainConversion, ColoursComeBackFromLab) {
    auto const source = MakeNoiseBitmap(FormatRGBA8, 100, 100, 14);
    auto const lab = ConvertBitmap(*source, *PixelConverter::MakePlain(FormatRGBA8, FormatLABA16), nullptr);
    auto const back = ConvertBitmap(*lab, *PixelConverter::MakePlain(FormatLABA16, FormatRGBA8), nullptr);
    for (int y = 0; y != 100; ++y) {
        for (int x = 0; x != 100; ++x) {
            for (int c = 0; c != 4; ++c)
                ASSERT_NEAR(back->GetPixel(x, y).GetSample(c), source->GetPixel(x, y).GetSample(c), 1);
        }
    }
}

TEST(PlainConversion, NotANumberAndInfinitiesBecomeEnds) {
    double const nan = std::numeric_limits<double>::quiet_NaN(), infinity = std::numeric_limits<double>::infinity();
    DynamicPixel const strange = MakePixel(FormatRGBAF, {nan, infinity, -infinity, 2});
    EXPECT_EQ(strange.Converted(FormatRGBA8), MakePixel(FormatRGBA8, {0, 255, 0, 255}));
    // Nothing is promised of the colour, but it ends.
    strange.Converted(FormatLABA16);
    strange.Converted(FormatCMYKA8);
    strange.Converted(FormatIA16);
}

TEST(ExactMath, RootsAndCurvesEqualTheLibrarys) {
    std::mt19937 random(15);
    for (int i = 0; i != 200000; ++i) {
        float const x =
            std::ldexp(1 + static_cast<float>(random() >> 9) * 0x1p-23f, static_cast<int>(random() % 60) - 40);
        auto const exact = static_cast<double>(x);
        ASSERT_NEAR(static_cast<double>(CubeRoot(x)) / std::cbrt(exact), 1, 4e-7) << x;
        ASSERT_NEAR(static_cast<double>(FifthRoot(x)) / std::pow(exact, 0.2), 1, 4e-7) << x;
    }
    for (int i = -40; i != 600; ++i) {
        double const v = i / 255.0, magnitude = std::fabs(v);
        double const decoded = magnitude <= 0.04045 ? magnitude / 12.92 : std::pow((magnitude + 0.055) / 1.055, 2.4);
        double const encoded =
            magnitude <= 0.0031308 ? magnitude * 12.92 : 1.055 * std::pow(magnitude, 1 / 2.4) - 0.055;
        auto const single = static_cast<float>(v);
        ASSERT_NEAR(static_cast<double>(DecodeSrgb(single)), std::copysign(decoded, v), 1e-6 * (1 + decoded));
        ASSERT_NEAR(static_cast<double>(EncodeSrgb(single)), std::copysign(encoded, v), 2e-6);
    }
    for (float const strange : {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
        EXPECT_TRUE(std::isfinite(DecodeSrgb(strange)));
        EXPECT_TRUE(std::isfinite(EncodeSrgb(-strange)));
    }
}

TEST(Conversion, PartsAreClippedAndPlaced) {
    auto const source = MakeNoiseBitmap(FormatRGBA8, 300, 300, 16);
    auto const target = BitmapBase::Create(280, 280, FormatRGBA16, MipmapMode::OnDemand);
    auto const converter = PixelConverter::MakePlain(FormatRGBA8, FormatRGBA16);
    ConvertPixels(*source, {-50, 20, 400, 400}, *target, {-40, 25}, *converter, nullptr);
    // Source (x, y) comes to (x + 10, y + 5).
    EXPECT_EQ(target->GetPixel(10, 25), source->GetPixel(0, 20).Converted(FormatRGBA16));
    EXPECT_EQ(target->GetPixel(279, 279), source->GetPixel(269, 274).Converted(FormatRGBA16));
    EXPECT_EQ(target->GetPixel(9, 100), DynamicPixel(FormatRGBA16));
    EXPECT_EQ(target->GetPixel(100, 24), DynamicPixel(FormatRGBA16));
    EXPECT_FALSE(target->IsMipmapValid(1));
    EXPECT_THROW(ConvertPixels(*target, target->GetBounds(), *source, {0, 0}, *converter, nullptr), Kernel::Exception);
}

TEST(Conversion, BlankTilesStayBlankAndIdentitySharesTiles) {
    auto const source = BitmapBase::Create(4096, 4096, FormatRGBA8);
    source->Clear(MakePixel(FormatRGBA8, {255, 128, 0, 255}));
    source->Fill({0, 0, 1, 1}, DynamicPixel());
    auto const before = Tile::GetAllocatedBytes();
    auto const wide = ConvertBitmap(*source, *PixelConverter::MakePlain(FormatRGBA8, FormatRGBA16), nullptr);
    EXPECT_LE(Tile::GetAllocatedBytes() - before, 4u * 2 * c_tileSamples);
    EXPECT_EQ(wide->GetPixel(4095, 4095), MakePixel(FormatRGBA16, {65535, 32896, 0, 65535}));
    auto const noise = MakeNoiseBitmap(FormatRGBA8, 512, 512, 17);
    auto const between = Tile::GetAllocatedBytes();
    ConvertBitmap(*noise, *PixelConverter::MakePlain(FormatRGBA8, FormatRGBA8), nullptr);
    EXPECT_EQ(Tile::GetAllocatedBytes(), between);
}

TEST(Conversion, BuffersAndBitmapsConvertAlike) {
    auto const bitmap = MakeNoiseBitmap(FormatRGBA8, 300, 280, 18);
    auto const converter = PixelConverter::MakePlain(FormatRGBA8, FormatCMYKA8);
    auto const buffer = BufferBase::Create(200, 100, FormatCMYKA8);
    ConvertPixels(*bitmap, {50, 60, 250, 160}, *buffer, *converter);
    EXPECT_EQ(buffer->GetPixel(199, 99), bitmap->GetPixel(249, 159).Converted(FormatCMYKA8));

    auto const back = BufferBase::Create(200, 100, FormatRGBA8);
    ConvertPixels(*buffer, *back, *PixelConverter::MakePlain(FormatCMYKA8, FormatRGBA8));
    EXPECT_EQ(back->GetPixel(5, 5), buffer->GetPixel(5, 5).Converted(FormatRGBA8));

    auto const target = BitmapBase::Create(300, 280, FormatRGBA8);
    ConvertPixels(*buffer, *target, {-10, 230}, *PixelConverter::MakePlain(FormatCMYKA8, FormatRGBA8));
    EXPECT_EQ(target->GetPixel(0, 230), buffer->GetPixel(10, 0).Converted(FormatRGBA8));
    EXPECT_EQ(target->GetPixel(189, 279), buffer->GetPixel(199, 49).Converted(FormatRGBA8));
    EXPECT_EQ(target->GetPixel(190, 279), DynamicPixel());
    EXPECT_THROW(ConvertPixels(*bitmap, {0, 0, 5, 5}, *buffer, *converter), Kernel::Exception);
}

TEST(Conversion, AnAbortFlagStopsIt) {
    auto const source = MakeNoiseBitmap(FormatRGBA8, 1000, 1000, 19);
    bool abort = true;
    auto const target = ConvertBitmap(*source, *PixelConverter::MakePlain(FormatRGBA8, FormatRGBA16), &abort);
    EXPECT_TRUE(target->HasEqualPixels(*BitmapBase::Create(1000, 1000, FormatRGBA16)));
}

TEST(Conversion, LabTransformsOfPixelsSideBySideEqualTheConverter) {
    auto const noise = MakeNoise(FormatLABA16, 300, 1, 20);
    std::vector<float> colours(4 * 300);
    auto& manager = ICCManager::GetInstance();
    auto* const in = const_cast<unsigned char*>(noise.pixels.data());
    manager.DoLABA16ToRGBAFTransform(in, reinterpret_cast<unsigned char*>(colours.data()), 300);
    auto const bitmap = BitmapBase::Create(300, 1, FormatLABA16);
    bitmap->WritePixels(bitmap->GetBounds(), noise.pixels.data(), noise.rowBytes);
    for (int x : {0, 31, 255, 256, 299}) {
        DynamicPixel const wanted = bitmap->GetPixel(x, 0).Converted(FormatRGBAF);
        for (int c = 0; c != 4; ++c)
            EXPECT_EQ(colours[static_cast<std::size_t>(4 * x + c)], wanted.GetSample(c));
    }
    std::vector<std::uint16_t> back(4 * 300);
    manager.DoRGBAFToLABA16Transform(reinterpret_cast<unsigned char*>(colours.data()),
                                     reinterpret_cast<unsigned char*>(back.data()), 300);
    EXPECT_EQ(back[3], bitmap->GetPixel(0, 0).GetSample(3));
}

} // namespace
} // namespace Raster
