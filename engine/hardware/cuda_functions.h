// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

// The calls of CUDA's driver library and of its compiler for kernels, NVRTC, that are used, by the documentation of
// both (NVIDIA, "CUDA Driver API" and "NVRTC"); names that end in _v2 are what the documented ones stand for since
// CUDA 3.2 and 4.0.
namespace Raster {

using CudaResult = int;
using CudaDevice = int;
using CudaPointer = unsigned long long;
using CudaContext = struct CudaContextHandle*;
using CudaStream = struct CudaStreamHandle*;
using CudaModule = struct CudaModuleHandle*;
using CudaFunction = struct CudaFunctionHandle*;
using NvrtcProgram = struct NvrtcProgramHandle*;

inline constexpr CudaResult c_cudaSuccess = 0, c_cudaInvalidValue = 1, c_cudaOutOfMemory = 2;

// Memory of a host or of a device on either side of a copy, by type.
inline constexpr unsigned c_cudaHostMemory = 1, c_cudaDeviceMemory = 2;
struct CudaCopy {
    std::size_t sourceX, sourceY;
    unsigned sourceType;
    void const* sourceHost;
    CudaPointer sourceDevice;
    void* sourceArray;
    std::size_t sourcePitch;
    std::size_t destinationX, destinationY;
    unsigned destinationType;
    void* destinationHost;
    CudaPointer destinationDevice;
    void* destinationArray;
    std::size_t destinationPitch;
    std::size_t rowBytes, rows;
};

struct CudaFunctions {
    CudaResult (*init)(unsigned flags);
    CudaResult (*driverGetVersion)(int* version);
    CudaResult (*deviceGetCount)(int* count);
    CudaResult (*deviceGet)(CudaDevice* device, int number);
    CudaResult (*deviceGetName)(char* name, int size, CudaDevice device);
    CudaResult (*deviceTotalMem)(std::size_t* bytes, CudaDevice device);
    CudaResult (*deviceGetAttribute)(int* value, int attribute, CudaDevice device);
    CudaResult (*primaryContextRetain)(CudaContext* context, CudaDevice device);
    CudaResult (*primaryContextRelease)(CudaDevice device);
    CudaResult (*contextPushCurrent)(CudaContext context);
    CudaResult (*contextPopCurrent)(CudaContext* context);
    CudaResult (*memAlloc)(CudaPointer* pointer, std::size_t bytes);
    CudaResult (*memFree)(CudaPointer pointer);
    CudaResult (*memcpyHostToDevice)(CudaPointer to, void const* from, std::size_t bytes, CudaStream stream);
    CudaResult (*memcpyDeviceToHost)(void* to, CudaPointer from, std::size_t bytes, CudaStream stream);
    CudaResult (*memcpyDeviceToDevice)(CudaPointer to, CudaPointer from, std::size_t bytes, CudaStream stream);
    CudaResult (*memcpy2D)(CudaCopy const* copy, CudaStream stream);
    CudaResult (*streamCreate)(CudaStream* stream, unsigned flags);
    CudaResult (*streamDestroy)(CudaStream stream);
    CudaResult (*streamSynchronize)(CudaStream stream);
    CudaResult (*moduleLoadData)(CudaModule* module, void const* image);
    CudaResult (*moduleUnload)(CudaModule module);
    CudaResult (*moduleGetFunction)(CudaFunction* function, CudaModule module, char const* name);
    CudaResult (*functionGetAttribute)(int* value, int attribute, CudaFunction function);
    CudaResult (*launchKernel)(CudaFunction function, unsigned gridX, unsigned gridY, unsigned gridZ, unsigned blockX,
                               unsigned blockY, unsigned blockZ, unsigned sharedBytes, CudaStream stream,
                               void** arguments, void** extra);

    // Null where the library is not there or misses one of them.
    static std::shared_ptr<CudaFunctions const> Open(std::string const& library);
};

struct NvrtcFunctions {
    CudaResult (*version)(int* major, int* minor);
    CudaResult (*createProgram)(NvrtcProgram* program, char const* source, char const* name, int headerCount,
                                char const* const* headers, char const* const* headerNames);
    CudaResult (*destroyProgram)(NvrtcProgram* program);
    CudaResult (*compileProgram)(NvrtcProgram program, int optionCount, char const* const* options);
    CudaResult (*getLogSize)(NvrtcProgram program, std::size_t* size);
    CudaResult (*getLog)(NvrtcProgram program, char* log);
    CudaResult (*getPtxSize)(NvrtcProgram program, std::size_t* size);
    CudaResult (*getPtx)(NvrtcProgram program, char* ptx);
    CudaResult (*getCubinSize)(NvrtcProgram program, std::size_t* size);
    CudaResult (*getCubin)(NvrtcProgram program, char* cubin);
    CudaResult (*getSupportedArchitectureCount)(int* count);
    CudaResult (*getSupportedArchitectures)(int* architectures);

    // The first of the libraries that has all of them; null without one.
    static std::shared_ptr<NvrtcFunctions const> Open(std::span<std::string const> libraries);
    // Names that the compiler's library may have beside a driver of that version, 12 for 12.4: the driver's own before
    // others, since a driver takes no code of a compiler that is newer.
    static std::vector<std::string> GetLibraryNames(int driverMajor);
};

} // namespace Raster
