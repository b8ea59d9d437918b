// SPDX-License-Identifier: Apache-2.0
#include "engine/hardware/opencl_functions.h"

#include "engine/hardware/shared_library.h"

#include <optional>
#include <type_traits>

namespace Raster {

namespace {

std::optional<OpenCLFunctions> OpenOpenCL() {
    SharedLibrary const library("libOpenCL.so.1");
    OpenCLFunctions f{};
    bool isWhole = library.IsOpen();
    auto const find = [&](auto& function, char const* name) {
        using Function = std::remove_pointer_t<std::remove_reference_t<decltype(function)>>;
        Function* found = nullptr;
        isWhole = isWhole && library.Find(found, name);
        function = found;
    };
    find(f.getPlatformIDs, "clGetPlatformIDs");
    find(f.getDeviceIDs, "clGetDeviceIDs");
    find(f.getPlatformInfo, "clGetPlatformInfo");
    find(f.getDeviceInfo, "clGetDeviceInfo");
    find(f.createContext, "clCreateContext");
    find(f.releaseContext, "clReleaseContext");
    find(f.createCommandQueue, "clCreateCommandQueue");
    find(f.releaseCommandQueue, "clReleaseCommandQueue");
    find(f.flush, "clFlush");
    find(f.finish, "clFinish");
    find(f.createBuffer, "clCreateBuffer");
    find(f.releaseMemObject, "clReleaseMemObject");
    find(f.enqueueFillBuffer, "clEnqueueFillBuffer");
    find(f.enqueueWriteBuffer, "clEnqueueWriteBuffer");
    find(f.enqueueReadBuffer, "clEnqueueReadBuffer");
    find(f.enqueueCopyBuffer, "clEnqueueCopyBuffer");
    find(f.enqueueWriteBufferRect, "clEnqueueWriteBufferRect");
    find(f.enqueueReadBufferRect, "clEnqueueReadBufferRect");
    find(f.enqueueCopyBufferRect, "clEnqueueCopyBufferRect");
    find(f.createProgramWithSource, "clCreateProgramWithSource");
    find(f.createProgramWithBinary, "clCreateProgramWithBinary");
    find(f.buildProgram, "clBuildProgram");
    find(f.getProgramBuildInfo, "clGetProgramBuildInfo");
    find(f.getProgramInfo, "clGetProgramInfo");
    find(f.releaseProgram, "clReleaseProgram");
    find(f.createKernel, "clCreateKernel");
    find(f.getKernelWorkGroupInfo, "clGetKernelWorkGroupInfo");
    find(f.setKernelArg, "clSetKernelArg");
    find(f.releaseKernel, "clReleaseKernel");
    find(f.enqueueNDRangeKernel, "clEnqueueNDRangeKernel");
    find(f.getEventInfo, "clGetEventInfo");
    find(f.releaseEvent, "clReleaseEvent");
    return isWhole ? std::optional(f) : std::nullopt;
}

} // namespace

OpenCLFunctions const* OpenCLFunctions::Get() {
    static auto const s_functions = OpenOpenCL();
    return s_functions ? &*s_functions : nullptr;
}

} // namespace Raster
