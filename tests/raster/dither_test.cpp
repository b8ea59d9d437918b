// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/conversion.h"
#include "platform/raster/hardware.h"
#include "raster/error_diffusion.h"
#include "raster/raster_web_safe_dither_command.h"
#include "raster/web_safe_dither.h"
#include "tests/raster/layer_fixture.h"

namespace {

using namespace Commands;
using Judge::Params;
using Judge::Planes;
using RGBA16 = Raster::FormatTraits<Raster::FormatRGBA16>;

// The steps as they are told, on a flat copy of the rectangle; every palette entry is looked at for every pixel.
void Dither(Planes<RGBA16>& planes, Kernel::RectT<int> const& rect) {
    std::vector<std::array<int, 4>> palette;
    for (int r = 0; r <= 255; r += 51) {
        for (int g = 0; g <= 255; g += 51) {
            for (int b = 0; b <= 255; b += 51)
                palette.push_back({r * 257, g * 257, b * 257, 65535});
        }
    }
    palette.push_back({0, 0, 0, 0});
    auto const pixelAt = [&](int x, int y, int c) -> std::uint16_t& { return planes.At(c, x, y); };
    for (int y = rect.top; y < rect.bottom; ++y) {
        for (int x = rect.left; x < rect.right; ++x) {
            std::size_t best = palette.size() - 1;
            if (pixelAt(x, y, 3) == 65535) {
                float similarity = 0;
                for (std::size_t i = 0; i != palette.size(); ++i) {
                    float d = 1;
                    if (palette[i][3] != 0) {
                        float const scale = 1.5259022e-5f;
                        float const r = static_cast<float>(pixelAt(x, y, 0) - palette[i][0]) * scale;
                        float const g = static_cast<float>(pixelAt(x, y, 1) - palette[i][1]) * scale;
                        float const b = static_cast<float>(pixelAt(x, y, 2) - palette[i][2]) * scale;
                        d = std::sqrt((r * r + g * g + b * b) / 3.0f);
                    }
                    if (1.0f - d >= similarity) {
                        similarity = 1.0f - d;
                        best = i;
                    }
                }
            }
            float error[4];
            for (int c = 0; c != 4; ++c) {
                error[c] = static_cast<float>(pixelAt(x, y, c) - palette[best][static_cast<std::size_t>(c)]);
                pixelAt(x, y, c) = static_cast<std::uint16_t>(palette[best][static_cast<std::size_t>(c)]);
            }
            if (palette[best][3] == 0 || std::abs(error[0] + error[1] + error[2] + error[3]) <= 1e-6f)
                continue;
            struct {
                int x, y;
                float share;
            } const neighbours[] = {
                {x + 1, y, 7 * 0.0625f}, {x - 1, y + 1, 3 * 0.0625f}, {x, y + 1, 5 * 0.0625f}, {x + 1, y + 1, 0.0625f}};
            for (auto const& n : neighbours) {
                if (!rect.Contains({n.x, n.y}))
                    continue;
                for (int c = 0; c != 4; ++c) {
                    float const v = std::trunc(n.share * error[c] + static_cast<float>(pixelAt(n.x, n.y, c)));
                    pixelAt(n.x, n.y, c) = static_cast<std::uint16_t>(std::clamp(v, 0.0f, 65535.0f));
                }
            }
        }
    }
}

// A picture that is mostly opaque, with everything between in it too.
template <class Traits>
Kernel::Counted<Raster::DynamicBitmap> MostlyOpaque(int width, int height, unsigned seed) {
    auto const bitmap = Judge::RandomBitmap<Traits>(width, height, seed);
    Planes<Traits> planes(*bitmap);
    std::mt19937 random(seed);
    for (auto& alpha : planes.samples[Traits::c_alphaIndex])
        alpha = random() % 16 == 0 ? alpha : Traits::c_maximum;
    planes.Store(*bitmap);
    return bitmap;
}

template <class Traits>
Planes<Traits> Expect(Planes<Traits> const& before, Kernel::RectT<int> const& rect) {
    Raster::DynamicBitmap layer(before.width, before.height, Traits::c_format);
    before.Store(layer);
    auto const wide = Raster::ConvertBitmap(
        *layer.GetBase(), *Raster::PixelConverter::MakePlain(Traits::c_format, Raster::FormatRGBA16), nullptr);
    Raster::DynamicBitmap working(wide);
    Planes<RGBA16> planes(working);
    Dither(planes, rect);
    planes.Store(working);
    return Planes<Traits>(Raster::DynamicBitmap(Raster::ConvertBitmap(
        *working.GetBase(), *Raster::PixelConverter::MakePlain(Raster::FormatRGBA16, Traits::c_format), nullptr)));
}

template <class Traits>
class DitherEveryFormat : public testing::Test {};
TYPED_TEST_SUITE(DitherEveryFormat, Formats);

TYPED_TEST(DitherEveryFormat, EqualsTheRuleWhateverChannelsAreSwitchedOff) {
    Kernel::SizeT<int> const sizes[] = {{1, 1}, {301, 43}, {37, 280}};
    for (auto const& size : sizes) {
        for (int const channels : {-1, 1}) {
            LayerDocument document(MostlyOpaque<TypeParam>(size.width, size.height, 3));
            document.controller->SetChannelMask(channels);
            auto const before = document.Read<TypeParam>();
            document.controller->Run(Kernel::MakeCounted<RasterWebSafeDitherCommand>());
            EXPECT_EQ(
                0u, Judge::CountDifferent(Expect(before, {0, 0, size.width, size.height}), document.Read<TypeParam>()));
            document.controller->Undo();
            EXPECT_EQ(0u, Judge::CountDifferent(before, document.Read<TypeParam>()));
        }
    }
}

TYPED_TEST(DitherEveryFormat, WorksOnTheSelectionsBoxAndBlendsThroughTheMask) {
    using MaskTraits = Raster::FormatTraits<TypeParam::c_maskFormat>;
    Params const layerTransform{1, 0, 30, 0, 1, 10}, maskTransform{1, 0, 75, 0, 1, 40};
    LayerDocument document(MostlyOpaque<TypeParam>(290, 130, 6), layerTransform);
    auto const mask = MakeSoftMask<MaskTraits>(120, 95, 5);
    document.controller->SetRasterSelection(SelectionRasterNode::CreateMask(mask, maskTransform));
    Planes<MaskTraits> const maskPlanes(*mask);
    auto expected = document.Read<TypeParam>();
    // The mask has two columns and rows of nothing at its edges.
    Kernel::RectT<int> const box{47, 32, 163, 123};
    Judge::Merge(expected, Expect(expected, box), box, -1,
                 [&](int x, int y) { return Judge::ReadMask(maskPlanes, maskTransform, layerTransform, x, y); });
    document.controller->Run(Kernel::MakeCounted<RasterWebSafeDitherCommand>());
    EXPECT_EQ(0u, Judge::CountDifferent(expected, document.Read<TypeParam>()));
}

TEST(Dither, ClearsWhatIsNotWhollyOpaqueAndSpreadsNothingFromIt) {
    LayerDocument document(Kernel::MakeCounted<Raster::DynamicBitmap>(3, 1, Raster::FormatRGBA16));
    std::uint16_t const pixels[] = {30000, 20000, 10000, 65534, 13107, 0, 65535, 65535, 1, 2, 3, 0};
    document.layer->GetMutableBitmap()->WritePixels({0, 0, 3, 1}, pixels, sizeof pixels);
    document.controller->Run(Kernel::MakeCounted<RasterWebSafeDitherCommand>());
    std::uint16_t result[12];
    document.layer->GetBitmap()->ReadPixels({0, 0, 3, 1}, result, sizeof result);
    std::uint16_t const expected[] = {0, 0, 0, 0, 13107, 0, 65535, 65535, 0, 0, 0, 0};
    for (int i = 0; i != 12; ++i)
        EXPECT_EQ(expected[i], result[i]) << i;
}

// One column has a neighbour below and none beside it: of each error five sixteenths go down, and the rest is lost.
TEST(Dither, SpreadsNothingBeyondTheLastColumnAndTheLastRow) {
    constexpr int c_height = 300;
    std::vector<std::uint16_t> pixels;
    for (int y = 0; y != c_height; ++y) {
        auto const grey = static_cast<std::uint16_t>(6553 + y * 37 % 2000);
        pixels.insert(pixels.end(), {grey, grey, grey, 65535});
    }
    std::vector<int> expected;
    std::size_t dark = 0;
    float carried = 0;
    for (int y = 0; y != c_height; ++y) {
        int const value = static_cast<int>(static_cast<float>(pixels[static_cast<std::size_t>(y) * 4]) + carried);
        // The two darkest greys of the palette; the nearer one, and the later one halfway.
        expected.push_back(value >= 6554 ? 13107 : 0);
        dark += expected.back() != 0;
        carried = static_cast<float>(value - expected.back()) * 0.3125f;
    }
    ASSERT_GT(dark, 60u);
    ASSERT_LT(dark, 240u);
    for (unsigned threads = 1; threads != 4; ++threads) {
        ThreadCount const scope(threads);
        LayerDocument document(Kernel::MakeCounted<Raster::DynamicBitmap>(1, c_height, Raster::FormatRGBA16));
        document.layer->GetMutableBitmap()->WritePixels({0, 0, 1, c_height}, pixels.data(), 8);
        document.controller->Run(Kernel::MakeCounted<RasterWebSafeDitherCommand>());
        auto const result = document.Read<RGBA16>();
        for (int y = 0; y != c_height; ++y)
            ASSERT_EQ(expected[static_cast<std::size_t>(y)], result.At(0, 0, y)) << y;
    }
}

TEST(Dither, SpreadsNothingOutOfTheRectangle) {
    Kernel::RectT<int> const rect{10, 7, 150, 31};
    auto expected = Planes<RGBA16>(*MostlyOpaque<RGBA16>(170, 40, 4));
    Dither(expected, rect);
    for (unsigned threads = 1; threads != 4; ++threads) {
        ThreadCount const scope(threads);
        auto const bitmap = MostlyOpaque<RGBA16>(170, 40, 4);
        Raster::DynamicPalette palette;
        palette.AddWebSafeColours();
        palette.AddColour(Raster::DynamicPixel(Raster::FormatRGBA8), true);
        DiffuseErrors(bitmap->AsMutable<RGBA16::BitmapType>(), rect, palette, nullptr);
        EXPECT_EQ(0u, Judge::CountDifferent(expected, Planes<RGBA16>(*bitmap))) << threads;
    }
}

// The working copy loses nothing: only the diffusion changes pixels, and only in the region.
TEST(WebSafeDither, MergesTheRegionBackAsItIsUntilItIsDiffused) {
    Kernel::RectT<int> const region{20, 10, 90, 50};
    LayerDocument document(MostlyOpaque<RGBA16>(120, 60, 9));
    auto expected = document.Read<RGBA16>();
    WebSafeDither dither(*document.layer->GetBitmap(), region);
    dither.MergeInto(*document.controller, *document.layer);
    EXPECT_EQ(0u, Judge::CountDifferent(expected, document.Read<RGBA16>()));
    dither.Diffuse();
    EXPECT_EQ(0u, Judge::CountDifferent(expected, document.Read<RGBA16>())) << "nothing is merged yet";
    dither.MergeInto(*document.controller, *document.layer);
    Dither(expected, region);
    EXPECT_EQ(0u, Judge::CountDifferent(expected, document.Read<RGBA16>()));
}

TEST(Dither, OfAFloatLayerLosesWhatIsBeyondOne) {
    LayerDocument document(Kernel::MakeCounted<Raster::DynamicBitmap>(1, 1, Raster::FormatRGBAF));
    float const pixel[] = {7.5f, 1.0f, -3.0f, 1.0f};
    document.layer->GetMutableBitmap()->WritePixels({0, 0, 1, 1}, pixel, sizeof pixel);
    document.controller->Run(Kernel::MakeCounted<RasterWebSafeDitherCommand>());
    float result[4];
    document.layer->GetBitmap()->ReadPixels({0, 0, 1, 1}, result, sizeof result);
    EXPECT_EQ(1.0f, result[0]);
    EXPECT_EQ(1.0f, result[1]);
    EXPECT_EQ(0.0f, result[2]);
}

// No device dithers, and each run that none took counts. The merge behind the dither is a run of its own.
TEST(Dither, CountsAsRefused) {
    using Devices = Raster::Hardware<Raster::DefaultImplementation>;
    LayerDocument document(Judge::RandomBitmap<RGBA16>(300, 20, 5));
    auto const refusedBefore = Devices::GetFailedKernels();
    document.controller->Run(Kernel::MakeCounted<RasterWebSafeDitherCommand>());
    EXPECT_EQ(refusedBefore + 2, Devices::GetFailedKernels());
}

TEST(Dither, OnSeveralThreadsEqualsTheRule) {
    for (Kernel::SizeT<int> const size : {Kernel::SizeT<int>{700, 90}, {3, 200}, {1, 60}, {129, 2}, {130, 40}}) {
        auto const before = Planes<RGBA16>(*MostlyOpaque<RGBA16>(size.width, size.height, 9));
        auto expected = before;
        Dither(expected, {0, 0, size.width, size.height});
        for (unsigned threads = 1; threads <= 5; ++threads) {
            ThreadCount const scope(threads);
            auto const bitmap = MostlyOpaque<RGBA16>(size.width, size.height, 9);
            Raster::DynamicPalette palette;
            palette.AddWebSafeColours();
            palette.AddColour(Raster::DynamicPixel(Raster::FormatRGBA8), true);
            DiffuseErrors(bitmap->AsMutable<RGBA16::BitmapType>(), {0, 0, size.width, size.height}, palette, nullptr);
            EXPECT_EQ(0u, Judge::CountDifferent(expected, Planes<RGBA16>(*bitmap))) << threads;
        }
    }
}

TEST(Dither, StopsAtARowWhenItIsAborted) {
    auto const bitmap = MostlyOpaque<RGBA16>(40, 30, 5);
    auto const before = Planes<RGBA16>(*bitmap);
    Raster::DynamicPalette palette;
    palette.AddWebSafeColours();
    bool abort = true;
    DiffuseErrors(bitmap->AsMutable<RGBA16::BitmapType>(), {0, 0, 40, 30}, palette, &abort);
    EXPECT_EQ(0u, Judge::CountDifferent(before, Planes<RGBA16>(*bitmap)));
}

TEST(PaletteMatcher, EqualsTheRuleForEveryPalette) {
    std::mt19937 random(11);
    for (int round = 0; round != 60; ++round) {
        Raster::DynamicPalette palette;
        if (round % 3 == 0)
            palette.AddWebSafeColours();
        auto const count = random() % 40;
        for (unsigned i = 0; i != count; ++i) {
            Raster::Pixel<Raster::Red16, Raster::Green16, Raster::Blue16, Raster::Alpha16, Raster::X5> colour;
            // Colours that hardly differ, so that similarities are equal.
            for (auto& sample : colour.samples)
                sample = static_cast<std::uint16_t>(random() % 8 * (round % 2 == 0 ? 1 : 9000));
            palette.AddColour(Raster::DynamicPixel(colour), i == 5 && round % 4 == 1);
        }
        PaletteMatcher const matcher(palette);
        for (int i = 0; i != 2000; ++i) {
            DiffusedPixel pixel;
            for (auto& v : pixel)
                v = static_cast<float>(random() % (i % 2 == 0 ? 65536 : 12));
            pixel[3] = i % 5 == 0 ? pixel[3] : 65535.0f;
            auto const expected = MatchColour(palette, pixel);
            ASSERT_EQ(expected ? static_cast<int>(*expected) : -1, matcher.Match(pixel)) << round << ", " << i;
        }
    }
}

// Between two levels, between three and in the middle of four, and a step or two beside it.
TEST(PaletteMatcher, EqualsTheRuleWhereWebSafeColoursAreEquallyNear) {
    Raster::DynamicPalette palette;
    palette.AddWebSafeColours();
    PaletteMatcher const matcher(palette);
    std::mt19937 random(3);
    for (int i = 0; i != 60000; ++i) {
        DiffusedPixel pixel{0, 0, 0, 65535};
        for (std::size_t c = 0; c != 3; ++c) {
            int const middle = 13107 * static_cast<int>(random() % 5) + 6553;
            bool const isBetween = random() % 2 == 0;
            pixel[c] = static_cast<float>(isBetween ? middle + static_cast<int>(random() % 4) - 1
                                                    : static_cast<int>(random() % 65536));
        }
        auto const expected = MatchColour(palette, pixel);
        ASSERT_EQ(expected ? static_cast<int>(*expected) : -1, matcher.Match(pixel)) << i;
    }
}

} // namespace
