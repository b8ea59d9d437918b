// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/hardware_devices.h"
#include "platform/raster/hardware_kernel.h"

#include <functional>
#include <memory>

namespace Raster {

class Device;

// Memory of a device, given back to it at the end.
class DeviceBlock {
public:
    DeviceBlock(std::shared_ptr<Device> device, void* block, std::size_t bytes);
    DeviceBlock(DeviceBlock const&) = delete;
    DeviceBlock& operator=(DeviceBlock const&) = delete;
    ~DeviceBlock();
    void* Get() const { return m_block; }
    std::size_t GetBytes() const { return m_bytes; }
    Device& GetDevice() const { return *m_device; }

private:
    std::shared_ptr<Device> m_device;
    void* m_block;
    std::size_t m_bytes;
};

// A driver with what the process keeps for it: memory, kernels, counters. The handles of the platform's operations
// point to it. Safe from any thread.
class Device : public std::enable_shared_from_this<Device> {
public:
    Device(std::unique_ptr<HardwareDriver> driver, HardwareSettings settings);
    ~Device();
    static Device& FromHandle(void* handle) { return *static_cast<Device*>(handle); }
    void* GetHandle() { return this; }

    HardwareInfo const& GetInfo() const;
    int GetKernelLanguage() const;

    // Null when there is no room, also after the holders of pixels have given up what they could, or when the device
    // is lost. The content is anything.
    std::shared_ptr<DeviceBlock> Allocate(std::size_t bytes);
    // Asked for memory when it is short: gives up blocks worth that many bytes or all that it can. Called without a
    // lock of the device. At most one; empty: none.
    using Evict = std::function<void(std::size_t bytes)>;
    void SetEvict(Evict evict);
    // What blocks of this device may take, and what they take, blocks that wait to be used again left out.
    std::size_t GetMemoryLimit() const;
    std::size_t GetUsedBytes() const;

    // As the driver's. False for every status but Done; a device that is lost stays so.
    bool Write(DeviceBlock& block, HardwareRows const& there, void const* host, std::size_t hostPitch,
               std::size_t rowBytes, std::size_t rows);
    bool Read(DeviceBlock& block, HardwareRows const& there, void* host, std::size_t hostPitch, std::size_t rowBytes,
              std::size_t rows);
    bool Copy(DeviceBlock& from, HardwareRows const& there, DeviceBlock& to, HardwareRows const& here,
              std::size_t rowBytes, std::size_t rows);
    bool IsLost() const;
    void MarkLost();

    void* GetIdentityBuffer();
    void CountFailed();
    void CountExecuted();

private:
    friend class DeviceKernels;
    struct Implementation;
    std::unique_ptr<Implementation> m_implementation;
};

} // namespace Raster
