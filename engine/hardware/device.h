// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/hardware_devices.h"
#include "platform/raster/hardware_kernel.h"

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace Raster {

class Device;
class DeviceKernels;

// Memory of a device, given back to it at the end.
class DeviceBlock {
public:
    DeviceBlock(std::shared_ptr<Device> device, void* block, std::size_t bytes);
    DeviceBlock(DeviceBlock const&) = delete;
    DeviceBlock& operator=(DeviceBlock const&) = delete;
    ~DeviceBlock();
    // As kernels are given it.
    void* Get() const { return m_block; }
    // At least as many as were asked for.
    std::size_t GetBytes() const { return m_bytes; }
    Device& GetDevice() const { return *m_device; }

private:
    std::shared_ptr<Device> m_device;
    void* m_block;
    std::size_t m_bytes;
};

// A driver with what the process keeps for it: memory, kernels, counters. The handles of the platform's operations
// point to it. Safe from any thread. Held by shared_ptr; its blocks keep it.
//
// Once a call has answered Lost, or MarkLost was called, the driver is asked for nothing more: each operation answers
// false or null at once.
class Device : public std::enable_shared_from_this<Device> {
public:
    using Compose = std::function<std::string(int language, HardwareKernelDescriptor const&)>;
    // `compose` makes the source texts of kernels; tests have texts of their own.
    Device(std::unique_ptr<HardwareDriver> driver, HardwareSettings settings, Compose compose = &ComposeKernel);
    ~Device();
    static Device& FromHandle(void* handle) { return *static_cast<Device*>(handle); }
    void* GetHandle() { return this; }

    HardwareInfo const& GetInfo() const { return m_driver->GetInfo(); }
    int GetKernelLanguage() const { return m_driver->GetKernelLanguage(); }
    HardwareSettings const& GetSettings() const { return m_settings; }

    // Null when there is no room, also after the holders of pixels have given up what they could, or when the device
    // is lost. The content is anything.
    std::shared_ptr<DeviceBlock> Allocate(std::size_t bytes);
    // Asked for memory when it is short: gives up blocks worth that many bytes or all that it can. Called without a
    // lock of the device, by any thread that works on the device, by several at once, too; not again while it runs on
    // the same thread, where Allocate then does without. At most one; empty: none.
    using Evict = std::function<void(std::size_t bytes)>;
    void SetEvict(Evict evict);
    // The bytes that blocks of this device may take, and those that they take; blocks that wait to be used again left
    // out.
    std::size_t GetMemoryLimit() const { return m_memoryLimit; }
    std::size_t GetUsedBytes() const;

    // As the driver's. False for every status but Done, and for rows that overlap or leave their block. A host pitch
    // of 0 writes one row to all.
    bool Write(DeviceBlock& block, HardwareRows const& there, void const* host, std::size_t hostPitch,
               std::size_t rowBytes, std::size_t rows);
    bool Read(DeviceBlock& block, HardwareRows const& there, void* host, std::size_t hostPitch, std::size_t rowBytes,
              std::size_t rows);
    bool Copy(DeviceBlock& from, HardwareRows const& there, DeviceBlock& to, HardwareRows const& here,
              std::size_t rowBytes, std::size_t rows);
    bool IsLost() const { return m_isLost.load(std::memory_order_acquire); }
    void MarkLost() { m_isLost.store(true, std::memory_order_release); }

    // Null when the device has no memory left at all, or is lost.
    void* GetIdentityBuffer();
    DeviceKernels& GetKernels() { return *m_kernels; }
    // See GetRetainHardwareBufferSemaphoreGuard.
    Kernel::Semaphore& GetRetainSemaphore() { return m_retainSemaphore; }
    std::atomic<std::thread::id>& GetRetainHolder() { return m_retainHolder; }

    void CountFailed() { m_failed.fetch_add(1, std::memory_order_relaxed); }
    void CountExecuted() { m_executed.fetch_add(1, std::memory_order_relaxed); }
    std::uint64_t GetFailed() const { return m_failed.load(std::memory_order_relaxed); }
    std::uint64_t GetExecuted() const { return m_executed.load(std::memory_order_relaxed); }

    // Calls the driver while nobody else does: a function of HardwareDriver& that answers a status.
    template <class Call>
    HardwareStatus CallDriver(Call const& call) {
        std::scoped_lock const lock(m_mutex);
        return CallLocked(call);
    }
    // The same, once more with more memory free when there was too little. `bytes`: how much would surely do.
    template <class Call>
    HardwareStatus CallDriverWithMemory(std::size_t bytes, Call const& call) {
        auto status = CallDriver(call);
        if (status != HardwareStatus::OutOfMemory)
            return status;
        FreeKeptBlocks();
        AskForMemory(bytes);
        return CallDriver(call);
    }

private:
    friend class DeviceBlock;
    struct KeptBlock {
        void* block;
        std::size_t bytes;
    };

    template <class Call>
    HardwareStatus CallLocked(Call const& call) {
        if (IsLost())
            return HardwareStatus::Lost;
        auto const status = call(*m_driver);
        if (status == HardwareStatus::Lost)
            MarkLost();
        return status;
    }
    HardwareStatus TryAllocate(std::size_t bytes, void*& block, std::size_t& missing);
    // False when there is nobody to ask, or this thread asks already.
    bool AskForMemory(std::size_t bytes);
    void FreeKeptBlocks();
    void FreeOldestKept();
    void GiveBack(void* block, std::size_t bytes) noexcept;

    std::unique_ptr<HardwareDriver> m_driver;
    HardwareSettings const m_settings;
    std::size_t const m_memoryLimit;
    std::atomic<bool> m_isLost{false};
    std::atomic<std::uint64_t> m_failed{0}, m_executed{0};
    Kernel::Semaphore m_retainSemaphore;
    std::atomic<std::thread::id> m_retainHolder{};
    std::unique_ptr<DeviceKernels> m_kernels;

    // Of all calls to the driver but Compile, and of all below.
    mutable std::mutex m_mutex;
    std::size_t m_usedBytes = 0;
    // Oldest first.
    std::deque<KeptBlock> m_kept;
    std::size_t m_keptBytes = 0;
    void* m_identity = nullptr;
    Evict m_evict;
};

} // namespace Raster
