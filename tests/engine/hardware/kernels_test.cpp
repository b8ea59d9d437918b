// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/trace.h"
#include "platform/raster/hardware.h"
#include "tests/engine/hardware/test_device.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <fstream>
#include <future>
#include <thread>

namespace {

using namespace Raster;
using Tests::DescribeKernel;
using Tests::DriverCall;
using Tests::MemoryDriver;
using Tests::TemporaryFolder;
using Tests::TestDevice;

// Collects the lines of diagnostics.
class Lines {
public:
    Lines() {
        Kernel::Trace::SetSink([this](Kernel::String const& line) {
            std::scoped_lock const lock(m_mutex);
            m_text += line.view();
        });
    }
    ~Lines() { Kernel::Trace::SetSink({}); }
    std::string Get() {
        std::scoped_lock const lock(m_mutex);
        return m_text;
    }

private:
    std::mutex m_mutex;
    std::string m_text;
};

// Its compiler works only while the gate is open.
class GatedDriver final : public HardwareDriver {
public:
    struct Gate {
        std::mutex mutex;
        std::condition_variable changed;
        bool isOpen = false;
        int waiting = 0, compiled = 0;
        std::thread::id compiler;
        void Open() {
            std::scoped_lock const lock(mutex);
            isOpen = true;
            changed.notify_all();
        }
        void WaitUntilReached() {
            std::unique_lock lock(mutex);
            changed.wait(lock, [this] { return waiting != 0; });
        }
    };
    explicit GatedDriver(std::shared_ptr<Gate> gate) : m_gate(std::move(gate)) {}
    HardwareInfo const& GetInfo() const override { return m_driver.GetInfo(); }
    int GetKernelLanguage() const override { return m_driver.GetKernelLanguage(); }
    HardwareStatus Allocate(std::size_t bytes, void*& block) override { return m_driver.Allocate(bytes, block); }
    void Free(void* block) noexcept override { m_driver.Free(block); }
    HardwareStatus Write(void* block, HardwareRows const& there, void const* host, std::size_t hostPitch,
                         std::size_t rowBytes, std::size_t rows) override {
        return m_driver.Write(block, there, host, hostPitch, rowBytes, rows);
    }
    HardwareStatus Read(void* block, HardwareRows const& there, void* host, std::size_t hostPitch, std::size_t rowBytes,
                        std::size_t rows) override {
        return m_driver.Read(block, there, host, hostPitch, rowBytes, rows);
    }
    HardwareStatus Copy(void* from, HardwareRows const& there, void* to, HardwareRows const& here, std::size_t rowBytes,
                        std::size_t rows) override {
        return m_driver.Copy(from, there, to, here, rowBytes, rows);
    }
    HardwareStatus Compile(std::string const& source, std::vector<std::byte>& binary, std::string& log) override {
        std::unique_lock lock(m_gate->mutex);
        ++m_gate->waiting;
        m_gate->compiler = std::this_thread::get_id();
        m_gate->changed.notify_all();
        m_gate->changed.wait(lock, [this] { return m_gate->isOpen; });
        ++m_gate->compiled;
        return m_driver.Compile(source, binary, log);
    }
    HardwareStatus LoadKernel(std::span<std::byte const> binary, void*& kernel) override {
        return m_driver.LoadKernel(binary, kernel);
    }
    void FreeKernel(void* kernel) noexcept override { m_driver.FreeKernel(kernel); }
    HardwareStatus Launch(HardwareLaunch const& launch) override { return m_driver.Launch(launch); }
    HardwareStatus Finish() override { return m_driver.Finish(); }

private:
    MemoryDriver m_driver;
    std::shared_ptr<Gate> m_gate;
};

HardwareSettings WithFolder(TemporaryFolder const& folder) {
    HardwareSettings settings;
    settings.kernelFolder = (folder.GetPath() / "kernels").string();
    return settings;
}

} // namespace

TEST(DeviceKernels, AreCompiledOnceAndOnAThreadOfTheirOwn) {
    auto const gate = std::make_shared<GatedDriver::Gate>();
    auto const device =
        std::make_shared<Device>(std::make_unique<GatedDriver>(gate), HardwareSettings(), &Tests::ComposeFromProcess);
    auto const kernel = DescribeKernel("a kernel");
    void* const handle = device->GetHandle();
    EXPECT_FALSE(IsKernelBroken(kernel, handle));
    EXPECT_EQ(device->GetKernels().Find(kernel), nullptr);
    for (int i = 0; i != 3; ++i)
        EXPECT_TRUE(IsKernelPendingCompilation(kernel, handle, false, nullptr));
    gate->WaitUntilReached();
    EXPECT_TRUE(IsKernelPendingCompilation(kernel, handle, false, nullptr));
    // The device is free for other work meanwhile.
    EXPECT_NE(device->Allocate(100), nullptr);
    gate->Open();
    device->GetKernels().Wait();
    EXPECT_FALSE(IsKernelPendingCompilation(kernel, handle, false, nullptr));
    EXPECT_FALSE(IsKernelBroken(kernel, handle));
    EXPECT_NE(device->GetKernels().Find(kernel), nullptr);
    EXPECT_EQ(gate->compiled, 1);
    EXPECT_NE(gate->compiler, std::this_thread::get_id());
}

TEST(DeviceKernels, WaitingEndsWithTheKernelOrTheAbort) {
    auto const gate = std::make_shared<GatedDriver::Gate>();
    HardwareSettings waiting;
    waiting.waitsForKernels = true;
    auto const device =
        std::make_shared<Device>(std::make_unique<GatedDriver>(gate), waiting, &Tests::ComposeFromProcess);
    auto const kernel = DescribeKernel("a kernel");
    bool abort = true;
    EXPECT_TRUE(IsKernelPendingCompilation(kernel, device->GetHandle(), true, &abort));
    abort = false;
    auto aborted = std::async(std::launch::async,
                              [&] { return IsKernelPendingCompilation(kernel, device->GetHandle(), true, &abort); });
    gate->WaitUntilReached();
    std::atomic_ref(abort).store(true);
    EXPECT_TRUE(aborted.get());
    // Without being asked to wait, since the settings say so.
    auto waited = std::async(std::launch::async,
                             [&] { return IsKernelPendingCompilation(kernel, device->GetHandle(), false, nullptr); });
    gate->Open();
    EXPECT_FALSE(waited.get());
}

TEST(DeviceKernels, ADeviceThatEndsWaitsForTheOneThatIsCompiled) {
    auto const gate = std::make_shared<GatedDriver::Gate>();
    auto device =
        std::make_shared<Device>(std::make_unique<GatedDriver>(gate), HardwareSettings(), &Tests::ComposeFromProcess);
    for (auto const* const text : {"first", "second", "third"})
        EXPECT_TRUE(IsKernelPendingCompilation(DescribeKernel(text), device->GetHandle(), false, nullptr));
    gate->WaitUntilReached();
    auto ending = std::async(std::launch::async, [&] { device.reset(); });
    // Whether the end has begun when the gate opens is not known: then one more may be compiled, and all are joined.
    gate->Open();
    ending.get();
    EXPECT_GE(gate->compiled, 1);
    EXPECT_EQ(gate->compiled, gate->waiting);
}

TEST(DeviceKernels, ARefusedTextIsTriedOnceAndToldOf) {
    TestDevice const test;
    Lines lines;
    auto const kernel = DescribeKernel("a refused kernel");
    EXPECT_FALSE(test.MakeKernel(kernel));
    EXPECT_TRUE(IsKernelBroken(kernel, test.device->GetHandle()));
    EXPECT_FALSE(test.MakeKernel(kernel));
    EXPECT_EQ(test.record->GetCalls("Compile"), 1);
    EXPECT_NE(lines.Get().find("the text has a refused word"), std::string::npos) << lines.Get();
    // The same text, and another kernel all the same.
    EXPECT_FALSE(IsKernelBroken(DescribeKernel("a kernel"), test.device->GetHandle()));
    EXPECT_TRUE(test.MakeKernel(DescribeKernel("a kernel")));
    EXPECT_FALSE(test.device->IsLost());
}

TEST(DeviceKernels, NoTextAndNoDeviceAreNoKernel) {
    TestDevice const test;
    EXPECT_FALSE(test.MakeKernel(DescribeKernel("")));
    EXPECT_TRUE(IsKernelBroken(DescribeKernel(""), test.device->GetHandle()));
    EXPECT_EQ(test.record->GetCalls("Compile"), 0);
    EXPECT_TRUE(IsKernelBroken(DescribeKernel("a"), nullptr));
    EXPECT_TRUE(IsKernelPendingCompilation(DescribeKernel("a"), nullptr, true, nullptr));
}

TEST(DeviceKernels, ABinaryThatCannotBeLoadedIsBroken) {
    TestDevice const test;
    test.failures->Set(DriverCall::LoadKernel, 1, HardwareStatus::Failed);
    EXPECT_FALSE(test.MakeKernel(DescribeKernel("a")));
    EXPECT_TRUE(IsKernelBroken(DescribeKernel("a"), test.device->GetHandle()));
}

TEST(DeviceKernels, TooLittleMemoryIsTriedAgain) {
    for (auto const call : {DriverCall::Compile, DriverCall::LoadKernel}) {
        TestDevice const test;
        int asked = 0;
        test.device->SetEvict([&](std::size_t) { ++asked; });
        auto const kernel = DescribeKernel("a kernel");
        test.failures->Set(call, 1, HardwareStatus::OutOfMemory);
        // Loading is tried again by itself, with memory that others gave up.
        EXPECT_EQ(test.MakeKernel(kernel), call == DriverCall::LoadKernel);
        EXPECT_EQ(asked, call == DriverCall::LoadKernel ? 1 : 0);
        EXPECT_FALSE(IsKernelBroken(kernel, test.device->GetHandle()));
        EXPECT_TRUE(test.MakeKernel(kernel));
        // Not without end.
        auto const other = DescribeKernel("another kernel");
        test.failures->Set(call, 1, HardwareStatus::OutOfMemory, true);
        for (int i = 0; i != 3; ++i) {
            EXPECT_FALSE(IsKernelBroken(other, test.device->GetHandle()));
            EXPECT_FALSE(test.MakeKernel(other));
        }
        EXPECT_TRUE(IsKernelBroken(other, test.device->GetHandle()));
    }
}

TEST(DeviceKernels, ALostDeviceMakesNoneAndNobodyWaitsForIt) {
    for (auto const call : {DriverCall::Compile, DriverCall::LoadKernel}) {
        TestDevice const test;
        test.failures->Set(call, 1, HardwareStatus::Lost);
        EXPECT_FALSE(test.MakeKernel(DescribeKernel("a")));
        EXPECT_TRUE(test.device->IsLost());
        EXPECT_FALSE(test.MakeKernel(DescribeKernel("a")));
        EXPECT_FALSE(test.MakeKernel(DescribeKernel("b")));
        // Nobody has refused it.
        EXPECT_FALSE(IsKernelBroken(DescribeKernel("a"), test.device->GetHandle()));
        EXPECT_EQ(test.failures->GetCount(DriverCall::Compile), 1);
    }
}

TEST(DeviceKernels, WhatComposingThrowsBreaksTheKernel) {
    Lines lines;
    auto const compose = [](int, HardwareKernelDescriptor const& descriptor) -> std::string {
        if (std::string_view(descriptor.process) == "memory")
            throw std::bad_alloc();
        throw std::runtime_error("no such fragment");
    };
    auto const device = std::make_shared<Device>(std::make_unique<MemoryDriver>(), HardwareSettings(), compose);
    EXPECT_TRUE(device->GetKernels().IsPending(DescribeKernel("memory"), true, nullptr));
    EXPECT_FALSE(device->GetKernels().IsBroken(DescribeKernel("memory")));
    EXPECT_TRUE(device->GetKernels().IsPending(DescribeKernel("a"), true, nullptr));
    EXPECT_TRUE(device->GetKernels().IsBroken(DescribeKernel("a")));
    EXPECT_NE(lines.Get().find("no such fragment"), std::string::npos);
}

TEST(DeviceKernels, ManyThreadsShareThem) {
    TestDevice test;
    constexpr std::size_t c_kernels = 40;
    std::vector<std::string> texts;
    for (std::size_t i = 0; i != c_kernels; ++i)
        texts.push_back((i % 5 == 4 ? "refused " : "kernel ") + std::to_string(i));
    std::atomic<int> wrong{0};
    auto const ask = [&](std::size_t thread) {
        for (std::size_t i = 0; i != 400; ++i) {
            auto const at = (i * (thread + 1) + thread) % c_kernels;
            auto const kernel = DescribeKernel(texts[at].c_str());
            bool const isRefused = at % 5 == 4, isWaiting = (i + thread) % 3 == 0;
            bool const isPending = test.device->GetKernels().IsPending(kernel, isWaiting, nullptr);
            if ((isPending && isWaiting && !isRefused) || (!isPending && isRefused) ||
                (isWaiting && test.device->GetKernels().IsBroken(kernel) != isRefused) ||
                (!isPending && test.device->GetKernels().Find(kernel) == nullptr))
                ++wrong;
        }
    };
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i != 6; ++i)
        threads.emplace_back(ask, i);
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    test.device->GetKernels().Wait();
    EXPECT_EQ(test.record->GetCalls("Compile"), static_cast<int>(c_kernels));
    test.device.reset();
    EXPECT_EQ(test.record->kernels, 0);
}

TEST(DeviceKernels, AreFoundInTheFolderByTheNextProcess) {
    TemporaryFolder const folder;
    auto const info = MemoryDriver::MakeInfo();
    auto const compile = [&](HardwareInfo const& its, int language, char const* text) {
        TestDevice const test(WithFolder(folder), its, language);
        EXPECT_TRUE(test.MakeKernel(DescribeKernel(text)));
        EXPECT_NE(test.device->GetKernels().Find(DescribeKernel(text)), nullptr);
        test.device->GetKernels().Wait();
        return test.record->GetCalls("Compile") != 0;
    };
    EXPECT_TRUE(compile(info, c_kernelLanguageOpenCL, "a kernel"));
    EXPECT_FALSE(compile(info, c_kernelLanguageOpenCL, "a kernel"));
    // Another text, device, driver, interface or language is another kernel.
    EXPECT_TRUE(compile(info, c_kernelLanguageOpenCL, "a kernel "));
    EXPECT_TRUE(compile(info, c_kernelLanguageCuda, "a kernel"));
    auto other = info;
    other.name = "another";
    EXPECT_TRUE(compile(other, c_kernelLanguageOpenCL, "a kernel"));
    other = info;
    other.version = "2";
    EXPECT_TRUE(compile(other, c_kernelLanguageOpenCL, "a kernel"));
    other = info;
    other.interfaceName = "another";
    EXPECT_TRUE(compile(other, c_kernelLanguageOpenCL, "a kernel"));
    EXPECT_FALSE(compile(info, c_kernelLanguageOpenCL, "a kernel"));
}

TEST(DeviceKernels, AKeptBinaryThatIsRefusedIsCompiledAnew) {
    TemporaryFolder const folder;
    auto const kernel = DescribeKernel("a kernel");
    for (int i = 0; i != 2; ++i) {
        TestDevice const test(WithFolder(folder));
        if (i == 1)
            test.failures->Set(DriverCall::LoadKernel, 1, HardwareStatus::Failed);
        EXPECT_TRUE(test.MakeKernel(kernel));
        EXPECT_EQ(test.record->GetCalls("Compile"), 1);
    }
    // A refused text leaves nothing.
    TestDevice const test(WithFolder(folder));
    EXPECT_FALSE(test.MakeKernel(DescribeKernel("refused")));
    test.device->GetKernels().Wait();
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.GetPath() / "kernels"),
                            std::filesystem::directory_iterator()),
              1);
}

TEST(DeviceKernels, DamagedFilesOfTheFolderAreMadeAnew) {
    TemporaryFolder const folder;
    auto const kernel = DescribeKernel("a kernel");
    auto const countCompiled = [&] {
        TestDevice const test(WithFolder(folder));
        EXPECT_TRUE(test.MakeKernel(kernel));
        test.device->GetKernels().Wait();
        return test.record->GetCalls("Compile");
    };
    ASSERT_EQ(countCompiled(), 1);
    auto const path = std::filesystem::directory_iterator(folder.GetPath() / "kernels")->path();
    auto const size = std::filesystem::file_size(path);
    for (std::uintmax_t i = 0; i < size; i += 7) {
        {
            std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
            file.seekg(static_cast<std::streamoff>(i));
            int const byte = file.get();
            file.seekp(static_cast<std::streamoff>(i));
            file.put(static_cast<char>(~byte));
        }
        ASSERT_EQ(countCompiled(), 1) << i;
        ASSERT_EQ(countCompiled(), 0) << i;
    }
}

TEST(HardwareDevices, WaitForKernelsThatTheyWriteToTheFolder) {
    TemporaryFolder const folder;
    static char const c_text[] = "text";
    HardwareKernelDescriptor whole;
    whole.sourceTraits = whole.destinationTraits = whole.maskTraits = whole.conversion = whole.perPixelDriver =
        whole.sourceAccess = whole.destinationAccess = whole.readMask = whole.process = whole.transform = whole.sample =
            whole.blend = whole.extend = whole.filter = c_text;
    for (int const compiled : {1, 0}) {
        auto const record = std::make_shared<MemoryDriver::Record>();
        auto const find = [&] {
            std::vector<std::unique_ptr<HardwareDriver>> drivers;
            drivers.push_back(std::make_unique<MemoryDriver>(record));
            return drivers;
        };
        auto const devices = Kernel::MakeCounted<HardwareDevices>(find, WithFolder(folder));
        void* const device = devices->GetDevices().front();
        EXPECT_TRUE(IsKernelPendingCompilation(whole, device, false, nullptr));
        devices->WaitForKernels();
        EXPECT_FALSE(IsKernelPendingCompilation(whole, device, false, nullptr));
        EXPECT_EQ(record->GetCalls("Compile"), compiled);
        // One without all of its texts is refused before it is compiled.
        auto broken = whole;
        broken.blend = nullptr;
        EXPECT_TRUE(IsKernelPendingCompilation(broken, device, true, nullptr));
        EXPECT_TRUE(IsKernelBroken(broken, device));
        EXPECT_EQ(record->GetCalls("Compile"), compiled);
    }
}
