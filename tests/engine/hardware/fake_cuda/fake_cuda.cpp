// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/hardware/fake_cuda/fake_cuda.h"

#include "engine/hardware/cuda_functions.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <utility>
#include <vector>

using namespace Raster;

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED FakeCuda::State* fakeCudaState() {
    static FakeCuda::State s_state;
    return &s_state;
}

namespace {

char s_context, s_stream;
auto const c_context = reinterpret_cast<CudaContext>(&s_context);
auto const c_stream = reinterpret_cast<CudaStream>(&s_stream);
thread_local std::vector<CudaContext> s_current;

struct Module {
    std::string text;
};
struct Program {
    std::string source, options, log;
    bool isCompiled = false;
};

std::map<CudaPointer, std::size_t>& GetBlocks() {
    static std::map<CudaPointer, std::size_t> s_blocks;
    return s_blocks;
}

void Demand(bool isTrue, char const* rule) {
    if (isTrue)
        return;
    std::fprintf(stderr, "the driver of CUDA was not used as it must be: %s\n", rule);
    std::abort();
}

// Notes a call; its result.
template <class... Arguments>
CudaResult Note(char const* name, Arguments const&... arguments) {
    auto& state = *fakeCudaState();
    std::ostringstream line;
    line << name;
    ((line << ' ' << arguments), ...);
    state.log += line.str() + '\n';
    if (state.failingCall == name && state.failingNumber > 0 && --state.failingNumber == 0)
        return state.failure;
    return c_cudaSuccess;
}
template <class... Arguments>
CudaResult NoteWork(char const* name, Arguments const&... arguments) {
    Demand(!s_current.empty() && s_current.back() == c_context, "a context must be current");
    return Note(name, arguments...);
}

void DemandBlock(CudaPointer pointer, std::size_t bytes) {
    auto const after = GetBlocks().upper_bound(pointer);
    Demand(after != GetBlocks().begin(), "memory must be the device's");
    auto const& [begin, size] = *std::prev(after);
    Demand(pointer - begin <= size && bytes <= size - (pointer - begin), "memory must be in one block");
}
unsigned char* ToBytes(CudaPointer pointer) { return reinterpret_cast<unsigned char*>(pointer); }

// The work of the tests' kernel for one work item.
void AddBytes(void** a, unsigned itemX, unsigned itemY) {
    auto const pointer = [a](int i) { return *static_cast<CudaPointer*>(a[i]); };
    auto const number = [a](int i) { return *static_cast<int*>(a[i]); };
    auto const *const source = ToBytes(pointer(0)), *const parameters = ToBytes(pointer(6));
    auto* const destination = ToBytes(pointer(1));
    int const sourceWidth = number(7), destinationWidth = number(9), count = number(17), left = number(18),
              top = number(19), right = number(20), bottom = number(21), perItem = number(22);
    float last = 0;
    std::memcpy(&last, parameters + (count - 1) * 4, sizeof last);
    int const y = top + static_cast<int>(itemY), first = left + static_cast<int>(itemX) * perItem;
    for (int x = first; y < bottom && x < std::min(right, first + perItem); ++x)
        destination[y * destinationWidth + x] = static_cast<unsigned char>(
            destination[y * destinationWidth + x] + source[y * sourceWidth + x] + static_cast<int>(last));
}

} // namespace

EXPORTED CudaResult cuInit(unsigned flags) { return Note("cuInit", flags); }
EXPORTED CudaResult cuDriverGetVersion(int* version) {
    *version = 12040;
    return c_cudaSuccess;
}
EXPORTED CudaResult cuDeviceGetCount(int* count) {
    *count = fakeCudaState()->deviceCount;
    return Note("cuDeviceGetCount");
}
EXPORTED CudaResult cuDeviceGet(CudaDevice* device, int number) {
    *device = 100 + number;
    return Note("cuDeviceGet", number);
}
EXPORTED CudaResult cuDeviceGetName(char* name, int size, CudaDevice device) {
    std::snprintf(name, static_cast<std::size_t>(size), "Fake %d", device);
    return c_cudaSuccess;
}
EXPORTED CudaResult cuDeviceTotalMem_v2(std::size_t* bytes, CudaDevice) {
    *bytes = std::size_t{1} << 30;
    return c_cudaSuccess;
}
EXPORTED CudaResult cuDeviceGetAttribute(int* value, int attribute, CudaDevice) {
    auto const& state = *fakeCudaState();
    switch (attribute) {
    case 11:
        *value = state.maximumPitch;
        return c_cudaSuccess;
    case 16:
        *value = 84;
        return c_cudaSuccess;
    case 20:
        *value = state.computeMode;
        return c_cudaSuccess;
    case 75:
        *value = state.capabilityMajor;
        return c_cudaSuccess;
    case 76:
        *value = state.capabilityMinor;
        return c_cudaSuccess;
    default:
        return c_cudaInvalidValue;
    }
}
EXPORTED CudaResult cuDevicePrimaryCtxRetain(CudaContext* context, CudaDevice device) {
    auto const result = Note("cuDevicePrimaryCtxRetain", device);
    if (result == c_cudaSuccess) {
        *context = c_context;
        ++fakeCudaState()->contexts;
    }
    return result;
}
EXPORTED CudaResult cuDevicePrimaryCtxRelease_v2(CudaDevice device) {
    --fakeCudaState()->contexts;
    return Note("cuDevicePrimaryCtxRelease", device);
}
EXPORTED CudaResult cuCtxPushCurrent_v2(CudaContext context) {
    Demand(context == c_context, "the context must be the device's");
    auto const result = Note("cuCtxPushCurrent");
    if (result == c_cudaSuccess)
        s_current.push_back(context);
    return result;
}
EXPORTED CudaResult cuCtxPopCurrent_v2(CudaContext* context) {
    Demand(!s_current.empty(), "no more contexts are popped than were pushed");
    *context = s_current.back();
    s_current.pop_back();
    return Note("cuCtxPopCurrent");
}
EXPORTED CudaResult cuMemAlloc_v2(CudaPointer* pointer, std::size_t bytes) {
    auto const result = NoteWork("cuMemAlloc", bytes);
    if (result != c_cudaSuccess)
        return result;
    Demand(bytes != 0, "blocks have a size");
    *pointer = reinterpret_cast<CudaPointer>(std::calloc(bytes, 1));
    GetBlocks()[*pointer] = bytes;
    ++fakeCudaState()->blocks;
    return result;
}
EXPORTED CudaResult cuMemFree_v2(CudaPointer pointer) {
    Demand(GetBlocks().erase(pointer) == 1, "a block is freed once");
    std::free(ToBytes(pointer));
    --fakeCudaState()->blocks;
    return NoteWork("cuMemFree");
}
EXPORTED CudaResult cuMemcpyHtoDAsync_v2(CudaPointer to, void const* from, std::size_t bytes, CudaStream stream) {
    Demand(stream == c_stream, "work goes to the stream");
    auto const result = NoteWork("cuMemcpyHtoDAsync", bytes);
    DemandBlock(to, bytes);
    if (result == c_cudaSuccess)
        std::memcpy(ToBytes(to), from, bytes);
    return result;
}
EXPORTED CudaResult cuMemcpyDtoHAsync_v2(void* to, CudaPointer from, std::size_t bytes, CudaStream stream) {
    Demand(stream == c_stream, "work goes to the stream");
    auto const result = NoteWork("cuMemcpyDtoHAsync", bytes);
    DemandBlock(from, bytes);
    if (result == c_cudaSuccess)
        std::memcpy(to, ToBytes(from), bytes);
    return result;
}
EXPORTED CudaResult cuMemcpyDtoDAsync_v2(CudaPointer to, CudaPointer from, std::size_t bytes, CudaStream stream) {
    Demand(stream == c_stream, "work goes to the stream");
    auto const result = NoteWork("cuMemcpyDtoDAsync", bytes);
    DemandBlock(to, bytes);
    DemandBlock(from, bytes);
    if (result == c_cudaSuccess)
        std::memcpy(ToBytes(to), ToBytes(from), bytes);
    return result;
}
EXPORTED CudaResult cuMemcpy2DAsync_v2(CudaCopy const* copy, CudaStream stream) {
    Demand(stream == c_stream, "work goes to the stream");
    auto const& c = *copy;
    auto const result = NoteWork("cuMemcpy2DAsync", c.sourceType, c.destinationType, c.rowBytes, c.rows);
    if (result != c_cudaSuccess)
        return result;
    auto const most = static_cast<std::size_t>(fakeCudaState()->maximumPitch);
    if (c.sourcePitch > most || c.destinationPitch > most || c.sourcePitch < c.rowBytes ||
        c.destinationPitch < c.rowBytes || fakeCudaState()->takesNoRectangles)
        return c_cudaInvalidValue;
    for (std::size_t row = 0; row != c.rows; ++row) {
        auto const from = c.sourceY + row, to = c.destinationY + row;
        unsigned char const* source = static_cast<unsigned char const*>(c.sourceHost);
        if (c.sourceType == c_cudaDeviceMemory) {
            source = ToBytes(c.sourceDevice);
            DemandBlock(c.sourceDevice + from * c.sourcePitch + c.sourceX, c.rowBytes);
        }
        unsigned char* destination = static_cast<unsigned char*>(c.destinationHost);
        if (c.destinationType == c_cudaDeviceMemory) {
            destination = ToBytes(c.destinationDevice);
            DemandBlock(c.destinationDevice + to * c.destinationPitch + c.destinationX, c.rowBytes);
        }
        std::memcpy(destination + to * c.destinationPitch + c.destinationX, source + from * c.sourcePitch + c.sourceX,
                    c.rowBytes);
    }
    return result;
}
EXPORTED CudaResult cuStreamCreate(CudaStream* stream, unsigned flags) {
    auto const result = NoteWork("cuStreamCreate", flags);
    if (result == c_cudaSuccess) {
        *stream = c_stream;
        ++fakeCudaState()->streams;
    }
    return result;
}
EXPORTED CudaResult cuStreamDestroy_v2(CudaStream stream) {
    Demand(stream == c_stream, "the stream is the driver's");
    --fakeCudaState()->streams;
    return NoteWork("cuStreamDestroy");
}
EXPORTED CudaResult cuStreamSynchronize(CudaStream stream) {
    Demand(stream == c_stream, "the stream is the driver's");
    auto const result = NoteWork("cuStreamSynchronize");
    return result != c_cudaSuccess ? result : std::exchange(fakeCudaState()->queuedFailure, 0);
}
EXPORTED CudaResult cuModuleLoadData(CudaModule* module, void const* image) {
    auto const result = NoteWork("cuModuleLoadData");
    if (result != c_cudaSuccess)
        return result;
    std::string const text = static_cast<char const*>(image);
    if (!text.starts_with("code for "))
        return 200;
    ++fakeCudaState()->modules;
    *module = reinterpret_cast<CudaModule>(new Module{text});
    return result;
}
EXPORTED CudaResult cuModuleUnload(CudaModule module) {
    --fakeCudaState()->modules;
    delete reinterpret_cast<Module*>(module);
    return NoteWork("cuModuleUnload");
}
EXPORTED CudaResult cuModuleGetFunction(CudaFunction* function, CudaModule module, char const* name) {
    auto const result = NoteWork("cuModuleGetFunction", name);
    *function = reinterpret_cast<CudaFunction>(module);
    bool const isThere = reinterpret_cast<Module*>(module)->text.find(name) != std::string::npos;
    return result != c_cudaSuccess ? result : isThere ? c_cudaSuccess : 500;
}
EXPORTED CudaResult cuFuncGetAttribute(int* value, int attribute, CudaFunction) {
    Demand(attribute == 0, "the attribute is the number of threads");
    *value = fakeCudaState()->mostThreads;
    return NoteWork("cuFuncGetAttribute");
}
EXPORTED CudaResult cuLaunchKernel(CudaFunction function, unsigned gridX, unsigned gridY, unsigned gridZ,
                                   unsigned blockX, unsigned blockY, unsigned blockZ, unsigned sharedBytes,
                                   CudaStream stream, void** arguments, void** extra) {
    auto& state = *fakeCudaState();
    auto const result = NoteWork("cuLaunchKernel", gridX, gridY, blockX, blockY);
    Demand(function != nullptr && stream == c_stream && gridZ == 1 && blockZ == 1 && sharedBytes == 0 &&
               extra == nullptr,
           "kernels run in rows and columns");
    Demand(gridX != 0 && gridY != 0 && gridY <= 65535 && blockX * blockY <= static_cast<unsigned>(state.mostThreads),
           "grids and blocks have their limits");
    state.mostBlocksDown = std::max(state.mostBlocksDown, static_cast<int>(gridY));
    if (result != c_cudaSuccess)
        return result;
    // Grids that high would take the host too long; the rows at their edges tell as much.
    auto const height = gridY * blockY;
    for (unsigned y = 0; y < height; ++y) {
        if (y == 2000 && height > 100000)
            y = height - 2000;
        for (unsigned x = 0; x != gridX * blockX; ++x)
            AddBytes(arguments, x, y);
    }
    return result;
}

EXPORTED CudaResult nvrtcVersion(int* major, int* minor) {
    *major = 12;
    *minor = 4;
    return c_cudaSuccess;
}
EXPORTED CudaResult nvrtcCreateProgram(NvrtcProgram* program, char const* source, char const*, int headerCount,
                                       char const* const*, char const* const*) {
    auto const result = Note("nvrtcCreateProgram", headerCount);
    if (result != c_cudaSuccess)
        return result;
    ++fakeCudaState()->programs;
    *program = reinterpret_cast<NvrtcProgram>(new Program{source, {}, {}, false});
    return result;
}
EXPORTED CudaResult nvrtcDestroyProgram(NvrtcProgram* program) {
    --fakeCudaState()->programs;
    delete reinterpret_cast<Program*>(*program);
    *program = nullptr;
    return Note("nvrtcDestroyProgram");
}
EXPORTED CudaResult nvrtcCompileProgram(NvrtcProgram program, int count, char const* const* options) {
    auto& its = *reinterpret_cast<Program*>(program);
    for (int i = 0; i != count; ++i)
        its.options += std::string(i == 0 ? "" : " ") + options[i];
    auto const result = Note("nvrtcCompileProgram", its.options);
    if (result != c_cudaSuccess)
        return result;
    its.isCompiled = its.source.find("refused") == std::string::npos;
    its.log = its.isCompiled ? "" : "kernel.cu(1): refused";
    return its.isCompiled ? c_cudaSuccess : 6;
}
EXPORTED CudaResult nvrtcGetProgramLogSize(NvrtcProgram program, std::size_t* size) {
    *size = reinterpret_cast<Program*>(program)->log.size() + 1;
    return c_cudaSuccess;
}
EXPORTED CudaResult nvrtcGetProgramLog(NvrtcProgram program, char* log) {
    std::strcpy(log, reinterpret_cast<Program*>(program)->log.c_str());
    return c_cudaSuccess;
}
namespace {

std::string GetCode(NvrtcProgram program, char const* kind) {
    auto const& its = *reinterpret_cast<Program*>(program);
    Demand(its.isCompiled, "code is there when the text is compiled");
    return std::string("code for ") + kind + " of " + its.source;
}

} // namespace

EXPORTED CudaResult nvrtcGetPTXSize(NvrtcProgram program, std::size_t* size) {
    *size = GetCode(program, "translation").size() + 1;
    return Note("nvrtcGetPTXSize");
}
EXPORTED CudaResult nvrtcGetPTX(NvrtcProgram program, char* ptx) {
    std::strcpy(ptx, GetCode(program, "translation").c_str());
    return Note("nvrtcGetPTX");
}
EXPORTED CudaResult nvrtcGetCUBINSize(NvrtcProgram program, std::size_t* size) {
    *size = GetCode(program, "the device").size();
    return Note("nvrtcGetCUBINSize");
}
EXPORTED CudaResult nvrtcGetCUBIN(NvrtcProgram program, char* cubin) {
    auto const code = GetCode(program, "the device");
    std::memcpy(cubin, code.data(), code.size());
    return Note("nvrtcGetCUBIN");
}
EXPORTED CudaResult nvrtcGetNumSupportedArchs(int* count) {
    *count = 3;
    return c_cudaSuccess;
}
EXPORTED CudaResult nvrtcGetSupportedArchs(int* architectures) {
    architectures[0] = 75;
    architectures[1] = 86;
    architectures[2] = 90;
    return c_cudaSuccess;
}
