// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/raster/device_memory.h"
#include "engine/raster/rect_set.h"
#include "platform/raster/buffer.h"

namespace Raster {

// The pixels of a buffer in a block of a device's memory. Clones share it until one of them has something else to keep
// in it.
class DeviceBuffer final : public DeviceMemory {
public:
    // While one of these lives, the device cannot ask the memory back: only it has some pixels, or will have.
    class Hold {
    public:
        explicit Hold(std::shared_ptr<DeviceBuffer> buffer);
        Hold(Hold const&) = delete;
        Hold& operator=(Hold const&) = delete;
        ~Hold();
        std::shared_ptr<DeviceBuffer> const& GetBuffer() const { return m_buffer; }

    private:
        std::shared_ptr<DeviceBuffer> m_buffer;
    };
    // Null when the device has no room.
    static std::unique_ptr<Hold> Make(Device& device, DeviceLayout const& layout);
    explicit DeviceBuffer(DeviceLayout const& layout) : DeviceMemory(layout) {}

private:
    std::size_t GiveUp() override;

    // Under the mutex.
    int m_holds = 0;
};

// A buffer's pixels on a device. All operations are called under the mutex.
struct BufferBase::HardwareState {
    HardwareState() = default;
    // As it stands: the copy's mutex is its own, and no kernel is about to write to it.
    HardwareState(HardwareState const& other);
    HardwareState& operator=(HardwareState const&) = delete;

    // Those that the host has, too.
    void ForgetLostCopies();
    // Whether clones, runs or a kernel that is about to write have the same memory.
    bool IsShared() const { return pixels.use_count() > 1 + (hold != nullptr ? 1 : 0); }
    // Brings what of a rectangle is not on the device there.
    bool Bring(BufferBase const& buffer, Device& device, Kernel::RectT<int> const& rect, bool const* abort);
    // Something that clones and runs do not see, with the same pixels.
    std::unique_ptr<DeviceBuffer::Hold> CopyPixels() const;
    // Where the next kernel writes the rectangle.
    bool PrepareWriting(Kernel::RectT<int> const& rect);
    void NoteHolds();

    mutable std::mutex mutex;
    std::shared_ptr<DeviceBuffer> pixels;
    // Where `pixels` has the buffer as it is, and where only it has.
    RectSet onDevice, onlyOnDevice;
    std::unique_ptr<DeviceBuffer::Hold> hold;
    // The pixels that the next kernel writes to, `pixels` or what takes its place, and where it has the buffer as it
    // is.
    std::unique_ptr<DeviceBuffer::Hold> written;
    RectSet onWritten;
};

} // namespace Raster
