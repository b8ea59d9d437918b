// SPDX-License-Identifier: Apache-2.0
#include "engine/hardware/opencl_driver.h"
#include "tests/engine/hardware/kernel_texts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <random>

namespace {

using namespace Raster;

// The first device of OpenCL, a processor where there is nothing else.
class OpenCLTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(OpenCLFunctions::Get(), nullptr) << "libOpenCL.so.1 cannot be opened: install pocl-opencl-icd";
        functions = *OpenCLFunctions::Get();
        auto drivers = FindOpenCLDrivers(functions, true);
        ASSERT_FALSE(drivers.empty()) << "there is no device of OpenCL: install pocl-opencl-icd";
        driver = std::move(drivers.front());
    }

    void* Load(std::string const& source) {
        std::vector<std::byte> binary;
        std::string log;
        void* kernel = nullptr;
        EXPECT_EQ(driver->Compile(source, binary, log), HardwareStatus::Done) << log;
        EXPECT_EQ(driver->LoadKernel(binary, kernel), HardwareStatus::Done);
        return kernel;
    }

    // The driver's calls, which a test may replace.
    OpenCLFunctions functions{};
    std::unique_ptr<HardwareDriver> driver;
};

// Blocks of a driver, freed at the end.
class Blocks {
public:
    explicit Blocks(HardwareDriver& driver) : m_driver(driver) {}
    ~Blocks() {
        for (void* const block : m_blocks)
            m_driver.Free(block);
    }
    void* Make(std::vector<unsigned char> const& bytes) {
        void* block = nullptr;
        EXPECT_EQ(m_driver.Allocate(bytes.size(), block), HardwareStatus::Done);
        m_blocks.push_back(block);
        EXPECT_EQ(m_driver.Write(block, {0, bytes.size()}, bytes.data(), bytes.size(), bytes.size(), 1),
                  HardwareStatus::Done);
        return block;
    }
    std::vector<unsigned char> Get(void* block, std::size_t size) {
        std::vector<unsigned char> bytes(size);
        EXPECT_EQ(m_driver.Read(block, {0, size}, bytes.data(), size, size, 1), HardwareStatus::Done);
        return bytes;
    }

private:
    HardwareDriver& m_driver;
    std::vector<void*> m_blocks;
};

std::vector<unsigned char> MakeNoise(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<unsigned char> bytes(count);
    for (auto& byte : bytes)
        byte = static_cast<unsigned char>(random());
    return bytes;
}

} // namespace

TEST_F(OpenCLTest, TellsOfItself) {
    auto const& info = driver->GetInfo();
    EXPECT_FALSE(info.name.empty());
    EXPECT_FALSE(info.version.empty());
    EXPECT_EQ(info.interfaceName, "OpenCL");
    EXPECT_GT(info.memoryBytes, std::size_t{1} << 20);
    EXPECT_GT(info.largestBlockBytes, std::size_t{1} << 20);
    EXPECT_GT(info.computeUnits, 0);
    EXPECT_EQ(driver->GetKernelLanguage(), c_kernelLanguageOpenCL);
}

TEST_F(OpenCLTest, ProcessorsAreLeftOutUnlessTheyAreAskedFor) {
    for (auto const& other : FindOpenCLDrivers(functions, false))
        EXPECT_FALSE(other->GetInfo().isProcessor);
    auto const all = FindOpenCLDrivers(true);
    EXPECT_TRUE(std::is_sorted(all.begin(), all.end(), [](auto const& a, auto const& b) {
        return a->GetInfo().isProcessor < b->GetInfo().isProcessor;
    }));
}

// Rectangles of all kinds against plain loops over bytes: whole rows, columns, rows that go over the end of the pitch,
// places within one block.
TEST_F(OpenCLTest, RowsGoWhereTheyAreTold) {
    constexpr std::size_t c_bytes = 6000;
    Blocks blocks(*driver);
    auto first = MakeNoise(c_bytes, 1), second = MakeNoise(c_bytes, 2);
    void* const a = blocks.Make(first);
    void* const b = blocks.Make(second);
    std::mt19937 random(3);
    auto const pick = [&random](std::size_t least, std::size_t most) { return least + random() % (most - least + 1); };
    for (int turn = 0; turn != 300; ++turn) {
        auto const rowBytes = pick(1, 60), rows = pick(1, 20);
        auto const choose = [&](std::size_t begin, std::size_t end) {
            auto const pitch = random() % 3 == 0 ? rowBytes : pick(rowBytes, 120);
            return HardwareRows{pick(begin, end - rowBytes - (rows - 1) * pitch), pitch};
        };
        auto const there = choose(0, c_bytes / 2), here = choose(c_bytes / 2, c_bytes);
        auto const hostPitch = random() % 2 == 0 ? rowBytes : rowBytes + 13;
        auto host = MakeNoise(hostPitch * rows, random());
        switch (random() % 4) {
        case 0:
            ASSERT_EQ(driver->Write(a, there, host.data(), hostPitch, rowBytes, rows), HardwareStatus::Done);
            for (std::size_t row = 0; row != rows; ++row)
                std::memcpy(&first[there.offset + row * there.pitch], &host[row * hostPitch], rowBytes);
            break;
        case 1: {
            auto expected = host;
            for (std::size_t row = 0; row != rows; ++row)
                std::memcpy(&expected[row * hostPitch], &second[there.offset + row * there.pitch], rowBytes);
            ASSERT_EQ(driver->Read(b, there, host.data(), hostPitch, rowBytes, rows), HardwareStatus::Done);
            ASSERT_EQ(host, expected);
            break;
        }
        case 2:
            ASSERT_EQ(driver->Copy(a, there, b, here, rowBytes, rows), HardwareStatus::Done);
            for (std::size_t row = 0; row != rows; ++row)
                std::memcpy(&second[here.offset + row * here.pitch], &first[there.offset + row * there.pitch],
                            rowBytes);
            break;
        default:
            ASSERT_EQ(driver->Copy(a, here, a, there, rowBytes, rows), HardwareStatus::Done);
            for (std::size_t row = 0; row != rows; ++row)
                std::memcpy(&first[there.offset + row * there.pitch], &first[here.offset + row * here.pitch], rowBytes);
        }
        ASSERT_EQ(driver->Finish(), HardwareStatus::Done);
    }
    EXPECT_EQ(blocks.Get(a, c_bytes), first);
    EXPECT_EQ(blocks.Get(b, c_bytes), second);
}

TEST_F(OpenCLTest, AKernelGetsItsArguments) {
    void* const kernel = Load(Tests::c_tellingKernel);
    ASSERT_NE(kernel, nullptr);
    Blocks blocks(*driver);
    std::vector<unsigned char> const none(4);
    HardwareLaunch launch;
    launch.kernel = kernel;
    launch.source = blocks.Make({11, 0, 0, 0});
    launch.destination = blocks.Make(std::vector<unsigned char>(64 * sizeof(std::int32_t)));
    launch.mask = blocks.Make({12, 0, 0, 0});
    launch.secondMask = blocks.Make({13, 0, 0, 0});
    launch.sampler = blocks.Make({14, 0, 0, 0});
    launch.process = blocks.Make({15, 0, 0, 0});
    launch.sourceSize = {21, 22};
    launch.destinationSize = {23, 24};
    launch.maskSize = {25, 26};
    launch.secondMaskSize = {27, 28};
    launch.samplerSize = {29, 30};
    std::vector<float> parameters(c_maximumKernelParameters, 0);
    parameters.front() = 41;
    parameters.back() = 42;
    launch.parameters = parameters;
    launch.rect = {51, 52, 53, 54};
    launch.pixelsPerItem = 1;
    ASSERT_EQ(driver->Launch(launch), HardwareStatus::Done);
    // The parameters were copied.
    parameters.assign(parameters.size(), -1);
    ASSERT_EQ(driver->Finish(), HardwareStatus::Done);
    auto const bytes = blocks.Get(launch.destination, 64 * sizeof(std::int32_t));
    std::vector<std::int32_t> told(64);
    std::memcpy(told.data(), bytes.data(), bytes.size());
    told.resize(23);
    EXPECT_EQ(told, (std::vector<std::int32_t>{11, 12, 13, 14, 15, 21,   22, 23, 24, 25, 26, 27,
                                               28, 29, 30, 41, 42, 1024, 51, 52, 53, 54, 1}));
    driver->FreeKernel(kernel);
}

TEST_F(OpenCLTest, EachPixelOfTheRectangleIsMadeOnce) {
    void* const kernel = Load(Tests::c_addingKernel);
    ASSERT_NE(kernel, nullptr);
    constexpr int c_width = 75, c_height = 41;
    for (int const perItem : {1, 4, 7, 256}) {
        for (auto const& rect : {Kernel::RectT<int>{0, 0, 75, 41}, Kernel::RectT<int>{3, 5, 70, 40},
                                 Kernel::RectT<int>{74, 40, 75, 41}, Kernel::RectT<int>{0, 7, 75, 8}}) {
            Blocks blocks(*driver);
            auto const pixels = MakeNoise(c_width * c_height, 5);
            HardwareLaunch launch;
            launch.kernel = kernel;
            launch.source = blocks.Make(pixels);
            launch.destination = blocks.Make(std::vector<unsigned char>(c_width * c_height, 1));
            launch.mask = launch.secondMask = launch.sampler = launch.process = blocks.Make({0});
            launch.sourceSize = launch.destinationSize = {c_width, c_height};
            float const parameter = 3;
            launch.parameters = {&parameter, 1};
            launch.rect = rect;
            launch.pixelsPerItem = perItem;
            ASSERT_EQ(driver->Launch(launch), HardwareStatus::Done);
            ASSERT_EQ(driver->Finish(), HardwareStatus::Done);
            auto const made = blocks.Get(launch.destination, c_width * c_height);
            for (int y = 0; y != c_height; ++y) {
                for (int x = 0; x != c_width; ++x) {
                    auto const at = static_cast<std::size_t>(y * c_width + x);
                    auto const expected = rect.Contains({x, y}) ? static_cast<unsigned char>(pixels[at] + 4) : 1;
                    ASSERT_EQ(made[at], expected) << x << ',' << y;
                }
            }
        }
    }
    driver->FreeKernel(kernel);
}

TEST_F(OpenCLTest, TextsThatDoNotCompileAreRefused) {
    std::vector<std::byte> binary;
    std::string log;
    EXPECT_EQ(driver->Compile("kernel void redraft_kernel(global nonsense* a) {}", binary, log),
              HardwareStatus::Failed);
    EXPECT_NE(log.find("nonsense"), std::string::npos) << log;
    // Compiles, and has no kernel of that name.
    void* kernel = nullptr;
    ASSERT_EQ(driver->Compile("kernel void other(global int* a) { *a = 1; }", binary, log), HardwareStatus::Done);
    EXPECT_EQ(driver->LoadKernel(binary, kernel), HardwareStatus::Failed);
    // One with fewer arguments does not run.
    ASSERT_EQ(driver->Compile("kernel void redraft_kernel(global int* a) { *a = 1; }", binary, log),
              HardwareStatus::Done);
    ASSERT_EQ(driver->LoadKernel(binary, kernel), HardwareStatus::Done);
    Blocks blocks(*driver);
    HardwareLaunch launch;
    launch.kernel = kernel;
    launch.source = launch.destination = launch.mask = launch.secondMask = launch.sampler = launch.process =
        blocks.Make({0});
    launch.rect = {0, 0, 1, 1};
    EXPECT_EQ(driver->Launch(launch), HardwareStatus::Failed);
    EXPECT_EQ(driver->Finish(), HardwareStatus::Done);
    driver->FreeKernel(kernel);
    // No binary at all.
    std::vector<std::byte> const noise(1000, std::byte{7});
    EXPECT_EQ(driver->LoadKernel(noise, kernel), HardwareStatus::Failed);
}

TEST_F(OpenCLTest, DivisionsAndSumsAreRoundedAsTheHosts) {
    void* const kernel = Load(Tests::c_calculatingKernel);
    ASSERT_NE(kernel, nullptr);
    constexpr std::size_t c_count = 4096;
    std::mt19937 random(11);
    std::vector<float> numbers(3 * c_count);
    for (auto& number : numbers)
        number = std::uniform_real_distribution<float>(-4, 4)(random);
    Blocks blocks(*driver);
    std::vector<unsigned char> bytes(numbers.size() * sizeof(float));
    std::memcpy(bytes.data(), numbers.data(), bytes.size());
    HardwareLaunch launch;
    launch.kernel = kernel;
    launch.source = blocks.Make(bytes);
    launch.destination = blocks.Make(std::vector<unsigned char>(c_count * sizeof(float)));
    launch.mask = launch.secondMask = launch.sampler = launch.process = blocks.Make({0});
    launch.rect = {0, 0, static_cast<int>(c_count), 1};
    ASSERT_EQ(driver->Launch(launch), HardwareStatus::Done);
    ASSERT_EQ(driver->Finish(), HardwareStatus::Done);
    auto const made = blocks.Get(launch.destination, c_count * sizeof(float));
    for (std::size_t i = 0; i != c_count; ++i) {
        float result = 0;
        std::memcpy(&result, &made[i * sizeof result], sizeof result);
        ASSERT_EQ(result, numbers[3 * i] * numbers[3 * i + 1] + numbers[3 * i + 2] / numbers[3 * i + 1]) << i;
    }
    driver->FreeKernel(kernel);
}

TEST(OpenCLStatus, CodesTellOfMemoryOfLossOrOfOneCall) {
    EXPECT_EQ(GetOpenCLStatus(CL_SUCCESS), HardwareStatus::Done);
    for (cl_int const code : {CL_MEM_OBJECT_ALLOCATION_FAILURE, CL_OUT_OF_RESOURCES, CL_OUT_OF_HOST_MEMORY})
        EXPECT_EQ(GetOpenCLStatus(code), HardwareStatus::OutOfMemory) << code;
    for (cl_int const code : {CL_DEVICE_NOT_AVAILABLE, CL_INVALID_COMMAND_QUEUE, CL_INVALID_CONTEXT, CL_INVALID_DEVICE})
        EXPECT_EQ(GetOpenCLStatus(code), HardwareStatus::Lost) << code;
    for (cl_int const code : {CL_BUILD_PROGRAM_FAILURE, CL_INVALID_VALUE, CL_INVALID_BINARY,
                              CL_EXEC_STATUS_ERROR_FOR_EVENTS_IN_WAIT_LIST, -9999})
        EXPECT_EQ(GetOpenCLStatus(code), HardwareStatus::Failed) << code;
}

namespace {

// Stand-ins for calls, by what they answer.
cl_int s_answer = CL_SUCCESS;
OpenCLFunctions s_real{};

cl_int CL_API_CALL AnswerWrite(cl_command_queue, cl_mem, cl_bool, size_t, size_t, void const*, cl_uint, cl_event const*,
                               cl_event*) {
    return s_answer;
}
cl_int CL_API_CALL AnswerEvent(cl_event event, cl_event_info name, size_t size, void* value, size_t* used) {
    auto const asked = s_real.getEventInfo(event, name, size, value, used);
    if (s_answer != CL_SUCCESS)
        *static_cast<cl_int*>(value) = s_answer;
    return asked;
}
cl_int CL_API_CALL AnswerFinish(cl_command_queue) { return s_answer; }

int s_opened = 0;
cl_mem CL_API_CALL CountCreate(cl_context context, cl_mem_flags flags, size_t size, void* host, cl_int* code) {
    ++s_opened;
    return s_real.createBuffer(context, flags, size, host, code);
}
cl_int CL_API_CALL CountRelease(cl_mem buffer) {
    --s_opened;
    return s_real.releaseMemObject(buffer);
}

} // namespace

TEST_F(OpenCLTest, MemoryThatIsMissingAtTheFirstUseIsMissing) {
    s_real = functions;
    s_opened = 0;
    auto replaced = functions;
    replaced.createBuffer = &CountCreate;
    replaced.releaseMemObject = &CountRelease;
    replaced.enqueueWriteBuffer = &AnswerWrite;
    {
        auto const drivers = FindOpenCLDrivers(replaced, true);
        int const before = s_opened;
        void* block = nullptr;
        for (auto const& [answer, status] : {std::pair(CL_MEM_OBJECT_ALLOCATION_FAILURE, HardwareStatus::OutOfMemory),
                                             std::pair(CL_OUT_OF_RESOURCES, HardwareStatus::OutOfMemory),
                                             std::pair(CL_INVALID_VALUE, HardwareStatus::Failed),
                                             std::pair(CL_INVALID_COMMAND_QUEUE, HardwareStatus::Lost)}) {
            s_answer = answer;
            EXPECT_EQ(drivers.front()->Allocate(100, block), status);
            EXPECT_EQ(s_opened, before);
        }
        s_answer = CL_SUCCESS;
        EXPECT_EQ(drivers.front()->Allocate(100, block), HardwareStatus::Done);
        EXPECT_EQ(s_opened, before + 1);
        drivers.front()->Free(block);
    }
    EXPECT_EQ(s_opened, 0);
}

TEST_F(OpenCLTest, WorkThatFailsLaterIsToldOnce) {
    s_real = functions;
    auto replaced = functions;
    replaced.getEventInfo = &AnswerEvent;
    auto const drivers = FindOpenCLDrivers(replaced, true);
    auto& failing = *drivers.front();
    Blocks blocks(failing);
    s_answer = CL_SUCCESS;
    void* const a = blocks.Make(MakeNoise(1000, 1));
    void* const b = blocks.Make(MakeNoise(1000, 2));
    ASSERT_EQ(failing.Copy(a, {0, 10}, b, {0, 10}, 10, 10), HardwareStatus::Done);
    s_answer = CL_OUT_OF_RESOURCES;
    EXPECT_EQ(failing.Finish(), HardwareStatus::OutOfMemory);
    EXPECT_EQ(failing.Finish(), HardwareStatus::Done);
    // Nor is there anything to read, however often it is tried.
    ASSERT_EQ(failing.Copy(a, {0, 10}, b, {0, 10}, 10, 10), HardwareStatus::Done);
    std::vector<unsigned char> bytes(10);
    EXPECT_EQ(failing.Read(b, {0, 10}, bytes.data(), 10, 10, 1), HardwareStatus::Failed);
    // It is not forgotten when many commands follow.
    for (int i = 0; i != 300; ++i)
        ASSERT_EQ(failing.Copy(a, {0, 10}, b, {0, 10}, 10, 1), HardwareStatus::Done);
    s_answer = CL_SUCCESS;
    EXPECT_EQ(failing.Finish(), HardwareStatus::OutOfMemory);
    EXPECT_EQ(failing.Finish(), HardwareStatus::Done);
}

TEST_F(OpenCLTest, AQueueThatIsGoneIsALostDevice) {
    s_real = functions;
    auto replaced = functions;
    replaced.finish = &AnswerFinish;
    auto const drivers = FindOpenCLDrivers(replaced, true);
    for (auto const& [answer, status] : {std::pair(CL_OUT_OF_RESOURCES, HardwareStatus::OutOfMemory),
                                         std::pair(CL_INVALID_COMMAND_QUEUE, HardwareStatus::Lost)}) {
        s_answer = answer;
        EXPECT_EQ(drivers.front()->Finish(), status);
    }
    s_answer = CL_SUCCESS;
}

// Such a device would end the process at its first kernel.
TEST_F(OpenCLTest, ADeviceThatNeedsALinkerIsLeftOutWithoutOne) {
    bool const isPocl = driver->GetInfo().version.find("PoCL") != std::string::npos;
    auto const count = FindOpenCLDrivers(functions, true).size();
    std::string const path = std::getenv("PATH");
    ASSERT_EQ(::setenv("PATH", "/nowhere", 1), 0);
    auto const without = FindOpenCLDrivers(functions, true).size();
    ASSERT_EQ(::setenv("PATH", path.c_str(), 1), 0);
    EXPECT_EQ(without < count, isPocl);
    EXPECT_EQ(FindOpenCLDrivers(functions, true).size(), count);
}
