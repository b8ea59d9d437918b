// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/buffer_device.h"
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/exception.h"

namespace Raster {

namespace {

DeviceLayout GetLayout(BufferBase const& buffer) {
    return {buffer.GetWidth(), buffer.GetHeight(), buffer.GetInfo().sampleBytes, buffer.GetInfo().channelCount};
}

// Calls call(channel, rect) until one answers false.
template <class F>
bool ForEachPart(RectSet const& set, int channelCount, F const& call) {
    for (int channel = 0; channel != channelCount; ++channel) {
        for (auto const& rect : set.GetRects()) {
            if (!call(channel, rect))
                return false;
        }
    }
    return true;
}

std::size_t GetRowBytes(Kernel::RectT<int> const& rect, int sampleBytes) {
    return static_cast<std::size_t>(rect.GetWidth()) * static_cast<std::size_t>(sampleBytes);
}

} // namespace

std::unique_ptr<DeviceBuffer::Hold> DeviceBuffer::Make(Device& device, DeviceLayout const& layout) {
    auto hold = std::make_unique<Hold>(std::make_shared<DeviceBuffer>(layout));
    return hold->GetBuffer()->Allocate(device) ? std::move(hold) : nullptr;
}

std::size_t DeviceBuffer::GiveUp() {
    std::shared_ptr<DeviceBlock> given;
    std::lock_guard const lock(m_mutex);
    if (m_block == nullptr || m_holds != 0 || IsInUse())
        return 0;
    given.swap(m_block);
    return given->GetBytes();
}

DeviceBuffer::Hold::Hold(std::shared_ptr<DeviceBuffer> buffer) : m_buffer(std::move(buffer)) {
    std::lock_guard const lock(m_buffer->m_mutex);
    ++m_buffer->m_holds;
}

DeviceBuffer::Hold::~Hold() {
    std::lock_guard const lock(m_buffer->m_mutex);
    --m_buffer->m_holds;
}

BufferBase::HardwareState::HardwareState(HardwareState const& other) {
    std::lock_guard const lock(other.mutex);
    pixels = other.pixels;
    onDevice = other.onDevice;
    onlyOnDevice = other.onlyOnDevice;
    NoteHolds();
}

void BufferBase::HardwareState::NoteHolds() {
    if (onlyOnDevice.IsEmpty())
        hold.reset();
    else
        hold = std::make_unique<DeviceBuffer::Hold>(pixels);
}

void BufferBase::HardwareState::ForgetLostCopies() {
    if (pixels == nullptr || pixels->GetBlock() != nullptr || !onlyOnDevice.IsEmpty())
        return;
    pixels.reset();
    onDevice.Clear();
}

std::unique_ptr<DeviceBuffer::Hold> BufferBase::HardwareState::CopyPixels() const {
    auto const from = pixels->GetBlock();
    if (from == nullptr)
        return nullptr;
    auto const& layout = pixels->GetLayout();
    auto copy = DeviceBuffer::Make(from->GetDevice(), layout);
    auto const to = copy == nullptr ? nullptr : copy->GetBuffer()->GetBlock();
    if (to == nullptr)
        return nullptr;
    bool const isDone = ForEachPart(onDevice, layout.channelCount, [&](int channel, Kernel::RectT<int> const& rect) {
        auto const rows = layout.GetRows(channel, rect.left, rect.top);
        return from->GetDevice().Copy(*from, rows, *to, rows, Raster::GetRowBytes(rect, layout.sampleBytes),
                                      static_cast<std::size_t>(rect.GetHeight()));
    });
    return isDone ? std::move(copy) : nullptr;
}

bool BufferBase::HardwareState::Bring(BufferBase const& buffer, Device& device, Kernel::RectT<int> const& rect,
                                      bool const* abort) {
    ForgetLostCopies();
    if (pixels != nullptr && !pixels->IsOn(device)) {
        // Pixels that only another device has are fetched by who may write to the buffer.
        if (!onlyOnDevice.IsEmpty())
            return false;
        pixels.reset();
        onDevice.Clear();
    }
    auto const layout = GetLayout(buffer);
    auto const missing = onDevice.Missing(rect);
    if (pixels != nullptr && missing.IsEmpty())
        return true;
    auto const target = pixels == nullptr ? DeviceBuffer::Make(device, layout)
                        : IsShared()      ? CopyPixels()
                                          : std::make_unique<DeviceBuffer::Hold>(pixels);
    auto const block = target == nullptr ? nullptr : target->GetBuffer()->GetBlock();
    if (block == nullptr)
        return false;
    bool const isDone = ForEachPart(missing, layout.channelCount, [&](int channel, Kernel::RectT<int> const& part) {
        auto const* const from =
            static_cast<std::byte const*>(buffer.GetRow(channel, part.top)) + part.left * layout.sampleBytes;
        return !Kernel::IsAbortSet(abort) &&
               device.Write(*block, layout.GetRows(channel, part.left, part.top), from, buffer.GetRowBytes(),
                            Raster::GetRowBytes(part, layout.sampleBytes), static_cast<std::size_t>(part.GetHeight()));
    });
    if (!isDone)
        return false;
    pixels = target->GetBuffer();
    onDevice.Add(rect);
    NoteHolds();
    return true;
}

bool BufferBase::HardwareState::PrepareWriting(Kernel::RectT<int> const& rect) {
    written.reset();
    // A kernel that fails has spoilt the rectangle: it may not be where clones look, nor where only the device has it.
    if (IsShared() || !onlyOnDevice.Intersected(rect).IsEmpty()) {
        written = CopyPixels();
    } else {
        written = std::make_unique<DeviceBuffer::Hold>(pixels);
        onDevice.Subtract(rect);
    }
    onWritten = onDevice;
    return written != nullptr;
}

void* BufferBase::GetHardwareDevice() const {
    std::lock_guard const lock(m_hardware->mutex);
    auto const block = m_hardware->pixels == nullptr ? nullptr : m_hardware->pixels->GetBlock();
    return block == nullptr || m_hardware->onDevice.IsEmpty() ? nullptr : block->GetDevice().GetHandle();
}

bool BufferBase::SyncHardwareCache(void* device, Kernel::RectT<int> const& rect, bool, bool const* abort) const {
    if (device == nullptr || Device::FromHandle(device).IsLost() || Kernel::IsAbortSet(abort))
        return false;
    return TryOnDevice([&] {
        std::lock_guard const lock(m_hardware->mutex);
        return m_hardware->Bring(*this, Device::FromHandle(device), rect.Intersected(GetBounds()), abort);
    });
}

bool BufferBase::SyncHostCache(Kernel::RectT<int> const& rect, bool, bool const* abort) {
    auto& state = *m_hardware;
    std::lock_guard const lock(state.mutex);
    if (Kernel::IsAbortSet(abort))
        return false;
    auto const wanted = state.onlyOnDevice.Intersected(rect);
    if (wanted.IsEmpty())
        return true;
    auto const block = state.pixels->GetBlock();
    if (block == nullptr)
        return false;
    // Clones keep the block that they share.
    GetBuffer();
    auto const layout = GetLayout(*this);
    bool const isDone = ForEachPart(wanted, layout.channelCount, [&](int channel, Kernel::RectT<int> const& part) {
        auto* const to = static_cast<std::byte*>(GetRow(channel, part.top)) + part.left * layout.sampleBytes;
        return !Kernel::IsAbortSet(abort) &&
               block->GetDevice().Read(*block, layout.GetRows(channel, part.left, part.top), to, GetRowBytes(),
                                       Raster::GetRowBytes(part, layout.sampleBytes),
                                       static_cast<std::size_t>(part.GetHeight()));
    });
    if (!isDone)
        return false;
    state.onlyOnDevice.Subtract(rect);
    state.NoteHolds();
    return true;
}

void* BufferBase::RetainHardwareBuffer(void* device, void*, bool readOnly, bool, Kernel::RectT<int> const& rect,
                                       Prolongation& holder, int slot) const {
    if (device == nullptr || Device::FromHandle(device).IsLost())
        return nullptr;
    auto const clipped = rect.Intersected(GetBounds());
    auto& state = *m_hardware;
    return TryOnDevice([&]() -> void* {
        std::lock_guard const lock(state.mutex);
        if (!state.Bring(*this, Device::FromHandle(device), clipped, nullptr))
            return nullptr;
        if (readOnly)
            return state.pixels->Retain(holder, slot, true);
        return state.PrepareWriting(clipped) ? state.written->GetBuffer()->Retain(holder, slot, false) : nullptr;
    });
}

void BufferBase::InvalidateHostCache(Kernel::RectT<int> const& rect) {
    auto const clipped = rect.Intersected(GetBounds());
    auto& state = *m_hardware;
    std::lock_guard const lock(state.mutex);
    if (state.written == nullptr)
        throw Kernel::Exception("a buffer was not retained for the kernel that has written to it");
    state.pixels = state.written->GetBuffer();
    state.onDevice = std::move(state.onWritten);
    state.onDevice.Add(clipped);
    state.onlyOnDevice.Add(clipped);
    state.NoteHolds();
    state.written.reset();
}

void BufferBase::InvalidateHardwareCache(Kernel::RectT<int> const& rect) {
    auto const clipped = rect.Intersected(GetBounds());
    auto& state = *m_hardware;
    std::lock_guard const lock(state.mutex);
    state.written.reset();
    state.onDevice.Subtract(clipped);
    state.onlyOnDevice.Subtract(clipped);
    state.NoteHolds();
}

int BufferBase::GetHardwareParams(void const*, float* parameters) const {
    return GetLayout(*this).Describe(parameters);
}

} // namespace Raster
