// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/icc_manager.h"
#include "raster/pipeline/convert_pixels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>

namespace {

// The plain rules once more, as formulas on one pixel in doubles.

using Working = std::array<double, 4>;

double FullScale(Raster::Format format) {
    switch (format) {
    case Raster::FormatRGBAF:
        return 1;
    case Raster::FormatRGBA8:
    case Raster::FormatIA8:
    case Raster::FormatCMYKA8:
        return 255;
    default:
        return 65535;
    }
}

Working ToWorking(Raster::DynamicPixel const& pixel, Raster::Format format) {
    double const full = FullScale(format);
    auto const part = [&](int channel) { return pixel.GetSample(channel) / full; };
    switch (format) {
    case Raster::FormatIA8:
    case Raster::FormatIA16:
        return {part(0), part(0), part(0), part(1)};
    case Raster::FormatCMYKA8: {
        auto const light = [&](int ink) { return 1 - std::min(1.0, part(ink) * (1 - part(3)) + part(3)); };
        return {light(0), light(1), light(2), part(4)};
    }
    case Raster::FormatLABA16: {
        std::array<std::uint16_t, 4> from{};
        for (std::size_t i = 0; i != 4; ++i)
            from[i] = static_cast<std::uint16_t>(pixel.GetSample(static_cast<int>(i)));
        std::array<float, 4> to{};
        Raster::ICCManager::GetInstance().DoLABA16ToRGBAFTransform(reinterpret_cast<unsigned char*>(from.data()),
                                                                   reinterpret_cast<unsigned char*>(to.data()), 1);
        return {to[0], to[1], to[2], to[3]};
    }
    default:
        return {part(0), part(1), part(2), part(3)};
    }
}

std::vector<double> FromWorking(Working const& pixel, Raster::Format format) {
    double const full = FullScale(format);
    auto const bound = [](double value) { return std::clamp(value, 0.0, 1.0); };
    auto const [r, g, b, a] = pixel;
    switch (format) {
    case Raster::FormatRGBAF:
        return {r, g, b, a};
    case Raster::FormatIA8:
    case Raster::FormatIA16:
        return {full * bound(r * 0.299 + g * 0.587 + b * 0.114), full * bound(a)};
    case Raster::FormatCMYKA8: {
        double const light[3] = {bound(r), bound(g), bound(b)};
        double const black = std::min({1 - light[0], 1 - light[1], 1 - light[2]});
        std::vector<double> inks;
        for (double const channel : light)
            inks.push_back(black < 1 ? full * (1 - channel - black) / (1 - black) : 0);
        inks.push_back(full * black);
        inks.push_back(full * bound(a));
        return inks;
    }
    case Raster::FormatLABA16: {
        std::array<float, 4> from{};
        for (std::size_t i = 0; i != 4; ++i)
            from[i] = static_cast<float>(pixel[i]);
        std::array<std::uint16_t, 4> to{};
        Raster::ICCManager::GetInstance().DoRGBAFToLABA16Transform(reinterpret_cast<unsigned char*>(from.data()),
                                                                   reinterpret_cast<unsigned char*>(to.data()), 1);
        return {double(to[0]), double(to[1]), double(to[2]), double(to[3])};
    }
    default:
        return {full * bound(r), full * bound(g), full * bound(b), full * bound(a)};
    }
}

constexpr int c_side = 20;

// Both ends of the scale as well.
template <class Sample>
void FillRandomly(Raster::DynamicBitmap& bitmap, double full, std::mt19937& random) {
    auto const count = static_cast<std::size_t>(Raster::GetFormatInfo(bitmap.GetFormat()).channelCount);
    std::vector<Sample> samples(c_side * c_side * count);
    for (auto& sample : samples) {
        double const part = std::clamp(std::uniform_real_distribution<>(-0.15, 1.15)(random), 0.0, 1.0);
        sample = static_cast<Sample>(full == 1 ? part : std::round(part * full));
    }
    bitmap.WritePixels({0, 0, c_side, c_side}, samples.data(), c_side * count * sizeof(Sample));
}

Kernel::Counted<Raster::DynamicBitmap> MakeRandom(Raster::Format format) {
    auto const bitmap = Kernel::MakeCounted<Raster::DynamicBitmap>(c_side, c_side, format);
    std::mt19937 random(5);
    double const full = FullScale(format);
    if (full == 1)
        FillRandomly<float>(*bitmap, full, random);
    else if (full == 255)
        FillRandomly<std::uint8_t>(*bitmap, full, random);
    else
        FillRandomly<std::uint16_t>(*bitmap, full, random);
    return bitmap;
}

class ConvertPairs : public testing::TestWithParam<std::tuple<Raster::Format, Raster::Format>> {};

TEST_P(ConvertPairs, RandomPixelsFollowTheFormulas) {
    auto const [from, to] = GetParam();
    auto const source = MakeRandom(from);
    auto const target = Kernel::MakeCounted<Raster::DynamicBitmap>(c_side, c_side, to);
    Commands::ConvertPixelsInto(*target, *source);
    if (from == to) {
        EXPECT_TRUE(target->GetBase()->HasEqualPixels(*source->GetBase()));
        return;
    }
    // Half a step is the rounding's, and the rest that of single precision.
    double const tolerance = FullScale(to) == 1 ? 1e-5 : to == Raster::FormatLABA16 ? 1 : 0.52;
    for (int i = 0; i != c_side * c_side; ++i) {
        auto const pixel = source->GetBase()->GetPixel(i % c_side, i / c_side);
        auto const expected = FromWorking(ToWorking(pixel, from), to);
        auto const got = target->GetBase()->GetPixel(i % c_side, i / c_side);
        for (std::size_t c = 0; c != expected.size(); ++c)
            ASSERT_NEAR(expected[c], got.GetSample(static_cast<int>(c)), tolerance) << "pixel " << i << ", " << c;
    }
}

constexpr std::array c_coloured{Raster::FormatRGBA8,  Raster::FormatRGBA16, Raster::FormatIA8,  Raster::FormatIA16,
                                Raster::FormatCMYKA8, Raster::FormatLABA16, Raster::FormatRGBAF};
INSTANTIATE_TEST_SUITE_P(AllPairs, ConvertPairs,
                         testing::Combine(testing::ValuesIn(c_coloured), testing::ValuesIn(c_coloured)));

} // namespace
