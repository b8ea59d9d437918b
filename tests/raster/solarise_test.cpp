// SPDX-License-Identifier: Apache-2.0
#include "raster/raster_solarise_command.h"

#include "platform/document/history.h"
#include "tests/raster/layer_fixture.h"

namespace {

using namespace Commands;
using Judge::Params;
using Judge::Planes;

template <class Traits>
typename Traits::Sample SolariseOne(typename Traits::Sample v, int channel) {
    if (channel == Traits::c_alphaIndex)
        return v;
    if constexpr (Traits::c_isFloat)
        return v > 0.5f ? 1.0f - v : v;
    else if constexpr (sizeof v == 1)
        return static_cast<std::uint8_t>(v <= 128 ? v : 255 - v);
    else
        return static_cast<std::uint16_t>(v <= 32768 ? v : 65535 - v);
}

template <class Traits>
Planes<Traits> Solarise(Planes<Traits> planes) {
    for (int c = 0; c != Traits::c_channelCount; ++c) {
        for (auto& v : planes.samples[c])
            v = SolariseOne<Traits>(v, c);
    }
    return planes;
}

template <class Traits>
class SolariseEveryFormat : public testing::Test {};
TYPED_TEST_SUITE(SolariseEveryFormat, Formats);

TYPED_TEST(SolariseEveryFormat, EqualsTheRuleOnOddSizesOnOneAndTwoThreads) {
    Kernel::SizeT<int> const sizes[] = {{1, 1}, {257, 33}, {31, 513}, {300, 270}, {256, 256}};
    for (unsigned threads = 1; threads <= 2; ++threads) {
        ThreadCount const scope(threads);
        for (auto const& size : sizes) {
            LayerDocument document(Judge::RandomBitmap<TypeParam>(size.width, size.height, 7));
            auto const before = document.Read<TypeParam>();
            document.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
            EXPECT_EQ(0u, Judge::CountDifferent(Solarise(before), document.Read<TypeParam>()));
            document.controller->Undo();
            EXPECT_EQ(0u, Judge::CountDifferent(before, document.Read<TypeParam>()));
        }
    }
}

TYPED_TEST(SolariseEveryFormat, StoresOnlyTheChannelsOfTheMask) {
    for (int channels = 0; channels <= TypeParam::c_allChannels; ++channels) {
        LayerDocument document(Judge::RandomBitmap<TypeParam>(70, 41, 11));
        document.controller->SetChannelMask(channels);
        auto expected = document.Read<TypeParam>();
        Judge::Merge(expected, Solarise(expected), {0, 0, 70, 41}, channels,
                     [](int, int) { return TypeParam::c_maximum; });
        document.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
        EXPECT_EQ(0u, Judge::CountDifferent(expected, document.Read<TypeParam>())) << channels;
    }
}

TYPED_TEST(SolariseEveryFormat, BlendsThroughASoftMaskWhereverItLies) {
    using MaskTraits = Raster::FormatTraits<TypeParam::c_maskFormat>;
    Params const layers[] = {{}, {1, 0, 20, 0, 1, -30}, {0.8, -0.6, 150, 0.6, 0.8, 20}};
    Params const masks[] = {{1, 0, 40, 0, 1, 25}, {1, 0, -20.25, 0, 1, 10.5}, {1.7, 0.3, 30, -0.2, 0.9, 60}};
    for (unsigned threads = 1; threads <= 2; ++threads) {
        ThreadCount const scope(threads);
        for (auto const& layerTransform : layers) {
            for (auto const& maskTransform : masks) {
                for (int channels : {-1, 1, TypeParam::c_allChannels & ~2}) {
                    LayerDocument document(Judge::RandomBitmap<TypeParam>(300, 261, 3), layerTransform);
                    auto const mask = MakeSoftMask<MaskTraits>(180, 130, 5);
                    document.controller->SetRasterSelection(SelectionRasterNode::CreateMask(mask, maskTransform));
                    document.controller->SetChannelMask(channels);
                    Planes<MaskTraits> const maskPlanes(*mask);
                    auto expected = document.Read<TypeParam>();
                    Judge::Merge(expected, Solarise(expected), {0, 0, 300, 261}, channels, [&](int x, int y) {
                        return Judge::ReadMask(maskPlanes, maskTransform, layerTransform, x, y);
                    });
                    document.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
                    EXPECT_EQ(0u, Judge::CountDifferent(expected, document.Read<TypeParam>())) << channels;
                }
            }
        }
    }
}

TYPED_TEST(SolariseEveryFormat, TakesAMaskOfOtherSamples) {
    Raster::Format const other = TypeParam::c_maskFormat == Raster::FormatA8 ? Raster::FormatA16 : Raster::FormatA8;
    LayerDocument document(Judge::RandomBitmap<TypeParam>(90, 60, 3));
    auto mask = Kernel::MakeCounted<Raster::DynamicBitmap>(40, 60, other);
    mask->GetMutableBase().Fill(
        {0, 0, 20, 60},
        Raster::DynamicPixel(Raster::Pixel<Raster::Alpha8, Raster::X2, Raster::X3, Raster::X4, Raster::X5>{{255}}));
    document.controller->SetRasterSelection(SelectionRasterNode::CreateMask(mask, {1, 0, 10, 0, 1, 0}));
    auto expected = document.Read<TypeParam>();
    Judge::Merge(expected, Solarise(expected), {10, 0, 30, 60}, -1, [](int, int) { return TypeParam::c_maximum; });
    document.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
    EXPECT_EQ(0u, Judge::CountDifferent(expected, document.Read<TypeParam>()));
}

using Raster::FormatTraits;

TEST(Solarise, KeepsTheMiddleAndTurnsWhatIsAboveIt) {
    LayerDocument eight(Kernel::MakeCounted<Raster::DynamicBitmap>(4, 1, Raster::FormatIA8));
    std::uint8_t const bytes[] = {128, 9, 129, 9, 255, 9, 127, 9};
    eight.layer->GetMutableBitmap()->WritePixels({0, 0, 4, 1}, bytes, sizeof bytes);
    eight.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
    auto const planes = eight.Read<FormatTraits<Raster::FormatIA8>>();
    EXPECT_EQ((std::vector<std::uint8_t>{128, 126, 0, 127}), planes.samples[0]);
    EXPECT_EQ((std::vector<std::uint8_t>{9, 9, 9, 9}), planes.samples[1]);

    LayerDocument wide(Kernel::MakeCounted<Raster::DynamicBitmap>(2, 1, Raster::FormatIA16));
    std::uint16_t const words[] = {32768, 1, 32769, 2};
    wide.layer->GetMutableBitmap()->WritePixels({0, 0, 2, 1}, words, sizeof words);
    wide.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
    EXPECT_EQ((std::vector<std::uint16_t>{32768, 32766}), wide.Read<FormatTraits<Raster::FormatIA16>>().samples[0]);

    LayerDocument real(Kernel::MakeCounted<Raster::DynamicBitmap>(2, 1, Raster::FormatRGBAF));
    float const floats[] = {0.5f, 0.75f, 1.5f, 0.5f, 0, 1, -2, 1};
    real.layer->GetMutableBitmap()->WritePixels({0, 0, 2, 1}, floats, sizeof floats);
    real.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
    auto const result = real.Read<FormatTraits<Raster::FormatRGBAF>>();
    EXPECT_EQ((std::vector<float>{0.5f, 0}), result.samples[0]);
    EXPECT_EQ((std::vector<float>{0.25f, 0}), result.samples[1]);
    EXPECT_EQ((std::vector<float>{-0.5f, -2}), result.samples[2]);
}

TEST(Solarise, WithNothingSelectedOfTheMaskChangesNothing) {
    LayerDocument document(Judge::RandomBitmap<FormatTraits<Raster::FormatRGBA8>>(60, 50, 1));
    auto const before = document.controller->GetHash(false);
    document.controller->SetRasterSelection(SelectionRasterNode::CreateMask(
        Kernel::MakeCounted<Raster::DynamicBitmap>(300, 300, Raster::FormatA8), Params()));
    document.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
    EXPECT_EQ(before, document.controller->GetHash(false));
    EXPECT_TRUE(document.controller->CanUndo());
}

TEST(Solarise, SelectingEverythingIsSelectingNothing) {
    using Traits = FormatTraits<Raster::FormatRGBA8>;
    LayerDocument document(Judge::RandomBitmap<Traits>(60, 50, 1), {2, 0, 100, 0, 2, 100});
    auto const before = document.Read<Traits>();
    document.controller->SetRasterSelection(SelectionRasterNode::CreateAll());
    document.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
    EXPECT_EQ(0u, Judge::CountDifferent(Solarise(before), document.Read<Traits>()));
}

TEST(Solarise, ASecondLayerThatCannotBeReadLeavesTheFirstAsItWas) {
    using Traits = FormatTraits<Raster::FormatRGBA8>;
    class Missing final : public Kernel::BlobSource {
    public:
        bool Has(Kernel::BlobKey) const override { return true; }
        std::vector<std::byte> Get(Kernel::BlobKey) const override {
            throw Kernel::DamagedDataException("a tile of this bitmap is missing");
        }
    };
    LayerDocument document(Judge::RandomBitmap<Traits>(60, 50, 1));
    auto const damaged = Kernel::MakeCounted<Raster::DynamicBitmap>(20, 20, Raster::FormatRGBA8);
    Kernel::BlobKey key;
    key.bytes[0] = std::byte(1);
    for (int c = 0; c != 4; ++c)
        damaged->GetMutableBase().GetPlane(c) =
            Raster::RegionBase::FromKeys(1, 20, 20, {&key, 1}, Kernel::MakeCounted<Missing>());
    auto const second = Kernel::MakeCounted<RasterNode>();
    second->SetBitmap(damaged);
    ExampleDocuments::Append(*document.controller->GetCurrentSpread(), second);
    ExampleDocuments::Select(*document.controller, {document.layer, second});
    auto const before = document.controller->GetHash(false);
    EXPECT_THROW(document.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>()), Kernel::DamagedDataException);
    EXPECT_EQ(before, document.controller->GetHash(false));
    EXPECT_FALSE(document.controller->CanUndo());
}

TEST(Solarise, AMaskedRunLeavesTilesAloneThatTheMaskLeavesAlone) {
    using Traits = FormatTraits<Raster::FormatRGBA8>;
    LayerDocument document(Judge::RandomBitmap<Traits>(1024, 1024, 1));
    auto const before = document.layer->GetBitmap();
    document.controller->SetRasterSelection(SelectionRasterNode::CreateMask(
        MakeSoftMask<FormatTraits<Raster::FormatA8>>(100, 100, 2), {1, 0, 300, 0, 1, 300}));
    document.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
    auto const after = document.layer->GetBitmap();
    for (int c = 0; c != 4; ++c) {
        for (int tile = 0; tile != 16; ++tile) {
            bool const touched = tile == 5 && c != 3;
            EXPECT_NE(touched, before->GetBase()
                                   ->GetPlane(c)
                                   .GetConstTile(tile % 4, tile / 4)
                                   .SharesSamplesWith(after->GetBase()->GetPlane(c).GetConstTile(tile % 4, tile / 4)));
        }
    }
}

TEST(Solarise, RunsOnceInTheHistoryForAllSelectedLayersAndRepeats) {
    using Traits = FormatTraits<Raster::FormatRGBA8>;
    LayerDocument document(Judge::RandomBitmap<Traits>(60, 50, 1));
    auto const before = document.Read<Traits>();
    document.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
    EXPECT_TRUE(document.controller->RepeatLastCommand());
    EXPECT_EQ(2u, document.controller->GetHistory()->GetCount());
    EXPECT_EQ(0u, Judge::CountDifferent(Solarise(Solarise(before)), document.Read<Traits>()));
}

} // namespace
