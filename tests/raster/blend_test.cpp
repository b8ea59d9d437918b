// SPDX-License-Identifier: Apache-2.0
#include "raster/pipeline/normal_blend.h"
#include "raster/raster_solarise_command.h"
#include "tests/raster/layer_fixture.h"

#include <limits>

namespace {

using namespace Commands;

TEST(Blend, OfOpaqueBytesEqualsTheRuleForAllValues) {
    std::size_t different = 0;
    for (int m = 0; m != 256; ++m) {
        std::uint8_t mask[256], existing[256], alpha[256], processed[256], processedAlpha[256];
        for (int p = 0; p != 256; ++p) {
            for (int e = 0; e != 256; ++e) {
                mask[e] = static_cast<std::uint8_t>(m);
                existing[e] = static_cast<std::uint8_t>(e);
                processed[e] = static_cast<std::uint8_t>(p);
                alpha[e] = processedAlpha[e] = 255;
            }
            std::uint8_t result[256], resultAlpha[256];
            BlendRun<std::uint8_t> const run{
                {result, resultAlpha}, {processed, processedAlpha}, {existing, alpha}, mask, 256, false};
            Blend(run, 1);
            for (int e = 0; e != 256; ++e) {
                std::uint8_t pixel[] = {static_cast<std::uint8_t>(p), 255};
                std::uint8_t const old[] = {static_cast<std::uint8_t>(e), 255};
                BlendPixel<std::uint8_t, 1>(pixel, old, static_cast<std::uint8_t>(m));
                different += pixel[0] != result[e] || pixel[1] != resultAlpha[e];
            }
        }
    }
    EXPECT_EQ(0u, different);
}

TEST(Blend, OfOpaqueWordsEqualsTheRuleForAllMasks) {
    std::vector<std::uint16_t> mask(65536), processed(65536), existing(65536), full(65536, 65535), result(65536);
    for (unsigned m = 0; m != 65536; ++m)
        mask[m] = static_cast<std::uint16_t>(m);
    std::mt19937 random(2);
    std::size_t different = 0;
    for (int round = 0; round != 24; ++round) {
        for (auto* const plane : {&processed, &existing}) {
            auto const ends = static_cast<std::uint16_t>(random() % 2 * 65535);
            for (auto& v : *plane)
                v = round < 8 ? ends : static_cast<std::uint16_t>(random());
        }
        Blend(BlendRun<std::uint16_t>{{result.data()},
                                      {processed.data(), full.data()},
                                      {existing.data(), full.data()},
                                      mask.data(),
                                      65536,
                                      false},
              1);
        for (std::size_t m = 0; m != 65536; ++m) {
            std::uint16_t pixel[] = {processed[m], 65535};
            std::uint16_t const old[] = {existing[m], 65535};
            BlendPixel<std::uint16_t, 1>(pixel, old, mask[m]);
            different += pixel[0] != result[m] || pixel[1] != 65535;
        }
    }
    EXPECT_EQ(0u, different);
}

template <class Sample, int Colours>
void CompareRandomRuns(bool opaque) {
    constexpr int c_count = 203;
    constexpr Sample c_full = std::is_floating_point_v<Sample> ? Sample(1) : std::numeric_limits<Sample>::max();
    std::mt19937 random(5);
    auto const any = [&]() -> Sample {
        if constexpr (std::is_floating_point_v<Sample>) {
            float const odd[] = {0.0f, 1.0f, 3.5f, -0.5f, 1e-30f, std::numeric_limits<float>::quiet_NaN()};
            return random() % 16 < 6 ? odd[random() % 6] : static_cast<float>(random() % 100000) / 100000.0f;
        } else {
            auto const full = std::numeric_limits<Sample>::max();
            return random() % 8 == 0 ? full : random() % 8 == 0 ? Sample(0) : static_cast<Sample>(random());
        }
    };
    for (int round = 0; round != 3000; ++round) {
        Sample processed[Colours + 1][c_count], existing[Colours + 1][c_count], mask[c_count],
            expected[Colours + 1][c_count], result[Colours + 1][c_count];
        for (int i = 0; i != c_count; ++i) {
            mask[i] = any();
            Sample pixel[Colours + 1], old[Colours + 1];
            for (int c = 0; c <= Colours; ++c) {
                bool const isFull = c == Colours && opaque;
                pixel[c] = processed[c][i] = isFull ? c_full : any();
                old[c] = existing[c][i] = isFull ? c_full : any();
            }
            BlendPixel<Sample, Colours>(pixel, old, mask[i]);
            for (int c = 0; c <= Colours; ++c)
                expected[c][i] = pixel[c];
        }
        BlendRun<Sample> run{};
        run.mask = mask;
        run.count = c_count;
        for (int c = 0; c <= Colours; ++c) {
            run.out[c] = result[c];
            run.processed[c] = processed[c];
            run.existing[c] = existing[c];
        }
        // Without alpha's planes, too, where they are known.
        run.isOpaque = opaque && round % 2 != 0;
        if (run.isOpaque)
            run.processed[Colours] = run.existing[Colours] = nullptr;
        Blend(run, Colours);
        for (int c = 0; c <= Colours; ++c) {
            for (int i = 0; i != c_count; ++i) {
                bool const bothNoNumbers = expected[c][i] != expected[c][i] && result[c][i] != result[c][i];
                ASSERT_TRUE(bothNoNumbers || expected[c][i] == result[c][i]) << "channel " << c << ", pixel " << i;
            }
        }
    }
}

TEST(Blend, EqualsTheRuleForRunsOfEveryKind) {
    CompareRandomRuns<std::uint8_t, 3>(false);
    CompareRandomRuns<std::uint8_t, 4>(true);
    CompareRandomRuns<std::uint16_t, 3>(false);
    CompareRandomRuns<std::uint16_t, 3>(true);
    CompareRandomRuns<std::uint16_t, 1>(true);
    CompareRandomRuns<std::uint16_t, 0>(false);
    CompareRandomRuns<float, 3>(false);
    CompareRandomRuns<float, 3>(true);
    CompareRandomRuns<float, 0>(false);
    CompareRandomRuns<float, 0>(true);
}

// Rows above and below what the mask selects, in tiles that are written anew.
TEST(MaskedRun, OfAnOpaqueLayerKeepsWhatIsNotSelected) {
    using Traits = Raster::FormatTraits<Raster::FormatRGBA16>;
    using MaskTraits = Raster::FormatTraits<Raster::FormatA16>;
    auto const bitmap = Judge::RandomBitmap<Traits>(520, 300, 8);
    Judge::Planes<Traits> planes(*bitmap);
    std::fill(planes.samples[3].begin(), planes.samples[3].end(), std::uint16_t(65535));
    planes.Store(*bitmap);
    LayerDocument document(bitmap);
    auto const mask = MakeSoftMask<MaskTraits>(300, 120, 4);
    Judge::Planes<MaskTraits> const maskPlanes(*mask);
    Judge::Params const place{1, 0, 100, 0, 1, 90};
    document.controller->SetRasterSelection(SelectionRasterNode::CreateMask(mask, place));
    auto solarised = planes;
    for (int c = 0; c != 3; ++c) {
        for (auto& v : solarised.samples[c])
            v = v <= 32768 ? v : static_cast<std::uint16_t>(65535 - v);
    }
    Judge::Merge(planes, solarised, {0, 0, 520, 300}, -1,
                 [&](int x, int y) { return Judge::ReadMask(maskPlanes, place, {}, x, y); });
    document.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
    EXPECT_EQ(0u, Judge::CountDifferent(planes, document.Read<Traits>()));
}

} // namespace
