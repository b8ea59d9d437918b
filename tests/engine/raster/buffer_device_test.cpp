// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/device_memory.h"
#include "engine/raster/rect_set.h"
#include "platform/kernel/exception.h"
#include "platform/raster/dynamic_buffer.h"
#include "tests/engine/raster/device_samples.h"

#include <gtest/gtest.h>

#include <optional>

namespace Raster::Tests {
namespace {

using Rect = Kernel::RectT<int>;
using BufferReference = Kernel::Counted<BufferBase>;

BufferReference MakeNoiseBuffer(Format format, int width, int height, unsigned seed) {
    auto buffer = BufferBase::Create(width, height, format);
    auto const noise = MakeNoise(format, width, height, seed);
    buffer->WritePixels(buffer->GetBounds(), noise.pixels.data(), noise.rowBytes);
    return buffer;
}

// The pixels that the host has.
Bytes ReadHost(BufferBase const& buffer) {
    Image image(buffer.GetFormat(), buffer.GetWidth(), buffer.GetHeight());
    buffer.ReadPixels(buffer.GetBounds(), image.pixels.data(), image.rowBytes);
    return image.pixels;
}

Bytes ReadAll(BufferBase& buffer) {
    EXPECT_TRUE(buffer.SyncHostCache(buffer.GetBounds(), false, nullptr));
    return ReadHost(buffer);
}

void RunOnPixels(Bytes& to, Bytes const& from, BufferBase const& buffer, Rect const& rect, bool readsDestination) {
    auto const pixelBytes = static_cast<std::size_t>(buffer.GetInfo().channelCount * buffer.GetInfo().sampleBytes);
    for (int y = rect.top; y != rect.bottom; ++y) {
        auto const row = static_cast<std::size_t>(y) * static_cast<std::size_t>(buffer.GetWidth()) * pixelBytes;
        for (std::size_t i = row + static_cast<std::size_t>(rect.left) * pixelBytes;
             i != row + static_cast<std::size_t>(rect.right) * pixelBytes; ++i)
            to[i] = Process(readsDestination, from[i], to[i]);
    }
}

// False: nothing has changed. `fails`: the kernel has spoilt the rectangle and nobody says that it is done.
bool TryOnDevice(void* device, BufferBase& to, BufferBase const& from, Rect const& rect, bool readsDestination,
                 bool fails = false) {
    if (!to.SyncHardwareCache(device, rect, false, nullptr) ||
        !from.SyncHardwareCache(device, from.GetBounds(), false, nullptr))
        return false;
    auto const holder = Kernel::MakeCounted<Prolongation>();
    void* const destination = to.RetainHardwareBuffer(device, nullptr, false, false, rect, *holder, 0);
    void* const source = destination == nullptr
                             ? nullptr
                             : from.RetainHardwareBuffer(device, nullptr, true, false, from.GetBounds(), *holder, 1);
    if (source == nullptr)
        return false;
    float block[3];
    EXPECT_EQ(to.GetHardwareParams(destination, block), 3);
    RunInMemory(destination, source, to.GetInfo(), block, rect, readsDestination);
    if (!fails)
        to.InvalidateHostCache(rect);
    return !fails;
}

} // namespace

TEST(RectSet, IsASetOfPixels) {
    std::mt19937 random(1);
    constexpr int c_side = 12;
    for (int round = 0; round != 50; ++round) {
        RectSet set;
        bool plain[c_side][c_side] = {};
        for (int step = 0; step != 20; ++step) {
            auto const pick = [&] { return static_cast<int>(random() % c_side); };
            int const left = pick(), top = pick();
            Rect const rect{left, top, std::min(c_side, left + pick()), std::min(c_side, top + pick())};
            bool const isAdded = random() % 2 == 0;
            if (isAdded)
                set.Add(rect);
            else
                set.Subtract(rect);
            for (int y = rect.top; y < rect.bottom; ++y)
                std::fill(plain[y] + rect.left, plain[y] + std::max(rect.left, rect.right), isAdded);
            Rect const window{2, 3, 9, 11};
            auto const inside = set.Intersected(window), missing = set.Missing(window);
            for (int y = 0; y != c_side; ++y) {
                for (int x = 0; x != c_side; ++x) {
                    auto const count = [&](RectSet const& one) {
                        return std::count_if(one.GetRects().begin(), one.GetRects().end(), [&](Rect const& r) {
                            return x >= r.left && x < r.right && y >= r.top && y < r.bottom;
                        });
                    };
                    bool const isInWindow = x >= 2 && x < 9 && y >= 3 && y < 11;
                    ASSERT_EQ(count(set), plain[y][x]);
                    ASSERT_EQ(count(inside), plain[y][x] && isInWindow);
                    ASSERT_EQ(count(missing), !plain[y][x] && isInWindow);
                }
            }
        }
    }
    RectSet rows;
    for (int y = 0; y != 100; ++y)
        rows.Add({0, y, 10, y + 1});
    EXPECT_EQ(rows.GetRects().size(), 1u);
}

TEST(DeviceBuffers, KernelsReadAndWriteThem) {
    for (Format const format : AllFormats()) {
        TestDevice device;
        auto const source = MakeNoiseBuffer(format, 130, 40, 1), result = MakeNoiseBuffer(format, 130, 40, 2);
        auto const before = ReadHost(*result);
        auto wanted = before;
        Rect const rect{3, 5, 101, 39};
        RunOnPixels(wanted, ReadHost(*source), *result, rect, true);
        EXPECT_EQ(result->GetHardwareDevice(), nullptr);
        ASSERT_TRUE(TryOnDevice(device.handle, *result, *source, rect, true));
        EXPECT_EQ(result->GetHardwareDevice(), device.handle);
        // Nobody watches the block.
        EXPECT_EQ(ReadHost(*result), before);
        EXPECT_TRUE(result->SyncHostCache({3, 5, 101, 20}, false, nullptr));
        EXPECT_NE(ReadHost(*result), wanted);
        EXPECT_EQ(ReadAll(*result), wanted) << GetFormatName(format);
        int const reads = device.GetCalls(DriverCall::Read);
        EXPECT_EQ(ReadAll(*result), wanted);
        EXPECT_EQ(device.GetCalls(DriverCall::Read), reads);
    }
}

TEST(DeviceBuffers, AreBroughtAsFarAsTheyHaveChanged) {
    TestDevice device;
    auto const buffer = MakeNoiseBuffer(FormatA8, 100, 100, 1);
    auto const sync = [&](Rect const& rect) {
        EXPECT_TRUE(buffer->SyncHardwareCache(device.handle, rect, false, nullptr));
        return device.GetCalls(DriverCall::Write);
    };
    EXPECT_EQ(sync({0, 0, 50, 100}), 1);
    EXPECT_EQ(sync({0, 0, 50, 100}), 1);
    EXPECT_EQ(sync({0, 0, 100, 100}), 2);
    buffer->Fill({10, 10, 20, 20}, MakePixel(FormatA8, {9}));
    buffer->InvalidateHardwareCache({10, 10, 20, 20});
    EXPECT_EQ(sync({0, 0, 10, 100}), 2);
    EXPECT_EQ(sync({-5, -5, 1000, 1000}), 3);
    auto const holder = Kernel::MakeCounted<Prolongation>();
    auto const* const there = static_cast<std::uint8_t const*>(buffer->RetainHardwareBuffer(
        device.handle, nullptr, true, false, buffer->GetBounds(), *holder, Prolongation::c_mask));
    ASSERT_NE(there, nullptr);
    BufferBase const& host = *buffer;
    for (int y = 0; y != 100; ++y)
        EXPECT_EQ(std::memcmp(there + y * 128, host.GetRow(0, y), 100), 0) << y;
}

TEST(DeviceBuffers, ClonesSeeNothingOfLaterWrites) {
    TestDevice device;
    auto const source = MakeNoiseBuffer(FormatRGBA8, 70, 30, 1), buffer = MakeNoiseBuffer(FormatRGBA8, 70, 30, 2);
    Rect const all = buffer->GetBounds();
    auto wanted = ReadHost(*buffer);
    RunOnPixels(wanted, ReadHost(*source), *buffer, all, true);
    ASSERT_TRUE(TryOnDevice(device.handle, *buffer, *source, all, true));
    // The pixels that only the device has are the clone's as well.
    auto const clone = buffer->Clone(nullptr), other = buffer->Clone(nullptr);
    auto wantedOfBuffer = wanted;
    RunOnPixels(wantedOfBuffer, ReadHost(*source), *buffer, {0, 0, 50, 20}, true);
    ASSERT_TRUE(TryOnDevice(device.handle, *buffer, *source, {0, 0, 50, 20}, true));
    EXPECT_EQ(ReadAll(*clone), wanted);
    EXPECT_EQ(ReadAll(*buffer), wantedOfBuffer);
    // A write of the host that is brought there.
    clone->Fill({0, 0, 5, 5}, MakePixel(FormatRGBA8, {1, 2, 3, 4}));
    clone->InvalidateHardwareCache({0, 0, 5, 5});
    ASSERT_TRUE(clone->SyncHardwareCache(device.handle, all, false, nullptr));
    EXPECT_EQ(ReadAll(*other), wanted);
}

TEST(DeviceBuffers, AKernelThatFailsHasChangedNothing) {
    TestDevice device;
    auto const source = MakeNoiseBuffer(FormatIA8, 70, 30, 1), buffer = MakeNoiseBuffer(FormatIA8, 70, 30, 2);
    Rect const all = buffer->GetBounds();
    auto const before = ReadHost(*buffer);
    EXPECT_FALSE(TryOnDevice(device.handle, *buffer, *source, {0, 0, 40, 30}, true, true));
    EXPECT_EQ(ReadAll(*buffer), before);
    auto wanted = before;
    RunOnPixels(wanted, ReadHost(*source), *buffer, all, true);
    ASSERT_TRUE(TryOnDevice(device.handle, *buffer, *source, all, true));
    EXPECT_FALSE(TryOnDevice(device.handle, *buffer, *source, {0, 0, 40, 30}, true, true));
    buffer->InvalidateHardwareCache({});
    EXPECT_THROW(buffer->InvalidateHostCache(all), Kernel::Exception);
    EXPECT_EQ(ReadAll(*buffer), wanted);
}

TEST(DeviceBuffers, SayWhenTheDeviceHasLostThem) {
    TestDevice device;
    auto const source = MakeNoiseBuffer(FormatA8, 70, 30, 1), buffer = MakeNoiseBuffer(FormatA8, 70, 30, 2);
    ASSERT_TRUE(TryOnDevice(device.handle, *buffer, *source, {0, 0, 40, 30}, true));
    device.failures->Set(DriverCall::Read, 1, HardwareStatus::Failed);
    EXPECT_FALSE(buffer->SyncHostCache(buffer->GetBounds(), false, nullptr));
    EXPECT_TRUE(buffer->Clone(nullptr)->SyncHostCache(buffer->GetBounds(), false, nullptr));
    device.Get().MarkLost();
    EXPECT_FALSE(buffer->SyncHostCache(buffer->GetBounds(), false, nullptr));
    EXPECT_TRUE(buffer->SyncHostCache({40, 0, 70, 30}, false, nullptr));
    EXPECT_EQ(buffer->GetHardwareDevice(), nullptr);
    TestDevice other;
    EXPECT_FALSE(buffer->SyncHardwareCache(other.handle, buffer->GetBounds(), false, nullptr));
    // Who writes it anew makes it good.
    buffer->Clear(MakePixel(FormatA8, {3}));
    buffer->InvalidateHardwareCache(buffer->GetBounds());
    EXPECT_TRUE(buffer->SyncHardwareCache(other.handle, buffer->GetBounds(), false, nullptr));
    EXPECT_EQ(ReadAll(*buffer), Bytes(70 * 30, 3));
}

TEST(DeviceBuffers, ShortMemoryIsTakenFromThoseThatTheHostHas) {
    auto const bytes = std::size_t(128) * 100;
    TestDevice device(3 * bytes + bytes / 2);
    auto const source = MakeNoiseBuffer(FormatA8, 128, 100, 1), buffer = MakeNoiseBuffer(FormatA8, 128, 100, 2);
    ASSERT_TRUE(TryOnDevice(device.handle, *buffer, *source, buffer->GetBounds(), false));
    device.Get().Allocate(device.Get().GetMemoryLimit());
    EXPECT_EQ(source->GetHardwareDevice(), nullptr);
    EXPECT_EQ(buffer->GetHardwareDevice(), device.handle);
    EXPECT_EQ(device.GetCalls(DriverCall::Read), 0);
    auto wanted = ReadHost(*source);
    RunOnPixels(wanted, ReadHost(*source), *source, source->GetBounds(), false);
    EXPECT_EQ(ReadAll(*buffer), wanted);
    device.Get().Allocate(device.Get().GetMemoryLimit());
    EXPECT_EQ(buffer->GetHardwareDevice(), nullptr);
    EXPECT_TRUE(source->SyncHardwareCache(device.handle, source->GetBounds(), false, nullptr));
}

TEST(DeviceBuffers, OwnersWithoutAFormatPassCallsOn) {
    TestDevice device;
    DynamicBuffer buffer(MakeNoiseBuffer(FormatRGBA16, 20, 20, 1));
    EXPECT_EQ(buffer.GetHardwareDevice(), nullptr);
    bool abort = true;
    EXPECT_FALSE(buffer.SyncHardwareCache(device.handle, buffer.GetBounds(), false, &abort));
    EXPECT_TRUE(buffer.SyncHardwareCache(device.handle, buffer.GetBounds(), false, nullptr));
    EXPECT_EQ(buffer.GetHardwareDevice(), device.handle);
    auto const holder = Kernel::MakeCounted<Prolongation>();
    auto* const there = static_cast<std::uint16_t*>(
        buffer.GetBase()->RetainHardwareBuffer(device.handle, nullptr, false, false, buffer.GetBounds(), *holder, 0));
    ASSERT_NE(there, nullptr);
    there[0] = 4711;
    buffer.InvalidateHostCache({0, 0, 1, 1});
    EXPECT_FALSE(buffer.SyncHostCache(buffer.GetBounds(), false, &abort));
    EXPECT_TRUE(buffer.SyncHostCache(buffer.GetBounds(), false, nullptr));
    EXPECT_EQ(buffer.GetBase()->GetPixel(0, 0).GetSample(0), 4711);
    buffer.InvalidateHardwareCache(buffer.GetBounds());
    EXPECT_EQ(buffer.GetHardwareDevice(), nullptr);
}

TEST(DeviceBuffers, HoldTheSamePixelsAsPlainArraysWhateverFails) {
    constexpr int c_width = 90, c_height = 50;
    constexpr Format c_format = FormatRGBA8;
    std::mt19937 random(3);
    auto const pick = [&](int count) { return static_cast<int>(random() % static_cast<unsigned>(count)); };
    TestDevice device(std::size_t(128) * 4 * c_height * 5);
    struct Pair {
        BufferReference buffer;
        Bytes pixels;
    };
    std::vector<Pair> pairs;
    for (unsigned i = 0; i != 4; ++i) {
        auto const buffer = MakeNoiseBuffer(c_format, c_width, c_height, i);
        pairs.push_back({buffer, ReadHost(*buffer)});
    }
    // Only failures that pass: what a device has lost is lost for a buffer.
    auto const fetch = [&](BufferBase& buffer, Rect const& rect) {
        for (int i = 0; i != 5; ++i) {
            if (buffer.SyncHostCache(rect, false, nullptr))
                return;
        }
        ADD_FAILURE();
    };
    int runs = 0;
    for (int step = 0; step != 6000 && !HasFailure(); ++step) {
        auto& [buffer, pixels] = pairs[static_cast<std::size_t>(pick(4))];
        int const left = pick(c_width), top = pick(c_height);
        Rect const rect{left, top, left + 1 + pick(c_width - left), top + 1 + pick(c_height - top)};
        if (pick(3) == 0)
            device.failures->Set(static_cast<DriverCall>(pick(4)), 1 + pick(6),
                                 pick(2) == 0 ? HardwareStatus::Failed : HardwareStatus::OutOfMemory);
        switch (pick(8)) {
        case 0: {
            auto const noise = MakeNoise(c_format, rect.GetWidth(), rect.GetHeight(), random());
            fetch(*buffer, rect);
            buffer->WritePixels(rect, noise.pixels.data(), noise.rowBytes);
            buffer->InvalidateHardwareCache(rect);
            for (int y = 0; y != rect.GetHeight(); ++y)
                std::memcpy(&pixels[static_cast<std::size_t>((rect.top + y) * c_width + rect.left) * 4],
                            &noise.pixels[static_cast<std::size_t>(y) * noise.rowBytes], noise.rowBytes);
            break;
        }
        case 1: {
            auto& to = pairs[static_cast<std::size_t>(pick(4))];
            to = {buffer->Clone(nullptr), Bytes(pixels)};
            break;
        }
        case 2:
            fetch(*buffer, rect);
            break;
        case 3:
            buffer->SyncHardwareCache(device.handle, rect, false, nullptr);
            break;
        case 4:
            device.Get().Allocate(device.Get().GetMemoryLimit() - static_cast<std::size_t>(pick(60000)));
            break;
        case 5:
            fetch(*buffer, buffer->GetBounds());
            EXPECT_EQ(ReadHost(*buffer), pixels) << step;
            break;
        default: {
            auto& from = pairs[static_cast<std::size_t>(pick(4))];
            bool const readsDestination = pick(2) == 0, fails = pick(5) == 0;
            if (TryOnDevice(device.handle, *buffer, *from.buffer, rect, readsDestination, fails)) {
                ++runs;
                RunOnPixels(pixels, Bytes(from.pixels), *buffer, rect, readsDestination);
            }
        }
        }
    }
    EXPECT_GT(runs, 300);
    for (auto const& [buffer, pixels] : pairs) {
        fetch(*buffer, buffer->GetBounds());
        EXPECT_EQ(ReadHost(*buffer), pixels);
    }
}

} // namespace Raster::Tests
