// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/exception.h"
#include "platform/kernel/hash_accumulator.h"
#include "platform/kernel/object_graph.h"
#include "platform/kernel/out_serialiser.h"
#include "platform/kernel/trace.h"
#include "platform/raster/deduplication.h"
#include "platform/raster/dynamic_bitmap.h"
#include "platform/raster/pixel_accessor.h"
#include "tests/engine/raster/memory_blobs.h"
#include "tests/engine/raster/samples.h"

#include <gtest/gtest.h>

#include <map>

namespace Raster {
namespace {

using BitmapReference = Kernel::Counted<DynamicBitmap>;

std::vector<std::vector<std::byte>> BytesOf(Kernel::MemoryChunkStorage const& storage) {
    std::vector<std::vector<std::byte>> bytes;
    for (auto const id : storage.ListChunks())
        bytes.push_back(storage.ReadChunk(id));
    return bytes;
}

Kernel::MemoryChunkStorage SaveOne(Kernel::Counted<Kernel::Serialisable const> object, Kernel::BlobSink* blobs) {
    Kernel::MemoryChunkStorage storage;
    Kernel::ObjectGraph::SaveCopy(std::span(&object, 1), storage, blobs);
    return storage;
}

BitmapReference LoadOne(Kernel::MemoryChunkStorage const& storage, Kernel::Counted<MemoryBlobs> const& blobs) {
    Kernel::FileStore files(blobs);
    Kernel::ObjectGraph graph;
    auto const roots = graph.Load(storage, files);
    return BitmapReference(dynamic_cast<DynamicBitmap*>(roots.at(0).get()));
}

Kernel::Hash128 HashOf(DynamicBitmap const& bitmap) {
    Kernel::HashAccumulator hash;
    hash.AddObject(bitmap);
    return hash.GetHash();
}

BitmapReference MakeNoiseOwner(Format format, int width, int height, unsigned seed) {
    return Kernel::MakeCounted<DynamicBitmap>(MakeNoiseBitmap(format, width, height, seed, MipmapMode::OnDemand));
}

TEST(BitmapPersistence, PixelsComeBackInEveryFormat) {
    for (Format const format : AllFormats()) {
        auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
        auto const bitmap = MakeNoiseOwner(format, 300, 270, 41);
        auto const loaded = LoadOne(SaveOne(bitmap, blobs.get()), blobs);
        ASSERT_TRUE(loaded);
        EXPECT_EQ(loaded->GetFormat(), format);
        EXPECT_EQ(loaded->GetSize(), bitmap->GetSize());
        EXPECT_EQ(loaded->GetMipmapMode(), MipmapMode::OnDemand);
        EXPECT_TRUE(loaded->IsPendingDelayLoad());
        EXPECT_EQ(HashOf(*loaded), HashOf(*bitmap));
        EXPECT_EQ(blobs->gets, 0);
        Image read(format, 300, 270), wanted(format, 300, 270);
        loaded->ReadPixels(loaded->GetBounds(), read.pixels.data(), read.rowBytes);
        bitmap->ReadPixels(bitmap->GetBounds(), wanted.pixels.data(), wanted.rowBytes);
        EXPECT_EQ(read.pixels, wanted.pixels) << GetFormatName(format);
        EXPECT_FALSE(loaded->IsPendingDelayLoad());
    }
}

TEST(BitmapPersistence, EmptyOwnersComeBackEmpty) {
    auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
    auto const loaded = LoadOne(SaveOne(Kernel::MakeCounted<DynamicBitmap>(), blobs.get()), blobs);
    ASSERT_TRUE(loaded);
    EXPECT_TRUE(loaded->IsEmpty());
    EXPECT_EQ(loaded->GetFormat(), FormatNone);
}

TEST(BitmapPersistence, OnlyTilesThatAreAskedForAreRead) {
    auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
    auto const bitmap = MakeNoiseOwner(FormatRGBA8, 1024, 1024, 42);
    auto const loaded = LoadOne(SaveOne(bitmap, blobs.get()), blobs);
    EXPECT_EQ(loaded->GetBase()->GetPixel(700, 10), bitmap->GetBase()->GetPixel(700, 10));
    EXPECT_EQ(blobs->gets, 4);
    auto const clone = loaded->Clone(nullptr);
    EXPECT_EQ(clone->GetBase()->GetPixel(710, 20), bitmap->GetBase()->GetPixel(710, 20));
    EXPECT_EQ(blobs->gets, 4);
    clone->ForceDelayLoad(nullptr);
    EXPECT_EQ(blobs->gets, 64);
    // Pixels that a clone has loaded are there for all that share it.
    EXPECT_FALSE(loaded->IsPendingDelayLoad());
    EXPECT_TRUE(loaded->GetBase()->HasEqualPixels(*bitmap->GetBase()));
}

TEST(BitmapPersistence, TilesOfOneValueAreNotStored) {
    auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
    auto const bitmap = Kernel::MakeCounted<DynamicBitmap>(1000, 1000, FormatRGBA16);
    bitmap->Clear(MakePixel(FormatRGBA16, {1, 2, 3, 65535}));
    auto const loaded = LoadOne(SaveOne(bitmap, blobs.get()), blobs);
    EXPECT_EQ(blobs->puts, 0);
    EXPECT_FALSE(loaded->IsPendingDelayLoad());
    EXPECT_EQ(loaded->GetBase()->GetPixel(999, 999), MakePixel(FormatRGBA16, {1, 2, 3, 65535}));
}

TEST(BitmapPersistence, SavingWhatWasNeverReadReadsNothing) {
    auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
    auto const first = SaveOne(MakeNoiseOwner(FormatIA8, 600, 600, 43), blobs.get());
    auto const loaded = LoadOne(first, blobs);
    blobs->puts = 0;
    auto const second = SaveOne(loaded, blobs.get());
    EXPECT_EQ(BytesOf(second), BytesOf(first));
    EXPECT_EQ(blobs->gets, 0);
    EXPECT_EQ(blobs->puts, 0);
    EXPECT_EQ(blobs->keeps, 18);
}

TEST(BitmapPersistence, OnlyTilesThatChangedAreHandedToTheStore) {
    auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
    auto const loaded = LoadOne(SaveOne(MakeNoiseOwner(FormatRGBA8, 1024, 1024, 44), blobs.get()), blobs);
    loaded->GetMutableBase().GetPlane(2).FillSamples({5, 5, 6, 6}, 1);
    EXPECT_EQ(blobs->gets, 1);
    blobs->puts = 0;
    SaveOne(loaded, blobs.get());
    EXPECT_EQ(blobs->puts, 1);
}

TEST(BitmapPersistence, AnotherStoreIsGivenWhatItLacks) {
    auto const blobs = Kernel::MakeCounted<MemoryBlobs>(), other = Kernel::MakeCounted<MemoryBlobs>();
    auto const bitmap = MakeNoiseOwner(FormatRGBA8, 300, 300, 45);
    auto const loaded = LoadOne(SaveOne(bitmap, blobs.get()), blobs);
    auto const copy = LoadOne(SaveOne(loaded, other.get()), other);
    EXPECT_EQ(other->blobs, blobs->blobs);
    EXPECT_TRUE(copy->GetBase()->HasEqualPixels(*bitmap->GetBase()));
}

TEST(BitmapPersistence, MissingAndDamagedTilesAreRefusedOnlyWhenTheyAreAskedFor) {
    for (bool const missing : {true, false}) {
        auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
        auto const bitmap = MakeNoiseOwner(FormatA8, 600, 200, 46);
        auto const storage = SaveOne(bitmap, blobs.get());
        auto const key = bitmap->GetBase()->GetPlane(0).GetConstTile(1, 0).GetKey(256, 200);
        if (missing)
            blobs->blobs.erase(key);
        else
            blobs->blobs[key].pop_back();
        auto const loaded = LoadOne(storage, blobs);
        EXPECT_EQ(loaded->GetBase()->GetPixel(0, 0), bitmap->GetBase()->GetPixel(0, 0));
        EXPECT_THROW(loaded->GetBase()->GetPixel(256, 0), Kernel::DamagedDataException);
        EXPECT_THROW(loaded->GetBase()->GetPixel(256, 0), Kernel::DamagedDataException);
        EXPECT_THROW(loaded->ForceDelayLoad(nullptr), Kernel::DamagedDataException);
        EXPECT_THROW(loaded->GetMutableBase().GetPlane(0).FillSamples({300, 0, 301, 1}, 0),
                     Kernel::DamagedDataException);
        // A copy that fails leaves the target as it was.
        auto const target = MakeNoiseBitmap(FormatA8, 600, 200, 65), same = MakeNoiseBitmap(FormatA8, 600, 200, 65);
        EXPECT_THROW(target->Copy(*loaded->GetBase(), {257, 0, 513, 200}, {0, 0}), Kernel::DamagedDataException);
        EXPECT_TRUE(target->HasEqualPixels(*same));
        EXPECT_EQ(loaded->GetBase()->GetPixel(599, 199), bitmap->GetBase()->GetPixel(599, 199));
        EXPECT_TRUE(loaded->IsPendingDelayLoad());
        // Data that could not be read is written back as it was.
        if (missing)
            blobs->blobs[key];
        EXPECT_EQ(BytesOf(SaveOne(loaded, blobs.get())), BytesOf(storage));
        // A whole new tile needs nothing of the old one.
        loaded->GetMutableBase().GetPlane(0).FillSamples({256, 0, 512, 200}, 9);
        EXPECT_EQ(loaded->GetBase()->GetPixel(256, 0).GetSample(0), 9);
        loaded->ForceDelayLoad(nullptr);
        EXPECT_FALSE(loaded->IsPendingDelayLoad());
    }
}

TEST(BitmapPersistence, WithoutAStoreTilesAreDamaged) {
    auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
    auto const loaded = LoadOne(SaveOne(MakeNoiseOwner(FormatA8, 10, 10, 47), blobs.get()), nullptr);
    EXPECT_THROW(loaded->GetBase()->GetPixel(0, 0), Kernel::DamagedDataException);
}

TEST(BitmapPersistence, BitmapsOfAHistoryShareWhatTheyLoad) {
    auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
    auto const bitmap = MakeNoiseOwner(FormatRGBA8, 1024, 1024, 48);
    auto const older = bitmap->Clone(nullptr);
    bitmap->GetMutableBase().Fill({0, 0, 10, 10}, DynamicPixel());
    auto const one = LoadOne(SaveOne(bitmap, blobs.get()), blobs);
    auto const two = LoadOne(SaveOne(older, blobs.get()), blobs);
    one->ForceDelayLoad(nullptr);
    auto const before = Tile::GetAllocatedBytes();
    two->ForceDelayLoad(nullptr);
    EXPECT_EQ(Tile::GetAllocatedBytes(), before + 4 * c_tileSamples);
    EXPECT_TRUE(two->GetBase()->HasEqualPixels(*older->GetBase()));
    // Writing to one leaves the other alone.
    one->GetMutableBase().Fill({500, 500, 510, 510}, DynamicPixel());
    EXPECT_TRUE(two->GetBase()->HasEqualPixels(*older->GetBase()));
}

TEST(BitmapPersistence, LoadedTilesCanBeGivenBackAndReadAgain) {
    auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
    auto const bitmap = MakeNoiseOwner(FormatRGBA8, 600, 600, 49);
    auto const loaded = LoadOne(SaveOne(bitmap, blobs.get()), blobs);
    auto const before = Tile::GetAllocatedBytes();
    loaded->UpdateMipmaps(0, nullptr);
    EXPECT_FALSE(loaded->HoldsMipmapsOnly());
    loaded->GetMutableBase().ReleaseLoadedTiles();
    EXPECT_TRUE(loaded->IsPendingDelayLoad());
    EXPECT_TRUE(loaded->HoldsMipmapsOnly());
    auto const withMipmaps = Tile::GetAllocatedBytes();
    EXPECT_LT(withMipmaps - before, 36u * c_tileSamples);
    EXPECT_TRUE(loaded->GetBase()->HasEqualPixels(*bitmap->GetBase()));
    loaded->ForceDelayLoad(nullptr);
    EXPECT_FALSE(loaded->HoldsMipmapsOnly());
    EXPECT_EQ(loaded->GetBase()->GetPixel(599, 599), bitmap->GetBase()->GetPixel(599, 599));
}

TEST(BitmapPersistence, AnAbortedDelayLoadLeavesTheRestPending) {
    auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
    auto const loaded = LoadOne(SaveOne(MakeNoiseOwner(FormatRGBA8, 600, 600, 50), blobs.get()), blobs);
    bool abort = true;
    loaded->ForceDelayLoad(&abort);
    EXPECT_EQ(blobs->gets, 0);
    EXPECT_TRUE(loaded->IsPendingDelayLoad());
}

TEST(BitmapPersistence, HashesFollowPixelsAndNotHowTheyAreKept) {
    auto const bitmap = MakeNoiseOwner(FormatRGBA8, 300, 300, 51);
    auto const hash = HashOf(*bitmap);
    EXPECT_EQ(HashOf(*bitmap->Clone(nullptr)), hash);
    auto const sameInAnotherMode =
        Kernel::MakeCounted<DynamicBitmap>(MakeNoiseBitmap(FormatRGBA8, 300, 300, 51, MipmapMode::Immediate));
    EXPECT_EQ(HashOf(*sameInAnotherMode), hash);
    auto const changed = bitmap->Clone(nullptr);
    changed->GetMutableBase().GetPlane(3).FillSamples(
        {299, 299, 300, 300}, 255u - static_cast<unsigned>(bitmap->GetBase()->GetPixel(299, 299).GetSample(3)));
    EXPECT_NE(HashOf(*changed), hash);
    // The same keys in another shape or format.
    auto const blankHash = [](int width, int height, Format format) {
        return HashOf(*Kernel::MakeCounted<DynamicBitmap>(width, height, format));
    };
    EXPECT_NE(blankHash(512, 256, FormatA8), blankHash(256, 512, FormatA8));
    EXPECT_NE(blankHash(10, 10, FormatA8), blankHash(10, 10, FormatA16));
}

TEST(BitmapPersistence, ProfilesAreReadWhenTheyAreAskedFor) {
    auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
    auto const bitmap = MakeNoiseOwner(FormatIA8, 10, 10, 52);
    auto const plainHash = HashOf(*bitmap);
    auto const profile = ICCManager::GetInstance().GetDefaultProfile(ColourModel::Grey);
    bitmap->SetProfile(profile);
    EXPECT_NE(HashOf(*bitmap), plainHash);
    auto const storage = SaveOne(bitmap, blobs.get());
    auto const loaded = LoadOne(storage, blobs);
    EXPECT_EQ(blobs->gets, 0);
    EXPECT_EQ(HashOf(*loaded), HashOf(*bitmap));
    EXPECT_EQ(BytesOf(SaveOne(loaded, blobs.get())), BytesOf(storage));
    EXPECT_EQ(blobs->gets, 0);
    EXPECT_EQ(loaded->Clone(nullptr)->GetProfile(), profile);
    EXPECT_EQ(loaded->GetProfile(), profile);
    blobs->blobs.erase(profile->GetKey());
    EXPECT_THROW(LoadOne(storage, blobs)->GetProfile(), Kernel::DamagedDataException);
}

TEST(BitmapPersistence, AccessorsOpenedByThemselvesLoadAndSaySo) {
    auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
    auto const storage = SaveOne(MakeNoiseOwner(FormatA8, 600, 10, 53), blobs.get());
    std::vector<std::string> lines;
    Kernel::Trace::SetSink([&lines](Kernel::String const& line) { lines.push_back(line.ToStdString()); });
    using Model = FormatTraits<FormatA8>::BitmapType;
    auto const first = LoadOne(storage, blobs), second = LoadOne(storage, blobs), third = LoadOne(storage, blobs);
    ConstPixelAccessor<Model>(first->As<Model>(), {}, AccessorSync::Pipeline);
    EXPECT_TRUE(first->IsPendingDelayLoad());
    ConstPixelAccessor<Model>(first->As<Model>());
    EXPECT_FALSE(first->IsPendingDelayLoad());
    // All three share their tiles.
    PixelAccessor<Model>(second->AsMutable<Model>());
    first->GetMutableBase().Clear(DynamicPixel());
    second->GetMutableBase().Clear(DynamicPixel());
    third->GetMutableBase().ReleaseLoadedTiles();
    PixelAccessor<Model>(third->AsMutable<Model>());
    Kernel::Trace::SetSink({});
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "Bitmap<> is performing a blocking, abortable delay-load in response to a non-pipeline "
                         "ConstPixelAccessor session - you should try to avoid this.\r\n",
                         "Bitmap<> is performing a blocking, non-abortable delay-load in response to a non-pipeline "
                         "PixelAccessor session - you should try to avoid this.\r\n"}));
}

// Writes forged fields under a bitmap's tag.
class ForgedBitmap final : public Kernel::Serialisable {
public:
    int format = FormatA8, width = 10, height = 10;
    std::vector<Kernel::BlobKey> keys{1};

    void Save(Kernel::OutSerialiser& out) const override {
        out.SaveTypeI("Form", Kernel::PropType::Int32, &format, 4);
        out.SaveTypeI("Widt", Kernel::PropType::Int32, &width, 4);
        out.SaveTypeI("Heig", Kernel::PropType::Int32, &height, 4);
        out.SaveTypeArrayI("Tile", Kernel::PropType::Pair, keys.data(), 16, keys.size());
    }
    bool Load(Kernel::InSerialiser const&, Kernel::FileStore&, unsigned short) override { return false; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        return DynamicBitmap::GetTypeClassProperties();
    }
};

TEST(BitmapPersistence, ForgedSizesAndTileListsAreRefused) {
    auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
    auto const load = [&](auto const& change) {
        auto const forged = Kernel::MakeCounted<ForgedBitmap>();
        change(*forged);
        return LoadOne(SaveOne(forged, blobs.get()), blobs);
    };
    EXPECT_FALSE(load([](ForgedBitmap&) {})->IsEmpty());
    EXPECT_THROW(load([](ForgedBitmap& f) { f.width = 0; }), Kernel::DamagedDataException);
    EXPECT_THROW(load([](ForgedBitmap& f) { f.height = -5; }), Kernel::DamagedDataException);
    EXPECT_THROW(load([](ForgedBitmap& f) { f.width = f.height = c_maximumSide; }), Kernel::DamagedDataException);
    EXPECT_THROW(load([](ForgedBitmap& f) { f.width = 2147483647; }), Kernel::DamagedDataException);
    EXPECT_THROW(load([](ForgedBitmap& f) { f.keys.clear(); }), Kernel::DamagedDataException);
    EXPECT_THROW(load([](ForgedBitmap& f) { f.keys.resize(2); }), Kernel::DamagedDataException);
    // A tile of one value that no 8-bit sample has.
    EXPECT_THROW(load([](ForgedBitmap& f) { f.keys[0].bytes[13] = std::byte(1); }), Kernel::DamagedDataException);
    // A format of a later version stays as it is.
    EXPECT_TRUE(load([](ForgedBitmap& f) { f.format = 77; })->IsEmpty());
}

TEST(Deduplication, EqualTilesShareSamplesAndBlankOnesTakeNone) {
    // Two bitmaps of the same pixels, made apart.
    auto const one = MakeNoiseOwner(FormatRGBA8, 600, 300, 54), two = MakeNoiseOwner(FormatRGBA8, 600, 300, 54);
    for (int tile = 0; tile != 3; ++tile)
        static_cast<std::uint8_t*>(one->GetMutableBase().GetPlane(0).GetMutableTile(tile, 1).GetMutableBuffer())[0] = 5;
    std::memset(one->GetMutableBase().GetPlane(1).GetMutableTile(0, 0).GetMutableBuffer(), 5, c_tileSamples);
    auto const hashes = std::pair(HashOf(*one), HashOf(*two));
    BlockDeduplicationSupport support;
    one->Deduplicate(support, nullptr);
    EXPECT_EQ(support.GetSharedTiles(), 1u);
    two->Deduplicate(support, nullptr);
    // 24 tiles, of which four of the first bitmap are others now.
    EXPECT_EQ(support.GetSharedTiles(), 1u + 20u);
    EXPECT_EQ(std::pair(HashOf(*one), HashOf(*two)), hashes);
    EXPECT_TRUE(one->GetBase()->GetPlane(1).GetConstTile(0, 0).GetConstant());
    auto const before = two->GetBase()->GetPixel(300, 200);
    one->GetMutableBase().Clear(DynamicPixel());
    EXPECT_EQ(two->GetBase()->GetPixel(300, 200), before);
}

TEST(Deduplication, ReadsNothingThatIsPendingAndStopsWhenItIsTold) {
    auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
    auto const loaded = LoadOne(SaveOne(MakeNoiseOwner(FormatRGBA8, 600, 300, 55), blobs.get()), blobs);
    BlockDeduplicationSupport support;
    loaded->Deduplicate(support, nullptr);
    EXPECT_EQ(blobs->gets, 0);
    bool abort = true;
    auto const copy = MakeNoiseOwner(FormatRGBA8, 600, 300, 55);
    copy->Deduplicate(support, &abort);
    EXPECT_EQ(support.GetSharedTiles(), 0u);
    abort = false;
    copy->Deduplicate(support, &abort);
    EXPECT_EQ(support.GetSharedTiles(), 24u);
}

} // namespace
} // namespace Raster
