// SPDX-License-Identifier: Apache-2.0
#include "tests/support/hardware/shim_driver.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <new>
#include <unistd.h>

namespace Tests {

using Raster::HardwareRows;
using Raster::HardwareStatus;

namespace {

// Blocks begin with their size, and end with bytes that kernels leave alone.
constexpr std::size_t c_blockHead = 64, c_blockTail = 4096;
constexpr auto c_tailByte = std::byte(0x5A);

std::atomic<int> s_compiledKernels{0};

constexpr char c_shim[] = R"(
#define __global__
#define __device__
struct int2 { int x, y; };
struct float2 { float x, y; };
struct float4 { float x, y, z, w; };
inline int2 make_int2(int x, int y) { return {x, y}; }
inline float2 make_float2(float x, float y) { return {x, y}; }
inline float4 make_float4(float x, float y, float z, float w) { return {x, y, z, w}; }
inline float floorf(float v) { return __builtin_floorf(v); }
inline float sqrtf(float v) { return __builtin_sqrtf(v); }
inline float fabsf(float v) { return __builtin_fabsf(v); }
inline float copysignf(float v, float sign) { return __builtin_copysignf(v, sign); }
extern "C" float sinf(float) noexcept;
extern "C" float cosf(float) noexcept;
extern "C" float atan2f(float, float) noexcept;
inline int __float_as_int(float v) { return __builtin_bit_cast(int, v); }
inline float __int_as_float(int v) { return __builtin_bit_cast(float, v); }
struct ShimIndex { unsigned x, y, z; };
static ShimIndex blockIdx, blockDim, threadIdx;
)";

// Each work item is a block of its own.
constexpr char c_shimEnd[] = R"(
extern "C" void shim_run(void* const* blocks, float const* parameters, int const* n) {
    blockDim = {1, 1, 1};
    threadIdx = {0, 0, 0};
    unsigned const rows = n[14] > n[12] ? n[14] - n[12] : 0;
    unsigned const items = n[13] > n[11] ? (n[13] - n[11] + n[15] - 1) / n[15] : 0;
    for (unsigned y = 0; y != rows; ++y)
        for (unsigned x = 0; x != items; ++x) {
            blockIdx = {x, y, 0};
            redraft_kernel(blocks[0], blocks[1], blocks[2], blocks[3], blocks[4], blocks[5], parameters, n[0], n[1],
                           n[2], n[3], n[4], n[5], n[6], n[7], n[8], n[9], n[10], n[11], n[12], n[13], n[14], n[15]);
        }
}
)";

using ShimRun = void (*)(void* const*, float const*, int const*);

struct LoadedKernel {
    void* library;
    ShimRun run;
};

// A folder that goes with the object.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string path = (std::filesystem::temp_directory_path() / "redraft-shim-XXXXXX").string();
        m_path = mkdtemp(path.data()) == nullptr ? "" : path;
    }
    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        if (!m_path.empty())
            std::filesystem::remove_all(m_path, ignored);
    }
    std::string GetFile(char const* name) const { return m_path + "/" + name; }
    bool IsThere() const { return !m_path.empty(); }

private:
    std::string m_path;
};

std::string ReadWhole(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::byte* At(void* block, HardwareRows const& rows, std::size_t row) {
    return static_cast<std::byte*>(block) + rows.offset + row * rows.pitch;
}

// Rows that leave their block are a fault of the caller's, which a device would not tell either.
void CheckInside(void* block, HardwareRows const& there, std::size_t rowBytes, std::size_t rows) {
    std::size_t bytes;
    std::memcpy(&bytes, static_cast<std::byte*>(block) - c_blockHead, sizeof bytes);
    if (rows != 0 && there.offset + (rows - 1) * there.pitch + rowBytes > bytes) {
        std::fprintf(stderr, "rows leave their block of %zu bytes\n", bytes);
        std::abort();
    }
}

} // namespace

ShimDriver::ShimDriver(std::string compiler, std::size_t memoryBytes) : m_compiler(std::move(compiler)) {
    m_info.name = "shim";
    m_info.version = "1";
    m_info.interfaceName = "CUDA";
    m_info.memoryBytes = memoryBytes;
    m_info.largestBlockBytes = memoryBytes;
    m_info.computeUnits = 1;
    m_info.isProcessor = true;
}

ShimDriver::~ShimDriver() = default;

int ShimDriver::GetCompiledKernels() { return s_compiledKernels.load(); }

HardwareStatus ShimDriver::Allocate(std::size_t bytes, void*& block) {
    if (bytes > m_info.memoryBytes - m_usedBytes)
        return HardwareStatus::OutOfMemory;
    auto* const memory =
        static_cast<std::byte*>(::operator new(c_blockHead + bytes + c_blockTail, std::align_val_t(64), std::nothrow));
    if (memory == nullptr)
        return HardwareStatus::OutOfMemory;
    // Anything but what a kernel would write.
    std::memset(memory + c_blockHead, 0xA5, bytes);
    std::fill_n(memory + c_blockHead + bytes, c_blockTail, c_tailByte);
    std::memcpy(memory, &bytes, sizeof bytes);
    m_usedBytes += bytes;
    block = memory + c_blockHead;
    return HardwareStatus::Done;
}

void ShimDriver::Free(void* block) noexcept {
    std::byte* const memory = static_cast<std::byte*>(block) - c_blockHead;
    std::size_t bytes;
    std::memcpy(&bytes, memory, sizeof bytes);
    m_usedBytes -= bytes;
    std::byte const* const tail = memory + c_blockHead + bytes;
    if (std::any_of(tail, tail + c_blockTail, [](std::byte b) { return b != c_tailByte; })) {
        std::fprintf(stderr, "a kernel has written behind a block of %zu bytes\n", bytes);
        std::abort();
    }
    ::operator delete(memory, std::align_val_t(64));
}

HardwareStatus ShimDriver::Write(void* block, HardwareRows const& there, void const* host, std::size_t hostPitch,
                                 std::size_t rowBytes, std::size_t rows) {
    CheckInside(block, there, rowBytes, rows);
    for (std::size_t row = 0; row != rows; ++row)
        std::memcpy(At(block, there, row), static_cast<std::byte const*>(host) + row * hostPitch, rowBytes);
    return HardwareStatus::Done;
}

HardwareStatus ShimDriver::Read(void* block, HardwareRows const& there, void* host, std::size_t hostPitch,
                                std::size_t rowBytes, std::size_t rows) {
    CheckInside(block, there, rowBytes, rows);
    for (std::size_t row = 0; row != rows; ++row)
        std::memcpy(static_cast<std::byte*>(host) + row * hostPitch, At(block, there, row), rowBytes);
    return HardwareStatus::Done;
}

HardwareStatus ShimDriver::Copy(void* from, HardwareRows const& there, void* to, HardwareRows const& here,
                                std::size_t rowBytes, std::size_t rows) {
    CheckInside(from, there, rowBytes, rows);
    CheckInside(to, here, rowBytes, rows);
    for (std::size_t row = 0; row != rows; ++row)
        std::memcpy(At(to, here, row), At(from, there, row), rowBytes);
    return HardwareStatus::Done;
}

HardwareStatus ShimDriver::Compile(std::string const& source, std::vector<std::byte>& binary, std::string& log) {
    TemporaryFolder const folder;
    if (!folder.IsThere())
        return HardwareStatus::Failed;
    std::string const sourceFile = folder.GetFile("kernel.cpp"), library = folder.GetFile("kernel.so");
    std::string const messages = folder.GetFile("log");
    std::ofstream(sourceFile, std::ios::binary) << c_shim << source << c_shimEnd;
    std::string const call = "'" + m_compiler + "' -x c++ -std=c++17 -O1 -ffp-contract=off -shared -fPIC -o '" +
                             library + "' '" + sourceFile + "' >'" + messages + "' 2>&1";
    int const status = std::system(call.c_str());
    log = ReadWhole(messages);
    if (status != 0)
        return HardwareStatus::Failed;
    std::string const bytes = ReadWhole(library);
    auto const* const first = reinterpret_cast<std::byte const*>(bytes.data());
    binary.assign(first, first + bytes.size());
    ++s_compiledKernels;
    return HardwareStatus::Done;
}

HardwareStatus ShimDriver::LoadKernel(std::span<std::byte const> binary, void*& kernel) {
    // The loader takes a file, and may die of a short one.
    constexpr unsigned char c_magic[] = {0x7F, 'E', 'L', 'F'};
    if (binary.size() < 1024 || std::memcmp(binary.data(), c_magic, sizeof c_magic) != 0)
        return HardwareStatus::Failed;
    TemporaryFolder const folder;
    std::string const file = folder.GetFile("kernel.so");
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<char const*>(binary.data()), static_cast<std::streamsize>(binary.size()));
    void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        return HardwareStatus::Failed;
    auto const run = reinterpret_cast<ShimRun>(dlsym(library, "shim_run"));
    if (run == nullptr) {
        dlclose(library);
        return HardwareStatus::Failed;
    }
    kernel = new LoadedKernel{library, run};
    return HardwareStatus::Done;
}

void ShimDriver::FreeKernel(void* kernel) noexcept {
    auto* const loaded = static_cast<LoadedKernel*>(kernel);
    dlclose(loaded->library);
    delete loaded;
}

HardwareStatus ShimDriver::Launch(Raster::HardwareLaunch const& l) {
    void* const blocks[] = {l.source, l.destination, l.mask, l.secondMask, l.sampler, l.process};
    // In the order of the kernel's arguments.
    int const numbers[] = {l.sourceSize.width,
                           l.sourceSize.height,
                           l.destinationSize.width,
                           l.destinationSize.height,
                           l.maskSize.width,
                           l.maskSize.height,
                           l.secondMaskSize.width,
                           l.secondMaskSize.height,
                           l.samplerSize.width,
                           l.samplerSize.height,
                           int(l.parameters.size()),
                           l.rect.left,
                           l.rect.top,
                           l.rect.right,
                           l.rect.bottom,
                           l.pixelsPerItem};
    static_cast<LoadedKernel*>(l.kernel)->run(blocks, l.parameters.data(), numbers);
    return HardwareStatus::Done;
}

} // namespace Tests
