// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/hardware.h"
#include "platform/raster/hardware_devices.h"
#include "tests/support/hardware/memory_driver.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <thread>

namespace {

using namespace Raster;
using Devices = Hardware<DefaultImplementation>;

Kernel::Counted<HardwareDevices const> MakeDevices(int count) {
    auto const find = [count] {
        std::vector<std::unique_ptr<HardwareDriver>> drivers;
        for (int i = 0; i != count; ++i)
            drivers.push_back(std::make_unique<Tests::MemoryDriver>());
        return drivers;
    };
    return Kernel::MakeCounted<HardwareDevices>(find, HardwareSettings());
}

} // namespace

TEST(HardwareSessions, WithoutADeviceAllWorkIsDoneInSoftware) {
    EXPECT_EQ(Devices::GetDevice(), nullptr);
    EXPECT_TRUE(HardwareGPUEnabledSession::IsEnabled());
    HardwareMultiGPUState state("none");
    EXPECT_EQ(state.GetName(), "none");
    EXPECT_EQ(state.GetDeviceCount(), 0u);
    HardwareMultiGPUSession const session(state);
    EXPECT_EQ(HardwareMultiGPUSession::GetState(), &state);
    EXPECT_EQ(Devices::GetDevice(), nullptr);
    EXPECT_FALSE(Devices::GetHardwareBroken());
    EXPECT_EQ(GetKernelLanguage(nullptr), -1);
}

TEST(HardwareSessions, NestAndHoldForTheirThread) {
    auto const devices = MakeDevices(1), others = MakeDevices(1);
    HardwareDevicesSession const session(devices);
    void* const first = devices->GetDevices().front();
    EXPECT_EQ(Devices::GetDevice(), first);
    EXPECT_EQ(GetKernelLanguage(first), c_kernelLanguageOpenCL);
    EXPECT_EQ(std::async(std::launch::async, Devices::GetDevice).get(), nullptr);
    {
        HardwareDevicesSession const other(others);
        EXPECT_EQ(Devices::GetDevice(), others->GetDevices().front());
        HardwareDevicesSession const none(nullptr);
        EXPECT_EQ(Devices::GetDevice(), nullptr);
    }
    {
        HardwareGPUEnabledSession const off(false);
        EXPECT_EQ(Devices::GetDevice(), nullptr);
        {
            HardwareGPUEnabledSession const on(true);
            EXPECT_EQ(Devices::GetDevice(), first);
        }
        EXPECT_FALSE(HardwareGPUEnabledSession::IsEnabled());
        EXPECT_TRUE(std::async(std::launch::async, HardwareGPUEnabledSession::IsEnabled).get());
    }
    EXPECT_EQ(Devices::GetDevice(), first);
    HardwareMultiGPUState outer("outer"), inner("inner");
    {
        HardwareMultiGPUSession const outerSession(outer);
        {
            HardwareMultiGPUSession const nested(inner);
            EXPECT_EQ(HardwareMultiGPUSession::GetState(), &inner);
            EXPECT_EQ(std::async(std::launch::async, HardwareMultiGPUSession::GetState).get(), nullptr);
        }
        EXPECT_EQ(HardwareMultiGPUSession::GetState(), &outer);
    }
    EXPECT_EQ(HardwareMultiGPUSession::GetState(), nullptr);
}

TEST(HardwareSessions, AStateSharesWorkAmongItsDevicesByTurns) {
    auto const devices = MakeDevices(3);
    HardwareDevicesSession const session(devices);
    auto const handles = devices->GetDevices();
    HardwareMultiGPUState state("all");
    EXPECT_EQ(state.GetDeviceCount(), 3u);
    HardwareMultiGPUSession const sharing(state);
    for (std::size_t const device : {0, 1, 2, 0, 1})
        EXPECT_EQ(Devices::GetDevice(), handles[device]);
    Devices::MarkBroken(handles[2]);
    for (std::size_t const device : {0, 1, 0})
        EXPECT_EQ(Devices::GetDevice(), handles[device]);
    Devices::MarkBroken(handles[0]);
    Devices::MarkBroken(handles[1]);
    EXPECT_EQ(Devices::GetDevice(), nullptr);
}

TEST(HardwareSessions, AFailureIsTheSessionsInWhichItCame) {
    auto const devices = MakeDevices(2);
    HardwareDevicesSession const session(devices);
    auto const handles = devices->GetDevices();
    HardwareMultiGPUState state("state");
    {
        HardwareMultiGPUSession const outer(state);
        {
            HardwareMultiGPUSession const failing(state);
            Devices::MarkBroken(handles[0]);
            EXPECT_TRUE(Devices::GetHardwareBroken());
            EXPECT_FALSE(std::async(std::launch::async, Devices::GetHardwareBroken).get());
        }
        EXPECT_TRUE(Devices::GetHardwareBroken());
        HardwareMultiGPUSession const fresh(state);
        EXPECT_FALSE(Devices::GetHardwareBroken());
    }
    EXPECT_FALSE(Devices::GetHardwareBroken());
    EXPECT_EQ(Devices::GetDevice(), handles[1]);
}

TEST(HardwareDevices, AreLookedForOnceAndWhenTheyAreAskedFor) {
    std::atomic<int> searches{0};
    auto const find = [&searches] {
        ++searches;
        std::vector<std::unique_ptr<HardwareDriver>> drivers;
        drivers.push_back(std::make_unique<Tests::MemoryDriver>());
        return drivers;
    };
    auto const devices = Kernel::MakeCounted<HardwareDevices>(find, HardwareSettings());
    // There is nothing to wait for.
    devices->WaitForKernels();
    EXPECT_EQ(searches, 0);
    std::vector<std::thread> threads;
    for (int i = 0; i != 8; ++i)
        threads.emplace_back([&] { EXPECT_EQ(devices->GetDevices().size(), 1u); });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(searches, 1);
}

TEST(HardwareDevices, WhatTheSearchThrowsMeansNoDevices) {
    int searches = 0;
    auto const find = [&searches]() -> std::vector<std::unique_ptr<HardwareDriver>> {
        ++searches;
        throw std::runtime_error("no driver");
    };
    auto const devices = Kernel::MakeCounted<HardwareDevices>(find, HardwareSettings());
    EXPECT_TRUE(devices->GetDevices().empty());
    EXPECT_TRUE(devices->GetReports().empty());
    EXPECT_EQ(searches, 1);
    EXPECT_TRUE(Kernel::MakeCounted<HardwareDevices>(nullptr, HardwareSettings())->GetDevices().empty());
}

TEST(HardwareDevices, TellWhatEachDeviceHasDone) {
    auto const devices = MakeDevices(2);
    auto const handles = devices->GetDevices();
    auto const failedBefore = Devices::GetFailedKernels(), executedBefore = Devices::GetExecutedKernels();
    Devices::IncrementFailedKernels(handles[0]);
    Devices::IncrementFailedKernels(nullptr);
    Devices::IncrementExecutedKernels(handles[1]);
    Devices::MarkBroken(handles[1]);
    auto const reports = devices->GetReports();
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_EQ(reports[0].info.name, "Memory");
    EXPECT_EQ(reports[0].failedKernels, 1u);
    EXPECT_EQ(reports[0].executedKernels, 0u);
    EXPECT_FALSE(reports[0].isBroken);
    EXPECT_EQ(reports[1].failedKernels, 0u);
    EXPECT_EQ(reports[1].executedKernels, 1u);
    EXPECT_TRUE(reports[1].isBroken);
    EXPECT_EQ(Devices::GetFailedKernels() - failedBefore, 2u);
    EXPECT_EQ(Devices::GetExecutedKernels() - executedBefore, 1u);
}
