// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/kernel/geometry_values.h"
#include "platform/kernel/string.h"

#include <atomic>
#include <cstddef>
#include <vector>

// Devices that work on pixels in place of the processors, and which of them a thread may use. This library brings none
// and looks into none: a program that has one names it to Hardware and takes runs over pixels by a route of its own.
// Without a device all work is done in software, in the same sessions.
namespace Raster {

class BufferBase;

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

// The devices that one piece of work is shared among: those that the process had when it was made.
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

// The devices of the process. Safe from any thread.
template <>
class REDRAFT_ENGINE Hardware<DefaultImplementation> {
public:
    // In place of those that were named before; none at first. Handles are the program's, are not null, and outlive
    // the work that is done on them.
    static void SetDevices(std::vector<void*> devices);
    static std::vector<void*> GetDevices();
    // Where the calling thread's next work may go: the next device of its session's state, or the first of the process.
    // Null when it must be done in software.
    static void* GetDevice();
    // A device has failed during work of the calling thread, and gets no more.
    static void MarkBroken(void* device);
    // Whether one has since the thread's newest HardwareMultiGPUSession began: what was made in it may be wrong. False
    // outside of such sessions.
    static bool GetHardwareBroken();
};

// The copy of a buffer that a device holds.
class REDRAFT_ENGINE HardwareCopy {
public:
    virtual ~HardwareCopy();
    // Writes the device's pixels of a rectangle into the buffer. False when it cannot, or was aborted.
    virtual bool CopyToHost(BufferBase& buffer, Kernel::RectT<int> const& rect, bool const* abort) = 0;
    // The pixels of a rectangle have changed outside the device.
    virtual void Invalidate(Kernel::RectT<int> const& rect) = 0;
};

} // namespace Raster
