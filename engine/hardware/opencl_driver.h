// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/hardware/opencl_functions.h"
#include "platform/raster/hardware_driver.h"

namespace Raster {

// As the function of that name without the first argument, by these calls, which outlive the drivers.
std::vector<std::unique_ptr<HardwareDriver>> FindOpenCLDrivers(OpenCLFunctions const& functions, bool withProcessors);

// OutOfMemory for each of the codes that tell of memory, Lost for those after which the device answers no more.
HardwareStatus GetOpenCLStatus(cl_int code);

} // namespace Raster
