// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/hardware.h"
#include "tests/engine/hardware/test_device.h"

#include <gtest/gtest.h>

#include <array>
#include <future>
#include <limits>

namespace {

using namespace Raster;
using Tests::DescribeKernel;
using Tests::DriverCall;
using Tests::TestDevice;
using Devices = Hardware<DefaultImplementation>;
using Rect = Kernel::RectT<int>;

// A kernel that is ready, buffers for it, and a call with arguments that are right.
struct KernelRun : TestDevice {
    KernelRun() {
        EXPECT_TRUE(MakeKernel(descriptor));
        handle = queue = device->GetHandle();
        secondMask = sampler = process = device->GetIdentityBuffer();
        for (std::size_t slot = 0; slot != Prolongation::c_slotCount; ++slot) {
            blocks[slot] = device->Allocate(1000);
            prolongation->buffers[slot] = blocks[slot]->Get();
            prolongation->owners[slot] = blocks[slot];
            prolongation->isReadOnly[slot] = slot != Prolongation::c_destination;
        }
        destination = blocks[Prolongation::c_destination]->Get();
        source = blocks[Prolongation::c_source]->Get();
        mask = blocks[Prolongation::c_mask]->Get();
        record->run = [this](HardwareLaunch const& its, std::string const& text) {
            launch = its;
            ran = text;
            told.assign(its.parameters.begin(), its.parameters.end());
        };
    }
    bool operator()() {
        return ExecuteKernel(language, mode, perItem, subMode, handle, queue, prolongation, descriptor, source, 11, 12,
                             destination, 21, 22, mask, maskWidth, maskHeight, secondMask, secondMaskWidth, 0, sampler,
                             0, samplerHeight, parameters.data(), parameterCount, process, rect, flags[0], flags[1],
                             flags[2], flags[3], stepX, stepY, offsetX, offsetY, abort, flags[4], flags[5], nullptr);
    }

    HardwareKernelDescriptor descriptor = DescribeKernel("a kernel");
    std::array<std::shared_ptr<DeviceBlock>, Prolongation::c_slotCount> blocks;
    Kernel::Counted<Prolongation> prolongation = Kernel::MakeCounted<Prolongation>();
    int language = c_kernelLanguageOpenCL;
    HardwareExecutionMode mode = HardwareExecutionMode::Pixels;
    int perItem = 4, subMode = 0;
    void *handle, *queue, *source, *destination, *mask, *secondMask, *sampler, *process;
    int maskWidth = 31, maskHeight = 32, secondMaskWidth = 0, samplerHeight = 0;
    std::vector<float> parameters{7, 10, 13, 13, 13, 13, 13, 1, 2, 3, 4, 5, 6, 15};
    int parameterCount = 14;
    Rect rect{1, 2, 21, 22};
    std::array<bool, 6> flags{};
    int stepX = 1, stepY = 1, offsetX = 0, offsetY = 0;
    bool const* abort = nullptr;

    HardwareLaunch launch;
    std::string ran;
    std::vector<float> told;
};

template <class Change>
void ExpectRefused(Change const& change, char const* name) {
    SCOPED_TRACE(name);
    KernelRun run;
    auto const executed = Devices::GetExecutedKernels(), failed = Devices::GetFailedKernels();
    change(run);
    EXPECT_FALSE(run());
    EXPECT_EQ(run.record->GetCalls("Launch"), 0);
    // The attempt counts what failed, not this.
    EXPECT_EQ(Devices::GetExecutedKernels(), executed);
    EXPECT_EQ(Devices::GetFailedKernels(), failed);
    EXPECT_FALSE(run.device->IsLost());
}

} // namespace

TEST(ExecuteKernel, GivesTheDriverWhatItIsGiven) {
    KernelRun run;
    auto const executed = Devices::GetExecutedKernels();
    ASSERT_TRUE(run());
    EXPECT_EQ(run.ran, "a kernel");
    EXPECT_EQ(run.launch.source, run.source);
    EXPECT_EQ(run.launch.destination, run.destination);
    EXPECT_EQ(run.launch.mask, run.mask);
    for (void* const unused : {run.launch.secondMask, run.launch.sampler, run.launch.process})
        EXPECT_EQ(unused, run.device->GetIdentityBuffer());
    using Size = Kernel::SizeT<int>;
    EXPECT_EQ(run.launch.sourceSize, (Size{11, 12}));
    EXPECT_EQ(run.launch.destinationSize, (Size{21, 22}));
    EXPECT_EQ(run.launch.maskSize, (Size{31, 32}));
    EXPECT_EQ(run.launch.secondMaskSize, Size());
    EXPECT_EQ(run.launch.samplerSize, Size());
    EXPECT_EQ(run.launch.rect, run.rect);
    EXPECT_EQ(run.launch.pixelsPerItem, 4);
    EXPECT_EQ(run.told, run.parameters);
    EXPECT_EQ(run.record->GetCalls("Finish"), 1);
    EXPECT_EQ(Devices::GetExecutedKernels(), executed + 1);
    EXPECT_EQ(run.device->GetExecuted(), 1u);
    EXPECT_EQ(run.device->GetFailed(), 0u);
}

TEST(ExecuteKernel, AMaskMayBeLeftOut) {
    KernelRun run;
    run.mask = run.device->GetIdentityBuffer();
    run.maskWidth = run.maskHeight = 0;
    run.prolongation->buffers[Prolongation::c_mask] = nullptr;
    EXPECT_TRUE(run());
}

TEST(ExecuteKernel, ArgumentsOutOfTheOrdinaryAreRefused) {
#define REFUSED(...) ExpectRefused([](KernelRun& run) { __VA_ARGS__; }, #__VA_ARGS__)
    REFUSED(run.language = c_kernelLanguageCuda);
    REFUSED(run.mode = static_cast<HardwareExecutionMode>(1));
    REFUSED(run.perItem = 0);
    REFUSED(run.perItem = 257);
    REFUSED(run.subMode = 1);
    REFUSED(run.handle = nullptr);
    REFUSED(run.queue = nullptr);
    REFUSED(run.prolongation = nullptr);
    REFUSED(run.source = nullptr);
    REFUSED(run.source = run.destination);
    REFUSED(run.source = run.device->GetIdentityBuffer());
    REFUSED(run.destination = nullptr);
    REFUSED(run.destination = run.source);
    REFUSED(run.prolongation->isReadOnly[Prolongation::c_destination] = true);
    REFUSED(run.mask = nullptr);
    REFUSED(run.mask = run.source);
    REFUSED(run.mask = run.device->GetIdentityBuffer());
    REFUSED(run.maskWidth = 0);
    REFUSED(run.maskHeight = -1);
    REFUSED(run.secondMask = nullptr);
    REFUSED(run.secondMask = run.mask);
    REFUSED(run.secondMaskWidth = 1);
    REFUSED(run.sampler = run.mask);
    REFUSED(run.samplerHeight = 1);
    REFUSED(run.process = nullptr);
    REFUSED(run.parameterCount = 6);
    REFUSED(run.parameterCount = -1);
    REFUSED(run.parameterCount = 1025);
    REFUSED(run.parameterCount = 12);
    REFUSED(run.parameters[0] = 8);
    REFUSED(run.parameters[1] = 6);
    REFUSED(run.parameters[2] = 9);
    REFUSED(run.parameters[3] = 13.5f);
    REFUSED(run.parameters[4] = std::numeric_limits<float>::quiet_NaN());
    REFUSED(run.parameters[5] = std::numeric_limits<float>::infinity());
    REFUSED(run.parameters[6] = 15);
    REFUSED(run.rect = Rect());
    REFUSED(run.rect.left = -1);
    REFUSED(run.rect.top = -1);
    REFUSED(run.rect.right = 22);
    REFUSED(run.rect.bottom = 23);
    REFUSED(run.rect.right = 1);
    REFUSED(run.stepX = 2);
    REFUSED(run.stepY = 0);
    REFUSED(run.offsetX = 1);
    REFUSED(run.offsetY = -1);
    REFUSED(run.flags[0] = true);
    REFUSED(run.flags[1] = true);
    REFUSED(run.flags[2] = true);
    REFUSED(run.flags[3] = true);
    REFUSED(run.flags[4] = true);
    REFUSED(run.flags[5] = true);
    REFUSED(run.descriptor = DescribeKernel("another"));
    REFUSED(static bool const isSet = true; run.abort = &isSet);
#undef REFUSED
}

TEST(ExecuteKernel, ARunThatFailsIsFalseAndTheNextMayWork) {
    for (auto const call : {DriverCall::Launch, DriverCall::Finish}) {
        KernelRun run;
        run.failures->Set(call, 1, HardwareStatus::Failed);
        EXPECT_FALSE(run());
        // Waited for, also when it did not begin as it should have.
        EXPECT_EQ(run.failures->GetCount(DriverCall::Finish), 1);
        EXPECT_FALSE(run.device->IsLost());
        EXPECT_FALSE(IsKernelBroken(run.descriptor, run.handle));
        EXPECT_EQ(run.device->GetExecuted(), 0u);
        EXPECT_TRUE(run());
    }
}

TEST(ExecuteKernel, ALostDeviceRunsNothingMore) {
    for (auto const call : {DriverCall::Launch, DriverCall::Finish}) {
        KernelRun run;
        run.failures->Set(call, 1, HardwareStatus::Lost);
        EXPECT_FALSE(run());
        EXPECT_TRUE(run.device->IsLost());
        int const calls = run.failures->GetCount(DriverCall::Any);
        EXPECT_FALSE(run());
        EXPECT_EQ(run.failures->GetCount(DriverCall::Any), calls);
    }
}

// A run that did not begin is begun again with more memory. One that ended for lack of it may have written something
// that it reads, and is not.
TEST(ExecuteKernel, TooLittleMemoryIsAskedForBeforeARunAndNotBehind) {
    for (auto const call : {DriverCall::Launch, DriverCall::Finish}) {
        KernelRun run;
        int asked = 0;
        run.device->SetEvict([&](std::size_t) { ++asked; });
        run.failures->Set(call, 1, HardwareStatus::OutOfMemory);
        EXPECT_EQ(run(), call == DriverCall::Launch);
        EXPECT_EQ(asked, call == DriverCall::Launch ? 1 : 0);
        EXPECT_EQ(run.record->GetCalls("Launch"), 1);
        EXPECT_TRUE(run());
    }
}

TEST(ShouldExecuteKernel, IsTrueFromSomeSizeOn) {
    EXPECT_FALSE(ShouldExecuteKernel({}));
    EXPECT_FALSE(ShouldExecuteKernel({5, 5, 5, 10000000}));
    EXPECT_FALSE(ShouldExecuteKernel({10, 0, 5, 1000000}));
    EXPECT_FALSE(ShouldExecuteKernel({-3, -3, 5, 5}));
    EXPECT_TRUE(ShouldExecuteKernel({-2000, -2000, 2000, 2000}));
    EXPECT_TRUE(ShouldExecuteKernel({0, 0, 1, 100000000}));
    constexpr int c_least = std::numeric_limits<int>::min(), c_most = std::numeric_limits<int>::max();
    EXPECT_TRUE(ShouldExecuteKernel({c_least, c_least, c_most, c_most}));
    EXPECT_TRUE(ShouldExecuteKernel({c_least, 0, c_most, 1}));
}

TEST(Prolongation, GivesBackCountersBeforeTheMemoryTheyStandIn) {
    struct Owner {
        ~Owner() {
            *usesAtTheEnd = uses.Get();
            *isFreeAtTheEnd = writer.TryAcquire();
        }
        Kernel::Interlocked uses;
        Kernel::Semaphore writer;
        int* usesAtTheEnd;
        bool* isFreeAtTheEnd;
    };
    int uses = -1;
    bool isFree = false;
    {
        auto const held = Kernel::MakeCounted<Prolongation>();
        auto const owner = std::make_shared<Owner>();
        owner->usesAtTheEnd = &uses;
        owner->isFreeAtTheEnd = &isFree;
        // One that stands in two slots.
        for (std::size_t const slot : {0, 1}) {
            owner->uses.Increment();
            held->owners[slot] = owner;
            held->uses[slot] = &owner->uses;
        }
        owner->writer.Acquire();
        held->writers[Prolongation::c_destination] = &owner->writer;
        auto const second = held;
    }
    EXPECT_EQ(uses, 0);
    EXPECT_TRUE(isFree);
    // Empty slots are nothing to give back.
    Kernel::MakeCounted<Prolongation>().reset();
}

TEST(RetainGuard, LetsOneThreadInAtATime) {
    TestDevice const first, second;
    void* const device = first.device->GetHandle();
    auto guard = GetRetainHardwareBufferSemaphoreGuard(device);
    ASSERT_NE(guard, nullptr);
    std::atomic<bool> isIn{false};
    auto other = std::async(std::launch::async, [&] {
        auto const its = GetRetainHardwareBufferSemaphoreGuard(device);
        isIn = true;
    });
    // Another device has its own.
    std::async(std::launch::async, [&] { GetRetainHardwareBufferSemaphoreGuard(second.device->GetHandle()); }).get();
    EXPECT_FALSE(isIn);
    // The holder may enter again, and stays the holder when it leaves.
    {
        auto const nested = GetRetainHardwareBufferSemaphoreGuard(device);
        EXPECT_NE(nested, nullptr);
    }
    EXPECT_FALSE(isIn);
    guard.reset();
    other.get();
    EXPECT_TRUE(isIn);
    EXPECT_EQ(GetRetainHardwareBufferSemaphoreGuard(nullptr), nullptr);
    // Any thread may let the holder out.
    auto taken = GetRetainHardwareBufferSemaphoreGuard(device);
    std::async(std::launch::async, [&taken] { taken.reset(); }).get();
    std::async(std::launch::async, [&] { GetRetainHardwareBufferSemaphoreGuard(device); }).get();
}

TEST(RetainGuard, ManyThreadsTakeTurns) {
    TestDevice const test;
    int inside = 0, turns = 0;
    std::atomic<bool> isWrong{false};
    std::vector<std::thread> threads;
    for (int i = 0; i != 6; ++i) {
        threads.emplace_back([&] {
            for (int turn = 0; turn != 300; ++turn) {
                auto const guard = GetRetainHardwareBufferSemaphoreGuard(test.device->GetHandle());
                if (++inside != 1)
                    isWrong = true;
                ++turns;
                --inside;
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_FALSE(isWrong);
    EXPECT_EQ(turns, 1800);
}
