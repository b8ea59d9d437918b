// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/bitmap.h"
#include "platform/raster/buffer.h"
#include "platform/raster/hardware_fragments.h"
#include "platform/raster/hardware_kernel.h"
#include "platform/raster/pixel_transform.h"

#include <array>
#include <gtest/gtest.h>
#include <vector>

namespace Tests {

// The fragments of formats, chosen when the test runs.
char const* GetSourceTraits(int language, Raster::Format format);
char const* GetDestinationTraits(int language, Raster::Format format);
char const* GetMaskTraits(int language, Raster::Format format);
char const* GetSourceAccess(int language, Raster::Format format);
char const* GetDestinationAccess(int language, Raster::Format format);

// A kernel that copies pixels, to be changed by tests. `blends`: as KernelPerPixel takes it.
Raster::HardwareKernelDescriptor MakeCopyKernel(int language, Raster::Format source, Raster::Format destination,
                                                bool blends = true);

using Buffers = Kernel::Counted<Raster::BufferBase>;

// Blocks of kernel parameters, one after another.
struct KernelBlocks {
    std::vector<float> transform, mask, process, filter;
};
// The block of a mask of that size, through an affine stage of these terms.
std::vector<float> MakeMaskBlock(Raster::BufferBase const& mask, std::array<float, 6> const& terms);

// Runs a kernel over the whole destination, or a part of it. The mask may be null. Tells the test of what fails, with
// the words of the compiler, and answers false.
bool RunKernel(Raster::HardwareDriver& driver, Raster::HardwareKernelDescriptor const& descriptor,
               Raster::BufferBase const& source, Raster::BufferBase& destination, Raster::BufferBase const* mask,
               KernelBlocks const& blocks, int pixelsPerItem = 4, Kernel::RectT<int> const* rect = nullptr);

// The languages of kernels.
inline constexpr int c_testedLanguages[] = {Raster::c_kernelLanguageCuda, Raster::c_kernelLanguageOpenCL};
std::string NameLanguage(testing::TestParamInfo<int> const& language);
// One device for each of them, made when it is first asked for.
Raster::HardwareDriver& GetDriver(int language);

} // namespace Tests
