// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/hardware.h"
#include "tests/engine/hardware/kernel_texts.h"
#include "tests/engine/hardware/test_device.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <random>
#include <thread>

namespace {

using namespace Raster;
using Tests::DescribeKernel;
using Tests::DriverCall;
using Tests::TemporaryFolder;

constexpr int c_side = 100;
constexpr std::size_t c_pixels = c_side * c_side;

// The first device of OpenCL with kernels that are texts of the test. Counts what it compiles.
struct OpenCLDevice {
    explicit OpenCLDevice(std::string const& folder = {}) {
        auto drivers = FindOpenCLDrivers(true);
        if (drivers.empty()) {
            ADD_FAILURE() << "there is no device of OpenCL: install pocl-opencl-icd";
            return;
        }
        HardwareSettings settings;
        settings.kernelFolder = folder;
        settings.waitsForKernels = true;
        device = std::make_shared<Device>(std::make_unique<Tests::FailingDriver>(std::move(drivers.front()), failures),
                                          settings, &Tests::ComposeFromProcess);
    }
    std::shared_ptr<Tests::Failures> failures = std::make_shared<Tests::Failures>();
    std::shared_ptr<Device> device;
};

std::vector<unsigned char> MakePixels(unsigned seed) {
    std::mt19937 random(seed);
    std::vector<unsigned char> bytes(c_pixels);
    for (auto& byte : bytes)
        byte = static_cast<unsigned char>(random());
    return bytes;
}

// Adds 9 and the source to a picture. Empty when the device does not do it.
std::vector<unsigned char> RunKernel(Device& device, char const* text, std::vector<unsigned char> const& pixels) {
    void* const handle = device.GetHandle();
    auto const descriptor = DescribeKernel(text);
    if (IsKernelBroken(descriptor, handle) || IsKernelPendingCompilation(descriptor, handle, false, nullptr))
        return {};
    auto const guard = GetRetainHardwareBufferSemaphoreGuard(handle);
    auto const held = Kernel::MakeCounted<Prolongation>();
    for (std::size_t const slot : {Prolongation::c_destination, Prolongation::c_source}) {
        auto const block = device.Allocate(c_pixels);
        if (block == nullptr || !device.Write(*block, {0, c_side}, pixels.data(), c_side, c_side, c_side))
            return {};
        held->buffers[slot] = block->Get();
        held->owners[slot] = block;
    }
    void* const identity = device.GetIdentityBuffer();
    std::vector<float> const parameters{7, 7, 7, 7, 7, 7, 7, 9};
    auto const& buffers = held->buffers;
    if (!ExecuteKernel(c_kernelLanguageOpenCL, HardwareExecutionMode::Pixels, 4, 0, handle,
                       Hardware<DefaultImplementation>::GetHardwareWriteQueue(handle), held, descriptor, buffers[1],
                       c_side, c_side, buffers[0], c_side, c_side, identity, 0, 0, identity, 0, 0, identity, 0, 0,
                       parameters.data(), static_cast<int>(parameters.size()), identity, {0, 0, c_side, c_side}, false,
                       false, false, false, 1, 1, 0, 0, nullptr, false, false, nullptr))
        return {};
    std::vector<unsigned char> made(c_pixels);
    auto& block = *static_cast<DeviceBlock*>(held->owners[Prolongation::c_destination].get());
    return device.Read(block, {0, c_side}, made.data(), c_side, c_side, c_side) ? made : std::vector<unsigned char>();
}

std::vector<unsigned char> AddOnHost(std::vector<unsigned char> const& pixels) {
    std::vector<unsigned char> made;
    for (auto const pixel : pixels)
        made.push_back(static_cast<unsigned char>(2 * pixel + 9));
    return made;
}

} // namespace

TEST(OpenCLDevice, MakesPixelsByAKernelThatTheNextProcessFinds) {
    TemporaryFolder const folder;
    auto const pixels = MakePixels(1);
    for (int const compiled : {1, 0}) {
        OpenCLDevice const test(folder.GetPath().string());
        ASSERT_NE(test.device, nullptr);
        EXPECT_EQ(RunKernel(*test.device, Tests::c_addingKernel.c_str(), pixels), AddOnHost(pixels));
        EXPECT_EQ(test.failures->GetCount(DriverCall::Compile), compiled);
        EXPECT_EQ(test.device->GetExecuted(), 1u);
        test.device->GetKernels().Wait();
    }
}

TEST(OpenCLDevice, ARefusedTextLeavesTheDeviceWorking) {
    OpenCLDevice const test;
    ASSERT_NE(test.device, nullptr);
    auto const pixels = MakePixels(2);
    EXPECT_TRUE(RunKernel(*test.device, "kernel void redraft_kernel(global nonsense* a) {}", pixels).empty());
    EXPECT_EQ(RunKernel(*test.device, Tests::c_addingKernel.c_str(), pixels), AddOnHost(pixels));
}

TEST(OpenCLDevice, DamagedKernelsAreCompiledAnew) {
    TemporaryFolder const folder;
    auto const pixels = MakePixels(3);
    {
        OpenCLDevice const test(folder.GetPath().string());
        ASSERT_NE(test.device, nullptr);
        ASSERT_EQ(RunKernel(*test.device, Tests::c_addingKernel.c_str(), pixels), AddOnHost(pixels));
    }
    auto const path = std::filesystem::directory_iterator(folder.GetPath())->path();
    auto const size = std::filesystem::file_size(path);
    for (std::uintmax_t const place : {std::uintmax_t{80}, size / 2, size - 1}) {
        {
            std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
            file.seekg(static_cast<std::streamoff>(place));
            int const byte = file.get();
            file.seekp(static_cast<std::streamoff>(place));
            file.put(static_cast<char>(~byte));
        }
        OpenCLDevice const test(folder.GetPath().string());
        EXPECT_EQ(RunKernel(*test.device, Tests::c_addingKernel.c_str(), pixels), AddOnHost(pixels));
        EXPECT_EQ(test.failures->GetCount(DriverCall::Compile), 1);
    }
}

// Each call in turn fails in each way: the result is right or there is none, and the device works again unless it is
// lost.
TEST(OpenCLDevice, AnyCallMayFail) {
    auto const pixels = MakePixels(4);
    auto const expected = AddOnHost(pixels);
    TemporaryFolder const folder;
    for (auto const status : {HardwareStatus::Failed, HardwareStatus::OutOfMemory, HardwareStatus::Lost}) {
        bool hasFailed = true;
        int number = 0;
        while (hasFailed) {
            OpenCLDevice const test(folder.GetPath().string());
            ASSERT_NE(test.device, nullptr);
            test.failures->Set(DriverCall::Any, ++number, status);
            auto const made = RunKernel(*test.device, Tests::c_addingKernel.c_str(), pixels);
            hasFailed = test.failures->GetFailed() != 0;
            EXPECT_TRUE(made.empty() || made == expected) << number;
            EXPECT_EQ(test.device->IsLost(), hasFailed && status == HardwareStatus::Lost) << number;
            EXPECT_TRUE(hasFailed || made == expected);
            test.failures->Clear();
            bool const isBroken =
                IsKernelBroken(DescribeKernel(Tests::c_addingKernel.c_str()), test.device->GetHandle());
            auto const again = RunKernel(*test.device, Tests::c_addingKernel.c_str(), pixels);
            EXPECT_EQ(again.empty(), test.device->IsLost() || isBroken) << number;
            EXPECT_TRUE(again.empty() || again == expected);
        }
        EXPECT_GE(number, 10);
    }
}

TEST(OpenCLDevice, ThreadsAndDevicesShareAFolder) {
    TemporaryFolder const folder;
    std::array<OpenCLDevice, 2> const tests{OpenCLDevice(folder.GetPath().string()),
                                            OpenCLDevice(folder.GetPath().string())};
    ASSERT_TRUE(tests[0].device && tests[1].device);
    std::vector<std::string> texts;
    for (int i = 0; i != 3; ++i)
        texts.push_back("// " + std::to_string(i) + "\n" + Tests::c_addingKernel);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread != 6; ++thread) {
        threads.emplace_back([&, thread] {
            for (unsigned i = 0; i != 20; ++i) {
                auto const pixels = MakePixels(thread * 100 + i);
                if (RunKernel(*tests[thread % 2].device, texts[(thread + i) % 3].c_str(), pixels) != AddOnHost(pixels))
                    ++wrong;
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    for (auto const& test : tests)
        EXPECT_EQ(test.device->GetExecuted(), 60u);
}
