// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/raster/codec_samples.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <jpeglib.h>

namespace Raster {
namespace {

using namespace CodecTesting;

// A smooth image, which JPEG keeps nearly as it is.
Bytes MakeGradient(std::uint32_t width, std::uint32_t height, std::size_t channels) {
    Bytes samples;
    for (std::uint32_t y = 0; y != height; ++y)
        for (std::uint32_t x = 0; x != width; ++x)
            for (std::size_t c = 0; c != channels; ++c)
                samples.push_back(static_cast<std::byte>((x * (c + 1) + y * 2) % 512 < 256
                                                             ? (x * (c + 1) + y * 2) % 256
                                                             : 255 - (x * (c + 1) + y * 2) % 256));
    return samples;
}

Bytes WriteJpeg(std::uint32_t width, std::uint32_t height, int channels, J_COLOR_SPACE space, Bytes const& samples,
                std::function<void(jpeg_compress_struct&)> const& prepare = {},
                std::function<void(jpeg_compress_struct&)> const& writeMarkers = {}) {
    jpeg_compress_struct encoder{};
    jpeg_error_mgr errors{};
    encoder.err = jpeg_std_error(&errors);
    jpeg_create_compress(&encoder);
    unsigned char* target = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&encoder, &target, &size);
    encoder.image_width = width;
    encoder.image_height = height;
    encoder.input_components = channels;
    encoder.in_color_space = space;
    jpeg_set_defaults(&encoder);
    jpeg_set_quality(&encoder, 98, TRUE);
    if (prepare)
        prepare(encoder);
    jpeg_start_compress(&encoder, TRUE);
    if (writeMarkers)
        writeMarkers(encoder);
    for (std::uint32_t y = 0; y != height; ++y) {
        auto* row = const_cast<JSAMPROW>(reinterpret_cast<JSAMPLE const*>(samples.data())) +
                    std::size_t{y} * width * static_cast<std::size_t>(channels);
        jpeg_write_scanlines(&encoder, &row, 1);
    }
    jpeg_finish_compress(&encoder);
    jpeg_destroy_compress(&encoder);
    auto const bytes = std::as_bytes(std::span(target, size));
    Bytes file(bytes.begin(), bytes.end());
    std::free(target);
    return file;
}

void ExpectNear(Bytes const& actual, Bytes const& expected, int tolerance) {
    ASSERT_EQ(actual.size(), expected.size());
    int worst = 0;
    for (std::size_t i = 0; i != actual.size(); ++i)
        worst = std::max(worst, std::abs(std::to_integer<int>(actual[i]) - std::to_integer<int>(expected[i])));
    EXPECT_LE(worst, tolerance);
}

TEST(CodecJpeg, ReadsGreyAndColour) {
    auto const grey = MakeGradient(50, 41, 1);
    auto const greyImage = DecodeImage(WriteJpeg(50, 41, 1, JCS_GRAYSCALE, grey));
    EXPECT_EQ(greyImage.info.colourModel, ColourModel::Grey);
    ExpectNear(greyImage.samples, grey, 8);

    auto const colour = MakeGradient(50, 41, 3);
    for (bool const isProgressive : {false, true}) {
        auto const file = WriteJpeg(50, 41, 3, JCS_RGB, colour, [&](auto& encoder) {
            encoder.comp_info[0].h_samp_factor = encoder.comp_info[0].v_samp_factor = 1;
            if (isProgressive)
                jpeg_simple_progression(&encoder);
        });
        auto const image = DecodeImage(file);
        EXPECT_EQ(image.info.colourModel, ColourModel::RGB);
        EXPECT_EQ(image.info.width, 50u);
        EXPECT_EQ(image.info.height, 41u);
        EXPECT_FALSE(image.info.hasAlpha);
        ExpectNear(image.samples, colour, 14);
    }
}

TEST(CodecJpeg, InkIsInkWithAndWithoutAdobesMark) {
    auto ink = MakeGradient(32, 32, 4);
    auto const plain = WriteJpeg(32, 32, 4, JCS_CMYK, ink, [](auto& encoder) { encoder.write_Adobe_marker = FALSE; });
    auto const image = DecodeImage(plain);
    EXPECT_EQ(image.info.colourModel, ColourModel::CMYK);
    ExpectNear(image.samples, ink, 10);
    auto inverted = ink;
    for (auto& byte : inverted)
        byte = ~byte;
    for (auto const space : {JCS_CMYK, JCS_YCCK}) {
        auto const marked = WriteJpeg(32, 32, 4, JCS_CMYK, inverted, [&](auto& encoder) {
            jpeg_set_colorspace(&encoder, space);
            for (int i = 0; i != 4; ++i)
                encoder.comp_info[i].h_samp_factor = encoder.comp_info[i].v_samp_factor = 1;
        });
        ExpectNear(DecodeImage(marked).samples, ink, 14);
    }
}

TEST(CodecJpeg, TellsResolutionOrientationAndProfile) {
    auto const samples = MakeGradient(8, 8, 1);
    Bytes const profile(100000, std::byte{7});
    auto const file = WriteJpeg(
        8, 8, 1, JCS_GRAYSCALE, samples,
        [](auto& encoder) {
            encoder.density_unit = 2;
            encoder.X_density = 100;
            encoder.Y_density = 50;
        },
        [&](auto& encoder) {
            unsigned char const exif[] = {'E',  'x', 'i', 'f', 0, 0, 'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0,
                                          0x12, 1,   3,   0,   1, 0, 0,   0,   8,  0, 0, 0, 0, 0, 0, 0};
            jpeg_write_marker(&encoder, JPEG_APP0 + 1, exif, sizeof exif);
            jpeg_write_icc_profile(&encoder, reinterpret_cast<JOCTET const*>(profile.data()),
                                   static_cast<unsigned>(profile.size()));
        });
    auto const info = ReadImageInfo(file);
    EXPECT_NEAR(info.dpiX, 254, 1e-9);
    EXPECT_NEAR(info.dpiY, 127, 1e-9);
    EXPECT_EQ(info.orientation, Orientation::LeftBottom);
    EXPECT_EQ(info.iccProfile, profile);
}

TEST(CodecJpeg, SurvivesEveryExifBlock) {
    auto const samples = MakeGradient(8, 8, 1);
    std::mt19937 random(3);
    for (int round = 0; round != 300; ++round) {
        std::vector<unsigned char> exif{'E', 'x', 'i', 'f', 0, 0, 'I', 'I', 42, 0, 8, 0, 0, 0};
        auto const size = random() % 60;
        for (unsigned i = 0; i != size; ++i)
            exif.push_back(static_cast<unsigned char>(random() % 4 == 0 ? random() : random() % 32));
        auto const file = WriteJpeg(8, 8, 1, JCS_GRAYSCALE, samples, {}, [&](auto& encoder) {
            jpeg_write_marker(&encoder, JPEG_APP0 + 1, exif.data(), static_cast<unsigned>(exif.size()));
        });
        auto const orientation = static_cast<int>(ReadImageInfo(file).orientation);
        EXPECT_TRUE(orientation >= 1 && orientation <= 8);
    }
}

TEST(CodecJpeg, RefusesEveryTruncationButOfTheEndMark) {
    auto const samples = MakeGradient(40, 40, 3);
    testing::internal::CaptureStderr();
    for (bool const isProgressive : {false, true}) {
        auto const file = WriteJpeg(40, 40, 3, JCS_RGB, samples, [&](auto& encoder) {
            if (isProgressive)
                jpeg_simple_progression(&encoder);
        });
        auto const whole = DecodeImage(file).samples;
        EXPECT_EQ(DecodeImage(Bytes(file.begin(), file.end() - 2)).samples, whole);
        for (std::size_t size = 1; size < file.size() - 2; ++size) {
            Bytes const part(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
            try {
                // The last bits of the last byte may be filling.
                EXPECT_EQ(DecodeImage(part).samples, whole) << size;
                EXPECT_GE(size + 4, file.size());
            } catch (Kernel::Exception const&) {
            }
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// Its decoder takes what is missing for zeros, without a word.
TEST(CodecJpeg, RefusesTruncationsOfArithmeticCoding) {
    auto const samples = MakeGradient(40, 40, 3);
    for (bool const isProgressive : {false, true}) {
        auto const file = WriteJpeg(40, 40, 3, JCS_RGB, samples, [&](auto& encoder) {
            encoder.arith_code = TRUE;
            if (isProgressive)
                jpeg_simple_progression(&encoder);
        });
        EXPECT_EQ(DecodeImage(file).info.width, 40u);
        for (std::size_t size = 1; size < file.size() - 2; ++size)
            EXPECT_NE(GetFailure(Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size))), "") << size;
    }
}

TEST(CodecJpeg, SurvivesEveryFlippedBit) {
    auto const samples = MakeGradient(24, 24, 3);
    testing::internal::CaptureStderr();
    for (bool const isProgressive : {false, true}) {
        auto const file = WriteJpeg(24, 24, 3, JCS_RGB, samples, [&](auto& encoder) {
            if (isProgressive)
                jpeg_simple_progression(&encoder);
        });
        ImageLimits limits;
        limits.pixels = 1 << 22;
        for (std::size_t i = 0; i != file.size() * 8; ++i) {
            auto damaged = file;
            damaged[i / 8] ^= std::byte{1} << i % 8;
            auto const failure = GetFailure(damaged, limits);
            EXPECT_EQ(failure.find('\n'), std::string::npos);
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(CodecJpeg, RefusesSizesThatTheFileCannotHoldBeforeTheReceiverBegins) {
    auto file = WriteJpeg(16, 16, 1, JCS_GRAYSCALE, MakeGradient(16, 16, 1));
    constexpr std::byte c_startOfFrame[] = {std::byte{0xFF}, std::byte{0xC0}};
    auto const frame = std::search(file.begin(), file.end(), std::begin(c_startOfFrame), std::end(c_startOfFrame));
    ASSERT_NE(frame, file.end());
    for (int const size : {0, 2000, 8000, 60000, 65535}) {
        for (std::ptrdiff_t i = 0; i != 2; ++i) {
            frame[5 + i] = static_cast<std::byte>(size >> (8 - 8 * i));
            frame[7 + i] = static_cast<std::byte>(size >> (8 - 8 * i));
        }
        RowCounter counter;
        EXPECT_THROW(DecodeImage(file, counter), Kernel::Exception);
        EXPECT_EQ(counter.begun, 0u) << size;
    }
}

TEST(CodecJpeg, RefusesScansWithoutEnd) {
    auto const samples = MakeGradient(16, 16, 1);
    auto const file =
        WriteJpeg(16, 16, 1, JCS_GRAYSCALE, samples, [](auto& encoder) { jpeg_simple_progression(&encoder); });
    // The last scan over and over.
    auto last = file.end() - 2;
    while (!(last[0] == std::byte{0xFF} && last[1] == std::byte{0xDA}))
        --last;
    Bytes longer(file.begin(), file.end() - 2);
    for (int i = 0; i != 200; ++i)
        longer.insert(longer.end(), last, file.end() - 2);
    longer.insert(longer.end(), file.end() - 2, file.end());
    EXPECT_NE(GetFailure(longer), "");
}

ImageInfo MakeJpegInfo(std::uint32_t width, std::uint32_t height, ColourModel model) {
    ImageInfo info;
    info.width = width;
    info.height = height;
    info.colourModel = model;
    return info;
}

Bytes Encode(ImageInfo const& info, int quality, Bytes const& samples) {
    Bytes file;
    EncodeJpeg(
        info, quality,
        [&](std::uint32_t y, std::span<std::byte> row) {
            std::copy_n(samples.begin() + static_cast<std::ptrdiff_t>(y * row.size()), row.size(), row.begin());
        },
        [&](std::span<std::byte const> bytes) { file.insert(file.end(), bytes.begin(), bytes.end()); });
    return file;
}

TEST(CodecJpeg, WritesWhatItReads) {
    for (auto const model : {ColourModel::Grey, ColourModel::RGB, ColourModel::CMYK}) {
        auto info = MakeJpegInfo(50, 41, model);
        info.dpiX = 300;
        info.dpiY = 150;
        info.iccProfile.assign(100000, std::byte{7});
        auto const samples = MakeGradient(50, 41, info.GetChannelCount());
        auto const file = Encode(info, 95, samples);
        EXPECT_EQ(file, Encode(info, 95, samples));
        auto const image = DecodeImage(file);
        EXPECT_EQ(model, image.info.colourModel);
        // JFIF, which has the place for it, knows no ink.
        EXPECT_EQ(model == ColourModel::CMYK ? 0 : 300, image.info.dpiX);
        EXPECT_EQ(model == ColourModel::CMYK ? 0 : 150, image.info.dpiY);
        EXPECT_EQ(info.iccProfile, image.info.iccProfile);
        ExpectNear(image.samples, samples, 12);
        EXPECT_LT(Encode(info, 30, samples).size(), file.size());
    }
}

TEST(CodecJpeg, RefusesToWriteWhatItHasNoPlaceFor) {
    auto const refused = [](auto const& change, int quality) {
        auto info = MakeJpegInfo(4, 4, ColourModel::RGB);
        change(info);
        bool isWritten = false;
        EXPECT_THROW(EncodeJpeg(
                         info, quality, [](std::uint32_t, std::span<std::byte>) {},
                         [&](std::span<std::byte const>) { isWritten = true; }),
                     Kernel::Exception);
        EXPECT_FALSE(isWritten);
    };
    refused([](ImageInfo& info) { info.hasAlpha = true; }, 90);
    refused([](ImageInfo& info) { info.sampleFormat = SampleFormat::Integer16; }, 90);
    refused([](ImageInfo& info) { info.colourModel = ColourModel::Lab; }, 90);
    refused([](ImageInfo& info) { info.width = 0; }, 90);
    refused([](ImageInfo& info) { info.height = 65501; }, 90);
    refused([](ImageInfo&) {}, 0);
    refused([](ImageInfo&) {}, 101);
}

TEST(CodecJpeg, PassesOnWhatTheRowsAndTheFileThrow) {
    struct Own {};
    auto const info = MakeJpegInfo(900, 900, ColourModel::RGB);
    EXPECT_THROW(
        EncodeJpeg(
            info, 90, [](std::uint32_t, std::span<std::byte>) { throw Own(); }, [](std::span<std::byte const>) {}),
        Own);
    auto const noise = [](std::uint32_t y, std::span<std::byte> row) {
        for (std::size_t i = 0; i != row.size(); ++i)
            row[i] = static_cast<std::byte>(i * i * 31 + y * y * 17);
    };
    for (int last : {1, 2}) {
        int calls = 0;
        EXPECT_THROW(EncodeJpeg(info, 90, noise,
                                [&](std::span<std::byte const>) {
                                    if (++calls == last)
                                        throw Own();
                                }),
                     Own);
        EXPECT_EQ(last, calls);
    }
}

} // namespace
} // namespace Raster
