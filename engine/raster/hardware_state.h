// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/raster/device_pixels.h"
#include "platform/raster/bitmap.h"

namespace Raster {

// A bitmap's part in a kernel's run that is being prepared.
struct BitmapBase::HardwareState {
    std::mutex mutex;
    // Under the mutex, all of it.
    //
    // Of ExpectOverwriting.
    Kernel::RectT<int> expected{};
    // The pixels that the last SyncHardwareCache brought, until it is retained: pixels of one value have nothing else
    // that keeps them on the device.
    std::shared_ptr<DevicePixels> synced;
    // The pixels that a kernel writes to, from RetainHardwareBuffer to InvalidateHostCache.
    std::shared_ptr<DevicePixels> written;
};

} // namespace Raster
