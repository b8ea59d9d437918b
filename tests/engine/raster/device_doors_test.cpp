// SPDX-License-Identifier: Apache-2.0
// Every way to a bitmap's samples, where only a device has them.
#include "engine/raster/tile_block.h"
#include "platform/kernel/object_graph.h"
#include "platform/raster/deduplication.h"
#include "platform/raster/dynamic_bitmap.h"
#include "platform/raster/pixel_accessor.h"
#include "tests/engine/raster/device_samples.h"
#include "tests/engine/raster/memory_blobs.h"

#include <gtest/gtest.h>

namespace Raster::Tests {
namespace {

using Rect = Kernel::RectT<int>;

// A bitmap that a kernel has written as a whole, and its pixels.
class DeviceDoors : public testing::Test {
protected:
    static constexpr int c_width = 600, c_height = 300;

    void SetUp() override { Make(FormatRGBA8); }
    void Make(Format format) {
        source = MakeNoiseBitmap(format, c_width, c_height, 5);
        bitmap = source->Clone(nullptr);
        ASSERT_TRUE(TryOnDevice(device.handle, *bitmap, *source, bitmap->GetBounds(), false));
        plain = source->Clone(nullptr);
        RunInSoftware(*plain, *source, source->GetBounds(), false);
        ASSERT_EQ(GetReads(), 0);
    }
    int GetReads() const { return device.GetCalls(DriverCall::Read); }
    RegionBase& Plane() { return bitmap->GetPlane(1); }
    RegionBase& PlainPlane() { return plain->GetPlane(1); }
    static bool HoldsSame(Tile const& a, Tile const& b) {
        return std::memcmp(a.GetConstBuffer(), b.GetConstBuffer(), a.GetBytes()) == 0;
    }

    TestDevice device;
    Kernel::Counted<BitmapBase> source, bitmap, plain;
};

} // namespace

TEST_F(DeviceDoors, NothingIsPendingAndNoHostMemoryIsTaken) {
    EXPECT_FALSE(bitmap->IsPendingDelayLoad());
    EXPECT_FALSE(Plane().IsPendingDelayLoad());
    EXPECT_FALSE(Plane().GetConstTile(0, 0).IsPendingDelayLoad());
    bitmap->ForceDelayLoad(nullptr);
    EXPECT_FALSE(bitmap->HoldsMipmapsOnly());
    EXPECT_EQ(GetReads(), 0);
    auto const before = Tile::GetAllocatedBytes();
    auto const tile = Plane().GetConstTile(0, 0);
    EXPECT_EQ(Tile::GetAllocatedBytes(), before);
    tile.GetConstBuffer();
    EXPECT_EQ(Tile::GetAllocatedBytes(), before + c_tileSamples);
}

TEST_F(DeviceDoors, TilesAreFetchedWhenTheirSamplesAreAskedFor) {
    RegionBase const snapshot(Plane());
    EXPECT_EQ(snapshot.PeekTile(1, 0).GetConstant(), std::nullopt);
    EXPECT_EQ(GetReads(), 0);
    EXPECT_TRUE(HoldsSame(snapshot.PeekTile(1, 0), PlainPlane().GetConstTile(1, 0)));
    EXPECT_EQ(GetReads(), 1);
    // The copy shares what was fetched.
    EXPECT_TRUE(HoldsSame(Plane().GetConstTile(1, 0), PlainPlane().GetConstTile(1, 0)));
    EXPECT_EQ(GetReads(), 1);
    EXPECT_TRUE(snapshot.PeekTile(1, 0).SharesSamplesWith(Plane().GetConstTile(1, 0)));
    // Beyond the edge there is zero, as in tiles of the host.
    EXPECT_TRUE(HoldsSame(Plane().GetConstTile(2, 1), PlainPlane().GetConstTile(2, 1)));
}

TEST_F(DeviceDoors, LoadAndHeldTilesHaveTheirSamples) {
    Tile const loaded = Plane().GetConstTile(0, 0), held = Plane().GetConstTile(1, 0);
    loaded.Load();
    EXPECT_EQ(GetReads(), 1);
    held.IncrementRefCountConst();
    EXPECT_EQ(GetReads(), 2);
    EXPECT_TRUE(HoldsSame(held, PlainPlane().GetConstTile(1, 0)));
    held.DecrementRefCountConst();
    EXPECT_EQ(GetReads(), 2);
}

TEST_F(DeviceDoors, ATileOfOneValueThatAKernelMadeIsNoConstant) {
    auto const flat = BitmapBase::Create(c_width, c_height, FormatRGBA8);
    auto const result = flat->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *result, *flat, result->GetBounds(), false));
    EXPECT_EQ(result->GetPlane(0).GetConstTile(0, 0).GetConstant(), std::nullopt);
    // Its key says so all the same.
    EXPECT_TRUE(IsConstantKey(result->GetPlane(0).GetConstTile(0, 0).GetKey(256, 256)));
    EXPECT_EQ(ReadAll(*result), Bytes(4u * c_width * c_height, 0xFF));
}

TEST_F(DeviceDoors, KeysAreThoseOfTheFetchedSamples) {
    for (int channel = 0; channel != 4; ++channel)
        EXPECT_EQ(bitmap->GetPlane(channel).GetKeys(), plain->GetPlane(channel).GetKeys());
    int const reads = GetReads();
    EXPECT_GT(reads, 0);
    EXPECT_EQ(Plane().GetConstTile(2, 1).GetKey(88, 44), PlainPlane().GetConstTile(2, 1).GetKey(88, 44));
    EXPECT_EQ(GetReads(), reads);
}

TEST_F(DeviceDoors, ReadingPartsFetchesTheirTilesOnly) {
    Bytes wanted(4 * 10 * 10), read = wanted;
    plain->ReadPixels({250, 100, 260, 110}, wanted.data(), 40);
    bitmap->ReadPixels({250, 100, 260, 110}, read.data(), 40);
    EXPECT_EQ(read, wanted);
    EXPECT_EQ(GetReads(), 2 * 4);
    EXPECT_EQ(bitmap->GetPixel(599, 299), plain->GetPixel(599, 299));
    EXPECT_EQ(GetReads(), 3 * 4);
}

TEST_F(DeviceDoors, AccessorsReadAndWrite) {
    using Typed = Bitmap<Red8, Green8, Blue8, Alpha8, X5>;
    ReadCursor reader(*bitmap, AccessorSync::Pipeline);
    ReadCursor plainReader(*plain, AccessorSync::Pipeline);
    reader.Enter(300, 280);
    plainReader.Enter(300, 280);
    EXPECT_EQ(*reader.GetSamples<std::uint8_t>(2, 300, 280), *plainReader.GetSamples<std::uint8_t>(2, 300, 280));
    {
        WriteCursor writer(static_cast<Typed&>(*bitmap), AccessorSync::Load);
        writer.Enter(300, 280);
        EXPECT_EQ(*writer.GetSamples<std::uint8_t>(2, 300, 280), *plainReader.GetSamples<std::uint8_t>(2, 300, 280));
        *writer.GetMutableSamples<std::uint8_t>(2, 300, 280) = 200;
        EXPECT_EQ(*writer.GetSamples<std::uint8_t>(2, 301, 280), *plainReader.GetSamples<std::uint8_t>(2, 301, 280));
    }
    auto expected = plain->GetPixel(300, 280);
    expected.SetSample(2, 200);
    EXPECT_EQ(bitmap->GetPixel(300, 280), expected);
    // The cursor reads the bitmap as it was when it was opened.
    EXPECT_EQ(*reader.GetSamples<std::uint8_t>(2, 300, 280), *plainReader.GetSamples<std::uint8_t>(2, 300, 280));
}

TEST_F(DeviceDoors, WritingLeavesClonesAlone) {
    auto const clone = bitmap->Clone(nullptr);
    EXPECT_EQ(GetReads(), 0);
    Tile& tile = Plane().PinMutableTile(1, 1);
    EXPECT_TRUE(HoldsSame(tile, PlainPlane().GetConstTile(1, 1)));
    std::memset(tile.GetMutableBuffer(), 9, 100);
    // A clone that is taken meanwhile has a copy.
    auto const meanwhile = bitmap->Clone(nullptr);
    std::memset(tile.GetMutableBuffer(), 8, 50);
    Plane().UnpinMutableTile(tile);
    EXPECT_EQ(ReadAll(*clone), ReadAll(*plain));
    EXPECT_EQ(bitmap->GetPixel(256, 256).GetSample(1), 8);
    EXPECT_EQ(meanwhile->GetPixel(256, 256).GetSample(1), 9);
    EXPECT_EQ(bitmap->GetPixel(256 + 99, 256).GetSample(1), 9);
    EXPECT_EQ(bitmap->GetPixel(256 + 100, 256), plain->GetPixel(256 + 100, 256));
}

// The device could find the block and store what it has fetched while the samples are being written to.
TEST_F(DeviceDoors, TilesOfADeviceAreNeverWrittenToInPlace) {
    auto const& place = Plane().GetMutableTile(0, 0);
    EXPECT_FALSE(place.GetBlock()->IsWritable());
    place.Load();
    EXPECT_FALSE(place.GetBlock()->IsWritable());
    auto const* const block = place.GetBlock();
    Tile& written = Plane().PinMutableTile(0, 0);
    EXPECT_TRUE(written.GetBlock()->IsWritable());
    EXPECT_EQ(written.GetBlock()->GetDeviceLink(), nullptr);
    EXPECT_NE(written.GetBlock(), block);
    Plane().UnpinMutableTile(written);
}

TEST_F(DeviceDoors, CopiesOfTilesHaveSamplesOfTheirOwn) {
    Tile const tile = Plane().GetConstTile(0, 1), copy = tile.GetCopy();
    EXPECT_FALSE(copy.SharesSamplesWith(tile));
    EXPECT_TRUE(HoldsSame(copy, PlainPlane().GetConstTile(0, 1)));
}

TEST_F(DeviceDoors, OverwritingFetchesNothing) {
    auto const clone = bitmap->Clone(nullptr);
    Tile& tile = Plane().PinTileForOverwriting(0, 0);
    std::memset(tile.GetMutableBuffer(), 3, tile.GetBytes());
    Plane().UnpinMutableTile(tile);
    bitmap->GetPlane(0).FillSamples({0, 0, 256, 256}, 5);
    bitmap->Fill({256, 0, 512, 256}, MakePixel(FormatRGBA8, {1, 2, 3, 4}));
    EXPECT_EQ(GetReads(), 0);
    EXPECT_EQ(bitmap->GetPixel(17, 200).GetSample(1), 3);
    EXPECT_EQ(bitmap->GetPixel(17, 200).GetSample(0), 5);
    EXPECT_EQ(ReadAll(*clone), ReadAll(*plain));
}

TEST_F(DeviceDoors, ClonesAndCopiesOfWholeTilesFetchNothing) {
    auto const other = BitmapBase::Create(c_width, c_height, FormatRGBA8);
    other->Copy(*bitmap->Clone(nullptr), bitmap->GetBounds(), {0, 0});
    EXPECT_EQ(GetReads(), 0);
    EXPECT_EQ(ReadAll(*other), ReadAll(*plain));
}

TEST_F(DeviceDoors, CopiesBesideTheGridFetchTheirTiles) {
    auto const other = BitmapBase::Create(c_width, c_height, FormatRGBA8), wanted = other->Clone(nullptr);
    other->Copy(*bitmap, {10, 10, 310, 30}, {100, 70});
    wanted->Copy(*plain, {10, 10, 310, 30}, {100, 70});
    EXPECT_EQ(ReadAll(*other), ReadAll(*wanted));
}

TEST_F(DeviceDoors, EqualPixelsAreEqual) {
    EXPECT_TRUE(bitmap->HasEqualPixels(*bitmap->Clone(nullptr)));
    EXPECT_EQ(GetReads(), 0);
    EXPECT_TRUE(bitmap->HasEqualPixels(*plain));
    EXPECT_FALSE(source->HasEqualPixels(*bitmap));
}

TEST_F(DeviceDoors, LevelsAreMadeOfFetchedTiles) {
    auto const levelled = BitmapBase::Create(c_width, c_height, FormatRGBA8, MipmapMode::OnDemand);
    auto const wanted = levelled->Clone(nullptr);
    wanted->Copy(*plain, plain->GetBounds(), {0, 0});
    levelled->Copy(*source, source->GetBounds(), {0, 0});
    auto const from = source->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *levelled, *from, levelled->GetBounds(), false));
    levelled->FinishChange(levelled->GetBounds());
    levelled->UpdateMipmaps(0, nullptr);
    wanted->UpdateMipmaps(0, nullptr);
    for (int level = 1; level <= wanted->GetMipmapLevels(); ++level)
        EXPECT_TRUE(levelled->GetMipmap(level)->HasEqualPixels(*wanted->GetMipmap(level))) << level;
}

TEST_F(DeviceDoors, SavedBitmapsHaveTheirPixels) {
    auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
    Kernel::Counted<Kernel::Serialisable const> const owner = Kernel::MakeCounted<DynamicBitmap>(bitmap);
    Kernel::MemoryChunkStorage storage;
    Kernel::ObjectGraph::SaveCopy(std::span(&owner, 1), storage, blobs.get());
    Kernel::FileStore files(blobs);
    Kernel::ObjectGraph graph;
    auto const roots = graph.Load(storage, files);
    auto const& loaded = dynamic_cast<DynamicBitmap const&>(*roots.at(0));
    EXPECT_TRUE(loaded.GetBase()->HasEqualPixels(*plain));
    EXPECT_EQ(ReadAll(*loaded.GetBase()), ReadAll(*plain));
}

TEST_F(DeviceDoors, EqualTilesAreMadeToShare) {
    BlockDeduplicationSupport support;
    for (auto const& one : {plain, bitmap}) {
        for (int channel = 0; channel != 4; ++channel)
            support.Deduplicate(one->GetPlane(channel), nullptr);
    }
    EXPECT_EQ(support.GetSharedTiles(), 4u * 6);
    EXPECT_TRUE(Plane().GetConstTile(2, 1).SharesSamplesWith(PlainPlane().GetConstTile(2, 1)));
}

TEST_F(DeviceDoors, TilesAreNotReleasedWithThoseOfStores) {
    bitmap->ReleaseLoadedTiles();
    Plane().GetConstTile(0, 0).GetConstBuffer();
    bitmap->ReleaseLoadedTiles();
    EXPECT_FALSE(bitmap->IsPendingDelayLoad());
    EXPECT_EQ(ReadAll(*bitmap), ReadAll(*plain));
}

TEST_F(DeviceDoors, EachFormatComesBack) {
    for (Format const format : AllFormats()) {
        TestDevice one;
        auto const from = MakeNoiseBitmap(format, 257, 300, 3);
        auto const result = from->Clone(nullptr), wanted = from->Clone(nullptr);
        Rect const rect{20, 30, 257, 290};
        ASSERT_TRUE(TryOnDevice(one.handle, *result, *from, rect, true)) << GetFormatName(format);
        RunInSoftware(*wanted, *from, rect, true);
        EXPECT_EQ(ReadAll(*result), ReadAll(*wanted)) << GetFormatName(format);
        EXPECT_EQ(one.GetCalls(DriverCall::Read) > 0, true);
    }
}

} // namespace Raster::Tests
