// SPDX-License-Identifier: Apache-2.0
#include "engine/hardware/device.h"
#include "engine/hardware/device_kernels.h"
#include "platform/kernel/abort_flag.h"
#include "platform/raster/hardware.h"

#include <algorithm>
#include <utility>

namespace Raster {

namespace {

// Of fewer pixels even the costliest effect takes the software engine less, 0.1 ms for the polar ones, than it costs to
// hand a run over to a device that has the pixels already: 0.14 ms, measured with PoCL (bench/hardware_effects.cpp).
constexpr std::uint64_t c_fewestPixels = 64 * 64;
constexpr int c_mostPixelsPerItem = 256;

class DeviceRetainGuard final : public HardwareSemaphoreGuard {
public:
    explicit DeviceRetainGuard(Device& device)
        : m_device(device.shared_from_this()), m_isNested(device.GetRetainHolder() == std::this_thread::get_id()) {
        if (m_isNested)
            return;
        m_device->GetRetainSemaphore().Acquire();
        m_device->GetRetainHolder() = std::this_thread::get_id();
    }
    ~DeviceRetainGuard() override {
        if (m_isNested)
            return;
        m_device->GetRetainHolder() = std::thread::id();
        m_device->GetRetainSemaphore().Release();
    }

private:
    std::shared_ptr<Device> m_device;
    // A thread that waits for tiles of its run may be given another run to do meanwhile, which must not wait for it.
    bool m_isNested;
};

bool IsInside(Kernel::RectT<int> const& rect, int width, int height) {
    return !rect.IsEmpty() && rect.left >= 0 && rect.top >= 0 && rect.right <= width && rect.bottom <= height;
}

// The indices at the head of the parameters: whole numbers in ascending order, none behind the end.
bool IsHeadValid(float const* parameters, int count) {
    if (parameters == nullptr || count < c_kernelParameterHead || count > c_maximumKernelParameters)
        return false;
    float least = c_kernelParameterHead;
    for (int i = 0; i != c_kernelParameterHead; ++i) {
        float const index = parameters[i];
        if (!(index >= least && index <= static_cast<float>(count)) ||
            index != static_cast<float>(static_cast<int>(index)))
            return false;
        least = index;
    }
    return parameters[0] == c_kernelParameterHead;
}

// A buffer that the holder keeps and has a size, or, where it may be left out, the identity buffer without one.
bool IsBufferValid(Prolongation const& prolongation, int slot, void* buffer, int width, int height, void* identity) {
    if (buffer == nullptr)
        return false;
    if (slot == Prolongation::c_mask && buffer == identity)
        return width == 0 && height == 0;
    return width > 0 && height > 0 && prolongation.buffers[static_cast<std::size_t>(slot)] == buffer;
}

} // namespace

bool ShouldExecuteKernel(Kernel::RectT<int> const& rect) {
    auto const measure = [](int first, int last) { return static_cast<std::uint64_t>(std::int64_t{last} - first); };
    return !rect.IsEmpty() && measure(rect.left, rect.right) * measure(rect.top, rect.bottom) >= c_fewestPixels;
}

bool IsKernelBroken(HardwareKernelDescriptor const& descriptor, void* device) {
    return device == nullptr || Device::FromHandle(device).GetKernels().IsBroken(descriptor);
}

bool IsKernelPendingCompilation(HardwareKernelDescriptor const& descriptor, void* device, bool wait,
                                bool const* abort) {
    if (device == nullptr)
        return true;
    auto& found = Device::FromHandle(device);
    return found.GetKernels().IsPending(descriptor, wait || found.GetSettings().waitsForKernels, abort);
}

HardwareSemaphoreGuard::~HardwareSemaphoreGuard() = default;

Kernel::Counted<HardwareSemaphoreGuard> GetRetainHardwareBufferSemaphoreGuard(void* device) {
    if (device == nullptr)
        return {};
    return Kernel::MakeCounted<DeviceRetainGuard>(Device::FromHandle(device));
}

// The memory, which the counters may stand in, goes last.
Prolongation::~Prolongation() {
    for (std::size_t slot = c_slotCount; slot-- != 0;) {
        if (uses[slot] != nullptr)
            uses[slot]->Decrement();
        if (writers[slot] != nullptr)
            writers[slot]->Release();
    }
    for (std::size_t slot = c_slotCount; slot-- != 0;)
        owners[slot].reset();
}

bool ExecuteKernel(int language, HardwareExecutionMode mode, int pixelsPerItem, int subMode, void* device, void* queue,
                   Kernel::Counted<Prolongation> const& prolongation, HardwareKernelDescriptor const& descriptor,
                   void* source, int sourceWidth, int sourceHeight, void* destination, int destinationWidth,
                   int destinationHeight, void* mask, int maskWidth, int maskHeight, void* secondMask,
                   int secondMaskWidth, int secondMaskHeight, void* sampler, int samplerWidth, int samplerHeight,
                   float const* parameters, int parameterCount, void* process, Kernel::RectT<int> const& rect,
                   bool reserved1, bool reserved2, bool reserved3, bool reserved4, int stepX, int stepY, int offsetX,
                   int offsetY, bool const* abort, bool reserved5, bool reserved6, char const*) {
    if (device == nullptr || queue != Hardware<DefaultImplementation>::GetHardwareWriteQueue(device) ||
        prolongation == nullptr || reserved1 || reserved2 || reserved3 || reserved4 || reserved5 || reserved6 ||
        stepX != 1 || stepY != 1 || offsetX != 0 || offsetY != 0 || subMode != 0)
        return false;
    auto& one = Device::FromHandle(device);
    void* const identity = one.GetIdentityBuffer();
    auto const& kept = *prolongation;
    if (language != one.GetKernelLanguage() || mode != HardwareExecutionMode::Pixels || pixelsPerItem < 1 ||
        pixelsPerItem > c_mostPixelsPerItem || identity == nullptr ||
        !IsBufferValid(kept, Prolongation::c_source, source, sourceWidth, sourceHeight, identity) ||
        !IsBufferValid(kept, Prolongation::c_destination, destination, destinationWidth, destinationHeight, identity) ||
        kept.isReadOnly[Prolongation::c_destination] ||
        !IsBufferValid(kept, Prolongation::c_mask, mask, maskWidth, maskHeight, identity) || secondMask != identity ||
        secondMaskWidth != 0 || secondMaskHeight != 0 || sampler != identity || samplerWidth != 0 ||
        samplerHeight != 0 || process != identity || !IsHeadValid(parameters, parameterCount) ||
        !IsInside(rect, destinationWidth, destinationHeight))
        return false;
    void* const kernel = one.GetKernels().Find(descriptor);
    if (kernel == nullptr || Kernel::IsAbortSet(abort))
        return false;
    HardwareLaunch const launch{kernel,
                                source,
                                destination,
                                mask,
                                secondMask,
                                sampler,
                                process,
                                {sourceWidth, sourceHeight},
                                {destinationWidth, destinationHeight},
                                {maskWidth, maskHeight},
                                {},
                                {},
                                {parameters, static_cast<std::size_t>(parameterCount)},
                                rect,
                                pixelsPerItem};
    auto const status =
        one.CallDriverWithMemory(c_maximumKernelParameters * sizeof(float), [&](HardwareDriver& driver) {
            if (Kernel::IsAbortSet(abort))
                return HardwareStatus::Failed;
            auto const launched = driver.Launch(launch);
            // Waited for in any case: a run that failed must not write any more. Nor is it begun again, since it may
            // have written something that it would read then.
            auto const finished = driver.Finish();
            if (launched == HardwareStatus::Done && finished == HardwareStatus::OutOfMemory)
                return HardwareStatus::Failed;
            return launched == HardwareStatus::Done || finished == HardwareStatus::Lost ? finished : launched;
        });
    if (status != HardwareStatus::Done)
        return false;
    Hardware<DefaultImplementation>::IncrementExecutedKernels(device);
    return true;
}

} // namespace Raster
