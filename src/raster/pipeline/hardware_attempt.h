// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/hardware.h"
#include "raster/pipeline/hardware_stages.h"
#include "raster/pipeline/mask.h"

#include <functional>
#include <memory>

namespace Commands {

// One run of the pipeline, as a device is offered it.
struct HardwareRun {
    Raster::BitmapBase& destination;
    // The bitmap that is read, of any format; or, with level > 0, that mipmap level of it.
    Raster::BitmapBase const& source;
    int level;
    // Inside the destination, not empty.
    Kernel::RectT<int> rect;
    // Bits of the channels to store.
    int channels;
    bool storesAll;
    // Null: no mask.
    MaskRecord const* mask;
    HardwareStages const& stages;
    bool* abort;
    // Makes what the pixels are made of once more in software, for the day that the device loses them. Called on
    // success only, with the destination as it was before.
    std::function<std::shared_ptr<Raster::HardwareRecipe const>(Kernel::Counted<Raster::BitmapBase const> before)>
        makeRecipe;
};

// Offers a run to the devices of the calling thread, or to the one that holds the destination. True: the destination
// holds the result. False leaves it as it was; without an abort this counts as a failed kernel.
REDRAFT_API bool TryHardware(HardwareRun const& run);

} // namespace Commands
