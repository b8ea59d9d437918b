// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/codec_support.h"
#include "platform/kernel/dispatch.h"
#include "tests/engine/raster/codec_samples.h"

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <functional>
#include <gtest/gtest.h>
#include <lcms2.h>
#include <png.h>
#include <stdexcept>

namespace Raster {
namespace {

using namespace CodecTesting;

Bytes MakeProfile() {
    auto* const profile = cmsCreate_sRGBProfile();
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    Bytes bytes(size);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    return bytes;
}

// Writes what EncodePng never does: palettes, few bits, interlacing, other chunks.
struct RawPng {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    int depth = 8;
    int type = PNG_COLOR_TYPE_GRAY;
    bool isInterlaced = false;
    std::function<void(png_structp, png_infop)> prepare;
    // Packed rows.
    Bytes rows;

    Bytes Write() const {
        Bytes file;
        auto* png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
        auto* info = png_create_info_struct(png);
        png_set_write_fn(
            png, &file,
            [](png_structp p, png_bytep source, std::size_t size) {
                auto& target = *static_cast<Bytes*>(png_get_io_ptr(p));
                auto const bytes = std::as_bytes(std::span(source, size));
                target.insert(target.end(), bytes.begin(), bytes.end());
            },
            [](png_structp) {});
        png_set_IHDR(png, info, width, height, depth, type, isInterlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        if (prepare)
            prepare(png, info);
        png_write_info(png, info);
        std::vector<png_bytep> pointers;
        for (std::uint32_t y = 0; y != height; ++y)
            pointers.push_back(const_cast<png_bytep>(reinterpret_cast<png_byte const*>(rows.data())) +
                               rows.size() / height * y);
        png_write_image(png, pointers.data());
        png_write_end(png, info);
        png_destroy_write_struct(&png, &info);
        return file;
    }
};

// ISO/IEC 15948, annex D.
std::uint32_t ComputeCrc(std::span<std::byte const> bytes) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (auto const byte : bytes) {
        crc ^= std::to_integer<std::uint32_t>(byte);
        for (int i = 0; i != 8; ++i)
            crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320 : crc >> 1;
    }
    return ~crc;
}

void PutNumber(Bytes& file, std::size_t offset, std::uint32_t value) {
    for (std::size_t i = 0; i != 4; ++i)
        file[offset + i] = static_cast<std::byte>(value >> (24 - 8 * i));
}

// The size as another one would have it, with the checksum that belongs to it.
Bytes WithSize(Bytes file, std::uint32_t width, std::uint32_t height) {
    PutNumber(file, 16, width);
    PutNumber(file, 20, height);
    PutNumber(file, 29, ComputeCrc(std::span(file).subspan(12, 17)));
    return file;
}

TEST(CodecPng, GivesBackWhatWasWritten) {
    for (auto const model : {ColourModel::RGB, ColourModel::Grey})
        for (bool const hasAlpha : {false, true})
            for (auto const format : {SampleFormat::Integer8, SampleFormat::Integer16}) {
                auto info = MakeInfo(37, 23, model, hasAlpha, format);
                info.dpiX = 300;
                info.dpiY = 150;
                info.isSrgb = true;
                auto const samples = MakeSamples(info, 1);
                auto const file = ToPng(info, samples);
                auto const image = DecodeImage(file);
                EXPECT_EQ(image.samples, samples);
                EXPECT_EQ(image.info.width, 37u);
                EXPECT_EQ(image.info.height, 23u);
                EXPECT_EQ(image.info.colourModel, model);
                EXPECT_EQ(image.info.hasAlpha, hasAlpha);
                EXPECT_EQ(image.info.sampleFormat, format);
                EXPECT_EQ(image.info.dpiX, 300);
                EXPECT_EQ(image.info.dpiY, 150);
                EXPECT_TRUE(image.info.isSrgb);
                EXPECT_EQ(ToPng(info, samples), file);
                EXPECT_EQ(ReadImageInfo(file).GetRowBytes(), info.GetRowBytes());
            }
}

// Many strips and many times as many rows as are packed at once; rows that are longer than a strip; next to nothing.
TEST(CodecPng, LargePicturesAreTheSameBytesOnEveryNumberOfThreads) {
    unsigned const before = Kernel::Dispatch::GetThreadCount();
    for (auto const& info : {MakeInfo(1001, 1400, ColourModel::RGB, true, SampleFormat::Integer8),
                             MakeInfo(40'000, 20, ColourModel::RGB, true, SampleFormat::Integer16),
                             MakeInfo(3, 90'000, ColourModel::Grey, false, SampleFormat::Integer8),
                             MakeInfo(1, 1, ColourModel::Grey, true, SampleFormat::Integer16)}) {
        // Noise in some rows, and repetitions that reach over the borders of strips.
        Bytes samples = MakeSamples(info, 1);
        for (std::size_t i = info.GetRowBytes(); i < samples.size(); ++i) {
            if (i / info.GetRowBytes() % 8 != 0)
                samples[i] = samples[i % (3 * info.GetRowBytes())];
        }
        Kernel::Dispatch::SetThreadCount(1);
        Bytes const file = ToPng(info, samples);
        EXPECT_EQ(DecodeImage(file).samples, samples) << info.width;
        for (unsigned const threads : {2u, 3u}) {
            Kernel::Dispatch::SetThreadCount(threads);
            EXPECT_EQ(ToPng(info, samples), file) << info.width;
        }
    }
    Kernel::Dispatch::SetThreadCount(before);
}

TEST(CodecPng, WholeResolutionsAnInchAreFoundInThoseAMetre) {
    auto const getDpi = [](png_uint_32 perMetre) {
        RawPng png;
        png.width = png.height = 1;
        png.rows = Bytes(1);
        png.prepare = [&](png_structp p, png_infop info) {
            png_set_pHYs(p, info, perMetre, perMetre, PNG_RESOLUTION_METER);
        };
        return ReadImageInfo(png.Write()).dpiX;
    };
    EXPECT_EQ(getDpi(3780), 96);
    EXPECT_EQ(getDpi(3779), 96);
    EXPECT_EQ(getDpi(2835), 72);
    EXPECT_EQ(getDpi(2834), 72);
    EXPECT_EQ(getDpi(11811), 300);
    EXPECT_EQ(getDpi(5906), 150);
    EXPECT_EQ(getDpi(3937), 100);
    EXPECT_EQ(getDpi(39), 1);
    EXPECT_EQ(getDpi(10000), 254);
    // These are no whole number in any reading.
    EXPECT_EQ(getDpi(3781), 3781 * 0.0254);
    EXPECT_EQ(getDpi(3778), 3778 * 0.0254);
    EXPECT_EQ(getDpi(100), 2.54);
    EXPECT_EQ(getDpi(40), 40 * 0.0254);
    EXPECT_EQ(getDpi(1), 0.0254);
    for (int dpi = 1; dpi <= 5000; ++dpi) {
        EXPECT_EQ(Codec::ToDpi(std::round(dpi / 0.0254), 0.0254, 1), dpi);
        EXPECT_EQ(Codec::ToDpi(std::floor(dpi / 0.0254), 0.0254, 1), dpi);
        EXPECT_EQ(Codec::ToDpi(static_cast<float>(dpi / 2.54), 2.54, 0.01), dpi);
        EXPECT_EQ(Codec::ToDpi(static_cast<float>(std::round(dpi / 0.0254) / 100), 2.54, 0.01), dpi);
    }
}

TEST(CodecPng, KeepsColourUnderFullTransparency) {
    auto const info = MakeInfo(1, 1, ColourModel::RGB, true, SampleFormat::Integer8);
    auto const samples = MakeBytes({10, 20, 30, 0});
    EXPECT_EQ(DecodeImage(ToPng(info, samples)).samples, samples);
}

TEST(CodecPng, KeepsTheProfile) {
    auto info = MakeInfo(3, 3, ColourModel::RGB, false, SampleFormat::Integer8);
    info.iccProfile = MakeProfile();
    info.isSrgb = true;
    auto const image = DecodeImage(ToPng(info, MakeSamples(info, 1)));
    EXPECT_EQ(image.info.iccProfile, info.iccProfile);
    EXPECT_FALSE(image.info.isSrgb);
}

TEST(CodecPng, RefusesToWriteAProfileThatDoesNotFit) {
    auto info = MakeInfo(3, 3, ColourModel::Grey, false, SampleFormat::Integer8);
    info.iccProfile = MakeProfile();
    EXPECT_THROW(ToPng(info, MakeSamples(info, 1)), Kernel::Exception);
    info.colourModel = ColourModel::RGB;
    info.iccProfile = Bytes(10);
    EXPECT_THROW(ToPng(info, MakeSamples(info, 1)), Kernel::Exception);
}

TEST(CodecPng, RefusesToWriteWhatPngDoesNotHave) {
    for (auto const& info : {MakeInfo(1, 1, ColourModel::CMYK, false, SampleFormat::Integer8),
                             MakeInfo(1, 1, ColourModel::Lab, false, SampleFormat::Integer16),
                             MakeInfo(1, 1, ColourModel::RGB, true, SampleFormat::Float32),
                             MakeInfo(0, 1, ColourModel::RGB, true, SampleFormat::Integer8),
                             MakeInfo(1, 0, ColourModel::RGB, true, SampleFormat::Integer8)})
        EXPECT_THROW(ToPng(info, Bytes(100)), Kernel::Exception);
}

TEST(CodecPng, ExpandsPalettesAndFewBits) {
    RawPng raw;
    raw.width = 4;
    raw.height = 1;
    raw.depth = 2;
    raw.rows = MakeBytes({0b00011011});
    EXPECT_EQ(DecodeImage(raw.Write()).samples, MakeBytes({0, 85, 170, 255}));

    raw.type = PNG_COLOR_TYPE_PALETTE;
    raw.prepare = [](png_structp png, png_infop info) {
        png_color const palette[] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}};
        png_byte const alpha[] = {0, 100};
        png_set_PLTE(png, info, palette, 4);
        png_set_tRNS(png, info, alpha, 2, nullptr);
    };
    auto const image = DecodeImage(raw.Write());
    EXPECT_TRUE(image.info.hasAlpha);
    EXPECT_EQ(image.info.colourModel, ColourModel::RGB);
    EXPECT_EQ(image.samples, MakeBytes({1, 2, 3, 0, 4, 5, 6, 100, 7, 8, 9, 255, 10, 11, 12, 255}));
}

TEST(CodecPng, MakesTheTransparentColourAnAlphaChannel) {
    RawPng raw;
    raw.width = 2;
    raw.height = 1;
    raw.depth = 16;
    raw.rows = MakeBytes({0x12, 0x34, 0x12, 0x35});
    raw.prepare = [](png_structp png, png_infop info) {
        png_color_16 key{};
        key.gray = 0x1234;
        png_set_tRNS(png, info, nullptr, 0, &key);
    };
    auto const image = DecodeImage(raw.Write());
    ASSERT_EQ(image.samples.size(), 8u);
    std::uint16_t samples[4];
    std::memcpy(samples, image.samples.data(), sizeof samples);
    EXPECT_EQ(samples[0], 0x1234);
    EXPECT_EQ(samples[1], 0);
    EXPECT_EQ(samples[2], 0x1235);
    EXPECT_EQ(samples[3], 0xFFFF);
}

TEST(CodecPng, ReadsInterlacedRowsInOrder) {
    auto const info = MakeInfo(19, 11, ColourModel::RGB, false, SampleFormat::Integer8);
    RawPng raw;
    raw.width = info.width;
    raw.height = info.height;
    raw.type = PNG_COLOR_TYPE_RGB;
    raw.isInterlaced = true;
    raw.rows = MakeSamples(info, 1);
    auto const file = raw.Write();
    EXPECT_EQ(DecodeImage(file).samples, raw.rows);
    RowCounter counter;
    DecodeImage(file, counter);
    EXPECT_EQ(counter.rows, 11u);
    for (std::size_t size = 0; size != file.size(); ++size) {
        auto const failure = GetFailure({file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size)});
        EXPECT_EQ(failure.empty(), size + 12 >= file.size()) << size;
    }
}

TEST(CodecPng, TellsGammaAndOrientation) {
    RawPng raw;
    raw.width = raw.height = 1;
    raw.rows = Bytes(1);
    raw.prepare = [](png_structp png, png_infop info) {
        png_set_gAMA(png, info, 1 / 1.8);
        png_set_cHRM(png, info, 0.3127, 0.329, 0.64, 0.33, 0.3, 0.6, 0.15, 0.06);
        png_byte exif[] = {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 1, 0x12, 0, 3, 0, 0, 0, 1, 0, 6, 0, 0, 0, 0, 0, 0};
        png_set_eXIf_1(png, info, sizeof exif, exif);
    };
    auto const info = ReadImageInfo(raw.Write());
    EXPECT_NEAR(info.encodingGamma, 0.55556, 1e-4);
    ASSERT_TRUE(info.chromaticities);
    EXPECT_NEAR((*info.chromaticities)[2], 0.64, 1e-4);
    EXPECT_EQ(info.orientation, Orientation::RightTop);
}

TEST(CodecPng, RefusesEveryTruncationButOfTheEndMark) {
    auto const info = MakeInfo(40, 30, ColourModel::RGB, true, SampleFormat::Integer8);
    auto const samples = MakeSamples(info, 1);
    auto const file = ToPng(info, samples);
    for (std::size_t size = 1; size != file.size(); ++size) {
        Bytes const part(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
        try {
            EXPECT_EQ(DecodeImage(part).samples, samples);
            // The end mark has 12 bytes.
            EXPECT_GE(size + 12, file.size());
        } catch (Kernel::Exception const& failure) {
            EXPECT_LT(size + 12, file.size());
            if (size > 8) {
                EXPECT_STREQ(failure.what(), "is damaged: the image is cut short");
            }
        }
    }
}

TEST(CodecPng, NeverTakesDamagedPixelsForTrueOnes) {
    auto const info = MakeInfo(20, 10, ColourModel::RGB, false, SampleFormat::Integer16);
    auto const samples = MakeSamples(info, 1);
    auto const file = ToPng(info, samples);
    testing::internal::CaptureStderr();
    for (std::size_t i = 0; i != file.size() * 8; ++i) {
        auto damaged = file;
        damaged[i / 8] ^= std::byte{1} << i % 8;
        try {
            EXPECT_EQ(DecodeImage(damaged).samples, samples) << i;
        } catch (Kernel::Exception const& failure) {
            EXPECT_EQ(std::string(failure.what()).find('\n'), std::string::npos);
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(CodecPng, RefusesSizesThatTheFileCannotHoldBeforeTheReceiverBegins) {
    auto const info = MakeInfo(8, 8, ColourModel::RGB, false, SampleFormat::Integer8);
    auto const file = ToPng(info, MakeSamples(info, 1));
    struct Size {
        std::uint32_t width;
        std::uint32_t height;
    };
    for (auto const size : {Size{0x7FFFFFFF, 0x7FFFFFFF}, Size{20000, 20000}, Size{8000, 8000}, Size{0x7FFFFFFF, 1},
                            Size{1, 0x7FFFFFFF}, Size{0, 8}, Size{8, 0}, Size{0xFFFFFFFF, 1}, Size{400, 4000}}) {
        RowCounter counter;
        EXPECT_THROW(DecodeImage(WithSize(file, size.width, size.height), counter), Kernel::Exception);
        EXPECT_EQ(counter.begun, 0u) << size.width << " x " << size.height;
    }
}

TEST(CodecPng, RefusesAnImageOutOfProportionToItsFile) {
    RawPng raw;
    raw.width = raw.height = 10000;
    raw.depth = 1;
    raw.rows = Bytes(1250 * 10000);
    auto const file = raw.Write();
    ASSERT_LT(file.size(), 20000u);
    RowCounter counter;
    EXPECT_THROW(DecodeImage(file, counter), Kernel::Exception);
    EXPECT_EQ(counter.begun, 0u);
    ImageLimits limits;
    limits.freePixels = std::uint64_t{10000} * 10000;
    DecodeImage(file, counter, limits);
    EXPECT_EQ(counter.rows, 10000u);
    limits.pixels = limits.freePixels - 1;
    EXPECT_EQ(GetFailure(file, limits), "is too large: 10000 x 10000 pixels");
    limits.pixels = limits.freePixels;
    limits.bytes = limits.freePixels - 1;
    EXPECT_EQ(GetFailure(file, limits), "is too large: 10000 x 10000 pixels");
}

TEST(CodecPng, PassesExceptionsOfItsCallers) {
    auto const info = MakeInfo(100, 100, ColourModel::RGB, false, SampleFormat::Integer8);
    auto const samples = MakeSamples(info, 1);
    EXPECT_THROW(EncodePng(info, ToSource(info, samples),
                           [](std::span<std::byte const>) { throw std::out_of_range("the device is full"); }),
                 std::out_of_range);
    EXPECT_THROW(EncodePng(
                     info, [](std::uint32_t, std::span<std::byte>) { throw std::out_of_range("no row"); },
                     [](std::span<std::byte const>) {}),
                 std::out_of_range);
    class Thrower final : public ImageReceiver {
        void Begin(ImageInfo const&) override {}
        void ReceiveRow(std::uint32_t, std::span<std::byte const>) override { throw std::out_of_range("enough"); }
    } thrower;
    EXPECT_THROW(DecodeImage(ToPng(info, samples), thrower), std::out_of_range);
}

TEST(Codec, RefusesOtherFiles) {
    EXPECT_EQ(GetFailure({}), "is empty");
    EXPECT_EQ(GetFailure(Bytes(1)), "is not a PNG, JPEG or TIFF image");
    EXPECT_EQ(GetFailure(MakeBytes({'G', 'I', 'F', '8', '9', 'a'})), "is not a PNG, JPEG or TIFF image");
    EXPECT_NE(GetFailure(MakeBytes({0x89, 'P', 'N', 'G', 13, 10, 26, 10})), "");
    EXPECT_NE(GetFailure(MakeBytes({0xFF, 0xD8, 0xFF})), "");
    EXPECT_NE(GetFailure(MakeBytes({'I', 'I', 42, 0})), "");
    EXPECT_NE(GetFailure(MakeBytes({'M', 'M', 0, 43})), "");
}

} // namespace
} // namespace Raster
