// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

// Kernels in OpenCL C with the arguments that every kernel has, for tests of drivers and devices.
namespace Raster::Tests {

inline std::string MakeKernel(std::string const& body) {
    return R"(#pragma OPENCL FP_CONTRACT OFF
kernel void redraft_kernel(global uchar const* source, global uchar* destination, global uchar const* mask,
                           global uchar const* secondMask, global uchar const* sampler, global uchar const* process,
                           global float const* parameters, int sourceWidth, int sourceHeight, int destinationWidth,
                           int destinationHeight, int maskWidth, int maskHeight, int secondMaskWidth,
                           int secondMaskHeight, int samplerWidth, int samplerHeight, int parameterCount, int left,
                           int top, int right, int bottom, int pixelsPerItem) {
)" + body + "}\n";
}

// For each pixel of the rectangle.
inline std::string MakePixelKernel(std::string const& body) {
    return MakeKernel(R"(
    int const y = top + (int)get_global_id(1), first = left + (int)get_global_id(0) * pixelsPerItem;
    for (int x = first; y < bottom && x < min(right, first + pixelsPerItem); ++x) {
)" + body + "}\n");
}

// Writes its arguments into the destination, as integers.
inline std::string const c_tellingKernel = MakeKernel(R"(
    if (get_global_id(0) != 0 || get_global_id(1) != 0)
        return;
    int const told[] = {source[0], mask[0], secondMask[0], sampler[0], process[0], sourceWidth, sourceHeight,
                        destinationWidth, destinationHeight, maskWidth, maskHeight, secondMaskWidth, secondMaskHeight,
                        samplerWidth, samplerHeight, (int)parameters[0], (int)parameters[1023], parameterCount, left,
                        top, right, bottom, pixelsPerItem};
    for (int i = 0; i != 23; ++i)
        ((global int*)destination)[i] = told[i];
)");

// Adds the source and the last parameter to the destination, bytes without rows between them.
inline std::string const c_addingKernel = MakePixelKernel(R"(
        destination[y * destinationWidth + x] +=
            source[y * sourceWidth + x] + (uchar)parameters[parameterCount - 1];
)");

// a * b + c / b of three floats each.
inline std::string const c_calculatingKernel = MakePixelKernel(R"(
        global float const* numbers = (global float const*)source + 3 * x;
        ((global float*)destination)[x] = numbers[0] * numbers[1] + numbers[2] / numbers[1];
)");

} // namespace Raster::Tests
