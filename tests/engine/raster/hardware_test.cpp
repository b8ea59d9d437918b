// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/hardware.h"

#include "platform/raster/dynamic_buffer.h"

#include <gtest/gtest.h>

#include <future>

namespace {

using namespace Raster;
using Devices = Hardware<DefaultImplementation>;
using Rect = Kernel::RectT<int>;

int s_handles[3];
void* const c_first = &s_handles[0];
void* const c_second = &s_handles[1];
void* const c_third = &s_handles[2];

class HardwareTest : public testing::Test {
protected:
    ~HardwareTest() override { Devices::SetDevices({}); }
};

// Knows one value for all pixels.
class FakeCopy final : public HardwareCopy {
public:
    bool CopyToHost(BufferBase& buffer, Rect const& rect, bool const* abort) override {
        ++fetches;
        if (fails || (abort != nullptr && *abort))
            return false;
        DynamicPixel pixel(FormatRGBA8);
        pixel.SetSample(0, 77);
        buffer.Fill(rect, pixel);
        return true;
    }
    void Invalidate(Rect const& rect) override { told = rect; }
    int fetches = 0;
    bool fails = false;
    Rect told;
};

} // namespace

TEST_F(HardwareTest, WithoutADeviceAllWorkIsDoneInSoftware) {
    EXPECT_EQ(Devices::GetDevice(), nullptr);
    EXPECT_TRUE(HardwareGPUEnabledSession::IsEnabled());
    HardwareMultiGPUState state("none");
    EXPECT_EQ(state.GetName(), "none");
    EXPECT_EQ(state.GetDeviceCount(), 0u);
    HardwareMultiGPUSession const session(state);
    EXPECT_EQ(HardwareMultiGPUSession::GetState(), &state);
    EXPECT_EQ(Devices::GetDevice(), nullptr);
    EXPECT_FALSE(Devices::GetHardwareBroken());
}

TEST_F(HardwareTest, SessionsNestAndHoldForTheirThread) {
    Devices::SetDevices({c_first});
    {
        HardwareGPUEnabledSession const off(false);
        EXPECT_EQ(Devices::GetDevice(), nullptr);
        {
            HardwareGPUEnabledSession const on(true);
            EXPECT_EQ(Devices::GetDevice(), c_first);
        }
        EXPECT_FALSE(HardwareGPUEnabledSession::IsEnabled());
        EXPECT_EQ(std::async(std::launch::async, [] { return Devices::GetDevice(); }).get(), c_first);
    }
    EXPECT_EQ(Devices::GetDevice(), c_first);
    HardwareMultiGPUState outer("outer"), inner("inner");
    {
        HardwareMultiGPUSession const session(outer);
        {
            HardwareMultiGPUSession const nested(inner);
            EXPECT_EQ(HardwareMultiGPUSession::GetState(), &inner);
            EXPECT_EQ(std::async(std::launch::async, HardwareMultiGPUSession::GetState).get(), nullptr);
        }
        EXPECT_EQ(HardwareMultiGPUSession::GetState(), &outer);
    }
    EXPECT_EQ(HardwareMultiGPUSession::GetState(), nullptr);
}

TEST_F(HardwareTest, ASessionSharesWorkAmongItsDevicesByTurns) {
    Devices::SetDevices({c_first, c_second, c_third});
    HardwareMultiGPUState state("all");
    EXPECT_EQ(state.GetDeviceCount(), 3u);
    HardwareMultiGPUSession const session(state);
    for (void* const device : {c_first, c_second, c_third, c_first, c_second})
        EXPECT_EQ(Devices::GetDevice(), device);
    Devices::MarkBroken(c_third);
    for (void* const device : {c_first, c_second, c_first})
        EXPECT_EQ(Devices::GetDevice(), device);
    Devices::MarkBroken(c_first);
    Devices::MarkBroken(c_second);
    EXPECT_EQ(Devices::GetDevice(), nullptr);
}

TEST_F(HardwareTest, AFailureIsTheSessionsInWhichItCame) {
    Devices::SetDevices({c_first, c_second});
    HardwareMultiGPUState state("state");
    {
        HardwareMultiGPUSession const outer(state);
        {
            HardwareMultiGPUSession const failing(state);
            Devices::MarkBroken(c_first);
            EXPECT_TRUE(Devices::GetHardwareBroken());
            EXPECT_FALSE(std::async(std::launch::async, Devices::GetHardwareBroken).get());
        }
        EXPECT_TRUE(Devices::GetHardwareBroken());
        HardwareMultiGPUSession const fresh(state);
        EXPECT_FALSE(Devices::GetHardwareBroken());
    }
    EXPECT_FALSE(Devices::GetHardwareBroken());
    EXPECT_EQ(Devices::GetDevice(), c_second);
    // Devices that are named anew work again.
    Devices::SetDevices({c_first});
    EXPECT_EQ(Devices::GetDevice(), c_first);
}

TEST_F(HardwareTest, ABufferFetchesWhatItsDeviceHasWritten) {
    auto const copy = std::make_shared<FakeCopy>();
    DynamicBuffer buffer(20, 10, FormatRGBA8);
    auto const at = [&](int x, int y) { return std::as_const(*buffer.GetBase()).GetPixel(x, y).GetSample(0); };
    // Without a device there is nothing to fetch.
    buffer.InvalidateHostCache({0, 0, 20, 10});
    EXPECT_TRUE(buffer.SyncHostCache({0, 0, 20, 10}, false, nullptr));
    buffer.SetHardwareCopy(copy);
    EXPECT_TRUE(buffer.SyncHostCache({0, 0, 20, 10}, false, nullptr));
    EXPECT_EQ(copy->fetches, 0);
    buffer.InvalidateHostCache({5, 5, 100, 100});
    EXPECT_TRUE(buffer.SyncHostCache({0, 0, 5, 10}, false, nullptr));
    EXPECT_EQ(copy->fetches, 0);
    bool abort = true;
    EXPECT_FALSE(buffer.SyncHostCache({6, 6, 7, 7}, false, &abort));
    EXPECT_EQ(at(6, 6), 0);
    EXPECT_TRUE(buffer.SyncHostCache({6, 6, 7, 7}, false, nullptr));
    EXPECT_EQ(at(6, 6), 77);
    EXPECT_EQ(at(19, 9), 77);
    EXPECT_EQ(at(4, 4), 0);
    EXPECT_TRUE(buffer.SyncHostCache({0, 0, 20, 10}, false, nullptr));
    EXPECT_EQ(copy->fetches, 2);
    buffer.InvalidateHardwareCache({-5, 2, 3, 30});
    EXPECT_EQ(copy->told, (Rect{0, 2, 3, 10}));
    copy->fails = true;
    buffer.InvalidateHostCache({0, 0, 1, 1});
    EXPECT_FALSE(buffer.SyncHostCache({0, 0, 1, 1}, false, nullptr));
}
