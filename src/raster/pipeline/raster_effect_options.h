// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/geometry_values.h"

namespace Commands {

// Settings of one run of an effect over a bitmap. Filled by the effect; pointers are not owned and last for the run.
struct RasterEffectOptions {
    // The rectangle to change, in pixels; null: the whole bitmap.
    Kernel::RectT<int> const* region = nullptr;
    // Polled by all stages; null: the run cannot be aborted.
    bool* abort = nullptr;
    // Called after each finished tile, by any thread, with the fraction that is done; not without data.
    void (*progress)(float fraction, void* data) = nullptr;
    void* progressData = nullptr;
    // Written by the run: an engine has worked on the bitmap, or a mipmap level has taken the source's place. A run
    // that leaves some channel out does not say so. Required: callers tell the two apart by it.
    bool touched = false;
    // A source whose pixels are not loaded yet is left alone; otherwise the run waits for them.
    bool skipIfDelayLoading = false;
    // A link of the caller's own, handed through.
    void const* result = nullptr;
};

// The same with what the pipeline adds to its own copy.
struct PipelineOptions : RasterEffectOptions {
    PipelineOptions(RasterEffectOptions& caller, int channels)
        : RasterEffectOptions(caller), channelMask(channels), callerOptions(&caller) {}
    // The channels that may change, as bits in the order of the format's channels.
    int channelMask;
    // The caller's record, for the copy back.
    RasterEffectOptions* callerOptions;
};

} // namespace Commands
