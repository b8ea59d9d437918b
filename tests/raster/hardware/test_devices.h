// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/hardware_devices.h"

// The device of a kernel language, opened once: OpenCL's own, or this machine's processors where the language needs a
// graphics device. Fails the test where there is none.
Kernel::Counted<Raster::HardwareDevices const> GetTestDevices(int language);
