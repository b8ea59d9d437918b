// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/exception.h"
#include "platform/raster/hardware.h"

// Makes the pixels of a tile by `render`, which returns false when a device did not give them back. On the serial route
// the work may be shared among the devices that the program has named; where one of them fails it is done once more,
// without any. On the parallel route none is asked.
template <class Render>
void RunWithDevices(bool isSerial, Render const& render) {
    if (isSerial) {
        Raster::HardwareMultiGPUState state("tile of a picture");
        Raster::HardwareMultiGPUSession const session(state);
        bool const isDone = render();
        if (isDone && !Raster::Hardware<Raster::DefaultImplementation>::GetHardwareBroken())
            return;
    }
    Raster::HardwareGPUEnabledSession const software(false);
    if (!render())
        throw Kernel::Exception("a device did not give back the pixels that it holds");
}
