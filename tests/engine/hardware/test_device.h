// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/hardware/device.h"
#include "engine/hardware/device_kernels.h"
#include "tests/support/hardware/failing_driver.h"
#include "tests/support/hardware/memory_driver.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace Raster::Tests {

// A folder that is deleted at the end.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "redraft-hardware-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr)
            std::abort();
        m_path = name;
    }
    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;
    ~TemporaryFolder() {
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
    }
    std::filesystem::path const& GetPath() const { return m_path; }

private:
    std::filesystem::path m_path;
};

// The kernel with this text, for devices whose source texts are ComposeFromProcess.
inline HardwareKernelDescriptor DescribeKernel(char const* text) {
    HardwareKernelDescriptor descriptor;
    descriptor.process = text;
    return descriptor;
}
inline std::string ComposeFromProcess(int, HardwareKernelDescriptor const& descriptor) { return descriptor.process; }

// A device of the host's memory that fails when it is told to.
struct TestDevice {
    explicit TestDevice(HardwareSettings const& settings = {}, HardwareInfo const& info = MemoryDriver::MakeInfo(),
                        int language = c_kernelLanguageOpenCL)
        : device(std::make_shared<Device>(
              std::make_unique<FailingDriver>(std::make_unique<MemoryDriver>(record, info, language), failures),
              settings, &ComposeFromProcess)) {}

    // Asks for a kernel and waits for the answer.
    bool MakeKernel(HardwareKernelDescriptor const& descriptor) const {
        return !device->GetKernels().IsPending(descriptor, true, nullptr);
    }

    std::shared_ptr<MemoryDriver::Record> record = std::make_shared<MemoryDriver::Record>();
    std::shared_ptr<Failures> failures = std::make_shared<Failures>();
    std::shared_ptr<Device> device;
};

} // namespace Raster::Tests
