// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/hardware.h"

#include <gtest/gtest.h>

namespace {

using namespace Raster;
using Devices = Hardware<DefaultImplementation>;
} // namespace

TEST(Hardware, WithoutADeviceAllWorkIsDoneInSoftware) {
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
