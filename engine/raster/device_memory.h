// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/hardware/device.h"
#include "platform/kernel/exception.h"
#include "platform/raster/format.h"

#include <atomic>
#include <cstdint>
#include <mutex>

namespace Raster {

// How the planes of a picture lie in a block of a device's memory: one after another in the order of the format's
// channels, rows padded to whole groups of 64 samples.
struct DeviceLayout {
    int width = 0;
    int height = 0;
    int sampleBytes = 0;
    int channelCount = 0;

    int GetRowSamples() const { return (width + 63) / 64 * 64; }
    std::size_t GetRowBytes() const { return static_cast<std::size_t>(GetRowSamples() * sampleBytes); }
    std::size_t GetPlaneBytes() const { return GetRowBytes() * static_cast<std::size_t>(height); }
    std::size_t GetBytes() const { return GetPlaneBytes() * static_cast<std::size_t>(channelCount); }
    // From sample (x, y) of a plane on.
    HardwareRows GetRows(int channel, int x, int y) const {
        return {static_cast<std::size_t>(channel) * GetPlaneBytes() + static_cast<std::size_t>(y) * GetRowBytes() +
                    static_cast<std::size_t>(x) * static_cast<std::size_t>(sampleBytes),
                GetRowBytes()};
    }
    // The block of kernel parameters: width, height, samples of a row. Their number.
    int Describe(float* parameters) const;
    friend bool operator==(DeviceLayout const&, DeviceLayout const&) = default;
};

// One picture's block of a device's memory, which the device may ask back when memory is short. Held by shared_ptr.
//
// Locks of this and of what stands on it, in the order in which a thread takes them: the content lock of newer device
// pixels (DevicePixels), the content locks of older ones, the mutex of one object of this class, the device's own.
// Locks of regions come before the mutex, since tiles are dropped under them, and never after it. The one who asks for
// memory back only tries content locks, because it may run inside of any call to the device.
class DeviceMemory : public std::enable_shared_from_this<DeviceMemory> {
public:
    DeviceMemory(DeviceMemory const&) = delete;
    DeviceMemory& operator=(DeviceMemory const&) = delete;
    virtual ~DeviceMemory();

    DeviceLayout const& GetLayout() const { return m_layout; }
    // Null once the memory was given back or the device was lost.
    std::shared_ptr<DeviceBlock> GetBlock() const;
    bool IsOn(Device const& device) const;
    // Null when there is none, and once there is none any more.
    Device* GetDevice() const;
    // Fills the slot of a run's holder, which must be empty, for as long as the holder lives; the buffer, or null when
    // it is not there any more.
    void* Retain(Prolongation& holder, int slot, bool readOnly);
    // Whose memory a slot holds; null for an empty one.
    static DeviceMemory* FindRetained(Prolongation const& holder, int slot);
    // The result of kernels has others' results below it.
    virtual void ExtendChain(int) {}

protected:
    explicit DeviceMemory(DeviceLayout const& layout) : m_layout(layout) {}
    // False when the device has no room.
    bool Allocate(Device& device);
    // Under the mutex: whether runs use the memory.
    bool IsInUse() const { return m_uses.Get() != 0; }
    // Gives the memory back to the device, when that loses nothing and nobody uses it. The bytes that came free.
    virtual std::size_t GiveUp() = 0;

    mutable std::mutex m_mutex;
    // Under the mutex.
    std::shared_ptr<DeviceBlock> m_block;

private:
    struct Retained;
    static void GiveUpOldest(Device const& device, std::size_t bytes);
    struct Registry;
    static Registry& GetRegistry();

    DeviceLayout m_layout;
    // Changed from 0 under the mutex only.
    Kernel::Interlocked m_uses;
    Kernel::Semaphore m_writer;
    // Counts up over all objects: the least is the one that was used least recently.
    std::atomic<std::uint64_t> m_lastUse{0};
};

// The result of work that is done in software when it fails: a device is an offer. Samples that cannot be read are
// told of by the software engine, should it need them.
template <class F>
auto TryOnDevice(F const& work) -> decltype(work()) {
    try {
        return work();
    } catch (Kernel::Exception const&) {
    } catch (std::bad_alloc const&) {
    }
    return {};
}

} // namespace Raster
