// SPDX-License-Identifier: Apache-2.0
#include "engine/hardware/cuda_driver.h"
#include "tests/engine/hardware/fake_cuda/fake_cuda.h"
#include "tests/engine/hardware/test_device.h"

#include <gtest/gtest.h>

#include <cstring>
#include <dlfcn.h>
#include <random>
#include <thread>

namespace {

using namespace Raster;

constexpr char c_kernelText[] = "redraft_kernel adds bytes";

class CudaTest : public testing::Test {
protected:
    CudaTest() {
        void* const library = dlopen(FAKE_CUDA, RTLD_NOW);
        auto* const find = reinterpret_cast<FakeCuda::State* (*)()>(dlsym(library, "fakeCudaState"));
        state = find();
        *state = {};
        std::string const name[]{FAKE_CUDA};
        cuda = CudaFunctions::Open(FAKE_CUDA);
        nvrtc = NvrtcFunctions::Open(name);
    }
    // Nothing is left behind.
    ~CudaTest() override {
        drivers.clear();
        EXPECT_EQ(state->blocks, 0);
        EXPECT_EQ(state->streams, 0);
        EXPECT_EQ(state->modules, 0);
        EXPECT_EQ(state->contexts, 0);
        EXPECT_EQ(state->programs, 0);
    }

    HardwareDriver& Find() {
        drivers = FindCudaDrivers(cuda, nvrtc);
        EXPECT_EQ(drivers.size(), 1u);
        state->log.clear();
        return *drivers.front();
    }
    void Fail(char const* call, CudaResult result, int number = 1) {
        state->failingCall = call;
        state->failingNumber = number;
        state->failure = result;
    }
    std::string TakeLog() { return std::exchange(state->log, {}); }

    FakeCuda::State* state;
    std::shared_ptr<CudaFunctions const> cuda;
    std::shared_ptr<NvrtcFunctions const> nvrtc;
    std::vector<std::unique_ptr<HardwareDriver>> drivers;
};

std::string InContext(std::string const& calls) { return "cuCtxPushCurrent\n" + calls + "cuCtxPopCurrent\n"; }

std::vector<unsigned char> MakeNumbers(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<unsigned char> bytes(count);
    for (auto& byte : bytes)
        byte = static_cast<unsigned char>(random());
    return bytes;
}

} // namespace

TEST_F(CudaTest, ADeviceTellsOfItself) {
    auto const& info = Find().GetInfo();
    EXPECT_EQ(info.name, "Fake 100");
    EXPECT_EQ(info.version, "12.4, compiler 12.4, sm_86");
    EXPECT_EQ(info.interfaceName, "CUDA");
    EXPECT_EQ(info.memoryBytes, std::size_t{1} << 30);
    EXPECT_EQ(info.largestBlockBytes, std::size_t{1} << 30);
    EXPECT_EQ(info.computeUnits, 84);
    EXPECT_FALSE(info.isProcessor);
    EXPECT_EQ(drivers.front()->GetKernelLanguage(), c_kernelLanguageCuda);
}

TEST_F(CudaTest, LibrariesThatAreNotThereOrMissACallAreNoDevices) {
    EXPECT_EQ(CudaFunctions::Open("libnone-of-this-name.so"), nullptr);
    // A library, and no driver.
    EXPECT_EQ(CudaFunctions::Open("libc.so.6"), nullptr);
    std::vector<std::string> const names{"libnone-of-this-name.so", "libc.so.6", FAKE_CUDA};
    EXPECT_NE(NvrtcFunctions::Open(names), nullptr);
    EXPECT_EQ(NvrtcFunctions::Open(std::span(names).first(2)), nullptr);
    EXPECT_TRUE(FindCudaDrivers(nullptr, nvrtc).empty());
    EXPECT_TRUE(FindCudaDrivers(cuda, nullptr).empty());
}

TEST(NvrtcNames, TheDriversOwnVersionComesFirst) {
    auto const names = NvrtcFunctions::GetLibraryNames(12);
    ASSERT_GE(names.size(), 5u);
    EXPECT_EQ(names[0], "libnvrtc.so.12");
    EXPECT_EQ(names[1], "libnvrtc.so.11.2");
    EXPECT_NE(std::find(names.begin(), names.end(), "libnvrtc.so"), names.end());
    EXPECT_NE(std::find(names.begin(), names.end(), "libnvrtc.so.13"), names.end());
    EXPECT_EQ(NvrtcFunctions::GetLibraryNames(11).front(), "libnvrtc.so.11.2");
    for (int const version : {0, 10, 11, 13, 99}) {
        auto all = NvrtcFunctions::GetLibraryNames(version);
        EXPECT_NE(std::find(all.begin(), all.end(), "libnvrtc.so.12"), all.end());
        std::sort(all.begin(), all.end());
        EXPECT_EQ(std::adjacent_find(all.begin(), all.end()), all.end());
    }
}

TEST_F(CudaTest, DevicesThatDoNotWorkAreLeftOut) {
    state->deviceCount = 0;
    EXPECT_TRUE(FindCudaDrivers(cuda, nvrtc).empty());
    state->deviceCount = 3;
    EXPECT_EQ(FindCudaDrivers(cuda, nvrtc).size(), 3u);
    for (auto const* const call :
         {"cuDeviceGet", "cuDevicePrimaryCtxRetain", "cuCtxPushCurrent", "cuStreamCreate", "cuMemAlloc"}) {
        Fail(call, 999);
        EXPECT_EQ(FindCudaDrivers(cuda, nvrtc).size(), 2u) << call;
    }
    for (auto const* const call : {"cuInit", "cuDeviceGetCount"}) {
        Fail(call, 100);
        EXPECT_TRUE(FindCudaDrivers(cuda, nvrtc).empty()) << call;
    }
    state->computeMode = 2;
    EXPECT_TRUE(FindCudaDrivers(cuda, nvrtc).empty());
    state->computeMode = 0;
    // Older than all that the compiler knows.
    state->capabilityMajor = 6;
    EXPECT_TRUE(FindCudaDrivers(cuda, nvrtc).empty());
}

TEST_F(CudaTest, EachCallMakesItsContextCurrentAndWaitsWhereItMust) {
    auto& driver = Find();
    void* block = nullptr;
    ASSERT_EQ(driver.Allocate(1000, block), HardwareStatus::Done);
    EXPECT_EQ(TakeLog(), InContext("cuMemAlloc 1000\n"));
    std::vector<unsigned char> host(1000);
    ASSERT_EQ(driver.Write(block, {0, 100}, host.data(), 100, 100, 10), HardwareStatus::Done);
    EXPECT_EQ(TakeLog(), InContext("cuMemcpyHtoDAsync 1000\ncuStreamSynchronize\n"));
    ASSERT_EQ(driver.Write(block, {5, 100}, host.data(), 50, 50, 9), HardwareStatus::Done);
    EXPECT_EQ(TakeLog(), InContext("cuMemcpy2DAsync 1 2 50 9\ncuStreamSynchronize\n"));
    ASSERT_EQ(driver.Read(block, {5, 100}, host.data(), 50, 50, 9), HardwareStatus::Done);
    EXPECT_EQ(TakeLog(), InContext("cuMemcpy2DAsync 2 1 50 9\ncuStreamSynchronize\n"));
    ASSERT_EQ(driver.Copy(block, {0, 50}, block, {500, 100}, 50, 5), HardwareStatus::Done);
    EXPECT_EQ(TakeLog(), InContext("cuMemcpy2DAsync 2 2 50 5\n"));
    ASSERT_EQ(driver.Finish(), HardwareStatus::Done);
    EXPECT_EQ(TakeLog(), InContext("cuStreamSynchronize\n"));
    // From another thread, which has no context of its own.
    std::thread([&] { EXPECT_EQ(driver.Finish(), HardwareStatus::Done); }).join();
    driver.Free(block);
    EXPECT_EQ(TakeLog(), InContext("cuStreamSynchronize\n") + InContext("cuStreamSynchronize\ncuMemFree\n"));
}

TEST_F(CudaTest, RowsGoWhereTheyAreTold) {
    auto& driver = Find();
    for (bool const takesNoRectangles : {false, true}) {
        state->takesNoRectangles = takesNoRectangles;
        state->maximumPitch = 1 << 20;
        auto host = MakeNumbers(100, 3);
        void *a = nullptr, *b = nullptr;
        ASSERT_EQ(driver.Allocate(1000, a), HardwareStatus::Done);
        ASSERT_EQ(driver.Allocate(1000, b), HardwareStatus::Done);
        ASSERT_EQ(driver.Write(a, {7, 40}, host.data(), 10, 9, 10), HardwareStatus::Done);
        ASSERT_EQ(driver.Copy(a, {7, 40}, b, {3, 20}, 9, 10), HardwareStatus::Done);
        std::vector<unsigned char> read(200), expected(200);
        ASSERT_EQ(driver.Read(b, {3, 20}, read.data(), 15, 9, 10), HardwareStatus::Done);
        for (std::size_t row = 0; row != 10; ++row)
            std::memcpy(&expected[row * 15], &host[row * 10], 9);
        EXPECT_EQ(read, expected);
        driver.Free(a);
        driver.Free(b);
    }
    EXPECT_NE(TakeLog().find("cuMemcpyDtoDAsync 9\n"), std::string::npos);
}

TEST_F(CudaTest, PitchesBeyondTheDevicesGoRowByRow) {
    state->maximumPitch = 64;
    auto& driver = Find();
    void* block = nullptr;
    ASSERT_EQ(driver.Allocate(1000, block), HardwareStatus::Done);
    auto const host = MakeNumbers(30, 4);
    TakeLog();
    ASSERT_EQ(driver.Write(block, {0, 100}, host.data(), 10, 10, 3), HardwareStatus::Done);
    EXPECT_EQ(TakeLog(), InContext("cuMemcpyHtoDAsync 10\ncuMemcpyHtoDAsync 10\ncuMemcpyHtoDAsync 10\n"
                                   "cuStreamSynchronize\n"));
    std::vector<unsigned char> read(30);
    ASSERT_EQ(driver.Read(block, {0, 100}, read.data(), 10, 10, 3), HardwareStatus::Done);
    EXPECT_EQ(read, host);
    driver.Free(block);
}

TEST_F(CudaTest, TextsAreCompiledForTheDevice) {
    auto& driver = Find();
    std::vector<std::byte> binary;
    std::string log;
    ASSERT_EQ(driver.Compile(c_kernelText, binary, log), HardwareStatus::Done);
    EXPECT_EQ(TakeLog(), "nvrtcCreateProgram 0\nnvrtcCompileProgram --gpu-architecture=sm_86 --std=c++17 --fmad=false "
                         "--prec-div=true --prec-sqrt=true --ftz=false\nnvrtcGetCUBINSize\nnvrtcGetCUBIN\n"
                         "nvrtcDestroyProgram\n");
    EXPECT_EQ(log, "");
    void* kernel = nullptr;
    ASSERT_EQ(driver.LoadKernel(binary, kernel), HardwareStatus::Done);
    driver.FreeKernel(kernel);
    EXPECT_EQ(driver.Compile("refused", binary, log), HardwareStatus::Failed);
    EXPECT_EQ(log, "kernel.cu(1): refused");
    // No kernel of that name, and no code at all.
    ASSERT_EQ(driver.Compile("another function", binary, log), HardwareStatus::Done);
    EXPECT_EQ(driver.LoadKernel(binary, kernel), HardwareStatus::Failed);
    binary.assign(100, std::byte{1});
    EXPECT_EQ(driver.LoadKernel(binary, kernel), HardwareStatus::Failed);
    EXPECT_EQ(driver.LoadKernel({}, kernel), HardwareStatus::Failed);
    Fail("nvrtcCreateProgram", 1);
    EXPECT_EQ(driver.Compile(c_kernelText, binary, log), HardwareStatus::OutOfMemory);
    for (auto const* const call : {"nvrtcCompileProgram", "nvrtcGetCUBINSize", "nvrtcGetCUBIN"}) {
        Fail(call, 11);
        EXPECT_EQ(driver.Compile(c_kernelText, binary, log), HardwareStatus::Failed) << call;
    }
}

TEST_F(CudaTest, ADeviceThatTheCompilerDoesNotKnowGetsTheTranslatedLanguage) {
    state->capabilityMinor = 9;
    auto& driver = Find();
    EXPECT_NE(driver.GetInfo().version.find("compute_86"), std::string::npos);
    std::vector<std::byte> binary;
    std::string log;
    ASSERT_EQ(driver.Compile(c_kernelText, binary, log), HardwareStatus::Done);
    EXPECT_NE(TakeLog().find("--gpu-architecture=compute_86"), std::string::npos);
    void* kernel = nullptr;
    ASSERT_EQ(driver.LoadKernel(binary, kernel), HardwareStatus::Done);
    driver.FreeKernel(kernel);
}

namespace {

// A kernel with what it works on.
struct CudaRun {
    CudaRun(HardwareDriver& its, int width, int height) : driver(its) {
        std::vector<std::byte> binary;
        std::string log;
        EXPECT_EQ(driver.Compile(c_kernelText, binary, log), HardwareStatus::Done);
        EXPECT_EQ(driver.LoadKernel(binary, launch.kernel), HardwareStatus::Done);
        auto const bytes = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
        pixels = MakeNumbers(bytes, 8);
        for (auto* const block : {&launch.source, &launch.destination})
            EXPECT_EQ(driver.Allocate(bytes, *block), HardwareStatus::Done);
        EXPECT_EQ(driver.Write(launch.source, {0, bytes}, pixels.data(), bytes, bytes, 1), HardwareStatus::Done);
        launch.mask = launch.secondMask = launch.sampler = launch.process = launch.source;
        launch.sourceSize = launch.destinationSize = {width, height};
        launch.parameters = parameters;
        launch.rect = {0, 0, width, height};
    }
    ~CudaRun() {
        driver.FreeKernel(launch.kernel);
        driver.Free(launch.source);
        driver.Free(launch.destination);
    }
    std::vector<unsigned char> GetMade() {
        std::vector<unsigned char> made(pixels.size());
        EXPECT_EQ(driver.Read(launch.destination, {0, made.size()}, made.data(), made.size(), made.size(), 1),
                  HardwareStatus::Done);
        return made;
    }
    HardwareDriver& driver;
    HardwareLaunch launch;
    std::vector<unsigned char> pixels;
    std::vector<float> parameters{1, 2, 3};
};

} // namespace

TEST_F(CudaTest, AKernelMakesEachPixelOfItsRectangleOnce) {
    auto& driver = Find();
    for (int const threads : {1024, 100, 7, 1}) {
        state->mostThreads = threads;
        for (int const perItem : {1, 4, 256}) {
            CudaRun run(driver, 75, 41);
            run.launch.rect = {3, 5, 70, 40};
            run.launch.pixelsPerItem = perItem;
            ASSERT_EQ(driver.Launch(run.launch), HardwareStatus::Done);
            ASSERT_EQ(driver.Finish(), HardwareStatus::Done);
            auto const made = run.GetMade();
            for (int y = 0; y != 41; ++y) {
                for (int x = 0; x != 75; ++x) {
                    auto const at = static_cast<std::size_t>(y * 75 + x);
                    ASSERT_EQ(made[at],
                              run.launch.rect.Contains({x, y}) ? static_cast<unsigned char>(run.pixels[at] + 3) : 0);
                }
            }
        }
    }
}

TEST_F(CudaTest, PicturesHigherThanAGridAreMadeInParts) {
    auto& driver = Find();
    constexpr int c_height = 65535 * 8 + 3000;
    CudaRun run(driver, 1, c_height);
    TakeLog();
    ASSERT_EQ(driver.Launch(run.launch), HardwareStatus::Done);
    EXPECT_EQ(TakeLog(), InContext("cuMemcpyHtoDAsync 12\ncuLaunchKernel 1 65535 32 8\ncuLaunchKernel 1 375 32 8\n"));
    auto const made = run.GetMade();
    for (int const y : {0, 1, 1999, 65535 * 8 - 1, 65535 * 8, c_height - 1})
        EXPECT_EQ(made[static_cast<std::size_t>(y)],
                  static_cast<unsigned char>(run.pixels[static_cast<std::size_t>(y)] + 3));
    // Not begun again when some rows are made.
    Fail("cuLaunchKernel", c_cudaOutOfMemory, 2);
    EXPECT_EQ(driver.Launch(run.launch), HardwareStatus::Failed);
    Fail("cuLaunchKernel", c_cudaOutOfMemory, 1);
    EXPECT_EQ(driver.Launch(run.launch), HardwareStatus::OutOfMemory);
}

TEST_F(CudaTest, ErrorsTellOfMemoryOfLossOrOfOneCall) {
    EXPECT_EQ(GetCudaStatus(0), HardwareStatus::Done);
    EXPECT_EQ(GetCudaStatus(2), HardwareStatus::OutOfMemory);
    for (int const lost : {4, 201, 214, 700, 702, 709, 710, 714, 715, 716, 717, 718, 719, 999})
        EXPECT_EQ(GetCudaStatus(lost), HardwareStatus::Lost) << lost;
    for (int const failed : {1, 200, 209, 218, 222, 500, 701})
        EXPECT_EQ(GetCudaStatus(failed), HardwareStatus::Failed) << failed;
    auto& driver = Find();
    CudaRun run(driver, 8, 8);
    std::vector<unsigned char> host(64);
    std::vector<std::byte> binary;
    std::string log;
    ASSERT_EQ(driver.Compile(c_kernelText, binary, log), HardwareStatus::Done);
    void* made = nullptr;
    struct Case {
        char const* call;
        std::function<HardwareStatus()> run;
    };
    auto const write = [&] { return driver.Write(run.launch.source, {0, 8}, host.data(), 8, 8, 8); };
    auto const writeRows = [&] { return driver.Write(run.launch.source, {0, 8}, host.data(), 4, 4, 8); };
    auto const read = [&] { return driver.Read(run.launch.source, {0, 8}, host.data(), 8, 8, 8); };
    auto const copy = [&] { return driver.Copy(run.launch.source, {0, 8}, run.launch.destination, {0, 8}, 8, 8); };
    auto const allocate = [&] { return driver.Allocate(10, made); };
    auto const load = [&] { return driver.LoadKernel(binary, made); };
    auto const launch = [&] { return driver.Launch(run.launch); };
    auto const finish = [&] { return driver.Finish(); };
    std::vector<Case> const cases{
        {"cuMemAlloc", allocate},        {"cuMemcpyHtoDAsync", write},   {"cuMemcpy2DAsync", writeRows},
        {"cuStreamSynchronize", write},  {"cuMemcpyDtoHAsync", read},    {"cuStreamSynchronize", read},
        {"cuMemcpyDtoDAsync", copy},     {"cuModuleLoadData", load},     {"cuModuleGetFunction", load},
        {"cuFuncGetAttribute", load},    {"cuMemcpyHtoDAsync", launch},  {"cuLaunchKernel", launch},
        {"cuStreamSynchronize", finish}, {"cuCtxPushCurrent", allocate}, {"cuCtxPushCurrent", write},
        {"cuCtxPushCurrent", read},      {"cuCtxPushCurrent", copy},     {"cuCtxPushCurrent", load},
        {"cuCtxPushCurrent", launch},    {"cuCtxPushCurrent", finish}};
    for (auto const& one : cases) {
        for (auto const& [result, status] :
             {std::pair(2, HardwareStatus::OutOfMemory), std::pair(719, HardwareStatus::Lost),
              std::pair(400, HardwareStatus::Failed)}) {
            Fail(one.call, result);
            EXPECT_EQ(one.run(), status) << one.call;
        }
    }
    // In work that was queued.
    ASSERT_EQ(launch(), HardwareStatus::Done);
    state->queuedFailure = 700;
    EXPECT_EQ(finish(), HardwareStatus::Lost);
}

// The whole way, from the descriptor to the pixels.
TEST_F(CudaTest, ADeviceRunsKernelsOfCuda) {
    drivers = FindCudaDrivers(cuda, nvrtc);
    auto device = std::make_shared<Device>(std::move(drivers.front()), HardwareSettings(), &Tests::ComposeFromProcess);
    drivers.clear();
    auto const descriptor = Tests::DescribeKernel(c_kernelText);
    void* const handle = device->GetHandle();
    EXPECT_FALSE(IsKernelPendingCompilation(descriptor, handle, true, nullptr));
    auto const pixels = MakeNumbers(100, 5);
    {
        auto const held = Kernel::MakeCounted<Prolongation>();
        for (std::size_t const slot : {Prolongation::c_destination, Prolongation::c_source}) {
            auto const block = device->Allocate(100);
            ASSERT_TRUE(device->Write(*block, {0, 100}, pixels.data(), 100, 100, 1));
            held->buffers[slot] = block->Get();
            held->owners[slot] = block;
        }
        void* const identity = device->GetIdentityBuffer();
        std::vector<float> const parameters{7, 7, 7, 7, 7, 7, 7, 9};
        auto const buffers = held->buffers;
        EXPECT_TRUE(ExecuteKernel(c_kernelLanguageCuda, HardwareExecutionMode::Pixels, 4, 0, handle, handle, held,
                                  descriptor, buffers[1], 10, 10, buffers[0], 10, 10, identity, 0, 0, identity, 0, 0,
                                  identity, 0, 0, parameters.data(), 8, identity, {0, 0, 10, 10}, false, false, false,
                                  false, 1, 1, 0, 0, nullptr, false, false, nullptr));
        std::vector<unsigned char> made(100);
        auto& block = *static_cast<DeviceBlock*>(held->owners[0].get());
        ASSERT_TRUE(device->Read(block, {0, 100}, made.data(), 100, 100, 1));
        for (std::size_t i = 0; i != 100; ++i)
            EXPECT_EQ(made[i], static_cast<unsigned char>(2 * pixels[i] + 9));
    }
    device.reset();
}
