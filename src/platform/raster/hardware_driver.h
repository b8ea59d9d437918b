// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/kernel/geometry_values.h"

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace Raster {

// The languages that kernels are composed in. Values outside of these have no fragments.
inline constexpr int c_kernelLanguageCuda = 0;   // CUDA C++: functions are static members of nested structs
inline constexpr int c_kernelLanguageOpenCL = 1; // OpenCL C 1.2: functions of one name are told apart by macros

// How a call to a driver ended.
enum class HardwareStatus {
    Done,
    // Less memory held by this process on the device may help.
    OutOfMemory,
    // This call failed; others may not.
    Failed,
    // The device answers no more, and what it held is gone.
    Lost
};

struct HardwareInfo {
    // As the driver tells them.
    std::string name;
    std::string version;
    // "OpenCL" or "CUDA".
    std::string interfaceName;
    std::size_t memoryBytes = 0;
    // The largest block that Allocate can give.
    std::size_t largestBlockBytes = 0;
    int computeUnits = 0;
    // The device is this machine's own processors.
    bool isProcessor = false;
};

// Rows of bytes in a block of memory.
struct HardwareRows {
    // Of the first row, and from one row to the next.
    std::size_t offset = 0;
    std::size_t pitch = 0;
};

// One run of a kernel. Memory blocks are those of the same driver and outlive the run; unused ones are the driver's
// identity block, never null.
struct HardwareLaunch {
    void* kernel = nullptr;
    void* source = nullptr;
    void* destination = nullptr;
    void* mask = nullptr;
    void* secondMask = nullptr;
    void* sampler = nullptr;
    void* process = nullptr;
    // In pixels: of the pictures in the first five blocks.
    Kernel::SizeT<int> sourceSize, destinationSize, maskSize, secondMaskSize, samplerSize;
    // Copied before Launch returns.
    std::span<float const> parameters;
    // Pixels of the destination to make.
    Kernel::RectT<int> rect;
    // Pixels of a row that one work item makes.
    int pixelsPerItem = 1;
};

// A device that runs kernels, seen through its driver. Work is done in the order of the calls. Calls come from one
// thread at a time, but for Compile, which may run beside everything else. A status other than Done leaves what the
// call would have written undefined; nothing throws but for lack of host memory.
//
// A kernel is the function "redraft_kernel" of its source text, with these arguments, sizes and places as 32-bit
// integers:
//
//   source, destination, mask, second mask, sampler, process      blocks of memory
//   parameters                                                    floats in the device's memory
//   source width, source height, the same of destination, mask, second mask and sampler
//   length of the parameters
//   left, top, right, bottom                                      of the pixels to make
//   pixels per work item
//
// One work item makes up to that many pixels of a row. With n items in a row, the width divided by the pixels per item
// and rounded up, item (i, j) makes pixels left + i, left + i + n, left + i + 2 n, ... of row top + j: neighbours are
// worked on at the same time, which lets a device join their reads and writes. Items beyond the right or bottom edge
// make nothing.
class REDRAFT_ENGINE HardwareDriver {
public:
    virtual ~HardwareDriver();
    virtual HardwareInfo const& GetInfo() const = 0;
    virtual int GetKernelLanguage() const = 0;

    virtual HardwareStatus Allocate(std::size_t bytes, void*& block) = 0;
    // When the work that was queued before is done with it.
    virtual void Free(void* block) noexcept = 0;
    // Rows between the host and a block. The host's memory may be reused when the call returns. Reading waits for all
    // work before it.
    virtual HardwareStatus Write(void* block, HardwareRows const& there, void const* host, std::size_t hostPitch,
                                 std::size_t rowBytes, std::size_t rows) = 0;
    virtual HardwareStatus Read(void* block, HardwareRows const& there, void* host, std::size_t hostPitch,
                                std::size_t rowBytes, std::size_t rows) = 0;
    // Rows from a block to another, or to a place of the same that does not overlap.
    virtual HardwareStatus Copy(void* from, HardwareRows const& there, void* to, HardwareRows const& here,
                                std::size_t rowBytes, std::size_t rows) = 0;

    // Makes of source text a binary that this driver and device can load, in this process or another; `log` gets what
    // the compiler says.
    virtual HardwareStatus Compile(std::string const& source, std::vector<std::byte>& binary, std::string& log) = 0;
    // Failed for a binary that is not this device's or is damaged.
    virtual HardwareStatus LoadKernel(std::span<std::byte const> binary, void*& kernel) = 0;
    virtual void FreeKernel(void* kernel) noexcept = 0;
    virtual HardwareStatus Launch(HardwareLaunch const& launch) = 0;
    // Waits for all work, and tells of the first part of it that failed since the last call.
    virtual HardwareStatus Finish() = 0;
};

// The OpenCL devices of this machine, graphics devices first; `withProcessors`: also those that are processors. Empty
// where there is no OpenCL. The library is opened at run time ("libOpenCL.so.1").
REDRAFT_ENGINE std::vector<std::unique_ptr<HardwareDriver>> FindOpenCLDrivers(bool withProcessors);
// The devices of an NVIDIA driver; empty without one, or without the compiler for kernels. Both are opened at run time
// ("libcuda.so.1", "libnvrtc.so" of any version from 11.2 on).
REDRAFT_ENGINE std::vector<std::unique_ptr<HardwareDriver>> FindCudaDrivers();

} // namespace Raster
