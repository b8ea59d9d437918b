// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/bitmap_image.h"
#include "tests/engine/raster/codec_samples.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <jpeglib.h>
#include <random>
#include <tiffio.h>
#include <unistd.h>

namespace Raster {
namespace {

using namespace CodecTesting;

class TemporaryFile {
public:
    TemporaryFile() {
        auto pattern = (std::filesystem::temp_directory_path() / "redraft-codec-XXXXXX").string();
        ::close(::mkstemp(pattern.data()));
        m_path = pattern;
    }
    ~TemporaryFile() { ::unlink(m_path.c_str()); }
    TemporaryFile(TemporaryFile const&) = delete;
    TemporaryFile& operator=(TemporaryFile const&) = delete;
    std::string const& GetPath() const { return m_path; }
    Bytes Read() const {
        std::ifstream stream(m_path, std::ios::binary);
        std::string const text((std::istreambuf_iterator<char>(stream)), {});
        Bytes bytes(text.size());
        std::memcpy(bytes.data(), text.data(), text.size());
        return bytes;
    }

private:
    std::string m_path;
};

struct RawTiff {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    int bits = 8;
    int samples = 1;
    int photometric = PHOTOMETRIC_MINISBLACK;
    int format = SAMPLEFORMAT_UINT;
    int planar = PLANARCONFIG_CONTIG;
    int compression = COMPRESSION_NONE;
    char const* mode = "w";
    int pages = 1;
    std::uint32_t tileSize = 0;
    std::function<void(TIFF*)> prepare;
    // Rows as they are packed in the file; planes one after the other.
    Bytes rows;

    Bytes Write() const {
        TemporaryFile const file;
        auto* const tiff = TIFFOpen(file.GetPath().c_str(), mode);
        for (int page = 0; page != pages; ++page) {
            TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
            TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, height);
            TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, bits);
            TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, samples);
            TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, photometric);
            TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, format);
            TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, planar);
            TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
            if (prepare)
                prepare(tiff);
            WritePixels(tiff);
            TIFFWriteDirectory(tiff);
        }
        TIFFClose(tiff);
        return file.Read();
    }

private:
    void WritePixels(TIFF* tiff) const {
        int const planes = planar == PLANARCONFIG_SEPARATE ? samples : 1;
        auto const rowBytes = rows.size() / height / static_cast<std::size_t>(planes);
        auto const pixelBytes = static_cast<std::size_t>(bits * samples / planes) / 8;
        for (int plane = 0; plane != planes; ++plane) {
            auto const* const source = rows.data() + static_cast<std::size_t>(plane) * rowBytes * height;
            if (tileSize == 0) {
                for (std::uint32_t y = 0; y != height; ++y) {
                    Bytes row(source + rowBytes * y, source + rowBytes * (y + 1));
                    ASSERT_EQ(TIFFWriteScanline(tiff, row.data(), y, static_cast<std::uint16_t>(plane)), 1);
                }
                continue;
            }
            for (std::uint32_t top = 0; top < height; top += tileSize)
                for (std::uint32_t left = 0; left < width; left += tileSize) {
                    Bytes tile(tileSize * tileSize * pixelBytes, std::byte{0xEE});
                    for (std::uint32_t y = 0; y != std::min(tileSize, height - top); ++y)
                        std::memcpy(tile.data() + y * tileSize * pixelBytes,
                                    source + (top + y) * rowBytes + left * pixelBytes,
                                    std::min(tileSize, width - left) * pixelBytes);
                    ASSERT_GT(TIFFWriteTile(tiff, tile.data(), left, top, 0, static_cast<std::uint16_t>(plane)), 0);
                }
        }
    }
};

template <class T>
Bytes ToBytes(std::vector<T> const& values) {
    auto const bytes = std::as_bytes(std::span(values));
    return {bytes.begin(), bytes.end()};
}

template <class T>
std::vector<T> ToValues(Bytes const& bytes) {
    std::vector<T> values(bytes.size() / sizeof(T));
    std::memcpy(values.data(), bytes.data(), bytes.size());
    return values;
}

TEST(CodecTiff, GivesBackWhatWasWritten) {
    for (auto const model : {ColourModel::RGB, ColourModel::Grey, ColourModel::CMYK})
        for (bool const hasAlpha : {false, true})
            for (auto const format : {SampleFormat::Integer8, SampleFormat::Integer16, SampleFormat::Float32}) {
                auto info = MakeInfo(37, 23, model, hasAlpha, format);
                info.dpiX = 300;
                info.dpiY = 150;
                info.orientation = Orientation::LeftBottom;
                info.iccProfile = Bytes(200, std::byte{3});
                auto const samples = MakeSamples(info, 1);
                auto const file = ToTiff(info, samples);
                auto const image = DecodeImage(file);
                EXPECT_EQ(image.samples, samples);
                EXPECT_EQ(image.info.colourModel, model);
                EXPECT_EQ(image.info.hasAlpha, hasAlpha);
                EXPECT_EQ(image.info.sampleFormat, format);
                EXPECT_EQ(image.info.orientation, Orientation::LeftBottom);
                EXPECT_EQ(image.info.iccProfile, info.iccProfile);
                EXPECT_EQ(image.info.otherPages, 0u);
                EXPECT_DOUBLE_EQ(image.info.dpiX, 300);
                EXPECT_DOUBLE_EQ(image.info.dpiY, 150);
                EXPECT_EQ(ToTiff(info, samples), file);
            }
}

TEST(CodecTiff, LabComesBackToTheNearestStep) {
    for (auto const format : {SampleFormat::Integer8, SampleFormat::Integer16, SampleFormat::Float32}) {
        auto const info = MakeInfo(64, 64, ColourModel::Lab, true, format);
        auto const samples = MakeSamples(info, 1);
        auto const image = DecodeImage(ToTiff(info, samples));
        EXPECT_EQ(image.info.colourModel, ColourModel::Lab);
        if (format == SampleFormat::Integer8) {
            EXPECT_EQ(image.samples, samples);
        } else if (format == SampleFormat::Integer16) {
            auto const expected = ToValues<std::uint16_t>(samples);
            auto const actual = ToValues<std::uint16_t>(image.samples);
            for (std::size_t i = 0; i != expected.size(); ++i)
                EXPECT_LE(std::abs(expected[i] - actual[i]), 1);
        } else {
            auto const expected = ToValues<float>(samples);
            auto const actual = ToValues<float>(image.samples);
            for (std::size_t i = 0; i != expected.size(); ++i)
                EXPECT_NEAR(expected[i], actual[i], 1e-5);
        }
    }
}

TEST(CodecTiff, NeutralLabIsTheMiddleInEveryEncoding) {
    RawTiff raw;
    raw.width = raw.height = 1;
    raw.samples = 3;
    raw.photometric = PHOTOMETRIC_CIELAB;
    raw.rows = MakeBytes({255, 0, 0x80});
    EXPECT_EQ(DecodeImage(raw.Write()).samples, MakeBytes({255, 128, 0}));
    raw.photometric = PHOTOMETRIC_ICCLAB;
    raw.rows = MakeBytes({255, 128, 0});
    EXPECT_EQ(DecodeImage(raw.Write()).samples, MakeBytes({255, 128, 0}));
    raw.bits = 16;
    raw.rows = ToBytes<std::uint16_t>({0xFF00, 0x8000, 0xFFFF});
    EXPECT_EQ(ToValues<std::uint16_t>(DecodeImage(raw.Write()).samples),
              (std::vector<std::uint16_t>{0xFFFF, 32896, 0xFFFF}));
    raw.photometric = PHOTOMETRIC_CIELAB;
    raw.rows = ToBytes<std::uint16_t>({0xFFFF, 0, 0x8000});
    EXPECT_EQ(ToValues<std::uint16_t>(DecodeImage(raw.Write()).samples),
              (std::vector<std::uint16_t>{0xFFFF, 32896, 0}));
}

TEST(CodecTiff, ReadsFewAndOddBits) {
    RawTiff raw;
    raw.width = 8;
    raw.height = 1;
    raw.bits = 1;
    raw.rows = MakeBytes({0b10110001});
    EXPECT_EQ(DecodeImage(raw.Write()).samples, MakeBytes({255, 0, 255, 255, 0, 0, 0, 255}));
    raw.photometric = PHOTOMETRIC_MINISWHITE;
    EXPECT_EQ(DecodeImage(raw.Write()).samples, MakeBytes({0, 255, 0, 0, 255, 255, 255, 0}));
    raw.photometric = PHOTOMETRIC_MINISBLACK;
    raw.width = 4;
    raw.bits = 6;
    raw.rows = MakeBytes({0b00000011, 0b11111000, 0b00100001});
    EXPECT_EQ(DecodeImage(raw.Write()).samples, MakeBytes({0, 255, 130, 134}));
    raw.width = 2;
    raw.bits = 12;
    raw.rows = MakeBytes({0xFF, 0xF8, 0x00});
    EXPECT_EQ(ToValues<std::uint16_t>(DecodeImage(raw.Write()).samples), (std::vector<std::uint16_t>{65535, 32776}));
    raw.width = 1;
    raw.bits = 32;
    raw.rows = ToBytes<std::uint32_t>({0x80008000});
    EXPECT_EQ(ToValues<float>(DecodeImage(raw.Write()).samples),
              std::vector<float>{static_cast<float>(0x80008000 / 4294967295.0)});
    raw.format = SAMPLEFORMAT_INT;
    EXPECT_EQ(ToValues<float>(DecodeImage(raw.Write()).samples),
              std::vector<float>{static_cast<float>(0x00008000 / 4294967295.0)});
    raw.bits = 8;
    raw.rows = MakeBytes({0x80});
    EXPECT_EQ(DecodeImage(raw.Write()).samples, MakeBytes({0}));
}

TEST(CodecTiff, KeepsAllOf24Bits) {
    RawTiff raw;
    raw.width = 4;
    raw.height = 1;
    raw.bits = 24;
    raw.rows = MakeBytes({0, 0, 0, 0xFF, 0xFF, 0xFF, 1, 0, 0, 0x56, 0x34, 0x12});
    auto const image = DecodeImage(raw.Write());
    EXPECT_EQ(image.info.sampleFormat, SampleFormat::Float32);
    std::vector<double> values;
    for (float const sample : ToValues<float>(image.samples))
        values.push_back(std::round(double{sample} * 0xFFFFFF));
    EXPECT_EQ(values, (std::vector<double>{0, 0xFFFFFF, 1, 0x123456}));
    EXPECT_EQ(GetRoundedBits(image.info), 0u);
    raw.photometric = PHOTOMETRIC_MINISWHITE;
    EXPECT_EQ(ToValues<float>(DecodeImage(raw.Write()).samples)[1], 0);
    raw.photometric = PHOTOMETRIC_MINISBLACK;
    raw.width = 2;
    raw.samples = 2;
    raw.prepare = [](TIFF* tiff) {
        std::uint16_t const kind = EXTRASAMPLE_ASSOCALPHA;
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &kind);
    };
    raw.rows = MakeBytes({0, 0, 0x40, 0, 0, 0x80, 0, 0, 0x40, 0, 0, 0});
    auto const samples = ToValues<float>(DecodeImage(raw.Write()).samples);
    EXPECT_FLOAT_EQ(samples[0], 0.5F);
    EXPECT_FLOAT_EQ(samples[1], 0x800000 / 16777215.F);
    EXPECT_EQ(samples[2], 0);
    EXPECT_EQ(samples[3], 0);
}

// No ink is less than none, and other programs take such files for unsigned ones.
TEST(CodecTiff, ReadsInkThatIsSaidToBeSigned) {
    RawTiff raw;
    raw.width = 2;
    raw.height = 1;
    raw.samples = 4;
    raw.photometric = PHOTOMETRIC_SEPARATED;
    for (int const bits : {8, 16}) {
        raw.bits = bits;
        raw.rows = bits == 8 ? MakeBytes({0, 1, 0x7F, 0x80, 0x81, 0xC0, 0xFE, 0xFF})
                             : ToBytes<std::uint16_t>({0, 1, 0x7FFF, 0x8000, 0x8001, 0xC000, 0xFFFE, 0xFFFF});
        raw.format = SAMPLEFORMAT_INT;
        EXPECT_EQ(DecodeImage(raw.Write()).samples, raw.rows);
        raw.format = SAMPLEFORMAT_UINT;
        EXPECT_EQ(DecodeImage(raw.Write()).samples, raw.rows);
    }
}

TEST(CodecTiff, TellsWhatABitmapRounds) {
    auto const getRounded = [](int bits, int format, int photometric, int samples) {
        RawTiff raw;
        raw.width = raw.height = 1;
        raw.bits = bits;
        raw.format = format;
        raw.photometric = photometric;
        raw.samples = samples;
        raw.rows = Bytes(static_cast<std::size_t>(bits * samples + 7) / 8);
        return GetRoundedBits(ReadImageInfo(raw.Write()));
    };
    EXPECT_EQ(getRounded(8, SAMPLEFORMAT_UINT, PHOTOMETRIC_SEPARATED, 4), 0u);
    EXPECT_EQ(getRounded(16, SAMPLEFORMAT_UINT, PHOTOMETRIC_SEPARATED, 4), 8u);
    EXPECT_EQ(getRounded(32, SAMPLEFORMAT_IEEEFP, PHOTOMETRIC_SEPARATED, 4), 8u);
    EXPECT_EQ(getRounded(16, SAMPLEFORMAT_UINT, PHOTOMETRIC_RGB, 3), 0u);
    EXPECT_EQ(getRounded(24, SAMPLEFORMAT_UINT, PHOTOMETRIC_RGB, 3), 0u);
    EXPECT_EQ(getRounded(32, SAMPLEFORMAT_UINT, PHOTOMETRIC_MINISBLACK, 1), 24u);
    EXPECT_EQ(getRounded(32, SAMPLEFORMAT_IEEEFP, PHOTOMETRIC_RGB, 3), 0u);
    EXPECT_EQ(getRounded(64, SAMPLEFORMAT_IEEEFP, PHOTOMETRIC_RGB, 3), 32u);
    EXPECT_EQ(getRounded(16, SAMPLEFORMAT_UINT, PHOTOMETRIC_ICCLAB, 3), 0u);
    EXPECT_EQ(getRounded(32, SAMPLEFORMAT_IEEEFP, PHOTOMETRIC_CIELAB, 3), 16u);
    EXPECT_EQ(getRounded(1, SAMPLEFORMAT_UINT, PHOTOMETRIC_MINISWHITE, 1), 0u);
}

TEST(CodecTiff, ReadsFloatsOfAllWidths) {
    RawTiff raw;
    raw.width = 3;
    raw.height = 1;
    raw.format = SAMPLEFORMAT_IEEEFP;
    raw.bits = 16;
    raw.rows = ToBytes<std::uint16_t>({0x3C00, 0xC100, 0x0001});
    EXPECT_EQ(ToValues<float>(DecodeImage(raw.Write()).samples), (std::vector<float>{1, -2.5F, std::ldexp(1.F, -24)}));
    raw.bits = 24;
    raw.rows = MakeBytes({0, 0, 0x3F, 0, 0x40, 0xC0, 0, 0x80, 0x3E});
    EXPECT_EQ(ToValues<float>(DecodeImage(raw.Write()).samples), (std::vector<float>{1, -2.5F, 0.75F}));
    raw.bits = 64;
    raw.rows = ToBytes<double>({1, -2.5, 0.75});
    EXPECT_EQ(ToValues<float>(DecodeImage(raw.Write()).samples), (std::vector<float>{1, -2.5F, 0.75F}));
}

TEST(CodecTiff, ReadsPalettesOfBothKinds) {
    RawTiff raw;
    raw.width = 4;
    raw.height = 1;
    raw.bits = 2;
    raw.photometric = PHOTOMETRIC_PALETTE;
    raw.rows = MakeBytes({0b00011011});
    for (bool const isOld : {false, true}) {
        raw.prepare = [&](TIFF* tiff) {
            std::uint16_t const scale = isOld ? 1 : 257;
            std::uint16_t red[4];
            std::uint16_t green[4];
            std::uint16_t blue[4];
            for (std::uint16_t i = 0; i != 4; ++i) {
                red[i] = static_cast<std::uint16_t>(i * scale);
                green[i] = static_cast<std::uint16_t>((100 + i) * scale);
                blue[i] = static_cast<std::uint16_t>((252 + i) * scale);
            }
            TIFFSetField(tiff, TIFFTAG_COLORMAP, red, green, blue);
        };
        EXPECT_EQ(DecodeImage(raw.Write()).samples, MakeBytes({0, 100, 252, 1, 101, 253, 2, 102, 254, 3, 103, 255}));
    }
}

TEST(CodecTiff, DividesPremultipliedColourByAlpha) {
    RawTiff raw;
    raw.width = 3;
    raw.height = 1;
    raw.samples = 4;
    raw.photometric = PHOTOMETRIC_RGB;
    raw.prepare = [](TIFF* tiff) {
        std::uint16_t const kind = EXTRASAMPLE_ASSOCALPHA;
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &kind);
    };
    raw.rows = MakeBytes({50, 100, 0, 100, 7, 7, 7, 0, 1, 2, 3, 255});
    EXPECT_EQ(DecodeImage(raw.Write()).samples, MakeBytes({128, 255, 0, 100, 0, 0, 0, 0, 1, 2, 3, 255}));
    // A fourth sample that nobody explains is not alpha.
    raw.prepare = [](TIFF* tiff) {
        std::uint16_t const kind = EXTRASAMPLE_UNSPECIFIED;
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &kind);
    };
    EXPECT_EQ(DecodeImage(raw.Write()).samples, MakeBytes({50, 100, 0, 7, 7, 7, 1, 2, 3}));
}

TEST(CodecTiff, ArrangementAndCompressionDoNotMatter) {
    auto const info = MakeInfo(45, 37, ColourModel::RGB, false, SampleFormat::Integer16);
    auto const samples = MakeSamples(info, 1);
    Bytes planes;
    for (std::size_t plane = 0; plane != 3; ++plane)
        for (std::size_t i = plane * 2; i != samples.size() + plane * 2; i += 6)
            planes.insert(planes.end(), samples.begin() + static_cast<std::ptrdiff_t>(i),
                          samples.begin() + static_cast<std::ptrdiff_t>(i + 2));
    for (char const* const mode : {"wl", "wb", "wl8", "wb8"})
        for (int const compression :
             {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS})
            for (int const planar : {PLANARCONFIG_CONTIG, PLANARCONFIG_SEPARATE})
                for (std::uint32_t const tileSize : {0U, 16U, 64U}) {
                    RawTiff raw;
                    raw.width = info.width;
                    raw.height = info.height;
                    raw.bits = 16;
                    raw.samples = 3;
                    raw.photometric = PHOTOMETRIC_RGB;
                    raw.mode = mode;
                    raw.compression = compression;
                    raw.planar = planar;
                    raw.tileSize = tileSize;
                    raw.rows = planar == PLANARCONFIG_CONTIG ? samples : planes;
                    raw.prepare = [&](TIFF* tiff) {
                        if (tileSize != 0) {
                            TIFFSetField(tiff, TIFFTAG_TILEWIDTH, tileSize);
                            TIFFSetField(tiff, TIFFTAG_TILELENGTH, tileSize);
                        } else {
                            TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 7);
                        }
                    };
                    EXPECT_EQ(DecodeImage(raw.Write()).samples, samples) << mode << compression << planar << tileSize;
                }
}

TEST(CodecTiff, ReadsSeparatePlanesOfFewBits) {
    RawTiff raw;
    raw.width = 4;
    raw.height = 1;
    raw.bits = 2;
    raw.samples = 3;
    raw.photometric = PHOTOMETRIC_RGB;
    raw.planar = PLANARCONFIG_SEPARATE;
    raw.rows = MakeBytes({0b00011011, 0b11111111, 0b00000001});
    EXPECT_EQ(DecodeImage(raw.Write()).samples, MakeBytes({0, 255, 0, 85, 255, 0, 170, 255, 0, 255, 255, 85}));
}

TEST(CodecTiff, ReadsJpegInside) {
    auto const info = MakeInfo(32, 32, ColourModel::RGB, false, SampleFormat::Integer8);
    RawTiff raw;
    raw.width = raw.height = 32;
    raw.samples = 3;
    raw.photometric = PHOTOMETRIC_YCBCR;
    raw.compression = COMPRESSION_JPEG;
    raw.prepare = [](TIFF* tiff) {
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        TIFFSetField(tiff, TIFFTAG_JPEGQUALITY, 98);
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 32);
    };
    raw.rows = Bytes(32 * 32 * 3, std::byte{100});
    auto const image = DecodeImage(raw.Write());
    EXPECT_EQ(image.info.GetRowBytes(), info.GetRowBytes());
    for (auto const sample : image.samples)
        EXPECT_NEAR(std::to_integer<int>(sample), 100, 2);
}

Bytes MakeJpeg(int size, J_COLOR_SPACE space, int sampling) {
    jpeg_compress_struct encoder{};
    jpeg_error_mgr errors{};
    encoder.err = jpeg_std_error(&errors);
    jpeg_create_compress(&encoder);
    unsigned char* bytes = nullptr;
    unsigned long length = 0;
    jpeg_mem_dest(&encoder, &bytes, &length);
    encoder.image_width = encoder.image_height = static_cast<JDIMENSION>(size);
    encoder.input_components = space == JCS_GRAYSCALE ? 1 : 3;
    encoder.in_color_space = space;
    jpeg_set_defaults(&encoder);
    jpeg_set_quality(&encoder, 95, TRUE);
    encoder.comp_info[0].h_samp_factor = encoder.comp_info[0].v_samp_factor = sampling;
    jpeg_start_compress(&encoder, TRUE);
    std::vector<JSAMPLE> row(static_cast<std::size_t>(size * encoder.input_components));
    for (int y = 0; y != size; ++y) {
        for (std::size_t i = 0; i != row.size(); ++i)
            row[i] = static_cast<JSAMPLE>(64 + y + static_cast<int>(i) % encoder.input_components * 40);
        JSAMPROW rows[] = {row.data()};
        jpeg_write_scanlines(&encoder, rows, 1);
    }
    jpeg_finish_compress(&encoder);
    auto const view = std::as_bytes(std::span(bytes, length));
    Bytes const file(view.begin(), view.end());
    jpeg_destroy_compress(&encoder);
    std::free(bytes);
    return file;
}

// TIFF 6.0, section 22: a whole JPEG file stands in the TIFF file, and a field says where. No library writes that.
Bytes WrapOldJpeg(Bytes const& jpeg, int size, int photometric, int samples, int sampling) {
    struct Field {
        int tag, type, count, value;
    };
    int const count = samples == 3 ? 15 : 14;
    int const bitsOffset = 10 + count * 12 + 4, offset = bitsOffset + 6;
    auto const length = static_cast<int>(jpeg.size());
    std::vector<Field> fields{{256, 3, 1, size},
                              {257, 3, 1, size},
                              {258, 3, samples, samples == 3 ? bitsOffset : 8},
                              {259, 3, 1, COMPRESSION_OJPEG},
                              {262, 3, 1, photometric},
                              {273, 4, 1, offset},
                              {277, 3, 1, samples},
                              {278, 3, 1, size},
                              {279, 4, 1, length},
                              {284, 3, 1, 1},
                              {296, 3, 1, 2},
                              {512, 3, 1, 1},
                              {513, 4, 1, offset},
                              {514, 4, 1, length}};
    if (samples == 3)
        fields.push_back({530, 3, 2, sampling << 16 | sampling});
    Bytes file = MakeBytes({'I', 'I', 42, 0, 8, 0, 0, 0, count, 0});
    auto const append = [&](int value, int bytes) {
        for (int i = 0; i != bytes; ++i)
            file.push_back(static_cast<std::byte>(value >> 8 * i));
    };
    for (auto const& field : fields) {
        append(field.tag, 2);
        append(field.type, 2);
        append(field.count, 4);
        append(field.value, 4);
    }
    append(0, 4);
    for (int i = 0; i != 3; ++i)
        append(8, 2);
    file.insert(file.end(), jpeg.begin(), jpeg.end());
    return file;
}

TEST(CodecTiff, ReadsJpegOfTheOldKind) {
    constexpr int c_size = 40;
    struct Case {
        J_COLOR_SPACE space;
        int photometric, samples, sampling;
    };
    for (auto const& [space, photometric, samples, sampling] :
         {Case{JCS_RGB, PHOTOMETRIC_YCBCR, 3, 1}, Case{JCS_RGB, PHOTOMETRIC_YCBCR, 3, 2},
          Case{JCS_GRAYSCALE, PHOTOMETRIC_MINISBLACK, 1, 1}}) {
        auto const jpeg = MakeJpeg(c_size, space, sampling);
        auto const file = WrapOldJpeg(jpeg, c_size, photometric, samples, sampling);
        auto const image = DecodeImage(file);
        auto const expected = DecodeImage(jpeg);
        EXPECT_EQ(image.info.colourModel, expected.info.colourModel);
        ASSERT_EQ(image.samples.size(), expected.samples.size());
        for (std::size_t i = 0; i != image.samples.size(); ++i)
            ASSERT_NEAR(std::to_integer<int>(image.samples[i]), std::to_integer<int>(expected.samples[i]), 3) << i;
        // A part of the pixels is refused, not made grey, and nothing that is wrong does harm.
        for (std::size_t size = file.size() - jpeg.size() / 3; size > 100; size -= 37)
            EXPECT_NE(GetFailure(Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size))), "") << size;
        std::mt19937 random(7);
        for (int i = 0; i != 500; ++i) {
            auto damaged = file;
            damaged[random() % damaged.size()] = static_cast<std::byte>(random());
            GetFailure(damaged);
        }
    }
}

TEST(CodecTiff, CountsTheOtherPages) {
    RawTiff raw;
    raw.width = raw.height = 2;
    raw.rows = MakeBytes({1, 2, 3, 4});
    raw.pages = 5;
    auto file = raw.Write();
    auto const image = DecodeImage(file);
    EXPECT_EQ(image.info.otherPages, 4u);
    EXPECT_EQ(image.samples, raw.rows);
    // The first directory's successor becomes itself.
    raw.pages = 1;
    raw.mode = "wl";
    file = raw.Write();
    auto const get = [&](std::size_t offset) {
        return std::to_integer<std::size_t>(file[offset]) | std::to_integer<std::size_t>(file[offset + 1]) << 8;
    };
    auto const directory = get(4);
    auto const next = directory + 2 + 12 * get(directory);
    file[next] = static_cast<std::byte>(directory);
    file[next + 1] = static_cast<std::byte>(directory >> 8);
    EXPECT_EQ(DecodeImage(file).info.otherPages, 0u);
}

TEST(CodecTiff, SurvivesTruncationsAndFlippedBits) {
    testing::internal::CaptureStderr();
    auto const info = MakeInfo(20, 20, ColourModel::RGB, true, SampleFormat::Integer8);
    auto const samples = MakeSamples(info, 1);
    RawTiff raw;
    raw.width = raw.height = 20;
    raw.samples = 4;
    raw.photometric = PHOTOMETRIC_RGB;
    raw.rows = samples;
    ImageLimits limits;
    limits.pixels = 1 << 22;
    for (int const compression : {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS}) {
        raw.compression = compression;
        auto const file = raw.Write();
        for (std::size_t size = 1; size != file.size(); ++size) {
            Bytes const part(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
            // The directory stands at the end.
            EXPECT_NE(GetFailure(part, limits), "") << size;
        }
        for (std::size_t i = 0; i != file.size() * 8; ++i) {
            auto damaged = file;
            damaged[i / 8] ^= std::byte{1} << i % 8;
            EXPECT_EQ(GetFailure(damaged, limits).find('\n'), std::string::npos);
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(CodecTiff, RefusesPixelsThatAreCutShort) {
    auto const info = MakeInfo(64, 64, ColourModel::Grey, false, SampleFormat::Integer8);
    for (int const compression : {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE}) {
        RawTiff raw;
        raw.width = raw.height = 64;
        raw.compression = compression;
        raw.mode = "wl";
        raw.rows = MakeSamples(info, 1);
        raw.prepare = [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 64); };
        auto file = raw.Write();
        // Half of what StripByteCounts says.
        auto const get = [&](std::size_t offset, std::size_t size) {
            std::size_t value = 0;
            for (std::size_t i = 0; i != size; ++i)
                value |= std::to_integer<std::size_t>(file[offset + i]) << (8 * i);
            return value;
        };
        auto const directory = get(4, 4);
        bool isFound = false;
        for (std::size_t i = 0; i != get(directory, 2); ++i) {
            auto const entry = directory + 2 + 12 * i;
            if (get(entry, 2) != TIFFTAG_STRIPBYTECOUNTS)
                continue;
            isFound = true;
            auto const half = get(entry + 8, 4) / 2;
            for (std::size_t k = 0; k != 4; ++k)
                file[entry + 8 + k] = static_cast<std::byte>(half >> (8 * k));
        }
        ASSERT_TRUE(isFound);
        if (compression != COMPRESSION_NONE) {
            EXPECT_NE(GetFailure(file), "") << compression;
        }
    }
}

TEST(CodecTiff, RefusesSizesThatTheFileCannotHoldBeforeTheReceiverBegins) {
    RawTiff raw;
    raw.width = raw.height = 16;
    raw.rows = Bytes(256);
    raw.mode = "wl";
    for (int const compression :
         {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_CCITTFAX4}) {
        raw.compression = compression;
        raw.bits = compression == COMPRESSION_CCITTFAX4 ? 1 : 8;
        raw.rows = Bytes(raw.bits == 1 ? 32 : 256);
        auto const file = raw.Write();
        for (std::uint32_t const size : {0U, 20000U, 65536U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
            auto forged = file;
            auto const get = [&](std::size_t offset) {
                return std::to_integer<std::size_t>(forged[offset]) | std::to_integer<std::size_t>(forged[offset + 1])
                                                                          << 8;
            };
            auto const directory = get(4);
            for (std::size_t i = 0; i != get(directory); ++i) {
                auto const entry = directory + 2 + 12 * i;
                auto const tag = get(entry);
                if (tag != TIFFTAG_IMAGEWIDTH && tag != TIFFTAG_IMAGELENGTH)
                    continue;
                forged[entry + 2] = std::byte{4};
                for (std::size_t k = 0; k != 4; ++k)
                    forged[entry + 8 + k] = static_cast<std::byte>(size >> (8 * k));
            }
            RowCounter counter;
            EXPECT_THROW(DecodeImage(forged, counter), Kernel::Exception);
            EXPECT_EQ(counter.begun, 0u) << size;
        }
    }
}

} // namespace
} // namespace Raster
