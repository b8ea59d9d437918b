// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/hardware/device.h"
#include "platform/raster/hardware.h"
#include "tests/engine/raster/samples.h"
#include "tests/support/hardware/failing_driver.h"
#include "tests/support/hardware/memory_driver.h"

#include <gtest/gtest.h>

namespace Raster::Tests {

// A device whose memory is the host's and whose calls can fail.
struct TestDevice {
    explicit TestDevice(std::size_t memoryLimit = std::size_t(64) << 20) {
        auto info = MemoryDriver::MakeInfo();
        info.memoryBytes = memoryLimit;
        info.largestBlockBytes = memoryLimit;
        HardwareSettings settings;
        settings.memoryShare = 1;
        devices = Kernel::MakeCounted<HardwareDevices>(
            [this, info] {
                std::vector<std::unique_ptr<HardwareDriver>> drivers;
                drivers.push_back(
                    std::make_unique<FailingDriver>(std::make_unique<MemoryDriver>(record, info), failures));
                return drivers;
            },
            settings);
        handle = devices->GetDevices().at(0);
    }
    Device& Get() const { return Device::FromHandle(handle); }
    int GetCalls(DriverCall kind) const { return failures->GetCount(kind); }

    std::shared_ptr<MemoryDriver::Record> record = std::make_shared<MemoryDriver::Record>();
    std::shared_ptr<Failures> failures = std::make_shared<Failures>();
    Kernel::Counted<HardwareDevices> devices;
    void* handle;
};

using Bytes = std::vector<std::uint8_t>;

inline Bytes ReadAll(BitmapBase const& bitmap) {
    Image image(bitmap.GetFormat(), bitmap.GetWidth(), bitmap.GetHeight());
    bitmap.ReadPixels(bitmap.GetBounds(), image.pixels.data(), image.rowBytes);
    return image.pixels;
}

// An effect on the bytes of samples: the source's inverted, or, where it reads the destination, those two mixed.
inline std::uint8_t Process(bool readsDestination, std::uint8_t source, std::uint8_t destination) {
    return readsDestination ? static_cast<std::uint8_t>(destination * 3 + source + 17)
                            : static_cast<std::uint8_t>(~source);
}

inline void RunInSoftware(BitmapBase& destination, BitmapBase const& source, Kernel::RectT<int> const& rect,
                          bool readsDestination) {
    Image from(source.GetFormat(), rect.GetWidth(), rect.GetHeight()), to = from;
    source.ReadPixels(rect, from.pixels.data(), from.rowBytes);
    destination.ReadPixels(rect, to.pixels.data(), to.rowBytes);
    for (std::size_t i = 0; i != to.pixels.size(); ++i)
        to.pixels[i] = Process(readsDestination, from.pixels[i], to.pixels[i]);
    destination.WritePixels(rect, to.pixels.data(), to.rowBytes);
}

// Makes the result again from what the kernel began with, and counts how often.
class TestRecipe final : public HardwareRecipe {
public:
    TestRecipe(BitmapBase const& destination, BitmapBase const& source, Kernel::RectT<int> const& rect,
               bool readsDestination, std::shared_ptr<std::atomic<int>> made = {})
        : m_destination(destination.Clone(nullptr)),
          m_source(source.Clone(nullptr)),
          m_rect(rect),
          m_readsDestination(readsDestination),
          m_made(std::move(made)) {}
    Kernel::Counted<BitmapBase const> Make() const override {
        if (m_made)
            ++*m_made;
        auto result = m_destination->Clone(nullptr);
        RunInSoftware(*result, *m_source, m_rect, m_readsDestination);
        return result;
    }

private:
    Kernel::Counted<BitmapBase const> m_destination, m_source;
    Kernel::RectT<int> m_rect;
    bool m_readsDestination;
    std::shared_ptr<std::atomic<int>> m_made;
};

// The work of a kernel on two buffers of the same layout.
inline void RunInMemory(void* destination, void const* source, FormatInfo const& info, float const* block,
                        Kernel::RectT<int> const& rect, bool readsDestination) {
    auto const height = static_cast<std::size_t>(block[1]), rowSamples = static_cast<std::size_t>(block[2]);
    auto const sampleBytes = static_cast<std::size_t>(info.sampleBytes);
    for (int channel = 0; channel != info.channelCount; ++channel) {
        for (int y = rect.top; y != rect.bottom; ++y) {
            auto const row =
                (static_cast<std::size_t>(channel) * height + static_cast<std::size_t>(y)) * rowSamples * sampleBytes;
            auto* const to = static_cast<std::uint8_t*>(destination) + row;
            auto const* const from = static_cast<std::uint8_t const*>(source) + row;
            for (std::size_t i = static_cast<std::size_t>(rect.left) * sampleBytes;
                 i != static_cast<std::size_t>(rect.right) * sampleBytes; ++i)
                to[i] = Process(readsDestination, from[i], to[i]);
        }
    }
}

// The attempt of a pipeline, with a kernel that succeeds. False: nothing has changed.
inline bool TryOnDevice(void* device, BitmapBase& destination, BitmapBase const& source, Kernel::RectT<int> const& rect,
                        bool readsDestination, std::shared_ptr<std::atomic<int>> made = {}) {
    auto const recipe = std::make_shared<TestRecipe>(destination, source, rect, readsDestination, std::move(made));
    if (!readsDestination)
        destination.ExpectOverwriting(rect);
    if (!destination.SyncHardwareCache(device, rect, false, nullptr) ||
        !source.SyncHardwareCache(device, source.GetBounds(), false, nullptr))
        return false;
    auto const holder = Kernel::MakeCounted<Prolongation>();
    void* const to = destination.RetainHardwareBuffer(device, nullptr, false, false, rect, *holder, 0);
    if (to == nullptr)
        return false;
    void* const from = source.RetainHardwareBuffer(device, nullptr, true, false, source.GetBounds(), *holder, 1);
    if (from == nullptr)
        return false;
    float block[BitmapBase::c_hardwareParameterCount];
    EXPECT_EQ(destination.GetHardwareParams(to, block), 3);
    RunInMemory(to, from, destination.GetInfo(), block, rect, readsDestination);
    destination.InvalidateHostCache(rect, recipe);
    return true;
}

// By the device, or in software when that fails.
inline bool Run(void* device, BitmapBase& destination, BitmapBase const& source, Kernel::RectT<int> const& rect,
                bool readsDestination) {
    if (TryOnDevice(device, destination, source, rect, readsDestination)) {
        destination.FinishChange(rect);
        return true;
    }
    source.SyncHostCache(source.GetBounds(), false, nullptr);
    destination.SyncHostCache(rect, false, nullptr);
    RunInSoftware(destination, source, rect, readsDestination);
    destination.InvalidateHardwareCache(rect);
    return false;
}

} // namespace Raster::Tests
