// SPDX-License-Identifier: Apache-2.0
#include "engine/document/drawing/device_route.h"
#include "platform/raster/hardware_devices.h"
#include "tests/support/hardware/memory_driver.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Devices = Raster::Hardware<Raster::DefaultImplementation>;

Kernel::Counted<Raster::HardwareDevices const> MakeOneDevice() {
    auto const find = [] {
        std::vector<std::unique_ptr<Raster::HardwareDriver>> drivers;
        drivers.push_back(std::make_unique<Raster::Tests::MemoryDriver>());
        return drivers;
    };
    return Kernel::MakeCounted<Raster::HardwareDevices>(find, Raster::HardwareSettings());
}

// A thread with one device.
class DeviceRoute : public testing::Test {
protected:
    Kernel::Counted<Raster::HardwareDevices const> const m_devices = MakeOneDevice();
    Raster::HardwareDevicesSession const m_session{m_devices};
    void* const m_device = m_devices->GetDevices().front();
};

} // namespace

TEST_F(DeviceRoute, OnlyTheSerialOneAsksDevices) {
    for (bool const isSerial : {false, true}) {
        std::vector<void*> asked;
        RunWithDevices(isSerial, [&] {
            asked.push_back(Devices::GetDevice());
            return true;
        });
        EXPECT_EQ(asked, std::vector<void*>{isSerial ? m_device : nullptr});
        EXPECT_TRUE(Raster::HardwareGPUEnabledSession::IsEnabled());
        EXPECT_EQ(Raster::HardwareMultiGPUSession::GetState(), nullptr);
    }
}

TEST_F(DeviceRoute, ATileOfADeviceThatFailsIsMadeAgainInSoftware) {
    for (bool const givesBack : {false, true}) {
        auto const devices = MakeOneDevice();
        Raster::HardwareDevicesSession const fresh(devices);
        std::vector<void*> asked;
        RunWithDevices(true, [&] {
            auto* const device = Devices::GetDevice();
            asked.push_back(device);
            if (device != nullptr && givesBack)
                Devices::MarkBroken(device);
            return device == nullptr || givesBack;
        });
        EXPECT_EQ(asked, (std::vector<void*>{devices->GetDevices().front(), nullptr}));
    }
    // Also inside a session in which another tile's device has failed.
    Raster::HardwareMultiGPUState state("outer");
    Raster::HardwareMultiGPUSession const session(state);
    Devices::MarkBroken(m_device);
    int calls = 0;
    RunWithDevices(false, [&] { return ++calls == 1; });
    RunWithDevices(true, [&] { return ++calls == 2; });
    EXPECT_EQ(calls, 2);
}

TEST_F(DeviceRoute, PixelsThatNobodyGivesBackAreAnError) {
    EXPECT_THROW(RunWithDevices(true, [] { return false; }), Kernel::Exception);
    EXPECT_THROW(RunWithDevices(false, [] { return false; }), Kernel::Exception);
    EXPECT_TRUE(Raster::HardwareGPUEnabledSession::IsEnabled());
}
