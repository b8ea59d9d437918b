// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/kernel/export.h"
#include "platform/kernel/geometry_values.h"
#include "platform/kernel/interlocked.h"
#include "platform/raster/hardware_driver.h"

#include <array>

// Kernels: composed of text fragments, compiled once, run on a device in place of the software engine.
namespace Raster {

// Names a compiled kernel. The fragments are texts that live as long as the process, and one text always stands at one
// address: two kernels are the same when the addresses are.
struct HardwareKernelDescriptor {
    char const* sourceTraits = nullptr;
    char const* destinationTraits = nullptr;
    char const* maskTraits = nullptr;
    char const* conversion = nullptr;
    char const* perPixelDriver = nullptr;
    char const* sourceAccess = nullptr;
    char const* destinationAccess = nullptr;
    char const* readMask = nullptr;
    char const* process = nullptr;
    char const* transform = nullptr;
    char const* sample = nullptr;
    char const* blend = nullptr;
    char const* extend = nullptr;
    char const* filter = nullptr;
    int flag = 1;

    REDRAFT_ENGINE bool IsComplete() const;
    friend bool operator==(HardwareKernelDescriptor const&, HardwareKernelDescriptor const&) = default;
};

// The whole text that is compiled. Empty for a language that does not exist or a descriptor that is not complete.
REDRAFT_ENGINE std::string ComposeKernel(int language, HardwareKernelDescriptor const& descriptor);

// The most floats of a parameter block, and where its first block begins.
inline constexpr int c_maximumKernelParameters = 1024;
inline constexpr int c_kernelParameterHead = 7;

// Whether a device is likely to be quicker than the software engine over so many pixels.
REDRAFT_ENGINE bool ShouldExecuteKernel(Kernel::RectT<int> const& rect);

// True for a kernel that the device's compiler has refused in this process.
REDRAFT_ENGINE bool IsKernelBroken(HardwareKernelDescriptor const& descriptor, void* device);
// True while the kernel is not ready: the first call begins to compile it, or to load it from the kernel folder, on a
// thread of its own. With `wait`, or where the device's settings say so, waits for it until *abort becomes true.
REDRAFT_ENGINE bool IsKernelPendingCompilation(HardwareKernelDescriptor const& descriptor, void* device, bool wait,
                                               bool const* abort);

// Held from before the first RetainHardwareBuffer to after ExecuteKernel: one run at a time prepares its buffers, so
// that two which together need more memory than there is do not wait for each other.
class REDRAFT_ENGINE HardwareSemaphoreGuard : public virtual Kernel::Countable {
public:
    ~HardwareSemaphoreGuard() override;
};
REDRAFT_ENGINE Kernel::Counted<HardwareSemaphoreGuard> GetRetainHardwareBufferSemaphoreGuard(void* device);

// Keeps retained buffers until the device is done with them: one slot for each buffer, in arrays side by side. What a
// slot names is given back when the last reference to the holder goes.
class REDRAFT_ENGINE Prolongation final : public virtual Kernel::Countable {
public:
    static constexpr int c_destination = 0, c_source = 1, c_mask = 2, c_slotCount = 3;
    ~Prolongation() override;

    std::array<void*, c_slotCount> buffers{};
    // Own the memory.
    std::array<std::shared_ptr<void>, c_slotCount> owners{};
    // Counts the runs that use it; null for none.
    std::array<Kernel::Interlocked*, c_slotCount> uses{};
    // Held while the buffer is being written to; null for none.
    std::array<Kernel::Semaphore*, c_slotCount> writers{};
    std::array<bool, c_slotCount> isReadOnly{};
};

enum class HardwareExecutionMode : int { Pixels = 0 };

// Runs a kernel and waits for it. False when it is not ready, when the arguments are out of the ordinary, when the
// device fails, or when *abort has become true before it began: the destination's buffer then holds anything.
//
// Buffers are those that RetainHardwareBuffer gave, with the pixels that they hold; unused ones are the identity
// buffer with 0 x 0 pixels. `parameters` are `parameterCount` floats, at most c_maximumKernelParameters.
// `pixelsPerItem` is that of HardwareLaunch, 1 to 256. Arguments without a meaning have one value that is taken:
// reserved flags false, steps 1, offsets and `subMode` 0. `name` is for those who look at a run, and may be null.
REDRAFT_ENGINE bool ExecuteKernel(int language, HardwareExecutionMode mode, int pixelsPerItem, int subMode,
                                  void* device, void* queue, Kernel::Counted<Prolongation> const& prolongation,
                                  HardwareKernelDescriptor const& descriptor, void* source, int sourceWidth,
                                  int sourceHeight, void* destination, int destinationWidth, int destinationHeight,
                                  void* mask, int maskWidth, int maskHeight, void* secondMask, int secondMaskWidth,
                                  int secondMaskHeight, void* sampler, int samplerWidth, int samplerHeight,
                                  float const* parameters, int parameterCount, void* process,
                                  Kernel::RectT<int> const& rect, bool reserved1, bool reserved2, bool reserved3,
                                  bool reserved4, int stepX, int stepY, int offsetX, int offsetY, bool const* abort,
                                  bool reserved5, bool reserved6, char const* name);

} // namespace Raster
