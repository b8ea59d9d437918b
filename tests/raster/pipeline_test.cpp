// SPDX-License-Identifier: Apache-2.0
#include "raster/pipeline/pipeline.h"

#include "platform/kernel/trace.h"
#include "raster/solarise_rule.h"
#include "tests/raster/layer_fixture.h"

#include <filesystem>
#include <unistd.h>

namespace {

using namespace Commands;
using Judge::Planes;
using RGBA8 = Raster::FormatTraits<Raster::FormatRGBA8>;
using Solarise = PointEffect<SolariseRule>;

void Apply(LayerDocument& document, RasterEffectOptions& options) {
    auto const source = document.layer->GetBitmap()->Clone(nullptr);
    ApplyRasterEffect(document.controller, *source, Kernel::NonCounted<MutableRasterInterface>(document.layer.get()),
                      options, Solarise());
}

TEST(Region, IsSnappedToPixelsUnlessItMissesThemByMoreThanAMillionth) {
    Judge::Params const shift{1, 0, 0.25, 0, 1, -0.25};
    EXPECT_EQ((Kernel::RectT<int>{10, 19, 31, 40}), SnapTransformedBox({10, 20, 30, 40}, shift));
    Judge::Params const almost{1, 0, 1e-7, 0, 1, -1e-7};
    EXPECT_EQ((Kernel::RectT<int>{10, 20, 30, 40}), SnapTransformedBox({10, 20, 30, 40}, almost));
    Judge::Params const notQuite{1, 0, 2e-6, 0, 1, -2e-6};
    EXPECT_EQ((Kernel::RectT<int>{10, 19, 31, 40}), SnapTransformedBox({10, 20, 30, 40}, notQuite));
    Judge::Params const mirrored{-1, 0, 100, 0, 2, 0};
    EXPECT_EQ((Kernel::RectT<int>{70, 40, 90, 80}), SnapTransformedBox({10, 20, 30, 40}, mirrored));
    Judge::Params const quarterTurn{0, -1, 0, 1, 0, 0};
    EXPECT_EQ((Kernel::RectT<int>{-40, 10, -20, 30}), SnapTransformedBox({10, 20, 30, 40}, quarterTurn));
    EXPECT_EQ(c_noBox, SnapTransformedBox(c_noBox, shift));
}

TEST(Region, OfRectanglesThatTouchIsNotNothing) {
    EXPECT_EQ((Kernel::RectT<int>{10, 0, 10, 10}), IntersectTouching({0, 0, 10, 10}, {10, 0, 20, 10}));
    EXPECT_EQ((Kernel::RectT<int>{}), IntersectTouching({0, 0, 10, 10}, {11, 0, 20, 10}));
    EXPECT_EQ((Kernel::RectT<int>{}), IntersectTouching({0, 0, 10, 10}, c_noBox));
}

TEST(Region, IsTheSelectionsBoxInPixelsOfTheLayer) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(100, 100, 1), {2, 0, 50, 0, 2, 0});
    auto mask = Kernel::MakeCounted<Raster::DynamicBitmap>(300, 300, Raster::FormatA8);
    EXPECT_EQ((Kernel::RectT<int>{0, 0, 100, 100}), GetEffectRegion(*document.controller, *document.layer));
    document.controller->SetRasterSelection(SelectionRasterNode::CreateMask(mask, {}));
    EXPECT_EQ((Kernel::RectT<int>{}), GetEffectRegion(*document.controller, *document.layer));
    std::uint8_t const one = 1;
    mask->WritePixels({61, 30, 62, 31}, &one, 1);
    mask->WritePixels({90, 70, 91, 71}, &one, 1);
    document.controller->SetRasterSelection(SelectionRasterNode::CreateMask(mask, {}));
    EXPECT_EQ((Kernel::RectT<int>{5, 15, 21, 36}), GetEffectRegion(*document.controller, *document.layer));
    document.controller->SetRasterSelection(SelectionRasterNode::CreateAll());
    EXPECT_EQ((Kernel::RectT<int>{0, 0, 100, 100}), GetEffectRegion(*document.controller, *document.layer));
}

TEST(Pipeline, ChangesTheRegionAndSaysSo) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(600, 300, 1));
    auto const before = document.Read<RGBA8>();
    Kernel::RectT<int> const region{100, 90, 530, 280};
    RasterEffectOptions options;
    options.region = &region;
    Apply(document, options);
    EXPECT_TRUE(options.touched);
    auto const after = document.Read<RGBA8>();
    for (int y = 0; y != 300; ++y) {
        for (int x = 0; x != 600; ++x) {
            auto const v = before.At(0, x, y);
            auto const expected = region.Contains({x, y}) && v > 128 ? 255 - v : v;
            ASSERT_EQ(expected, after.At(0, x, y)) << x << ", " << y;
        }
    }
}

TEST(Pipeline, DoesNothingForARegionOutsideTheBitmap) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(60, 30, 1));
    auto const before = document.layer->GetBitmap();
    for (Kernel::RectT<int> const& region :
         {Kernel::RectT<int>{60, 0, 90, 30}, Kernel::RectT<int>{-20, -20, 0, 0}, Kernel::RectT<int>{5, 5, 5, 20}}) {
        RasterEffectOptions options;
        options.region = &region;
        Apply(document, options);
        EXPECT_FALSE(options.touched);
        EXPECT_EQ(before, document.layer->GetBitmap());
    }
}

TEST(Pipeline, ThatStoresOnlySomeChannelsDoesNotSayThatItTouched) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(60, 30, 1));
    auto const before = document.Read<RGBA8>();
    document.controller->SetChannelMask(7);
    RasterEffectOptions options;
    Apply(document, options);
    EXPECT_FALSE(options.touched);
    auto const after = document.Read<RGBA8>();
    EXPECT_EQ(before.samples[3], after.samples[3]);
    EXPECT_NE(before.samples[0], after.samples[0]);
}

TEST(Pipeline, LeavesALayerWithoutPixelsAlone) {
    LayerDocument document(Kernel::MakeCounted<Raster::DynamicBitmap>());
    RasterEffectOptions options;
    Apply(document, options);
    EXPECT_FALSE(options.touched);
    EXPECT_TRUE(document.layer->GetBitmap()->IsEmpty());
}

TEST(Pipeline, OfAnAlphaLayerCountsAsDoneAndMarksTheLevels) {
    using A8 = Raster::FormatTraits<Raster::FormatA8>;
    LayerDocument document(Judge::RandomBitmap<A8>(600, 300, 1, Raster::MipmapMode::OnDemand));
    document.layer->GetBitmap()->UpdateMipmaps(0, nullptr);
    ASSERT_TRUE(document.layer->GetBitmap()->GetBase()->IsMipmapValid(1));
    auto const before = document.Read<A8>();
    RasterEffectOptions options;
    Apply(document, options);
    EXPECT_TRUE(options.touched);
    EXPECT_EQ(0u, Judge::CountDifferent(before, document.Read<A8>()));
    EXPECT_FALSE(document.layer->GetBitmap()->GetBase()->IsMipmapValid(1));
    EXPECT_EQ((Kernel::RectT<int>{0, 0, 600, 300}), document.layer->GetBitmap()->GetBase()->GetMipmapDirtyRect(1));
}

TEST(Pipeline, RenewsTheLevelsOfABitmapThatKeepsThemUpToDate) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(600, 300, 1, Raster::MipmapMode::Immediate));
    RasterEffectOptions options;
    Apply(document, options);
    auto const changed = document.layer->GetBitmap();
    ASSERT_TRUE(changed->GetBase()->IsMipmapValid(2));
    Raster::DynamicBitmap fresh(600, 300, Raster::FormatRGBA8, Raster::MipmapMode::Immediate);
    document.Read<RGBA8>().Store(fresh);
    fresh.GetMutableBase().FinishChange({0, 0, 600, 300});
    EXPECT_TRUE(changed->GetBase()->GetMipmap(2)->HasEqualPixels(*fresh.GetBase()->GetMipmap(2)));
}

TEST(Pipeline, StopsAtTheNextRowWhenItIsAbortedAndKeepsWhatWasDone) {
    ThreadCount const scope(1);
    LayerDocument document(Judge::RandomBitmap<RGBA8>(1024, 256, 1));
    auto const before = document.Read<RGBA8>();
    bool abort = false;
    RasterEffectOptions options;
    options.abort = &abort;
    options.progressData = &abort;
    options.progress = [](float done, void* data) { *static_cast<bool*>(data) = done >= 0.5f; };
    Apply(document, options);
    EXPECT_TRUE(options.touched);
    auto const after = document.Read<RGBA8>();
    std::size_t left = 0, right = 0;
    for (int y = 0; y != 256; ++y) {
        for (int x = 0; x != 512; ++x) {
            left += before.At(0, x, y) != after.At(0, x, y);
            right += before.At(0, x + 512, y) != after.At(0, x + 512, y);
        }
    }
    EXPECT_GT(left, 1000u);
    EXPECT_EQ(0u, right);
}

TEST(Pipeline, ThatIsAbortedBeforeItBeginsChangesNothing) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(700, 256, 1));
    auto const before = document.Read<RGBA8>();
    bool abort = true;
    RasterEffectOptions options;
    options.abort = &abort;
    Apply(document, options);
    EXPECT_EQ(0u, Judge::CountDifferent(before, document.Read<RGBA8>()));
}

TEST(Pipeline, ReportsEachTileOnce) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(700, 300, 1));
    std::mutex mutex;
    struct Reports {
        std::mutex mutex;
        std::vector<float> all;
    } reports;
    RasterEffectOptions options;
    options.progressData = &reports;
    options.progress = [](float done, void* data) {
        auto& r = *static_cast<Reports*>(data);
        std::lock_guard const lock(r.mutex);
        r.all.push_back(done);
    };
    Apply(document, options);
    std::sort(reports.all.begin(), reports.all.end());
    ASSERT_EQ(6u, reports.all.size());
    for (std::size_t i = 0; i != 6; ++i)
        EXPECT_FLOAT_EQ(static_cast<float>(i + 1) / 6, reports.all[i]);
}

// Gives the tiles of a bitmap from memory, and counts.
class MemoryStore final : public Kernel::BlobSource, public Kernel::BlobSink {
public:
    Kernel::BlobKey Put(std::span<std::byte const> bytes) override {
        auto const key = Kernel::ComputeBlobKey(bytes);
        m_values[key].assign(bytes.begin(), bytes.end());
        return key;
    }
    std::vector<std::byte> Get(Kernel::BlobKey key) const override {
        ++m_reads;
        return m_values.at(key);
    }
    bool Has(Kernel::BlobKey key) const override { return m_values.contains(key); }
    int GetReads() const { return m_reads; }

private:
    std::map<Kernel::BlobKey, std::vector<std::byte>> m_values;
    mutable std::atomic<int> m_reads{0};
};

// The same pixels, none of them read yet.
Kernel::Counted<Raster::DynamicBitmap> MakePending(Raster::DynamicBitmap const& bitmap,
                                                   Kernel::Counted<MemoryStore> const& store,
                                                   Raster::MipmapMode mode = Raster::MipmapMode::None) {
    auto pending =
        Kernel::MakeCounted<Raster::DynamicBitmap>(bitmap.GetWidth(), bitmap.GetHeight(), bitmap.GetFormat(), mode);
    for (int c = 0; c != bitmap.GetBase()->GetInfo().channelCount; ++c) {
        auto const& plane = bitmap.GetBase()->GetPlane(c);
        plane.ForEachTile([&](Raster::Tile const& tile, int x, int y) {
            int const width = plane.GetTileWidth(x), height = plane.GetTileHeight(y);
            std::vector<std::byte> bytes(tile.GetBytes());
            plane.ReadSamples({x * 256, y * 256, x * 256 + width, y * 256 + height}, bytes.data(),
                              tile.GetBytes() / 256);
            store->Put(bytes);
        });
        pending->GetMutableBase().GetPlane(c) = Raster::RegionBase::FromKeys(plane.GetSampleBytes(), plane.GetWidth(),
                                                                             plane.GetHeight(), plane.GetKeys(), store);
    }
    pending->GetMutableBase().ForgetMipmaps();
    return pending;
}

TEST(Pipeline, WaitsForPixelsThatAreNotLoaded) {
    auto const store = Kernel::MakeCounted<MemoryStore>();
    auto const loaded = Judge::RandomBitmap<RGBA8>(300, 270, 4);
    LayerDocument document(MakePending(*loaded, store));
    ASSERT_TRUE(document.layer->GetBitmap()->IsPendingDelayLoad());
    RasterEffectOptions options;
    Apply(document, options);
    EXPECT_TRUE(options.touched);
    LayerDocument expected(loaded);
    Apply(expected, options);
    EXPECT_EQ(0u, Judge::CountDifferent(expected.Read<RGBA8>(), document.Read<RGBA8>()));
}

TEST(Pipeline, LeavesASourceThatIsNotLoadedAloneWhenItIsToldTo) {
    auto const store = Kernel::MakeCounted<MemoryStore>();
    auto const source = MakePending(*Judge::RandomBitmap<RGBA8>(300, 270, 4), store);
    Raster::DynamicBitmap destination(300, 270, Raster::FormatRGBA8);
    RasterEffectOptions options;
    options.skipIfDelayLoading = true;
    PipelineOptions own(options, -1);
    DriveEffect(destination.GetMutableBase(), *source->GetBase(), own, nullptr, Solarise());
    EXPECT_FALSE(options.touched);
    EXPECT_EQ(0, store->GetReads());
    EXPECT_TRUE(destination.GetBase()->HasEqualPixels(*Raster::BitmapBase::Create(300, 270, Raster::FormatRGBA8)));
}

TEST(Pipeline, TakesTheFirstLevelThatIsThereForASourceThatIsNotLoaded) {
    auto const store = Kernel::MakeCounted<MemoryStore>();
    auto const loaded = Judge::RandomBitmap<RGBA8>(701, 530, 4);
    auto const source = MakePending(*loaded, store, Raster::MipmapMode::OnDemand);
    source->UpdateMipmaps(1, nullptr);
    source->GetMutableBase().ReleaseLoadedTiles();
    ASSERT_TRUE(source->HoldsMipmapsOnly());
    int const readsBefore = store->GetReads();
    Raster::DynamicBitmap destination(701, 530, Raster::FormatRGBA8);
    RasterEffectOptions options;
    options.skipIfDelayLoading = true;
    PipelineOptions own(options, -1);
    DriveEffect(destination.GetMutableBase(), *source->GetBase(), own, nullptr, Solarise());
    EXPECT_TRUE(options.touched);
    EXPECT_EQ(readsBefore, store->GetReads());
    auto const level = source->GetBase()->GetMipmap(1);
    for (int y = 0; y < 530; y += 7) {
        for (int x = 0; x < 701; x += 5) {
            auto const from = level->GetPixel(x / 2, y / 2), to = destination.GetBase()->GetPixel(x, y);
            for (int c = 0; c != 3; ++c)
                ASSERT_EQ(SolariseSample(static_cast<std::uint8_t>(from.GetSample(c))), to.GetSample(c));
            ASSERT_EQ(from.GetSample(3), to.GetSample(3));
        }
    }
}

TEST(Accessors, SayThatTheyWaitOutsideThePipeline) {
    auto const store = Kernel::MakeCounted<MemoryStore>();
    auto const loaded = Judge::RandomBitmap<RGBA8>(30, 27, 4);
    std::vector<std::string> lines;
    Kernel::Trace::SetSink([&](Kernel::String const& line) { lines.push_back(line.ToStdString()); });
    auto const readFrom = MakePending(*loaded, store);
    Raster::ConstPixelAccessor<RGBA8::BitmapType>(readFrom->As<RGBA8::BitmapType>()).Read(3, 4);
    readFrom->GetMutableBase().ReleaseLoadedTiles();
    auto const writtenTo = MakePending(*Judge::RandomBitmap<RGBA8>(31, 27, 5), store);
    Raster::PixelAccessor<RGBA8::BitmapType>(writtenTo->AsMutable<RGBA8::BitmapType>()).Read(3, 4);
    Kernel::Trace::SetSink({});
    ASSERT_EQ(2u, lines.size());
    EXPECT_EQ(
        "Bitmap<> is performing a blocking, abortable delay-load in response to a non-pipeline ConstPixelAccessor "
        "session - you should try to avoid this.\r\n",
        lines[0]);
    EXPECT_EQ("Bitmap<> is performing a blocking, non-abortable delay-load in response to a non-pipeline PixelAccessor "
              "session - you should try to avoid this.\r\n",
              lines[1]);
}

TEST(ChannelMask, IsWhatTheFormatHasOfTheDocuments) {
    LayerDocument document(Judge::RandomBitmap<Raster::FormatTraits<Raster::FormatIA8>>(4, 4, 1));
    Kernel::NonCounted<MutableRasterInterface const> const layer(document.layer.get());
    EXPECT_EQ(3, document.controller->MergeChannelMask(layer));
    document.controller->SetChannelMask(5);
    EXPECT_EQ(1, document.controller->MergeChannelMask(layer));
}

TEST(RasterSelection, NeedsAMask) {
    EXPECT_THROW(SelectionRasterNode::CreateMask({}, {}), Kernel::Exception);
    EXPECT_THROW(SelectionRasterNode::CreateMask(Judge::RandomBitmap<RGBA8>(3, 3, 1), {}), Kernel::Exception);
}

TEST(RasterSelection, IsSavedWithTheDocumentAndIsNoPartOfItsHash) {
    using A8 = Raster::FormatTraits<Raster::FormatA8>;
    LayerDocument document(Judge::RandomBitmap<RGBA8>(60, 30, 1));
    auto const hash = document.controller->GetHash(true);
    document.controller->SetRasterSelection(
        SelectionRasterNode::CreateMask(MakeSoftMask<A8>(90, 50, 2), {1, 0, 12.5, 0, 1, 7}));
    document.controller->SetChannelMask(6);
    EXPECT_EQ(hash, document.controller->GetHash(true));
    auto const path = std::filesystem::temp_directory_path() / ("redraft-selection-" + std::to_string(getpid()));
    document.controller->Save(path);
    auto const loaded = DocumentController::Open(path, true);
    std::filesystem::remove(path);
    EXPECT_EQ(6, loaded->GetChannelMask());
    auto const selection = loaded->GetRasterSelection();
    EXPECT_FALSE(selection->IsSelectAllOrNone());
    EXPECT_EQ(document.controller->GetRasterSelection()->GetSelectedSpreadBox(), selection->GetSelectedSpreadBox());
    EXPECT_EQ((Kernel::RectT<int>{14, 9, 101, 55}), selection->GetSelectedSpreadBox());
    EXPECT_TRUE(selection->GetBitmap()->GetBase()->HasEqualPixels(
        *document.controller->GetRasterSelection()->GetBitmap()->GetBase()));
}

} // namespace
