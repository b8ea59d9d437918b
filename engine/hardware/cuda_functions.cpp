// SPDX-License-Identifier: Apache-2.0
#include "engine/hardware/cuda_functions.h"

#include "engine/hardware/shared_library.h"

#include <algorithm>

namespace Raster {

std::shared_ptr<CudaFunctions const> CudaFunctions::Open(std::string const& name) {
    SharedLibrary const library(name.c_str());
    auto const f = std::make_shared<CudaFunctions>();
    bool const isWhole =
        library.Find(f->init, "cuInit") && library.Find(f->driverGetVersion, "cuDriverGetVersion") &&
        library.Find(f->deviceGetCount, "cuDeviceGetCount") && library.Find(f->deviceGet, "cuDeviceGet") &&
        library.Find(f->deviceGetName, "cuDeviceGetName") && library.Find(f->deviceTotalMem, "cuDeviceTotalMem_v2") &&
        library.Find(f->deviceGetAttribute, "cuDeviceGetAttribute") &&
        library.Find(f->primaryContextRetain, "cuDevicePrimaryCtxRetain") &&
        library.Find(f->primaryContextRelease, "cuDevicePrimaryCtxRelease_v2") &&
        library.Find(f->contextPushCurrent, "cuCtxPushCurrent_v2") &&
        library.Find(f->contextPopCurrent, "cuCtxPopCurrent_v2") && library.Find(f->memAlloc, "cuMemAlloc_v2") &&
        library.Find(f->memFree, "cuMemFree_v2") && library.Find(f->memcpyHostToDevice, "cuMemcpyHtoDAsync_v2") &&
        library.Find(f->memcpyDeviceToHost, "cuMemcpyDtoHAsync_v2") &&
        library.Find(f->memcpyDeviceToDevice, "cuMemcpyDtoDAsync_v2") &&
        library.Find(f->memcpy2D, "cuMemcpy2DAsync_v2") && library.Find(f->streamCreate, "cuStreamCreate") &&
        library.Find(f->streamDestroy, "cuStreamDestroy_v2") &&
        library.Find(f->streamSynchronize, "cuStreamSynchronize") &&
        library.Find(f->moduleLoadData, "cuModuleLoadData") && library.Find(f->moduleUnload, "cuModuleUnload") &&
        library.Find(f->moduleGetFunction, "cuModuleGetFunction") &&
        library.Find(f->functionGetAttribute, "cuFuncGetAttribute") && library.Find(f->launchKernel, "cuLaunchKernel");
    return isWhole ? f : nullptr;
}

std::shared_ptr<NvrtcFunctions const> NvrtcFunctions::Open(std::span<std::string const> names) {
    for (auto const& name : names) {
        SharedLibrary const library(name.c_str());
        auto const f = std::make_shared<NvrtcFunctions>();
        if (library.Find(f->version, "nvrtcVersion") && library.Find(f->createProgram, "nvrtcCreateProgram") &&
            library.Find(f->destroyProgram, "nvrtcDestroyProgram") &&
            library.Find(f->compileProgram, "nvrtcCompileProgram") &&
            library.Find(f->getLogSize, "nvrtcGetProgramLogSize") && library.Find(f->getLog, "nvrtcGetProgramLog") &&
            library.Find(f->getPtxSize, "nvrtcGetPTXSize") && library.Find(f->getPtx, "nvrtcGetPTX") &&
            library.Find(f->getCubinSize, "nvrtcGetCUBINSize") && library.Find(f->getCubin, "nvrtcGetCUBIN") &&
            library.Find(f->getSupportedArchitectureCount, "nvrtcGetNumSupportedArchs") &&
            library.Find(f->getSupportedArchitectures, "nvrtcGetSupportedArchs"))
            return f;
    }
    return nullptr;
}

std::vector<std::string> NvrtcFunctions::GetLibraryNames(int driverMajor) {
    // All versions from 11.2 to the last of 11 have the name of 11.2.
    constexpr int c_first = 11, c_newest = 20;
    std::vector<std::string> names;
    auto const add = [&names](int major) {
        names.push_back(major == c_first ? "libnvrtc.so.11.2" : "libnvrtc.so." + std::to_string(major));
    };
    for (int major = std::min(driverMajor, c_newest); major >= c_first; --major)
        add(major);
    names.push_back("libnvrtc.so");
    // Where its installer puts it, which not every system's loader looks into.
    names.push_back("/usr/local/cuda/lib64/libnvrtc.so");
    for (int major = std::max(driverMajor + 1, c_first); major <= c_newest; ++major)
        add(major);
    return names;
}

} // namespace Raster
