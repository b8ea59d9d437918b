// SPDX-License-Identifier: Apache-2.0
#include "engine/hardware/cuda_driver.h"

#include <algorithm>
#include <array>
#include <utility>

namespace Raster {

HardwareStatus GetCudaStatus(CudaResult result) {
    switch (result) {
    case c_cudaSuccess:
        return HardwareStatus::Done;
    case c_cudaOutOfMemory:
        return HardwareStatus::OutOfMemory;
    case 3:   // not initialised
    case 4:   // deinitialised
    case 46:  // device unavailable
    case 100: // no device
    case 101: // invalid device
    case 201: // invalid context
    case 214: // memory error that cannot be corrected
    case 220: // the same, of a link
    case 700: // illegal address
    case 702: // kernel ran too long
    case 709: // context is destroyed
    case 710: // assertion of a kernel
    case 714: // stack of the hardware
    case 715: // illegal instruction
    case 716: // misaligned address
    case 717: // invalid address space
    case 718: // invalid program counter
    case 719: // kernel failed
    case 999: // unknown
        return HardwareStatus::Lost;
    default:
        return HardwareStatus::Failed;
    }
}

namespace {

// Attributes of devices and functions.
constexpr int c_maximumPitch = 11, c_multiprocessorCount = 16, c_computeMode = 20, c_capabilityMajor = 75,
              c_capabilityMinor = 76, c_mostThreadsOfFunction = 0;
constexpr int c_prohibitedMode = 2;
constexpr unsigned c_nonBlockingStream = 1;
constexpr std::size_t c_mostParameters = 1024;
// Threads of a block: neighbours in a row read neighbouring pixels.
constexpr unsigned c_blockWidth = 32, c_blockHeight = 8;
// Blocks of a grid across rows.
constexpr unsigned c_mostBlocksDown = 65535;

constexpr CudaResult c_nvrtcOutOfMemory = 1;

HardwareStatus GetCompilerStatus(CudaResult result) {
    if (result == c_cudaSuccess)
        return HardwareStatus::Done;
    return result == c_nvrtcOutOfMemory ? HardwareStatus::OutOfMemory : HardwareStatus::Failed;
}

} // namespace

CudaCompiler::CudaCompiler(std::shared_ptr<NvrtcFunctions const> functions, int capability)
    : m_functions(std::move(functions)) {
    int count = 0;
    if (m_functions->getSupportedArchitectureCount(&count) != c_cudaSuccess || count <= 0)
        return;
    std::vector<int> known(static_cast<std::size_t>(count));
    if (m_functions->getSupportedArchitectures(known.data()) != c_cudaSuccess)
        return;
    std::erase_if(known, [capability](int one) { return one > capability; });
    if (known.empty())
        return;
    int const best = *std::max_element(known.begin(), known.end());
    m_architecture = (best == capability ? "sm_" : "compute_") + std::to_string(best);
}

std::string CudaCompiler::GetVersion() const {
    int major = 0, minor = 0;
    m_functions->version(&major, &minor);
    return std::to_string(major) + "." + std::to_string(minor);
}

HardwareStatus CudaCompiler::Compile(std::string const& source, std::vector<std::byte>& binary,
                                     std::string& log) const {
    auto const& nvrtc = *m_functions;
    NvrtcProgram program = nullptr;
    auto result = nvrtc.createProgram(&program, source.c_str(), "kernel.cu", 0, nullptr, nullptr);
    if (result != c_cudaSuccess)
        return GetCompilerStatus(result);
    struct Destroying {
        ~Destroying() { nvrtc.destroyProgram(&program); }
        NvrtcFunctions const& nvrtc;
        NvrtcProgram& program;
    };
    Destroying const destroying{nvrtc, program};
    auto const architecture = "--gpu-architecture=" + m_architecture;
    std::array const options{architecture.c_str(), "--std=c++17",      "--fmad=false",
                             "--prec-div=true",    "--prec-sqrt=true", "--ftz=false"};
    result = nvrtc.compileProgram(program, static_cast<int>(options.size()), options.data());
    std::size_t size = 0;
    if (nvrtc.getLogSize(program, &size) == c_cudaSuccess && size > 1) {
        log.resize(size);
        log.resize(nvrtc.getLog(program, log.data()) == c_cudaSuccess ? size - 1 : 0);
    }
    if (result != c_cudaSuccess)
        return GetCompilerStatus(result);
    bool const isFinal = m_architecture.starts_with("sm_");
    size = 0;
    result = isFinal ? nvrtc.getCubinSize(program, &size) : nvrtc.getPtxSize(program, &size);
    if (result != c_cudaSuccess || size == 0)
        return result == c_cudaSuccess ? HardwareStatus::Failed : GetCompilerStatus(result);
    binary.resize(size);
    auto* const bytes = reinterpret_cast<char*>(binary.data());
    return GetCompilerStatus(isFinal ? nvrtc.getCubin(program, bytes) : nvrtc.getPtx(program, bytes));
}

namespace {

CudaPointer ToPointer(void* block) { return reinterpret_cast<CudaPointer>(block); }

class CudaDriver final : public HardwareDriver {
public:
    // Null where the device does not work.
    static std::unique_ptr<CudaDriver> Make(std::shared_ptr<CudaFunctions const> const& functions,
                                            std::shared_ptr<NvrtcFunctions const> const& compiler, CudaDevice device);
    ~CudaDriver() override;

    HardwareInfo const& GetInfo() const override { return m_info; }
    int GetKernelLanguage() const override { return c_kernelLanguageCuda; }

    HardwareStatus Allocate(std::size_t bytes, void*& block) override;
    void Free(void* block) noexcept override;
    HardwareStatus Write(void* block, HardwareRows const& there, void const* host, std::size_t hostPitch,
                         std::size_t rowBytes, std::size_t rows) override;
    HardwareStatus Read(void* block, HardwareRows const& there, void* host, std::size_t hostPitch, std::size_t rowBytes,
                        std::size_t rows) override;
    HardwareStatus Copy(void* from, HardwareRows const& there, void* to, HardwareRows const& here, std::size_t rowBytes,
                        std::size_t rows) override;
    HardwareStatus Compile(std::string const& source, std::vector<std::byte>& binary, std::string& log) override {
        return m_compiler.Compile(source, binary, log);
    }
    HardwareStatus LoadKernel(std::span<std::byte const> binary, void*& kernel) override;
    void FreeKernel(void* kernel) noexcept override;
    HardwareStatus Launch(HardwareLaunch const& launch) override;
    HardwareStatus Finish() override;

private:
    // The device's context is the calling thread's while one lives.
    class Current {
    public:
        explicit Current(CudaDriver const& driver)
            : m_cuda(*driver.m_functions), m_result(m_cuda.contextPushCurrent(driver.m_context)) {}
        Current(Current const&) = delete;
        Current& operator=(Current const&) = delete;
        ~Current() {
            CudaContext context = nullptr;
            if (m_result == c_cudaSuccess)
                m_cuda.contextPopCurrent(&context);
        }
        CudaResult GetResult() const { return m_result; }

    private:
        CudaFunctions const& m_cuda;
        CudaResult m_result;
    };
    struct LoadedKernel {
        CudaModule module;
        CudaFunction function;
        unsigned mostThreads;
    };

    CudaDriver(std::shared_ptr<CudaFunctions const> functions, CudaDevice device, CudaCompiler compiler)
        : m_functions(std::move(functions)), m_device(device), m_compiler(std::move(compiler)) {}
    bool Open();
    CudaResult CopyRows(CudaCopy copy);
    CudaResult CopyRow(CudaCopy const& copy, std::size_t row);

    std::shared_ptr<CudaFunctions const> m_functions;
    CudaDevice m_device;
    CudaCompiler m_compiler;
    HardwareInfo m_info;
    CudaContext m_context = nullptr;
    CudaStream m_stream = nullptr;
    CudaPointer m_parameters = 0;
    std::size_t m_maximumPitch = 0;
};

std::unique_ptr<CudaDriver> CudaDriver::Make(std::shared_ptr<CudaFunctions const> const& functions,
                                             std::shared_ptr<NvrtcFunctions const> const& compiler, CudaDevice device) {
    auto const& cuda = *functions;
    auto const get = [&](int attribute) {
        int value = 0;
        return cuda.deviceGetAttribute(&value, attribute, device) == c_cudaSuccess ? value : 0;
    };
    int const major = get(c_capabilityMajor), minor = get(c_capabilityMinor);
    CudaCompiler used(compiler, major * 10 + minor);
    if (get(c_computeMode) == c_prohibitedMode || !used.IsUsable())
        return nullptr;
    int version = 0;
    cuda.driverGetVersion(&version);
    std::unique_ptr<CudaDriver> driver(new CudaDriver(functions, device, used));
    auto& info = driver->m_info;
    std::array<char, 256> name{};
    if (cuda.deviceGetName(name.data(), static_cast<int>(name.size() - 1), device) == c_cudaSuccess)
        info.name = name.data();
    info.version = std::to_string(version / 1000) + "." + std::to_string(version % 1000 / 10) + ", compiler " +
                   used.GetVersion() + ", " + used.GetArchitecture();
    info.interfaceName = "CUDA";
    cuda.deviceTotalMem(&info.memoryBytes, device);
    info.largestBlockBytes = info.memoryBytes;
    info.computeUnits = get(c_multiprocessorCount);
    driver->m_maximumPitch = static_cast<std::size_t>(std::max(get(c_maximumPitch), 0));
    return driver->Open() ? std::move(driver) : nullptr;
}

bool CudaDriver::Open() {
    auto const& cuda = *m_functions;
    if (cuda.primaryContextRetain(&m_context, m_device) != c_cudaSuccess) {
        m_context = nullptr;
        return false;
    }
    Current const current(*this);
    return current.GetResult() == c_cudaSuccess && cuda.streamCreate(&m_stream, c_nonBlockingStream) == c_cudaSuccess &&
           cuda.memAlloc(&m_parameters, c_mostParameters * sizeof(float)) == c_cudaSuccess;
}

CudaDriver::~CudaDriver() {
    if (m_context == nullptr)
        return;
    {
        Current const current(*this);
        if (m_stream != nullptr)
            m_functions->streamSynchronize(m_stream);
        if (m_parameters != 0)
            m_functions->memFree(m_parameters);
        if (m_stream != nullptr)
            m_functions->streamDestroy(m_stream);
    }
    m_functions->primaryContextRelease(m_device);
}

HardwareStatus CudaDriver::Allocate(std::size_t bytes, void*& block) {
    Current const current(*this);
    if (current.GetResult() != c_cudaSuccess)
        return GetCudaStatus(current.GetResult());
    CudaPointer pointer = 0;
    auto const result = m_functions->memAlloc(&pointer, bytes);
    if (result == c_cudaSuccess)
        block = reinterpret_cast<void*>(pointer);
    return GetCudaStatus(result);
}

void CudaDriver::Free(void* block) noexcept {
    Current const current(*this);
    m_functions->streamSynchronize(m_stream);
    m_functions->memFree(ToPointer(block));
}

// Row `row` of a copy whose places are whole addresses.
CudaResult CudaDriver::CopyRow(CudaCopy const& copy, std::size_t row) {
    auto const from = copy.sourceDevice + row * copy.sourcePitch,
               to = copy.destinationDevice + row * copy.destinationPitch;
    if (copy.sourceType == c_cudaHostMemory)
        return m_functions->memcpyHostToDevice(
            to, static_cast<std::byte const*>(copy.sourceHost) + row * copy.sourcePitch, copy.rowBytes, m_stream);
    if (copy.destinationType == c_cudaHostMemory)
        return m_functions->memcpyDeviceToHost(
            static_cast<std::byte*>(copy.destinationHost) + row * copy.destinationPitch, from, copy.rowBytes, m_stream);
    return m_functions->memcpyDeviceToDevice(to, from, copy.rowBytes, m_stream);
}

CudaResult CudaDriver::CopyRows(CudaCopy copy) {
    if (copy.rows == 1 || (copy.sourcePitch == copy.rowBytes && copy.destinationPitch == copy.rowBytes)) {
        copy.rowBytes *= std::exchange(copy.rows, 1);
        return CopyRow(copy, 0);
    }
    if (std::max(copy.sourcePitch, copy.destinationPitch) <= m_maximumPitch) {
        auto const result = m_functions->memcpy2D(&copy, m_stream);
        if (result != c_cudaInvalidValue)
            return result;
    }
    // Pitches that the device's rectangles do not take.
    for (std::size_t row = 0; row != copy.rows; ++row) {
        if (auto const result = CopyRow(copy, row); result != c_cudaSuccess)
            return result;
    }
    return c_cudaSuccess;
}

HardwareStatus CudaDriver::Write(void* block, HardwareRows const& there, void const* host, std::size_t hostPitch,
                                 std::size_t rowBytes, std::size_t rows) {
    Current const current(*this);
    if (current.GetResult() != c_cudaSuccess)
        return GetCudaStatus(current.GetResult());
    CudaCopy copy{};
    copy.sourceType = c_cudaHostMemory;
    copy.sourceHost = host;
    copy.sourcePitch = hostPitch;
    copy.destinationType = c_cudaDeviceMemory;
    copy.destinationDevice = ToPointer(block) + there.offset;
    copy.destinationPitch = there.pitch;
    copy.rowBytes = rowBytes;
    copy.rows = rows;
    auto const copied = CopyRows(copy);
    // Also when it failed half way: the host's memory is the caller's again.
    auto const finished = m_functions->streamSynchronize(m_stream);
    return GetCudaStatus(copied != c_cudaSuccess ? copied : finished);
}

HardwareStatus CudaDriver::Read(void* block, HardwareRows const& there, void* host, std::size_t hostPitch,
                                std::size_t rowBytes, std::size_t rows) {
    Current const current(*this);
    if (current.GetResult() != c_cudaSuccess)
        return GetCudaStatus(current.GetResult());
    CudaCopy copy{};
    copy.sourceType = c_cudaDeviceMemory;
    copy.sourceDevice = ToPointer(block) + there.offset;
    copy.sourcePitch = there.pitch;
    copy.destinationType = c_cudaHostMemory;
    copy.destinationHost = host;
    copy.destinationPitch = hostPitch;
    copy.rowBytes = rowBytes;
    copy.rows = rows;
    auto const copied = CopyRows(copy);
    auto const finished = m_functions->streamSynchronize(m_stream);
    return GetCudaStatus(copied != c_cudaSuccess ? copied : finished);
}

HardwareStatus CudaDriver::Copy(void* from, HardwareRows const& there, void* to, HardwareRows const& here,
                                std::size_t rowBytes, std::size_t rows) {
    Current const current(*this);
    if (current.GetResult() != c_cudaSuccess)
        return GetCudaStatus(current.GetResult());
    CudaCopy copy{};
    copy.sourceType = copy.destinationType = c_cudaDeviceMemory;
    copy.sourceDevice = ToPointer(from) + there.offset;
    copy.sourcePitch = there.pitch;
    copy.destinationDevice = ToPointer(to) + here.offset;
    copy.destinationPitch = here.pitch;
    copy.rowBytes = rowBytes;
    copy.rows = rows;
    return GetCudaStatus(CopyRows(copy));
}

HardwareStatus CudaDriver::LoadKernel(std::span<std::byte const> binary, void*& kernel) {
    Current const current(*this);
    if (current.GetResult() != c_cudaSuccess)
        return GetCudaStatus(current.GetResult());
    // The translated language is text, which must end with a null character.
    std::vector<std::byte> image(binary.begin(), binary.end());
    image.push_back({});
    auto loaded = std::make_unique<LoadedKernel>();
    auto result = m_functions->moduleLoadData(&loaded->module, image.data());
    if (result != c_cudaSuccess)
        return GetCudaStatus(result);
    int threads = 0;
    result = m_functions->moduleGetFunction(&loaded->function, loaded->module, "redraft_kernel");
    if (result == c_cudaSuccess)
        result = m_functions->functionGetAttribute(&threads, c_mostThreadsOfFunction, loaded->function);
    if (result != c_cudaSuccess) {
        m_functions->moduleUnload(loaded->module);
        return GetCudaStatus(result);
    }
    loaded->mostThreads = static_cast<unsigned>(std::max(threads, 1));
    kernel = loaded.release();
    return HardwareStatus::Done;
}

void CudaDriver::FreeKernel(void* kernel) noexcept {
    Current const current(*this);
    auto* const loaded = static_cast<LoadedKernel*>(kernel);
    m_functions->moduleUnload(loaded->module);
    delete loaded;
}

HardwareStatus CudaDriver::Launch(HardwareLaunch const& launch) {
    Current const current(*this);
    if (current.GetResult() != c_cudaSuccess)
        return GetCudaStatus(current.GetResult());
    if (launch.parameters.size() > c_mostParameters)
        return HardwareStatus::Failed;
    // Memory that is not pinned has been read when the call returns.
    if (!launch.parameters.empty()) {
        auto const result = m_functions->memcpyHostToDevice(m_parameters, launch.parameters.data(),
                                                            launch.parameters.size_bytes(), m_stream);
        if (result != c_cudaSuccess)
            return GetCudaStatus(result);
    }
    std::array pointers{ToPointer(launch.source),
                        ToPointer(launch.destination),
                        ToPointer(launch.mask),
                        ToPointer(launch.secondMask),
                        ToPointer(launch.sampler),
                        ToPointer(launch.process),
                        m_parameters};
    std::array numbers{launch.sourceSize.width,
                       launch.sourceSize.height,
                       launch.destinationSize.width,
                       launch.destinationSize.height,
                       launch.maskSize.width,
                       launch.maskSize.height,
                       launch.secondMaskSize.width,
                       launch.secondMaskSize.height,
                       launch.samplerSize.width,
                       launch.samplerSize.height,
                       static_cast<int>(launch.parameters.size()),
                       launch.rect.left,
                       launch.rect.top,
                       launch.rect.right,
                       launch.rect.bottom,
                       launch.pixelsPerItem};
    std::array<void*, pointers.size() + numbers.size()> arguments{};
    auto const numbersAt =
        std::transform(pointers.begin(), pointers.end(), arguments.begin(), [](auto& one) -> void* { return &one; });
    std::transform(numbers.begin(), numbers.end(), numbersAt, [](auto& one) -> void* { return &one; });
    int& top = numbers[12];
    int& bottom = numbers[14];

    auto const& loaded = *static_cast<LoadedKernel const*>(launch.kernel);
    unsigned const width = std::min(c_blockWidth, loaded.mostThreads),
                   height = std::clamp(loaded.mostThreads / width, 1u, c_blockHeight);
    auto const perBlock = std::int64_t{launch.pixelsPerItem} * width;
    auto const blocksAcross = static_cast<unsigned>((launch.rect.GetWidth() + perBlock - 1) / perBlock);
    auto const rowsOfGrid = static_cast<int>(c_mostBlocksDown * height);
    // A grid has so many rows at most; pictures may have more.
    while (top < launch.rect.bottom) {
        bottom = launch.rect.bottom - top > rowsOfGrid ? top + rowsOfGrid : launch.rect.bottom;
        auto const blocksDown = (static_cast<unsigned>(bottom - top) + height - 1) / height;
        auto const result = m_functions->launchKernel(loaded.function, blocksAcross, blocksDown, 1, width, height, 1, 0,
                                                      m_stream, arguments.data(), nullptr);
        // Rows above are made already, and must not be made twice.
        if (result == c_cudaOutOfMemory && top != launch.rect.top)
            return HardwareStatus::Failed;
        if (result != c_cudaSuccess)
            return GetCudaStatus(result);
        top = bottom;
    }
    return HardwareStatus::Done;
}

HardwareStatus CudaDriver::Finish() {
    Current const current(*this);
    return GetCudaStatus(current.GetResult() != c_cudaSuccess ? current.GetResult()
                                                              : m_functions->streamSynchronize(m_stream));
}

} // namespace

std::vector<std::unique_ptr<HardwareDriver>> FindCudaDrivers(std::shared_ptr<CudaFunctions const> const& driver,
                                                             std::shared_ptr<NvrtcFunctions const> const& compiler) {
    std::vector<std::unique_ptr<HardwareDriver>> drivers;
    int count = 0;
    if (driver == nullptr || compiler == nullptr || driver->init(0) != c_cudaSuccess ||
        driver->deviceGetCount(&count) != c_cudaSuccess)
        return drivers;
    for (int number = 0; number < count; ++number) {
        CudaDevice device = 0;
        if (driver->deviceGet(&device, number) != c_cudaSuccess)
            continue;
        if (auto made = CudaDriver::Make(driver, compiler, device))
            drivers.push_back(std::move(made));
    }
    return drivers;
}

std::vector<std::unique_ptr<HardwareDriver>> FindCudaDrivers() {
    auto const driver = CudaFunctions::Open("libcuda.so.1");
    int version = 0;
    if (driver == nullptr || driver->driverGetVersion(&version) != c_cudaSuccess)
        return {};
    return FindCudaDrivers(driver, NvrtcFunctions::Open(NvrtcFunctions::GetLibraryNames(version / 1000)));
}

} // namespace Raster
