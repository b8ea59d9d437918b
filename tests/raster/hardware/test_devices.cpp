// SPDX-License-Identifier: Apache-2.0
#include "tests/raster/hardware/test_devices.h"

#include "tests/support/hardware/shim_driver.h"

#include <gtest/gtest.h>

namespace {

std::vector<std::unique_ptr<Raster::HardwareDriver>> FindDrivers(int language) {
    if (language == Raster::c_kernelLanguageOpenCL)
        return Raster::FindOpenCLDrivers(true);
    std::vector<std::unique_ptr<Raster::HardwareDriver>> drivers;
    drivers.push_back(std::make_unique<Tests::ShimDriver>());
    return drivers;
}

} // namespace

Kernel::Counted<Raster::HardwareDevices const> GetTestDevices(int language) {
    static auto const s_make = [](int which) {
        return Kernel::MakeCounted<Raster::HardwareDevices>([which] { return FindDrivers(which); },
                                                            Raster::HardwareSettings{.waitsForKernels = true});
    };
    static Kernel::Counted<Raster::HardwareDevices const> const s_devices[] = {s_make(0), s_make(1)};
    auto const& devices = s_devices[language];
    EXPECT_FALSE(devices->GetDevices().empty()) << "no device takes kernels of language " << language;
    return devices;
}
