// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "raster/pipeline/mask.h"

#include <typeinfo>

namespace Commands {

// One run of the pipeline, as a device is offered it.
struct HardwareRun {
    Raster::BitmapBase& destination;
    Raster::BitmapBase const& source;
    // Inside the destination, not empty.
    Kernel::RectT<int> rect;
    // Bits of the channels to store; all of them: the plain filter.
    int channels;
    // Null: no mask.
    MaskRecord const* mask;
    // Names the effect, and the object says what it is told.
    std::type_info const& effectType;
    void const* effect;
    bool* abort;
};

// A way around the software engine. Every run is offered to it first, but for those of threads that may use no device.
class REDRAFT_API HardwareRoute {
public:
    virtual ~HardwareRoute();
    // True when the destination holds the result. False leaves the destination as it was.
    virtual bool TryRun(HardwareRun const& run) = 0;

    // The route of the process; null, as at first, when there is none. Not owned, and not changed during a run.
    static void Set(HardwareRoute* route);
    static HardwareRoute* Get();

    // Runs of this process that no device took, though nobody aborted them: the software engine did them. Required: a
    // run counts also where there is no device, and where the effect has nothing to offer to one.
    static std::uint64_t GetRefusedRuns();
    static void CountRefusedRun();
};

} // namespace Commands
