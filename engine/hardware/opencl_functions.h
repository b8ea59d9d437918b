// SPDX-License-Identifier: Apache-2.0
#pragma once

#define CL_TARGET_OPENCL_VERSION 120
#include <CL/cl.h>

namespace Raster {

// The calls of OpenCL 1.2 that are used, found in the library at run time. Its header is used for their types alone.
struct OpenCLFunctions {
    decltype(&clGetPlatformIDs) getPlatformIDs;
    decltype(&clGetDeviceIDs) getDeviceIDs;
    decltype(&clGetPlatformInfo) getPlatformInfo;
    decltype(&clGetDeviceInfo) getDeviceInfo;
    decltype(&clCreateContext) createContext;
    decltype(&clReleaseContext) releaseContext;
    decltype(&clCreateCommandQueue) createCommandQueue;
    decltype(&clReleaseCommandQueue) releaseCommandQueue;
    decltype(&clFlush) flush;
    decltype(&clFinish) finish;
    decltype(&clCreateBuffer) createBuffer;
    decltype(&clReleaseMemObject) releaseMemObject;
    decltype(&clEnqueueFillBuffer) enqueueFillBuffer;
    decltype(&clEnqueueWriteBuffer) enqueueWriteBuffer;
    decltype(&clEnqueueReadBuffer) enqueueReadBuffer;
    decltype(&clEnqueueCopyBuffer) enqueueCopyBuffer;
    decltype(&clEnqueueWriteBufferRect) enqueueWriteBufferRect;
    decltype(&clEnqueueReadBufferRect) enqueueReadBufferRect;
    decltype(&clEnqueueCopyBufferRect) enqueueCopyBufferRect;
    decltype(&clCreateProgramWithSource) createProgramWithSource;
    decltype(&clCreateProgramWithBinary) createProgramWithBinary;
    decltype(&clBuildProgram) buildProgram;
    decltype(&clGetProgramBuildInfo) getProgramBuildInfo;
    decltype(&clGetProgramInfo) getProgramInfo;
    decltype(&clReleaseProgram) releaseProgram;
    decltype(&clCreateKernel) createKernel;
    decltype(&clGetKernelWorkGroupInfo) getKernelWorkGroupInfo;
    decltype(&clSetKernelArg) setKernelArg;
    decltype(&clReleaseKernel) releaseKernel;
    decltype(&clEnqueueNDRangeKernel) enqueueNDRangeKernel;
    decltype(&clGetEventInfo) getEventInfo;
    decltype(&clReleaseEvent) releaseEvent;

    // Null where the library is not there or misses one of them. Opened once.
    static OpenCLFunctions const* Get();
};

} // namespace Raster
