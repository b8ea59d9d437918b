// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/bitmap_image.h"

#include "platform/kernel/exception.h"
#include "tests/engine/raster/samples.h"

#include <gtest/gtest.h>

namespace Raster {
namespace {

DecodedImage MakeImage(ColourModel model, bool hasAlpha, SampleFormat sampleFormat, int width, int height) {
    DecodedImage image;
    image.info.width = static_cast<std::uint32_t>(width);
    image.info.height = static_cast<std::uint32_t>(height);
    image.info.colourModel = model;
    image.info.hasAlpha = hasAlpha;
    image.info.sampleFormat = sampleFormat;
    image.samples.resize(image.info.GetRowBytes() * image.info.height);
    std::mt19937 random(61);
    if (sampleFormat == SampleFormat::Float32) {
        for (std::size_t i = 0; i != image.samples.size(); i += 4) {
            float const sample = static_cast<float>(random() % 1000) / 900.0f;
            std::memcpy(&image.samples[i], &sample, 4);
        }
    } else {
        for (auto& byte : image.samples)
            byte = static_cast<std::byte>(random());
    }
    return image;
}

// A sample of the image between 0 and 1.
double GetUnit(DecodedImage const& image, int x, int y, std::size_t channel) {
    auto const at =
        static_cast<std::size_t>(y) * image.info.GetRowBytes() +
        (static_cast<std::size_t>(x) * image.info.GetChannelCount() + channel) * image.info.GetSampleBytes();
    switch (image.info.sampleFormat) {
    case SampleFormat::Integer8:
        return std::to_integer<int>(image.samples[at]) / 255.0;
    case SampleFormat::Integer16: {
        std::uint16_t sample;
        std::memcpy(&sample, &image.samples[at], 2);
        return sample / 65535.0;
    }
    case SampleFormat::Float32:
        break;
    }
    float sample;
    std::memcpy(&sample, &image.samples[at], 4);
    return static_cast<double>(sample);
}

TEST(BitmapFromImage, TakesTheNearestFormatAndKeepsTheSamples) {
    struct Row {
        ColourModel model;
        SampleFormat samples;
        Format format;
    };
    for (Row const& row : {Row{ColourModel::Grey, SampleFormat::Integer8, FormatIA8},
                           Row{ColourModel::Grey, SampleFormat::Integer16, FormatIA16},
                           Row{ColourModel::Grey, SampleFormat::Float32, FormatRGBAF},
                           Row{ColourModel::RGB, SampleFormat::Integer8, FormatRGBA8},
                           Row{ColourModel::RGB, SampleFormat::Integer16, FormatRGBA16},
                           Row{ColourModel::RGB, SampleFormat::Float32, FormatRGBAF},
                           Row{ColourModel::CMYK, SampleFormat::Integer8, FormatCMYKA8},
                           Row{ColourModel::CMYK, SampleFormat::Integer16, FormatCMYKA8},
                           Row{ColourModel::Lab, SampleFormat::Integer8, FormatLABA16},
                           Row{ColourModel::Lab, SampleFormat::Integer16, FormatLABA16}}) {
        for (bool const hasAlpha : {false, true}) {
            auto const image = MakeImage(row.model, hasAlpha, row.samples, 300, 520);
            auto const bitmap = MakeBitmapFromImage(image);
            ASSERT_EQ(bitmap->GetFormat(), row.format);
            FormatInfo const info = GetFormatInfo(row.format);
            double const scale = info.isFloat ? 1 : info.sampleBytes == 1 ? 255 : 65535;
            std::size_t const colours = image.info.GetChannelCount() - hasAlpha;
            for (auto [x, y] : {std::pair{0, 0}, {299, 519}, {255, 256}, {256, 255}, {17, 511}}) {
                DynamicPixel const pixel = bitmap->GetBase()->GetPixel(x, y);
                for (int c = 0; c != info.channelCount - 1; ++c)
                    EXPECT_NEAR(pixel.GetSample(c),
                                GetUnit(image, x, y, std::min(static_cast<std::size_t>(c), colours - 1)) * scale,
                                info.isFloat ? 1e-6 : 0.500001);
                EXPECT_NEAR(pixel.GetSample(info.channelCount - 1),
                            hasAlpha ? GetUnit(image, x, y, colours) * scale : scale, info.isFloat ? 1e-6 : 0.500001);
            }
        }
    }
}

TEST(BitmapFromImage, StandsUprightWhateverTheOrientation) {
    // Where the stored pixel (x, y) of an image of w x h belongs: TIFF 6.0, section 8.
    using Place = Kernel::PointT<int> (*)(int x, int y, int w, int h);
    Place const places[] = {[](int x, int y, int, int) {
                                return Kernel::PointT<int>{x, y};
                            },
                            [](int x, int y, int w, int) {
                                return Kernel::PointT<int>{w - 1 - x, y};
                            },
                            [](int x, int y, int w, int h) {
                                return Kernel::PointT<int>{w - 1 - x, h - 1 - y};
                            },
                            [](int x, int y, int, int h) {
                                return Kernel::PointT<int>{x, h - 1 - y};
                            },
                            [](int x, int y, int, int) {
                                return Kernel::PointT<int>{y, x};
                            },
                            [](int x, int y, int, int h) {
                                return Kernel::PointT<int>{h - 1 - y, x};
                            },
                            [](int x, int y, int w, int h) {
                                return Kernel::PointT<int>{h - 1 - y, w - 1 - x};
                            },
                            [](int x, int y, int w, int) {
                                return Kernel::PointT<int>{y, w - 1 - x};
                            }};
    int const w = 30, h = 600;
    for (int orientation = 1; orientation <= 8; ++orientation) {
        auto image = MakeImage(ColourModel::Grey, true, SampleFormat::Integer8, w, h);
        image.info.orientation = static_cast<Orientation>(orientation);
        auto const bitmap = MakeBitmapFromImage(image);
        ASSERT_EQ(bitmap->GetSize(), orientation < 5 ? (Kernel::SizeT<int>{w, h}) : (Kernel::SizeT<int>{h, w}));
        for (int y = 0; y != h; ++y) {
            for (int x = 0; x < w; x += 7) {
                auto const place = places[orientation - 1](x, y, w, h);
                ASSERT_NEAR(bitmap->GetBase()->GetPixel(place.x, place.y).GetSample(0), GetUnit(image, x, y, 0) * 255,
                            1e-6)
                    << orientation << ": " << x << ", " << y;
            }
        }
    }
}

TEST(BitmapFromImage, CarriesTheProfileThatTheFileHasOrMeans) {
    auto& manager = ICCManager::GetInstance();
    auto image = MakeImage(ColourModel::RGB, false, SampleFormat::Integer8, 3, 3);
    EXPECT_FALSE(MakeBitmapFromImage(image)->GetProfile());
    auto const srgb = manager.GetDefaultProfile(ColourModel::RGB)->GetData();
    image.info.iccProfile.assign(srgb.begin(), srgb.end());
    EXPECT_EQ(MakeBitmapFromImage(image)->GetProfile(), manager.GetDefaultProfile(ColourModel::RGB));

    // Not for these colours, and no profile at all.
    auto const grey = manager.GetDefaultProfile(ColourModel::Grey)->GetData();
    image.info.iccProfile.assign(grey.begin(), grey.end());
    EXPECT_FALSE(MakeBitmapFromImage(image)->GetProfile());
    image.info.iccProfile.assign(200, std::byte(1));
    EXPECT_FALSE(MakeBitmapFromImage(image)->GetProfile());

    image.info.iccProfile.clear();
    image.info.encodingGamma = 1 / 1.8;
    auto const gamma = MakeBitmapFromImage(image)->GetProfile();
    ASSERT_TRUE(gamma);
    EXPECT_EQ(MakeBitmapFromImage(image)->GetProfile(), gamma);
    auto const source = BitmapBase::Create(1, 1, FormatRGBAF);
    source->Clear(MakePixel(FormatRGBAF, {0.5, 0.5, 0.5, 1}));
    auto const linear = std::pow(0.5, 1.8);
    auto const result = ConvertBitmap(*source, *manager.MakeConverter(FormatRGBAF, gamma, FormatRGBAF, {}), nullptr);
    EXPECT_NEAR(result->GetPixel(0, 0).GetSample(1), 1.055 * std::pow(linear, 1 / 2.4) - 0.055, 0.002);
    image.info.chromaticities = std::array<double, 8>{};
    EXPECT_FALSE(MakeBitmapFromImage(image)->GetProfile());
    image.info.chromaticities.reset();
    image.info.encodingGamma = 1e300;
    EXPECT_FALSE(MakeBitmapFromImage(image)->GetProfile());
}

TEST(BitmapFromImage, RefusesImagesThatAreNotWhole) {
    auto image = MakeImage(ColourModel::RGB, false, SampleFormat::Integer8, 3, 3);
    image.samples.pop_back();
    EXPECT_THROW(MakeBitmapFromImage(image), Kernel::Exception);
    BitmapReceiver receiver;
    EXPECT_THROW(receiver.Finish(), Kernel::Exception);
    ImageInfo info;
    EXPECT_THROW(receiver.Begin(info), Kernel::Exception);
    info.width = 0xFFFFFFFF;
    info.height = 1;
    EXPECT_THROW(receiver.Begin(info), Kernel::Exception);
}

// The widest difference between two bitmaps' samples.
double GetWidestDifference(BitmapBase const& a, BitmapBase const& b) {
    double widest = 0;
    for (int y = 0; y < a.GetHeight(); y += 3) {
        for (int x = 0; x < a.GetWidth(); x += 3) {
            for (int c = 0; c != a.GetInfo().channelCount; ++c)
                widest = std::max(widest, std::abs(a.GetPixel(x, y).GetSample(c) - b.GetPixel(x, y).GetSample(c)));
        }
    }
    return widest;
}

TEST(EncodeBitmap, FilesComeBackAsTheBitmap) {
    for (Format const format : AllFormats()) {
        for (auto const type : {ImageFileType::Png, ImageFileType::Tiff}) {
            DynamicBitmap const bitmap(MakeNoiseBitmap(format, 270, 20, 62));
            std::vector<std::byte> file;
            EncodeBitmap(bitmap, {.type = type, .dpiX = 300, .dpiY = 300}, [&file](std::span<std::byte const> bytes) {
                file.insert(file.end(), bytes.begin(), bytes.end());
            });
            BitmapReceiver receiver;
            DecodeImage(file, receiver);
            EXPECT_EQ(receiver.GetInfo().dpiX, 300);
            auto const back = receiver.Finish();
            FormatInfo const info = GetFormatInfo(format);
            if (info.colourModel == ColourModel::AlphaOnly) {
                EXPECT_EQ(back->GetFormat(), info.sampleBytes == 1 ? FormatIA8 : FormatIA16);
            } else if (format == FormatLABA16 && type == ImageFileType::Tiff) {
                // TIFF's opponents count in steps of 1 / 256, the ICC's in steps of 1 / 257.
                EXPECT_LE(GetWidestDifference(*back->GetBase(), *bitmap.GetBase()), 1);
            } else if (type == ImageFileType::Tiff || info.colourModel == ColourModel::Grey || format == FormatRGBA8 ||
                       format == FormatRGBA16) {
                EXPECT_TRUE(back->GetBase()->HasEqualPixels(*bitmap.GetBase()))
                    << GetFormatName(format) << (type == ImageFileType::Png ? " PNG" : " TIFF");
            } else {
                EXPECT_EQ(back->GetFormat(), format == FormatCMYKA8 ? FormatRGBA8 : FormatRGBA16);
            }
        }
    }
    EXPECT_THROW(EncodeBitmap(DynamicBitmap(), {}, [](auto) {}), Kernel::Exception);
}

TEST(EncodeBitmap, LeavesOutAlphaThatIsFullEverywhere) {
    for (Format const format : AllFormats()) {
        FormatInfo const format_ = GetFormatInfo(format);
        if (format_.colourModel == ColourModel::AlphaOnly)
            continue;
        auto const pixels = MakeNoiseBitmap(format, 270, 260, 63);
        for (bool const isOpaque : {true, false}) {
            pixels->GetPlane(format_.channelCount - 1)
                .FillSamples(pixels->GetBounds(), format_.isFloat            ? std::bit_cast<std::uint32_t>(1.0f)
                                                  : format_.sampleBytes == 1 ? 0xFF
                                                                             : 0xFFFF);
            // One sample of the last tile.
            if (!isOpaque)
                pixels->GetPlane(format_.channelCount - 1).FillSamples({269, 259, 270, 260}, 0);
            std::vector<std::byte> file;
            EncodeBitmap(
                DynamicBitmap(pixels), {.type = ImageFileType::Tiff, .dropOpaqueAlpha = true},
                [&file](std::span<std::byte const> bytes) { file.insert(file.end(), bytes.begin(), bytes.end()); });
            BitmapReceiver receiver;
            DecodeImage(file, receiver);
            EXPECT_EQ(receiver.GetInfo().hasAlpha, !isOpaque) << GetFormatName(format);
            EXPECT_LE(GetWidestDifference(*receiver.Finish()->GetBase(), *pixels), format == FormatLABA16 ? 1 : 0);
        }
    }
}

TEST(EncodeBitmap, EndsWhenItIsAborted) {
    bool const abort = true;
    DynamicBitmap const bitmap(MakeNoiseBitmap(FormatRGBA8, 20, 20, 64));
    for (auto const type : {ImageFileType::Png, ImageFileType::Tiff})
        EXPECT_THROW(EncodeBitmap(bitmap, {.type = type, .abort = &abort}, [](auto) {}), Kernel::AbortException);
}

// Rows that are so long that a tile's height of them is not held at once.
TEST(BitmapReceiver, LongRowsArriveInEveryOrientation) {
    ImageInfo info;
    info.width = 300007;
    info.height = 37;
    info.colourModel = ColourModel::Grey;
    info.sampleFormat = SampleFormat::Integer16;
    std::vector<std::uint16_t> samples(std::size_t{info.width} * info.height);
    std::uint32_t state = 1;
    for (std::size_t i = 0; i != samples.size(); ++i) {
        // One value from the middle on.
        state = state * 1664525 + 1013904223;
        samples[i] = i % info.width < 150000 ? static_cast<std::uint16_t>(state >> 16) : 4711;
    }
    for (int value = 1; value <= 8; ++value) {
        info.orientation = static_cast<Orientation>(value);
        BitmapReceiver receiver;
        receiver.Begin(info);
        for (std::uint32_t y = 0; y != info.height; ++y)
            receiver.ReceiveRow(y,
                                std::as_bytes(std::span(samples)).subspan(y * info.GetRowBytes(), info.GetRowBytes()));
        auto const bitmap = receiver.Finish();
        auto const& plane = bitmap->GetBase()->GetPlane(0);
        auto const rowBytes = static_cast<std::size_t>(bitmap->GetWidth()) * 2;
        std::vector<std::uint16_t> upright(samples.size());
        plane.ReadSamples(bitmap->GetBase()->GetBounds(), upright.data(), rowBytes);
        int const width = static_cast<int>(info.width), height = static_cast<int>(info.height);
        for (int y = 0; y != height; ++y) {
            for (int x = 0; x < width; x += 101) {
                int const right = width - 1 - x, down = height - 1 - y;
                Kernel::PointT<int> const places[] = {{x, y}, {right, y}, {right, down}, {x, down},
                                                      {y, x}, {down, x},  {down, right}, {y, right}};
                auto const to = places[value - 1];
                auto const at = static_cast<std::size_t>(to.y) * static_cast<std::size_t>(bitmap->GetWidth()) +
                                static_cast<std::size_t>(to.x);
                ASSERT_EQ(upright[at], samples[static_cast<std::size_t>(y) * info.width + static_cast<std::size_t>(x)])
                    << value << ": " << x << "," << y;
            }
        }
    }
}

TEST(BitmapReceiver, TilesOfOneValueTakeNoMemory) {
    for (auto const& [width, height] : {std::pair(2000U, 1500U), std::pair(300007U, 300U), std::pair(300U, 30007U)}) {
        for (int value = 1; value <= 8; ++value) {
            ImageInfo info;
            info.width = width;
            info.height = height;
            info.orientation = static_cast<Orientation>(value);
            auto const before = Tile::GetAllocatedBytes();
            BitmapReceiver receiver;
            receiver.Begin(info);
            std::vector<std::byte> const row(info.GetRowBytes(), std::byte{0x55});
            for (std::uint32_t y = 0; y != info.height; ++y)
                receiver.ReceiveRow(y, row);
            auto const bitmap = receiver.Finish();
            EXPECT_EQ(Tile::GetAllocatedBytes(), before) << width << " x " << height << ", " << value;
            EXPECT_EQ(bitmap->GetBase()->GetPixel(299, 299), bitmap->GetBase()->GetPixel(0, 0));
        }
    }
}

// Where the pixel at x, y comes to stand is what TIFF 6.0 says of the orientations, and EXIF repeats.
TEST(MakeUpright, PutsRowsAndColumnsWhereTheyBelong) {
    constexpr int c_width = 300, c_height = 270;
    for (Format const format : {FormatRGBA8, FormatIA16, FormatCMYKA8, FormatLABA16, FormatRGBAF}) {
        DynamicBitmap const bitmap(MakeNoiseBitmap(format, c_width, c_height, 65));
        for (int value = 1; value <= 8; ++value) {
            auto const orientation = static_cast<Orientation>(value);
            auto const upright = MakeUpright(bitmap, orientation);
            EXPECT_EQ(upright->GetFormat(), format);
            for (auto const& from : std::vector<Kernel::PointT<int>>{{0, 0}, {299, 0}, {0, 269}, {123, 45}}) {
                int const x = from.x, y = from.y;
                int const right = c_width - 1 - x, down = c_height - 1 - y;
                Kernel::PointT<int> const places[] = {{x, y}, {right, y}, {right, down}, {x, down},
                                                      {y, x}, {down, x},  {down, right}, {y, right}};
                auto const to = places[value - 1];
                EXPECT_EQ(upright->GetBase()->GetPixel(to.x, to.y), bitmap.GetBase()->GetPixel(x, y)) << value;
            }
        }
    }
    EXPECT_THROW(MakeUpright(DynamicBitmap(MakeNoiseBitmap(FormatA8, 4, 4, 1)), Orientation::TopRight),
                 Kernel::Exception);
}

} // namespace
} // namespace Raster
