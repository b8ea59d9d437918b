// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/device_pixels.h"

#include "platform/kernel/abort_flag.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"
#include "tests/engine/raster/device_samples.h"
#include "tests/engine/raster/memory_blobs.h"

#include <gtest/gtest.h>

#include <thread>

namespace Raster::Tests {
namespace {

using Rect = Kernel::RectT<int>;
constexpr auto c_format = FormatRGBA8;
constexpr int c_channels = 4;

Kernel::Counted<BitmapBase> MakeResult(BitmapBase const& source, Rect const& rect, bool readsDestination = false) {
    auto result = source.Clone(nullptr);
    RunInSoftware(*result, source, rect, readsDestination);
    return result;
}

std::size_t GetPictureBytes(BitmapBase const& bitmap) {
    return DeviceLayout{bitmap.GetWidth(), bitmap.GetHeight(), bitmap.GetInfo().sampleBytes,
                        bitmap.GetInfo().channelCount}
        .GetBytes();
}

int GetWrites(TestDevice const& device) { return device.GetCalls(DriverCall::Write); }
int GetReads(TestDevice const& device) { return device.GetCalls(DriverCall::Read); }

// Takes all memory that the device can spare, and gives it back.
void AskForAllMemory(TestDevice const& device) { device.Get().Allocate(device.Get().GetMemoryLimit()); }

class ThrowingRecipe final : public HardwareRecipe {
public:
    ThrowingRecipe(Kernel::Counted<BitmapBase const> result, int throws) : m_result(result), m_throws(throws) {}
    Kernel::Counted<BitmapBase const> Make() const override {
        if (m_throws-- > 0)
            throw Kernel::DamagedDataException("a bitmap's pixels are damaged");
        return m_result;
    }

private:
    Kernel::Counted<BitmapBase const> m_result;
    mutable int m_throws;
};

// Lets a "kernel" fill the whole bitmap with a byte.
void FillOnDevice(TestDevice const& device, BitmapBase& bitmap, int value,
                  std::shared_ptr<HardwareRecipe const> recipe) {
    bitmap.ExpectOverwriting(bitmap.GetBounds());
    auto const holder = Kernel::MakeCounted<Prolongation>();
    void* const buffer =
        bitmap.RetainHardwareBuffer(device.handle, nullptr, false, false, bitmap.GetBounds(), *holder, 0);
    ASSERT_NE(buffer, nullptr);
    std::memset(buffer, value, GetPictureBytes(bitmap));
    bitmap.InvalidateHostCache(bitmap.GetBounds(), std::move(recipe));
}

} // namespace

TEST(DevicePixels, PlanesLieOneAfterAnotherInPaddedRows) {
    TestDevice device;
    auto const bitmap = MakeNoiseBitmap(FormatIA16, 300, 270, 1);
    ASSERT_TRUE(bitmap->SyncHardwareCache(device.handle, bitmap->GetBounds(), false, nullptr));
    auto const holder = Kernel::MakeCounted<Prolongation>();
    auto const* const buffer = static_cast<std::uint16_t const*>(
        bitmap->RetainHardwareBuffer(device.handle, nullptr, true, false, bitmap->GetBounds(), *holder, 1));
    ASSERT_NE(buffer, nullptr);
    float block[] = {0, 0, 0, 7};
    ASSERT_EQ(bitmap->GetHardwareParams(buffer, block), BitmapBase::c_hardwareParameterCount);
    EXPECT_EQ(std::vector<float>(block, block + 4), (std::vector<float>{300, 270, 320, 7}));
    for (auto [channel, x, y] : {std::tuple{0, 0, 0}, {1, 299, 269}, {0, 256, 3}, {1, 5, 256}})
        EXPECT_EQ(buffer[(channel * 270 + y) * 320 + x], bitmap->GetPixel(x, y).GetSample(channel));
}

TEST(DevicePixels, AHolderKeepsTheBufferAndCountsItsUse) {
    auto device = std::make_optional<TestDevice>();
    auto const record = device->record;
    auto const bitmap = MakeNoiseBitmap(c_format, 300, 300, 1);
    auto const holder = Kernel::MakeCounted<Prolongation>();
    ASSERT_NE(bitmap->RetainHardwareBuffer(device->handle, nullptr, false, false, bitmap->GetBounds(), *holder,
                                           Prolongation::c_destination),
              nullptr);
    void* const source = bitmap->RetainHardwareBuffer(device->handle, nullptr, true, false, bitmap->GetBounds(),
                                                      *holder, Prolongation::c_source);
    ASSERT_NE(source, nullptr);
    EXPECT_NE(source, holder->buffers[Prolongation::c_destination]);
    EXPECT_EQ(source, holder->buffers[Prolongation::c_source]);
    EXPECT_EQ(holder->uses[Prolongation::c_source]->Get(), 1);
    EXPECT_FALSE(holder->isReadOnly[Prolongation::c_destination]);
    EXPECT_TRUE(holder->isReadOnly[Prolongation::c_source]);
    EXPECT_FALSE(holder->writers[Prolongation::c_destination]->TryAcquire());
    EXPECT_EQ(holder->writers[Prolongation::c_source], nullptr);
    EXPECT_EQ(holder->buffers[Prolongation::c_mask], nullptr);
    // A slot that is in use, or does not exist, is refused.
    for (int const slot : {int(Prolongation::c_source), -1, 3})
        EXPECT_EQ(
            bitmap->RetainHardwareBuffer(device->handle, nullptr, true, false, bitmap->GetBounds(), *holder, slot),
            nullptr);
    // Not to be asked back meanwhile.
    AskForAllMemory(*device);
    EXPECT_EQ(device->Get().GetUsedBytes() / GetPictureBytes(*bitmap), 2u);
    // The memory outlives the list of devices.
    device.reset();
    EXPECT_GE(record->GetBlocks(), 2);
    static_cast<std::uint8_t*>(source)[0] = 1;
}

TEST(DevicePixels, AnotherEffectOnTheSameLayerUploadsNothing) {
    TestDevice device;
    auto const layer = MakeNoiseBitmap(c_format, 700, 300, 1);
    for (int i = 0; i != 3; ++i) {
        auto const source = layer->Clone(nullptr), destination = layer->Clone(nullptr);
        int const writes = GetWrites(device);
        ASSERT_TRUE(TryOnDevice(device.handle, *destination, *source, source->GetBounds(), i == 1));
        EXPECT_EQ(GetWrites(device) == writes, i != 0) << i;
    }
    // Nor does an effect on the result, also where it has come back into the layer.
    auto const result = layer->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *result, *layer->Clone(nullptr), {100, 100, 600, 290}, false));
    layer->Copy(*result, {100, 100, 600, 290}, {100, 100});
    auto const wanted = ReadAll(*MakeResult(*MakeNoiseBitmap(c_format, 700, 300, 1), {100, 100, 600, 290}));
    EXPECT_EQ(ReadAll(*layer), wanted);
}

TEST(DevicePixels, ResultsOfPartsAreMadeWholeOnTheDevice) {
    TestDevice device;
    auto const layer = MakeNoiseBitmap(c_format, 700, 600, 1);
    auto const first = layer->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *first, *layer->Clone(nullptr), {0, 0, 256, 256}, false));
    int const writes = GetWrites(device);
    for (int i = 0; i != 2; ++i) {
        int const copies = device.GetCalls(DriverCall::Copy);
        auto const second = first->Clone(nullptr);
        ASSERT_TRUE(TryOnDevice(device.handle, *second, *first->Clone(nullptr), {256, 0, 512, 256}, false));
        EXPECT_EQ(device.GetCalls(DriverCall::Copy) == copies, i != 0);
        auto wanted = MakeResult(*layer, {0, 0, 256, 256});
        EXPECT_EQ(ReadAll(*second), ReadAll(*MakeResult(*wanted, {256, 0, 512, 256})));
    }
    EXPECT_EQ(GetWrites(device), writes);
}

TEST(DevicePixels, AHostWriteUploadsItsTileOnly) {
    TestDevice device;
    auto const layer = MakeNoiseBitmap(c_format, 700, 600, 1);
    ASSERT_TRUE(layer->SyncHardwareCache(device.handle, layer->GetBounds(), false, nullptr));
    layer->GetPlane(2).FillSamples({300, 300, 301, 301}, 1);
    int const writes = GetWrites(device);
    ASSERT_TRUE(layer->SyncHardwareCache(device.handle, layer->GetBounds(), false, nullptr));
    EXPECT_EQ(GetWrites(device), writes + 1);
    auto const result = layer->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *result, *layer->Clone(nullptr), layer->GetBounds(), true));
    EXPECT_EQ(GetWrites(device), writes + 1);
    EXPECT_EQ(ReadAll(*result), ReadAll(*MakeResult(*layer, layer->GetBounds(), true)));
}

TEST(DevicePixels, TilesThatAreOverwrittenAreNotBrought) {
    TestDevice device;
    auto const bitmap = MakeNoiseBitmap(c_format, 700, 600, 1);
    Rect const rect{0, 0, 600, 512};
    bitmap->ExpectOverwriting(rect);
    ASSERT_TRUE(bitmap->SyncHardwareCache(device.handle, rect, false, nullptr));
    EXPECT_EQ(GetWrites(device), 0);
    auto const holder = Kernel::MakeCounted<Prolongation>();
    auto* const buffer = static_cast<std::uint8_t*>(
        bitmap->RetainHardwareBuffer(device.handle, nullptr, false, false, rect, *holder, 0));
    ASSERT_NE(buffer, nullptr);
    // The third column of tiles lies in part outside of the rectangle: two rows of tiles of each channel.
    EXPECT_EQ(GetWrites(device), c_channels * 2);
    float block[3];
    bitmap->GetHardwareParams(buffer, block);
    auto const wanted = MakeResult(*bitmap, rect);
    RunInMemory(buffer, buffer, bitmap->GetInfo(), block, rect, false);
    for (int channel = 0; channel != c_channels; ++channel) {
        for (int y = rect.top; y != rect.bottom; ++y)
            wanted->GetPlane(channel).ReadSamples(
                {rect.left, y, rect.right, y + 1},
                buffer + (static_cast<std::size_t>(channel) * 600 + static_cast<std::size_t>(y)) * 704, 700);
    }
    bitmap->InvalidateHostCache(rect, nullptr);
    EXPECT_EQ(ReadAll(*bitmap), ReadAll(*wanted));
    // Holds for one kernel only.
    auto const again = Kernel::MakeCounted<Prolongation>();
    int const copies = device.GetCalls(DriverCall::Copy) + GetWrites(device);
    ASSERT_NE(bitmap->RetainHardwareBuffer(device.handle, nullptr, false, false, rect, *again, 0), nullptr);
    EXPECT_GT(device.GetCalls(DriverCall::Copy) + GetWrites(device), copies + 4);
}

TEST(DevicePixels, AKernelThatFailsHasChangedNothing) {
    TestDevice device;
    auto const layer = MakeNoiseBitmap(c_format, 300, 300, 1);
    auto const first = layer->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *first, *layer, layer->GetBounds(), false));
    auto const wanted = ReadAll(*MakeResult(*layer, layer->GetBounds()));
    {
        auto const holder = Kernel::MakeCounted<Prolongation>();
        void* const buffer =
            first->RetainHardwareBuffer(device.handle, nullptr, false, false, first->GetBounds(), *holder, 0);
        ASSERT_NE(buffer, nullptr);
        std::memset(buffer, 0x33, GetPictureBytes(*first));
    }
    EXPECT_EQ(ReadAll(*first), wanted);
    first->InvalidateHardwareCache(first->GetBounds());
    EXPECT_EQ(ReadAll(*first), wanted);
    EXPECT_THROW(first->InvalidateHostCache(first->GetBounds(), nullptr), Kernel::Exception);
    EXPECT_EQ(ReadAll(*first), wanted);
    auto const second = first->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *second, *first, first->GetBounds(), true));
    EXPECT_EQ(ReadAll(*second), ReadAll(*MakeResult(*first, first->GetBounds(), true)));
}

TEST(DevicePixels, KernelsWriteWhereNobodyElseLooks) {
    TestDevice device;
    auto const layer = MakeNoiseBitmap(c_format, 300, 300, 1);
    auto const before = ReadAll(*layer);
    auto const first = layer->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *first, *layer, {0, 0, 300, 299}, false));
    auto const clone = first->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *first, *first->Clone(nullptr), {3, 3, 300, 300}, true));
    EXPECT_EQ(ReadAll(*layer), before);
    auto const firstResult = MakeResult(*layer, {0, 0, 300, 299});
    EXPECT_EQ(ReadAll(*clone), ReadAll(*firstResult));
    EXPECT_EQ(ReadAll(*first), ReadAll(*MakeResult(*firstResult, {3, 3, 300, 300}, true)));
}

TEST(DevicePixels, ADeviceThatIsLostCostsTimeOnly) {
    TestDevice device;
    auto const layer = MakeNoiseBitmap(c_format, 700, 300, 1);
    auto const result = layer->Clone(nullptr);
    auto const made = std::make_shared<std::atomic<int>>(0);
    ASSERT_TRUE(TryOnDevice(device.handle, *result, *layer, {20, 20, 690, 290}, true, made));
    EXPECT_EQ(result->GetHardwareDevice(), device.handle);
    device.Get().MarkLost();
    EXPECT_EQ(result->GetHardwareDevice(), nullptr);
    EXPECT_FALSE(result->SyncHardwareCache(device.handle, result->GetBounds(), false, nullptr));
    auto const clone = result->Clone(nullptr);
    result->GetPixel(0, 0);
    EXPECT_EQ(*made, 1);
    EXPECT_EQ(ReadAll(*clone), ReadAll(*MakeResult(*layer, {20, 20, 690, 290}, true)));
    EXPECT_EQ(*made, 1);
}

TEST(DevicePixels, AReadThatFailsIsMadeGoodByTheRecipe) {
    TestDevice device;
    auto const layer = MakeNoiseBitmap(c_format, 700, 300, 1);
    auto const result = layer->Clone(nullptr);
    auto const made = std::make_shared<std::atomic<int>>(0);
    ASSERT_TRUE(TryOnDevice(device.handle, *result, *layer, layer->GetBounds(), false, made));
    device.failures->Set(DriverCall::Read, 2, HardwareStatus::Failed);
    EXPECT_EQ(ReadAll(*result), ReadAll(*MakeResult(*layer, layer->GetBounds())));
    EXPECT_EQ(*made, 1);
    // The device works on, but what it held is not to be trusted: the result is brought there anew.
    EXPECT_EQ(result->GetHardwareDevice(), nullptr);
    auto const next = result->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *next, *result, result->GetBounds(), true));
    EXPECT_EQ(ReadAll(*next), ReadAll(*MakeResult(*result, layer->GetBounds(), true)));
}

TEST(DevicePixels, WhatTheRecipeThrowsComesToTheReaderWhoMayTryAgain) {
    TestDevice device;
    auto const bitmap = BitmapBase::Create(300, 300, c_format), wanted = bitmap->Clone(nullptr);
    wanted->Fill(wanted->GetBounds(), MakePixel(c_format, {7, 7, 7, 7}));
    FillOnDevice(device, *bitmap, 7, std::make_shared<ThrowingRecipe>(wanted, 2));
    device.Get().MarkLost();
    EXPECT_THROW(bitmap->GetPixel(1, 1), Kernel::DamagedDataException);
    auto const clone = bitmap->Clone(nullptr);
    EXPECT_THROW(clone->SyncHostCache(clone->GetBounds(), false, nullptr), Kernel::DamagedDataException);
    EXPECT_EQ(ReadAll(*bitmap), ReadAll(*wanted));
    // A recipe for something else, and none at all.
    TestDevice other;
    auto const small = BitmapBase::Create(20, 20, c_format);
    for (auto const& recipe : {std::make_shared<ThrowingRecipe>(small, 0), std::shared_ptr<ThrowingRecipe>()}) {
        FillOnDevice(other, *bitmap, 9, recipe);
        other.failures->Set(DriverCall::Read, 1, HardwareStatus::Failed);
        EXPECT_THROW(bitmap->GetPixel(1, 1), Kernel::Exception);
        // The device still has it.
        EXPECT_EQ(bitmap->GetPixel(1, 1), MakePixel(c_format, {9, 9, 9, 9}));
    }
}

TEST(DevicePixels, RecipesGoWhenTheirPixelsAreFetchedOrDropped) {
    TestDevice device;
    auto const layer = MakeNoiseBitmap(c_format, 600, 300, 1);
    auto bitmap = layer->Clone(nullptr);
    auto made = std::make_shared<std::atomic<int>>(0);
    ASSERT_TRUE(TryOnDevice(device.handle, *bitmap, *layer, layer->GetBounds(), false, made));
    EXPECT_EQ(made.use_count(), 2);
    for (int channel = 0; channel != c_channels; ++channel)
        bitmap->GetPlane(channel).FillSamples({0, 0, 512, 300}, 1);
    EXPECT_EQ(made.use_count(), 2);
    ReadAll(*bitmap);
    EXPECT_EQ(made.use_count(), 1);
    auto const other = layer->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *other, *layer, layer->GetBounds(), false, made));
    other->Clear(DynamicPixel(c_format));
    EXPECT_EQ(made.use_count(), 1);
}

TEST(DevicePixels, ChainsOfRecipesEnd) {
    TestDevice device(std::size_t(256) << 20);
    auto bitmap = MakeNoiseBitmap(c_format, 300, 300, 1);
    auto wanted = bitmap->Clone(nullptr);
    auto const made = std::make_shared<std::atomic<int>>(0);
    int longest = 0;
    for (int i = 0; i != 50; ++i) {
        bool const readsDestination = i % 3 == 0;
        auto const source = bitmap->Clone(nullptr), destination = bitmap->Clone(nullptr);
        ASSERT_TRUE(TryOnDevice(device.handle, *destination, *source, bitmap->GetBounds(), readsDestination, made));
        bitmap = destination;
        wanted = MakeResult(*wanted, wanted->GetBounds(), readsDestination);
        longest = std::max(longest, static_cast<int>(made.use_count()) - 1);
    }
    EXPECT_GE(longest, 5);
    EXPECT_LE(longest, 9);
    device.Get().MarkLost();
    EXPECT_EQ(ReadAll(*bitmap), ReadAll(*wanted));
    EXPECT_LE(*made, 9);
    EXPECT_EQ(made.use_count(), 1);
}

TEST(DevicePixels, PixelsLeaveTheDeviceWithTheLastBitmapThatHasThem) {
    TestDevice device;
    auto layer = MakeNoiseBitmap(c_format, 700, 300, 1);
    auto result = layer->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *result, *layer, {0, 0, 300, 300}, true));
    ASSERT_TRUE(result->SyncHardwareCache(device.handle, result->GetBounds(), false, nullptr));
    EXPECT_EQ(device.Get().GetUsedBytes() / GetPictureBytes(*layer), 2u);
    EXPECT_EQ(result->GetHardwareDevice(), device.handle);
    // The layer's own are the recipe's as well.
    layer = {};
    EXPECT_EQ(device.Get().GetUsedBytes() / GetPictureBytes(*result), 2u);
    result = {};
    EXPECT_EQ(device.Get().GetUsedBytes(), 0u);
    // Uploaded tiles that are written to are there no more.
    auto const flat = MakeNoiseBitmap(c_format, 300, 300, 1);
    ASSERT_TRUE(flat->SyncHardwareCache(device.handle, flat->GetBounds(), false, nullptr));
    auto const holder = Kernel::MakeCounted<Prolongation>();
    ASSERT_NE(flat->RetainHardwareBuffer(device.handle, nullptr, true, false, flat->GetBounds(), *holder, 1), nullptr);
    EXPECT_EQ(flat->GetHardwareDevice(), device.handle);
    auto const noise = MakeNoise(c_format, 300, 300, 2);
    flat->WritePixels(flat->GetBounds(), noise.pixels.data(), noise.rowBytes);
    EXPECT_EQ(flat->GetHardwareDevice(), nullptr);
}

TEST(DevicePixels, BitmapsOfOneValueAreBroughtWithoutSamples) {
    TestDevice device;
    auto const flat = BitmapBase::Create(3000, 600, c_format);
    flat->Fill(flat->GetBounds(), MakePixel(c_format, {1, 2, 3, 4}));
    auto const before = Tile::GetAllocatedBytes();
    auto const result = flat->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *result, *flat, flat->GetBounds(), true));
    EXPECT_EQ(Tile::GetAllocatedBytes(), before);
    EXPECT_EQ(result->GetPixel(2999, 599), MakeResult(*flat, {2999, 599, 3000, 600}, true)->GetPixel(2999, 599));
}

TEST(DevicePixels, MemoryThatIsShortIsTakenFromThePicturesThatWereUsedLeastRecently) {
    auto const picture = std::size_t(320) * 300 * 4;
    TestDevice device(4 * picture + picture / 2);
    std::vector<Kernel::Counted<BitmapBase>> results;
    for (unsigned i = 0; i != 4; ++i) {
        results.push_back(BitmapBase::Create(300, 300, c_format));
        FillOnDevice(device, *results.back(), 10 + static_cast<int>(i), nullptr);
    }
    // The first is used again.
    auto const holder = Kernel::MakeCounted<Prolongation>();
    ASSERT_NE(
        results[0]->RetainHardwareBuffer(device.handle, nullptr, true, false, results[0]->GetBounds(), *holder, 1),
        nullptr);
    EXPECT_EQ(GetReads(device), 0);
    auto const added = BitmapBase::Create(300, 300, c_format);
    FillOnDevice(device, *added, 50, nullptr);
    EXPECT_GT(GetReads(device), 0);
    EXPECT_EQ(results[1]->GetHardwareDevice(), nullptr);
    for (unsigned const i : {0u, 2u, 3u})
        EXPECT_EQ(results[i]->GetHardwareDevice(), device.handle) << i;
    int const reads = GetReads(device);
    EXPECT_EQ(ReadAll(*results[1]), Bytes(4 * 300 * 300, 11));
    EXPECT_EQ(GetReads(device), reads);
    // Uploads are dropped without being read.
    for (unsigned const i : {1u, 2u, 3u})
        results[i]->SyncHostCache(results[i]->GetBounds(), false, nullptr);
    int const all = GetReads(device);
    AskForAllMemory(device);
    EXPECT_EQ(GetReads(device), all + 2 * c_channels);
    EXPECT_EQ(device.Get().GetUsedBytes() / picture, 1u);
    for (unsigned i = 0; i != 4; ++i)
        EXPECT_EQ(ReadAll(*results[i]), Bytes(4 * 300 * 300, static_cast<std::uint8_t>(10 + i)));
    EXPECT_EQ(ReadAll(*added), Bytes(4 * 300 * 300, 50));
}

TEST(DevicePixels, PixelsThatCannotBeFetchedStayWhenMemoryIsShort) {
    TestDevice device(std::size_t(4) << 20);
    auto const bitmap = BitmapBase::Create(300, 300, c_format);
    FillOnDevice(device, *bitmap, 5, nullptr);
    device.failures->Set(DriverCall::Read, 1, HardwareStatus::Failed);
    AskForAllMemory(device);
    EXPECT_EQ(ReadAll(*bitmap), Bytes(4 * 300 * 300, 5));
}

TEST(DevicePixels, BitmapsThatAreLargerThanTheDeviceAreRefused) {
    TestDevice device(std::size_t(4) << 20);
    auto const large = BitmapBase::Create(c_maximumSide, c_maximumSide, c_format);
    EXPECT_FALSE(large->SyncHardwareCache(device.handle, {0, 0, 5, 5}, false, nullptr));
    auto const holder = Kernel::MakeCounted<Prolongation>();
    EXPECT_EQ(large->RetainHardwareBuffer(device.handle, nullptr, false, false, {0, 0, 5, 5}, *holder, 0), nullptr);
    EXPECT_EQ(holder->buffers[0], nullptr);
}

TEST(DevicePixels, BitmapsThatMayNotBeKeptThereAreNot) {
    TestDevice device;
    auto const bitmap = BitmapBase::Create(300, 300, c_format, MipmapMode::None, HardwareCachePolicy::Never);
    EXPECT_FALSE(bitmap->SyncHardwareCache(device.handle, bitmap->GetBounds(), false, nullptr));
    auto const holder = Kernel::MakeCounted<Prolongation>();
    EXPECT_EQ(bitmap->RetainHardwareBuffer(device.handle, nullptr, true, false, bitmap->GetBounds(), *holder, 1),
              nullptr);
    EXPECT_EQ(bitmap->GetHardwareDevice(), nullptr);
    EXPECT_EQ(device.GetCalls(DriverCall::Allocate), 0);
}

TEST(DevicePixels, AnAbortEndsTheTransfers) {
    TestDevice device;
    auto const layer = MakeNoiseBitmap(c_format, 700, 600, 1);
    bool abort = true;
    EXPECT_FALSE(layer->SyncHardwareCache(device.handle, layer->GetBounds(), false, &abort));
    EXPECT_EQ(GetWrites(device), 0);
    auto const result = layer->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *result, *layer, layer->GetBounds(), false));
    EXPECT_FALSE(result->SyncHostCache(result->GetBounds(), false, &abort));
    EXPECT_EQ(GetReads(device), 0);
    abort = false;
    EXPECT_TRUE(result->SyncHostCache(result->GetBounds(), false, &abort));
    // A row of tiles at a time.
    EXPECT_EQ(GetReads(device), 3 * c_channels);
}

TEST(DevicePixels, SamplesThatCannotBeReadAreLeftToTheSoftwareEngine) {
    TestDevice device;
    auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
    auto const bitmap = MakeNoiseBitmap(FormatA8, 600, 200, 1);
    auto const keys = bitmap->GetPlane(0).GetKeys();
    bitmap->GetPlane(0) = RegionBase::FromKeys(1, 600, 200, keys, blobs);
    EXPECT_FALSE(bitmap->SyncHardwareCache(device.handle, bitmap->GetBounds(), false, nullptr));
    EXPECT_TRUE(bitmap->IsPendingDelayLoad());
}

TEST(DevicePixels, TilesOfStoresAreBroughtWithoutBeingReadAgain) {
    TestDevice device;
    auto const blobs = Kernel::MakeCounted<MemoryBlobs>();
    auto const bitmap = MakeNoiseBitmap(FormatA8, 512, 256, 1);
    auto const keys = bitmap->GetPlane(0).GetKeys();
    for (int x = 0; x != 2; ++x)
        blobs->Put({static_cast<std::byte const*>(bitmap->GetPlane(0).GetConstTile(x, 0).GetConstBuffer()),
                    std::size_t(c_tileSamples)});
    auto const wanted = ReadAll(*bitmap);
    bitmap->GetPlane(0) = RegionBase::FromKeys(1, 512, 256, keys, blobs);
    ASSERT_TRUE(bitmap->SyncHardwareCache(device.handle, bitmap->GetBounds(), false, nullptr));
    EXPECT_EQ(blobs->gets, 2);
    bitmap->ReleaseLoadedTiles();
    EXPECT_TRUE(bitmap->IsPendingDelayLoad());
    auto const result = bitmap->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *result, *bitmap, {0, 0, 512, 200}, true));
    EXPECT_EQ(blobs->gets, 2);
    EXPECT_EQ(ReadAll(*bitmap), wanted);
    EXPECT_EQ(ReadAll(*result), ReadAll(*MakeResult(*bitmap, {0, 0, 512, 200}, true)));
}

TEST(DevicePixels, OtherDevicesGetThePixelsByWayOfTheHost) {
    TestDevice one, other;
    auto const layer = MakeNoiseBitmap(c_format, 300, 300, 1);
    auto const first = layer->Clone(nullptr), second = layer->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(one.handle, *first, *layer, layer->GetBounds(), false));
    ASSERT_TRUE(TryOnDevice(other.handle, *second, *first, layer->GetBounds(), true));
    auto const wanted = layer->Clone(nullptr);
    RunInSoftware(*wanted, *MakeResult(*layer, layer->GetBounds()), layer->GetBounds(), true);
    EXPECT_EQ(second->GetHardwareDevice(), other.handle);
    EXPECT_EQ(ReadAll(*second), ReadAll(*wanted));
}

TEST(DevicePixels, PixelsThatWereChangedBehindTheBitmapsBackAreBroughtAnew) {
    TestDevice device;
    // The second tile keeps the picture on the device.
    auto const bitmap = MakeNoiseBitmap(FormatA8, 512, 256, 1);
    auto* const samples = static_cast<std::uint8_t*>(bitmap->GetPlane(0).GetMutableTile(0, 0).GetMutableBuffer());
    ASSERT_TRUE(bitmap->SyncHardwareCache(device.handle, bitmap->GetBounds(), false, nullptr));
    samples[5] ^= 0xFF;
    bitmap->InvalidateHardwareCache({5, 0, 6, 1});
    auto const holder = Kernel::MakeCounted<Prolongation>();
    auto const* const buffer = static_cast<std::uint8_t const*>(
        bitmap->RetainHardwareBuffer(device.handle, nullptr, true, false, bitmap->GetBounds(), *holder, 1));
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer[5], samples[5]);
    EXPECT_EQ(GetWrites(device), 2);
}

TEST(DevicePixels, TilesThatMoveAreCopiedOnTheDevice) {
    TestDevice device;
    auto const layer = MakeNoiseBitmap(c_format, 600, 300, 1);
    auto const result = layer->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *result, *layer, layer->GetBounds(), false));
    int const writes = GetWrites(device);
    // Another size, and another place: the tile at the edge stays at the edge, and one comes beside itself.
    auto const large = BitmapBase::Create(856, 300, c_format);
    large->Copy(*result, result->GetBounds(), {256, 0});
    large->Copy(*result, {0, 0, 256, 300}, {0, 0});
    auto const wanted = BitmapBase::Create(856, 300, c_format);
    auto const plain = MakeResult(*layer, layer->GetBounds());
    wanted->Copy(*plain, plain->GetBounds(), {256, 0});
    wanted->Copy(*plain, {0, 0, 256, 300}, {0, 0});
    auto const next = large->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *next, *large, large->GetBounds(), true));
    EXPECT_EQ(GetWrites(device), writes);
    EXPECT_EQ(GetReads(device), 0);
    EXPECT_EQ(ReadAll(*next), ReadAll(*MakeResult(*wanted, wanted->GetBounds(), true)));
}

// The device has nothing of such a tile beyond the edge, where it is zero.
TEST(DevicePixels, TilesOfAnEdgeThatComeIntoTheMiddleAreBroughtWhole) {
    TestDevice device;
    auto const layer = MakeNoiseBitmap(FormatA8, 300, 256, 1);
    auto const result = layer->Clone(nullptr), large = BitmapBase::Create(600, 256, FormatA8);
    ASSERT_TRUE(TryOnDevice(device.handle, *result, *layer, layer->GetBounds(), false));
    auto const plain = large->Clone(nullptr), host = MakeResult(*layer, layer->GetBounds());
    large->GetPlane(0).GetMutableTile(0, 0) = result->GetPlane(0).GetConstTile(1, 0);
    plain->GetPlane(0).GetMutableTile(0, 0) = host->GetPlane(0).GetConstTile(1, 0);
    auto const next = large->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *next, *large, large->GetBounds(), true));
    EXPECT_EQ(ReadAll(*next), ReadAll(*MakeResult(*plain, plain->GetBounds(), true)));
}

// Two bitmaps want different pixels in the slot that a picture has free, one while the other is being brought.
TEST(DevicePixels, ASlotThatSomebodyElseHasFilledMeanwhileIsLeftToThem) {
    class Interruption final : public Kernel::AbortPollObserver {
    public:
        Interruption(int poll, std::function<void()> work) : m_poll(poll), m_work(std::move(work)) {
            Kernel::AbortPollObserver::Set(this);
        }
        ~Interruption() override { Kernel::AbortPollObserver::Set(nullptr); }
        void BeforePoll(bool&) override {
            if (--m_poll == 0)
                m_work();
        }

    private:
        int m_poll;
        std::function<void()> m_work;
    };
    int interrupted = 0;
    // Looks at the flag before the picture is locked.
    for (int poll = 1; poll != 4; ++poll) {
        TestDevice device;
        auto const layer = MakeNoiseBitmap(FormatA8, 512, 256, 1);
        auto const result = layer->Clone(nullptr);
        result->ExpectOverwriting({0, 0, 256, 256});
        {
            auto const holder = Kernel::MakeCounted<Prolongation>();
            ASSERT_NE(result->RetainHardwareBuffer(device.handle, nullptr, false, false, {0, 0, 256, 256}, *holder, 0),
                      nullptr);
            result->InvalidateHostCache({0, 0, 256, 256}, nullptr);
        }
        auto const one = result->Clone(nullptr), other = result->Clone(nullptr);
        one->GetPlane(0).FillSamples({300, 0, 301, 1}, 11);
        other->GetPlane(0).FillSamples({300, 0, 301, 1}, 22);
        auto const holder = Kernel::MakeCounted<Prolongation>();
        auto const retain = [&](BitmapBase const& bitmap, int slot) {
            return static_cast<std::uint8_t const*>(
                bitmap.RetainHardwareBuffer(device.handle, nullptr, true, false, bitmap.GetBounds(), *holder, slot));
        };
        std::uint8_t const* ofOther = nullptr;
        {
            Interruption const interruption(poll, [&] {
                ofOther = retain(*other, 1);
                ++interrupted;
            });
            bool const abort = false;
            EXPECT_TRUE(one->SyncHardwareCache(device.handle, one->GetBounds(), false, &abort));
        }
        auto const* const ofOne = retain(*one, 2);
        ASSERT_NE(ofOne, nullptr);
        EXPECT_EQ(ofOne[300], 11) << poll;
        EXPECT_TRUE(ofOther == nullptr || ofOther[300] == 22) << poll;
    }
    EXPECT_EQ(interrupted, 3);
}

TEST(DevicePixels, ResultsThatNobodyHoldsYetAreNotAskedBack) {
    TestDevice device(std::size_t(4) << 20);
    auto const bitmap = BitmapBase::Create(300, 300, c_format);
    bitmap->ExpectOverwriting(bitmap->GetBounds());
    {
        auto const holder = Kernel::MakeCounted<Prolongation>();
        void* const buffer =
            bitmap->RetainHardwareBuffer(device.handle, nullptr, false, false, bitmap->GetBounds(), *holder, 0);
        ASSERT_NE(buffer, nullptr);
        std::memset(buffer, 6, GetPictureBytes(*bitmap));
    }
    AskForAllMemory(device);
    bitmap->InvalidateHostCache(bitmap->GetBounds(), nullptr);
    EXPECT_EQ(ReadAll(*bitmap), Bytes(4 * 300 * 300, 6));
}

TEST(DevicePixels, ThreadsMayFetchCloneAndAskForMemoryAtOnce) {
    for (bool const isLost : {false, true}) {
        TestDevice device(std::size_t(8) << 20);
        auto const layer = MakeNoiseBitmap(c_format, 600, 300, 1);
        auto const wanted = ReadAll(*MakeResult(*layer, layer->GetBounds()));
        for (int round = 0; round != 10; ++round) {
            auto const result = layer->Clone(nullptr);
            auto const made = std::make_shared<std::atomic<int>>(0);
            if (!device.Get().IsLost())
                ASSERT_TRUE(TryOnDevice(device.handle, *result, *layer, layer->GetBounds(), false, made));
            else
                RunInSoftware(*result, *layer, layer->GetBounds(), false);
            std::atomic<int> wrong{0};
            auto const read = [&] { wrong += ReadAll(*result->Clone(nullptr)) != wanted; };
            auto const write = [&] {
                auto const clone = result->Clone(nullptr);
                clone->Fill({0, 0, 400, 300}, MakePixel(c_format, {1, 2, 3, 4}));
                wrong += clone->GetPixel(450, 299) != result->GetPixel(450, 299);
            };
            auto const bring = [&] {
                auto const clone = result->Clone(nullptr), next = result->Clone(nullptr);
                Tests::Run(device.handle, *next, *clone, next->GetBounds(), false);
                wrong += ReadAll(*next) != ReadAll(*layer);
            };
            auto const evict = [&] { AskForAllMemory(device); };
            auto const drop = [&] {
                auto clone = result->Clone(nullptr);
                clone = {};
                if (isLost && round == 5)
                    device.Get().MarkLost();
            };
            {
                std::vector<std::jthread> threads;
                for (auto const& work : {std::function<void()>(read), {write}, {bring}, {evict}, {drop}, {read}})
                    threads.emplace_back(work);
            }
            EXPECT_EQ(wrong.load(), 0);
            EXPECT_LE(*made, 1);
        }
    }
}

// One thread reads a tile, and with it makes the lost pixels again in a loop of its own; all others want those, too.
TEST(DevicePixels, LoopsOverLostPixelsEnd) {
    class LoopRecipe final : public HardwareRecipe {
    public:
        explicit LoopRecipe(BitmapBase const& source) : m_source(source.Clone(nullptr)) {}
        Kernel::Counted<BitmapBase const> Make() const override {
            auto const result = m_source->Clone(nullptr);
            Kernel::ParallelFor(40, [&](std::size_t row) {
                int const top = static_cast<int>(row) * 30;
                RunInSoftware(*result, *m_source, {0, top, 1100, top + 30}, false);
            });
            return result;
        }

    private:
        Kernel::Counted<BitmapBase const> m_source;
    };
    auto const threadCount = Kernel::Dispatch::GetThreadCount();
    Kernel::Dispatch::SetThreadCount(4);
    for (int round = 0; round != 5; ++round) {
        TestDevice device;
        auto const layer = MakeNoiseBitmap(FormatA8, 1100, 1200, 1);
        auto const result = layer->Clone(nullptr);
        FillOnDevice(device, *result, 0, std::make_shared<LoopRecipe>(*layer));
        device.Get().MarkLost();
        auto const wanted = MakeResult(*layer, layer->GetBounds());
        std::atomic<int> wrong{0};
        Kernel::ParallelFor(25, [&](std::size_t i) {
            int const x = static_cast<int>(i % 5) * 256, y = static_cast<int>(i / 5) * 256;
            wrong += result->GetPixel(x, std::min(y, 1199)) != wanted->GetPixel(x, std::min(y, 1199));
        });
        EXPECT_EQ(wrong.load(), 0);
    }
    Kernel::Dispatch::SetThreadCount(threadCount);
}

} // namespace Raster::Tests
