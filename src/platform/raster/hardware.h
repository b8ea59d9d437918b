// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/kernel/export.h"
#include "platform/kernel/string.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

// Devices that work on pixels in place of the processors, and which of them a thread may use: those of its newest
// HardwareDevicesSession. Without one all work is done in software, in the same sessions.
namespace Raster {

class BitmapBase;

// While it lives, work of the calling thread may go to a device, or may not. Sessions nest; each ends on the thread
// where it began, the newest first.
class REDRAFT_ENGINE HardwareGPUEnabledSession {
public:
    explicit HardwareGPUEnabledSession(bool isEnabled);
    HardwareGPUEnabledSession(HardwareGPUEnabledSession const&) = delete;
    HardwareGPUEnabledSession& operator=(HardwareGPUEnabledSession const&) = delete;
    ~HardwareGPUEnabledSession();
    // The answer of the calling thread's newest session; true on a thread without one.
    static bool IsEnabled();

private:
    bool m_before;
};

// The devices that one piece of work is shared among: those that the thread could use where it was made.
class REDRAFT_ENGINE HardwareMultiGPUState {
public:
    // The name is for those who look at a run.
    explicit HardwareMultiGPUState(Kernel::String name);
    HardwareMultiGPUState(HardwareMultiGPUState const&) = delete;
    HardwareMultiGPUState& operator=(HardwareMultiGPUState const&) = delete;
    Kernel::String const& GetName() const { return m_name; }
    std::size_t GetDeviceCount() const { return m_devices.size(); }
    // By turns, from any thread. Broken ones are left out; null when none is left.
    void* TakeNextDevice();

private:
    Kernel::String m_name;
    std::vector<void*> m_devices;
    std::atomic<std::size_t> m_next{0};
};

// While it lives, the calling thread's work is shared among a state's devices. Nests as the other session does.
class REDRAFT_ENGINE HardwareMultiGPUSession {
public:
    explicit HardwareMultiGPUSession(HardwareMultiGPUState& state);
    HardwareMultiGPUSession(HardwareMultiGPUSession const&) = delete;
    HardwareMultiGPUSession& operator=(HardwareMultiGPUSession const&) = delete;
    ~HardwareMultiGPUSession();
    // The state of the calling thread's newest session, or null.
    static HardwareMultiGPUState* GetState();

private:
    HardwareMultiGPUState* m_before;
    bool m_wasBroken;
};

struct DefaultImplementation;
template <class Implementation>
class Hardware;

// Devices, as the work of the calling thread sees them. Handles are those of HardwareDevices. Safe from any thread.
template <>
class REDRAFT_ENGINE Hardware<DefaultImplementation> {
public:
    // Those that the calling thread's work may go to.
    static std::vector<void*> GetDevices();
    // Where the calling thread's next work may go: the next device of its session's state, or the first that works.
    // Null when it must be done in software.
    static void* GetDevice();
    // The queue of a device that pixels are written and kernels are run in.
    static void* GetHardwareWriteQueue(void* device);
    // A small block that stands for an input which a kernel does not have.
    static void* GetIdentityBuffer(void* device);

    // A device has failed during work of the calling thread, and gets no more.
    static void MarkBroken(void* device);
    // Whether one has since the thread's newest HardwareMultiGPUSession began: what was made in it may be wrong. False
    // outside of such sessions.
    static bool GetHardwareBroken();

    // Counts a run that no device did, though nobody aborted it: the software engine does it. Null: there was none to
    // ask. Required: a run counts also where it is too small, and where the effect has nothing to offer to a device.
    static void IncrementFailedKernels(void* device);
    static void IncrementExecutedKernels(void* device);
    // Of this process, on all devices and on none.
    static std::uint64_t GetFailedKernels();
    static std::uint64_t GetExecutedKernels();
};

// The value of c_kernelLanguage... that the device takes; -1 for null.
REDRAFT_ENGINE int GetKernelLanguage(void* device);

// Makes the pixels that a kernel has made once more, without a device: for the day that the device loses them. Called
// by any thread, and again only when it threw.
class REDRAFT_ENGINE HardwareRecipe {
public:
    virtual ~HardwareRecipe();
    // A bitmap of the same format and size that holds the same pixels, or those of the software engine.
    virtual Kernel::Counted<BitmapBase const> Make() const = 0;
};

} // namespace Raster
