// SPDX-License-Identifier: Apache-2.0
#include "engine/hardware/opencl_driver.h"

#include "engine/kernel/sanitizers.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>
#include <unistd.h>
#include <utility>

namespace Raster {

HardwareStatus GetOpenCLStatus(cl_int code) {
    switch (code) {
    case CL_SUCCESS:
        return HardwareStatus::Done;
    case CL_MEM_OBJECT_ALLOCATION_FAILURE:
    case CL_OUT_OF_RESOURCES:
    case CL_OUT_OF_HOST_MEMORY:
        return HardwareStatus::OutOfMemory;
    case CL_DEVICE_NOT_FOUND:
    case CL_DEVICE_NOT_AVAILABLE:
    case CL_INVALID_DEVICE:
    case CL_INVALID_CONTEXT:
    case CL_INVALID_COMMAND_QUEUE:
        return HardwareStatus::Lost;
    default:
        return HardwareStatus::Failed;
    }
}

namespace {

constexpr std::size_t c_parameterBytes = 1024 * sizeof(float);
// Work items of a group along rows and across them, where the device takes so many: neighbours in a row read
// neighbouring pixels.
constexpr std::size_t c_groupWidth = 32, c_groupHeight = 8;
// So many commands are queued before it is looked for those that failed.
constexpr std::size_t c_mostEvents = 256;

template <class T>
std::optional<T> GetDeviceValue(OpenCLFunctions const& cl, cl_device_id device, cl_device_info name) {
    T value{};
    if (cl.getDeviceInfo(device, name, sizeof value, &value, nullptr) != CL_SUCCESS)
        return std::nullopt;
    return value;
}

std::string GetDeviceText(OpenCLFunctions const& cl, cl_device_id device, cl_device_info name) {
    std::size_t size = 0;
    if (cl.getDeviceInfo(device, name, 0, nullptr, &size) != CL_SUCCESS || size == 0)
        return {};
    std::string text(size, '\0');
    if (cl.getDeviceInfo(device, name, size, text.data(), nullptr) != CL_SUCCESS)
        return {};
    text.resize(std::strlen(text.c_str()));
    auto const isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    text.erase(text.begin(), std::find_if_not(text.begin(), text.end(), isSpace));
    text.erase(std::find_if_not(text.rbegin(), text.rend(), isSpace).base(), text.end());
    return text;
}

// Whether a program of this name is on the path.
bool IsOnPath(char const* program) {
    auto const* const path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (::access((folder + '/' + program).c_str(), X_OK) == 0)
            return true;
    }
    return false;
}

// PoCL calls the system's linker for kernels that run on processors, and ends the whole process where there is none.
bool MayEndTheProcess(OpenCLFunctions const& cl, cl_device_id device) {
    cl_platform_id platform = nullptr;
    std::array<char, 256> name{};
    if (cl.getDeviceInfo(device, CL_DEVICE_PLATFORM, sizeof platform, &platform, nullptr) != CL_SUCCESS ||
        cl.getPlatformInfo(platform, CL_PLATFORM_NAME, name.size() - 1, name.data(), nullptr) != CL_SUCCESS)
        return false;
    return std::string_view(name.data()) == "Portable Computing Language" && !IsOnPath("ld");
}

// Whether its version, such as "OpenCL 1.2 and more", is 1.2 or later, and it compiles what this machine's numbers are
// passed to.
bool IsUsable(OpenCLFunctions const& cl, cl_device_id device) {
    int major = 0, minor = 0;
    auto const version = GetDeviceText(cl, device, CL_DEVICE_VERSION);
    if (std::sscanf(version.c_str(), "OpenCL %d.%d", &major, &minor) != 2 || std::pair(major, minor) < std::pair(1, 2))
        return false;
    for (auto const needed : {CL_DEVICE_AVAILABLE, CL_DEVICE_COMPILER_AVAILABLE, CL_DEVICE_ENDIAN_LITTLE}) {
        if (GetDeviceValue<cl_bool>(cl, device, static_cast<cl_device_info>(needed)).value_or(CL_FALSE) != CL_TRUE)
            return false;
    }
    return !MayEndTheProcess(cl, device);
}

HardwareInfo MakeInfo(OpenCLFunctions const& cl, cl_device_id device) {
    HardwareInfo info;
    info.name = GetDeviceText(cl, device, CL_DEVICE_NAME);
    info.version = GetDeviceText(cl, device, CL_DRIVER_VERSION) + ", " + GetDeviceText(cl, device, CL_DEVICE_VERSION);
    info.interfaceName = "OpenCL";
    info.memoryBytes = GetDeviceValue<cl_ulong>(cl, device, CL_DEVICE_GLOBAL_MEM_SIZE).value_or(0);
    info.largestBlockBytes = GetDeviceValue<cl_ulong>(cl, device, CL_DEVICE_MAX_MEM_ALLOC_SIZE).value_or(0);
    info.computeUnits = static_cast<int>(GetDeviceValue<cl_uint>(cl, device, CL_DEVICE_MAX_COMPUTE_UNITS).value_or(0));
    info.isProcessor =
        (GetDeviceValue<cl_device_type>(cl, device, CL_DEVICE_TYPE).value_or(0) & CL_DEVICE_TYPE_CPU) != 0;
    return info;
}

// Where rows begin in a block, as calls for rectangles take it; nothing where a row would go over the end of the
// pitch, which not every driver takes.
struct RectOrigin {
    static std::optional<RectOrigin> Make(HardwareRows const& rows, std::size_t rowBytes) {
        if (rows.pitch == 0 || rows.offset % rows.pitch + rowBytes > rows.pitch)
            return std::nullopt;
        return RectOrigin{{rows.offset % rows.pitch, rows.offset / rows.pitch, 0}};
    }
    std::size_t bytes[3];
};
constexpr std::size_t c_hostOrigin[3]{0, 0, 0};

class OpenCLDriver final : public HardwareDriver {
public:
    // Null where the device does not work.
    static std::unique_ptr<OpenCLDriver> Make(OpenCLFunctions const& functions, cl_device_id device) {
        std::unique_ptr<OpenCLDriver> driver(new OpenCLDriver(functions, device));
        cl_int code = CL_SUCCESS;
        driver->m_context = functions.createContext(nullptr, 1, &device, nullptr, nullptr, &code);
        if (code != CL_SUCCESS)
            return nullptr;
        driver->m_queue = functions.createCommandQueue(driver->m_context, device, 0, &code);
        if (code != CL_SUCCESS)
            return nullptr;
        driver->m_parameters =
            functions.createBuffer(driver->m_context, CL_MEM_READ_ONLY, c_parameterBytes, nullptr, &code);
        return code == CL_SUCCESS ? std::move(driver) : nullptr;
    }
    ~OpenCLDriver() override {
        if (m_queue != nullptr)
            m_cl.finish(m_queue);
        for (auto* const event : m_events)
            m_cl.releaseEvent(event);
        if (m_parameters != nullptr)
            m_cl.releaseMemObject(m_parameters);
        if (m_queue != nullptr)
            m_cl.releaseCommandQueue(m_queue);
        if (m_context != nullptr)
            m_cl.releaseContext(m_context);
    }

    HardwareInfo const& GetInfo() const override { return m_info; }
    int GetKernelLanguage() const override { return c_kernelLanguageOpenCL; }

    HardwareStatus Allocate(std::size_t bytes, void*& block) override;
    void Free(void* block) noexcept override { m_cl.releaseMemObject(static_cast<cl_mem>(block)); }
    HardwareStatus Write(void* block, HardwareRows const& there, void const* host, std::size_t hostPitch,
                         std::size_t rowBytes, std::size_t rows) override;
    HardwareStatus Read(void* block, HardwareRows const& there, void* host, std::size_t hostPitch, std::size_t rowBytes,
                        std::size_t rows) override;
    HardwareStatus Copy(void* from, HardwareRows const& there, void* to, HardwareRows const& here, std::size_t rowBytes,
                        std::size_t rows) override;
    HardwareStatus Compile(std::string const& source, std::vector<std::byte>& binary, std::string& log) override;
    HardwareStatus LoadKernel(std::span<std::byte const> binary, void*& kernel) override;
    void FreeKernel(void* kernel) noexcept override {
        auto* const loaded = static_cast<LoadedKernel*>(kernel);
        m_cl.releaseKernel(loaded->kernel);
        delete loaded;
    }
    HardwareStatus Launch(HardwareLaunch const& launch) override;
    HardwareStatus Finish() override;

private:
    struct LoadedKernel {
        cl_kernel kernel;
        std::size_t largestGroup;
    };
    struct Program {
        ~Program() {
            if (program != nullptr)
                cl.releaseProgram(program);
        }
        OpenCLFunctions const& cl;
        cl_program program;
    };

    OpenCLDriver(OpenCLFunctions const& functions, cl_device_id device)
        : m_cl(functions), m_device(device), m_info(MakeInfo(functions, device)) {
        // Without warnings: some compilers write of them to the standard error stream of the program.
        m_options = "-cl-std=CL1.2 -w";
        auto const floats = GetDeviceValue<cl_device_fp_config>(functions, device, CL_DEVICE_SINGLE_FP_CONFIG);
        if ((floats.value_or(0) & CL_FP_CORRECTLY_ROUNDED_DIVIDE_SQRT) != 0)
            m_options += " -cl-fp32-correctly-rounded-divide-sqrt";
        std::vector<std::size_t> sizes(
            GetDeviceValue<cl_uint>(functions, device, CL_DEVICE_MAX_WORK_ITEM_DIMENSIONS).value_or(0));
        if (sizes.size() >= 2 &&
            functions.getDeviceInfo(device, CL_DEVICE_MAX_WORK_ITEM_SIZES, sizes.size() * sizeof(std::size_t),
                                    sizes.data(), nullptr) == CL_SUCCESS) {
            m_largestGroup[0] = std::clamp<std::size_t>(sizes[0], 1, c_groupWidth);
            m_largestGroup[1] = std::clamp<std::size_t>(sizes[1], 1, c_groupHeight);
        }
    }
    cl_int Build(cl_program program) const {
        return m_cl.buildProgram(program, 1, &m_device, m_options.c_str(), nullptr, nullptr);
    }
    std::string GetLog(cl_program program) const;
    // Notes the first failure among the commands that are done.
    void LookForFailures();
    // Keeps the event of a command that was queued with this code.
    HardwareStatus Keep(cl_int code, cl_event event);
    HardwareStatus FinishQueue();

    OpenCLFunctions const& m_cl;
    cl_device_id m_device;
    HardwareInfo m_info;
    std::string m_options;
    std::size_t m_largestGroup[2]{1, 1};
    cl_context m_context = nullptr;
    cl_command_queue m_queue = nullptr;
    cl_mem m_parameters = nullptr;
    // Of commands that nobody has waited for: a queue does not tell whether they failed.
    std::vector<cl_event> m_events;
    cl_int m_firstFailure = CL_SUCCESS;
};

void OpenCLDriver::LookForFailures() {
    for (auto* const event : m_events) {
        cl_int code = CL_COMPLETE;
        auto const asked = m_cl.getEventInfo(event, CL_EVENT_COMMAND_EXECUTION_STATUS, sizeof code, &code, nullptr);
        if (asked != CL_SUCCESS)
            code = asked;
        if (code < 0 && m_firstFailure == CL_SUCCESS)
            m_firstFailure = code;
        m_cl.releaseEvent(event);
    }
    m_events.clear();
}

HardwareStatus OpenCLDriver::Keep(cl_int code, cl_event event) {
    if (code != CL_SUCCESS)
        return GetOpenCLStatus(code);
    m_events.push_back(event);
    if (m_events.size() == c_mostEvents) {
        auto const finished = m_cl.finish(m_queue);
        LookForFailures();
        return GetOpenCLStatus(finished);
    }
    return HardwareStatus::Done;
}

HardwareStatus OpenCLDriver::FinishQueue() {
    auto const code = m_cl.finish(m_queue);
    LookForFailures();
    auto const first = std::exchange(m_firstFailure, CL_SUCCESS);
    return GetOpenCLStatus(code != CL_SUCCESS ? code : first);
}

HardwareStatus OpenCLDriver::Finish() { return FinishQueue(); }

// Drivers may put off taking the memory to its first use, which is therefore made here: one byte is written to.
HardwareStatus OpenCLDriver::Allocate(std::size_t bytes, void*& block) {
    cl_int code = CL_SUCCESS;
    auto* const buffer = m_cl.createBuffer(m_context, CL_MEM_READ_WRITE, bytes, nullptr, &code);
    if (code != CL_SUCCESS)
        return GetOpenCLStatus(code);
    unsigned char const zero = 0;
    code = m_cl.enqueueWriteBuffer(m_queue, buffer, CL_TRUE, 0, 1, &zero, 0, nullptr, nullptr);
    if (code != CL_SUCCESS) {
        m_cl.releaseMemObject(buffer);
        return GetOpenCLStatus(code);
    }
    block = buffer;
    return HardwareStatus::Done;
}

HardwareStatus OpenCLDriver::Write(void* block, HardwareRows const& there, void const* host, std::size_t hostPitch,
                                   std::size_t rowBytes, std::size_t rows) {
    auto* const buffer = static_cast<cl_mem>(block);
    if (rows == 1 || (there.pitch == rowBytes && hostPitch == rowBytes))
        return GetOpenCLStatus(m_cl.enqueueWriteBuffer(m_queue, buffer, CL_TRUE, there.offset, rowBytes * rows, host, 0,
                                                       nullptr, nullptr));
    std::size_t const region[3]{rowBytes, rows, 1};
    if (auto const origin = RectOrigin::Make(there, rowBytes))
        return GetOpenCLStatus(m_cl.enqueueWriteBufferRect(m_queue, buffer, CL_TRUE, origin->bytes, c_hostOrigin,
                                                           region, there.pitch, 0, hostPitch, 0, host, 0, nullptr,
                                                           nullptr));
    cl_int code = CL_SUCCESS;
    for (std::size_t row = 0; row != rows && code == CL_SUCCESS; ++row)
        code = m_cl.enqueueWriteBuffer(m_queue, buffer, CL_TRUE, there.offset + row * there.pitch, rowBytes,
                                       static_cast<std::byte const*>(host) + row * hostPitch, 0, nullptr, nullptr);
    return GetOpenCLStatus(code);
}

HardwareStatus OpenCLDriver::Read(void* block, HardwareRows const& there, void* host, std::size_t hostPitch,
                                  std::size_t rowBytes, std::size_t rows) {
    // Of work that failed there is nothing to read, also with more memory.
    if (!m_events.empty() || m_firstFailure != CL_SUCCESS) {
        auto const before = FinishQueue();
        if (before != HardwareStatus::Done)
            return before == HardwareStatus::Lost ? before : HardwareStatus::Failed;
    }
    auto* const buffer = static_cast<cl_mem>(block);
    if (rows == 1 || (there.pitch == rowBytes && hostPitch == rowBytes))
        return GetOpenCLStatus(
            m_cl.enqueueReadBuffer(m_queue, buffer, CL_TRUE, there.offset, rowBytes * rows, host, 0, nullptr, nullptr));
    std::size_t const region[3]{rowBytes, rows, 1};
    if (auto const origin = RectOrigin::Make(there, rowBytes))
        return GetOpenCLStatus(m_cl.enqueueReadBufferRect(m_queue, buffer, CL_TRUE, origin->bytes, c_hostOrigin, region,
                                                          there.pitch, 0, hostPitch, 0, host, 0, nullptr, nullptr));
    cl_int code = CL_SUCCESS;
    for (std::size_t row = 0; row != rows && code == CL_SUCCESS; ++row)
        code = m_cl.enqueueReadBuffer(m_queue, buffer, CL_TRUE, there.offset + row * there.pitch, rowBytes,
                                      static_cast<std::byte*>(host) + row * hostPitch, 0, nullptr, nullptr);
    return GetOpenCLStatus(code);
}

HardwareStatus OpenCLDriver::Copy(void* from, HardwareRows const& there, void* to, HardwareRows const& here,
                                  std::size_t rowBytes, std::size_t rows) {
    auto* const source = static_cast<cl_mem>(from);
    auto* const destination = static_cast<cl_mem>(to);
    cl_event event = nullptr;
    if (rows == 1 || (there.pitch == rowBytes && here.pitch == rowBytes)) {
        auto const code = m_cl.enqueueCopyBuffer(m_queue, source, destination, there.offset, here.offset,
                                                 rowBytes * rows, 0, nullptr, &event);
        return Keep(code, event);
    }
    auto const origin = RectOrigin::Make(there, rowBytes), target = RectOrigin::Make(here, rowBytes);
    // Within one block both pitches must be alike.
    if (origin && target && (source != destination || there.pitch == here.pitch)) {
        std::size_t const region[3]{rowBytes, rows, 1};
        auto const code = m_cl.enqueueCopyBufferRect(m_queue, source, destination, origin->bytes, target->bytes, region,
                                                     there.pitch, 0, here.pitch, 0, 0, nullptr, &event);
        return Keep(code, event);
    }
    auto status = HardwareStatus::Done;
    for (std::size_t row = 0; row != rows && status == HardwareStatus::Done; ++row) {
        auto const code = m_cl.enqueueCopyBuffer(m_queue, source, destination, there.offset + row * there.pitch,
                                                 here.offset + row * here.pitch, rowBytes, 0, nullptr, &event);
        status = Keep(code, event);
    }
    return status;
}

std::string OpenCLDriver::GetLog(cl_program program) const {
    std::size_t size = 0;
    if (m_cl.getProgramBuildInfo(program, m_device, CL_PROGRAM_BUILD_LOG, 0, nullptr, &size) != CL_SUCCESS)
        return {};
    std::string log(size, '\0');
    if (m_cl.getProgramBuildInfo(program, m_device, CL_PROGRAM_BUILD_LOG, size, log.data(), nullptr) != CL_SUCCESS)
        return {};
    log.resize(std::strlen(log.c_str()));
    return log;
}

HardwareStatus OpenCLDriver::Compile(std::string const& source, std::vector<std::byte>& binary, std::string& log) {
    // PoCL loses some of what its compiler allocates.
    Kernel::KnownLeaks const known;
    char const* text = source.c_str();
    std::size_t const length = source.size();
    cl_int code = CL_SUCCESS;
    Program const made{m_cl, m_cl.createProgramWithSource(m_context, 1, &text, &length, &code)};
    if (code != CL_SUCCESS)
        return GetOpenCLStatus(code);
    code = Build(made.program);
    log = GetLog(made.program);
    if (code != CL_SUCCESS)
        return GetOpenCLStatus(code);
    std::size_t size = 0;
    code = m_cl.getProgramInfo(made.program, CL_PROGRAM_BINARY_SIZES, sizeof size, &size, nullptr);
    if (code != CL_SUCCESS || size == 0)
        return code == CL_SUCCESS ? HardwareStatus::Failed : GetOpenCLStatus(code);
    binary.resize(size);
    auto* bytes = reinterpret_cast<unsigned char*>(binary.data());
    return GetOpenCLStatus(m_cl.getProgramInfo(made.program, CL_PROGRAM_BINARIES, sizeof bytes, &bytes, nullptr));
}

HardwareStatus OpenCLDriver::LoadKernel(std::span<std::byte const> binary, void*& kernel) {
    Kernel::KnownLeaks const known;
    auto const* bytes = reinterpret_cast<unsigned char const*>(binary.data());
    std::size_t const size = binary.size();
    cl_int code = CL_SUCCESS, status = CL_SUCCESS;
    Program const made{m_cl, m_cl.createProgramWithBinary(m_context, 1, &m_device, &size, &bytes, &status, &code)};
    if (code == CL_SUCCESS)
        code = status;
    if (code == CL_SUCCESS)
        code = Build(made.program);
    if (code != CL_SUCCESS)
        return GetOpenCLStatus(code);
    auto loaded = std::make_unique<LoadedKernel>();
    loaded->kernel = m_cl.createKernel(made.program, "redraft_kernel", &code);
    if (code != CL_SUCCESS)
        return GetOpenCLStatus(code);
    code = m_cl.getKernelWorkGroupInfo(loaded->kernel, m_device, CL_KERNEL_WORK_GROUP_SIZE, sizeof loaded->largestGroup,
                                       &loaded->largestGroup, nullptr);
    if (code != CL_SUCCESS) {
        m_cl.releaseKernel(loaded->kernel);
        return GetOpenCLStatus(code);
    }
    kernel = loaded.release();
    return HardwareStatus::Done;
}

HardwareStatus OpenCLDriver::Launch(HardwareLaunch const& launch) {
    Kernel::KnownLeaks const known;
    auto const& loaded = *static_cast<LoadedKernel const*>(launch.kernel);
    if (launch.parameters.size_bytes() > c_parameterBytes)
        return HardwareStatus::Failed;
    cl_int code = CL_SUCCESS;
    if (!launch.parameters.empty())
        code = m_cl.enqueueWriteBuffer(m_queue, m_parameters, CL_TRUE, 0, launch.parameters.size_bytes(),
                                       launch.parameters.data(), 0, nullptr, nullptr);
    cl_uint argument = 0;
    auto const set = [&](auto const& value) {
        if (code == CL_SUCCESS)
            code = m_cl.setKernelArg(loaded.kernel, argument++, sizeof value, &value);
    };
    for (void* const block : {launch.source, launch.destination, launch.mask, launch.secondMask, launch.sampler,
                              launch.process, static_cast<void*>(m_parameters)})
        set(static_cast<cl_mem>(block));
    for (auto const& size :
         {launch.sourceSize, launch.destinationSize, launch.maskSize, launch.secondMaskSize, launch.samplerSize}) {
        set(static_cast<cl_int>(size.width));
        set(static_cast<cl_int>(size.height));
    }
    set(static_cast<cl_int>(launch.parameters.size()));
    for (int const value :
         {launch.rect.left, launch.rect.top, launch.rect.right, launch.rect.bottom, launch.pixelsPerItem})
        set(static_cast<cl_int>(value));
    if (code != CL_SUCCESS)
        return GetOpenCLStatus(code);
    auto const perItem = static_cast<std::size_t>(launch.pixelsPerItem);
    std::size_t const items[2]{(static_cast<std::size_t>(launch.rect.GetWidth()) + perItem - 1) / perItem,
                               static_cast<std::size_t>(launch.rect.GetHeight())};
    std::size_t const width = std::clamp<std::size_t>(loaded.largestGroup, 1, m_largestGroup[0]);
    std::size_t const group[2]{width, std::clamp<std::size_t>(loaded.largestGroup / width, 1, m_largestGroup[1])};
    // Items beyond the edges make nothing.
    std::size_t const all[2]{(items[0] + group[0] - 1) / group[0] * group[0],
                             (items[1] + group[1] - 1) / group[1] * group[1]};
    cl_event event = nullptr;
    code = m_cl.enqueueNDRangeKernel(m_queue, loaded.kernel, 2, nullptr, all, group, 0, nullptr, &event);
    auto const status = Keep(code, event);
    // Begun now, so that it is under way while the caller does something else.
    return status == HardwareStatus::Done ? GetOpenCLStatus(m_cl.flush(m_queue)) : status;
}

// Graphics devices, other ones, processors.
int GetRank(OpenCLFunctions const& cl, cl_device_id device) {
    auto const type = GetDeviceValue<cl_device_type>(cl, device, CL_DEVICE_TYPE).value_or(0);
    return (type & CL_DEVICE_TYPE_GPU) != 0 ? 0 : (type & CL_DEVICE_TYPE_CPU) != 0 ? 2 : 1;
}

} // namespace

std::vector<std::unique_ptr<HardwareDriver>> FindOpenCLDrivers(OpenCLFunctions const& functions, bool withProcessors) {
    std::vector<cl_device_id> devices;
    cl_uint platformCount = 0;
    if (functions.getPlatformIDs(0, nullptr, &platformCount) != CL_SUCCESS)
        return {};
    std::vector<cl_platform_id> platforms(platformCount);
    if (platforms.empty() || functions.getPlatformIDs(platformCount, platforms.data(), nullptr) != CL_SUCCESS)
        return {};
    for (auto* const platform : platforms) {
        cl_uint count = 0;
        if (functions.getDeviceIDs(platform, CL_DEVICE_TYPE_ALL, 0, nullptr, &count) != CL_SUCCESS)
            continue;
        std::vector<cl_device_id> found(count);
        if (count != 0 &&
            functions.getDeviceIDs(platform, CL_DEVICE_TYPE_ALL, count, found.data(), nullptr) == CL_SUCCESS)
            devices.insert(devices.end(), found.begin(), found.end());
    }
    std::erase_if(devices, [&](auto* const device) {
        return !IsUsable(functions, device) || (!withProcessors && GetRank(functions, device) == 2);
    });
    std::stable_sort(devices.begin(), devices.end(),
                     [&](auto* const a, auto* const b) { return GetRank(functions, a) < GetRank(functions, b); });
    std::vector<std::unique_ptr<HardwareDriver>> drivers;
    for (auto* const device : devices) {
        if (auto driver = OpenCLDriver::Make(functions, device))
            drivers.push_back(std::move(driver));
    }
    return drivers;
}

std::vector<std::unique_ptr<HardwareDriver>> FindOpenCLDrivers(bool withProcessors) {
    auto const* const functions = OpenCLFunctions::Get();
    return functions == nullptr ? std::vector<std::unique_ptr<HardwareDriver>>()
                                : FindOpenCLDrivers(*functions, withProcessors);
}

} // namespace Raster
