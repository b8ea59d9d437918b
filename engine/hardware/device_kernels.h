// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/hardware/kernel_folder.h"
#include "platform/raster/hardware_kernel.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <unordered_map>

namespace Raster {

class Device;

// The kernels of one device: compiled one after another on a thread of their own, or loaded from the folder. Safe from
// any thread.
class DeviceKernels {
public:
    using Compose = std::function<std::string(int language, HardwareKernelDescriptor const&)>;
    DeviceKernels(Device& device, HardwareDriver& driver, Compose compose);
    // Waits for the kernel that is being compiled; those behind it are dropped.
    ~DeviceKernels();

    // See IsKernelBroken and IsKernelPendingCompilation.
    bool IsBroken(HardwareKernelDescriptor const& descriptor) const;
    bool IsPending(HardwareKernelDescriptor const& descriptor, bool wait, bool const* abort);
    // As the driver loaded it, for as long as this lives; null unless it is ready.
    void* Find(HardwareKernelDescriptor const& descriptor) const;
    // Until nothing is being compiled or written to the folder.
    void Wait() const;

private:
    enum class State { Unasked, Pending, Ready, Broken };
    struct Entry {
        State state = State::Unasked;
        void* kernel = nullptr;
        // How often there was too little memory for it.
        int shortages = 0;
    };
    struct Hash {
        std::size_t operator()(HardwareKernelDescriptor const& descriptor) const noexcept;
    };

    void Run();
    void Make(HardwareKernelDescriptor const& descriptor);
    HardwareStatus Load(std::span<std::byte const> binary, void*& kernel);
    void Finish(HardwareKernelDescriptor const& descriptor, HardwareStatus status, void* kernel);

    Device& m_device;
    HardwareDriver& m_driver;
    Compose m_compose;
    KernelFolder m_folder;

    // Of all below.
    mutable std::mutex m_mutex;
    // A kernel has another state, or the thread has nothing more to do.
    mutable std::condition_variable m_changed;
    std::condition_variable m_wake;
    // Entries never leave.
    std::unordered_map<HardwareKernelDescriptor, Entry, Hash> m_entries;
    std::deque<HardwareKernelDescriptor> m_queue;
    bool m_isBusy = false;
    bool m_isEnding = false;
    std::thread m_thread;
};

} // namespace Raster
