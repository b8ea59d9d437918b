// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/hardware_driver.h"

#include <atomic>
#include <string>

namespace Tests {

// A device for kernels in CUDA's language that is this machine's memory and compiler: a few lines stand for the types
// and functions that CUDA has of itself, the host's compiler makes a shared library of them and the kernel, and work
// items run one after another.
class ShimDriver final : public Raster::HardwareDriver {
public:
    // The compiler is called as `compiler -x c++ ...`; "c++" finds the one on the path.
    explicit ShimDriver(std::string compiler = "c++", std::size_t memoryBytes = std::size_t(1) << 30);
    ~ShimDriver() override;

    Raster::HardwareInfo const& GetInfo() const override { return m_info; }
    int GetKernelLanguage() const override { return Raster::c_kernelLanguageCuda; }

    Raster::HardwareStatus Allocate(std::size_t bytes, void*& block) override;
    void Free(void* block) noexcept override;
    Raster::HardwareStatus Write(void* block, Raster::HardwareRows const& there, void const* host,
                                 std::size_t hostPitch, std::size_t rowBytes, std::size_t rows) override;
    Raster::HardwareStatus Read(void* block, Raster::HardwareRows const& there, void* host, std::size_t hostPitch,
                                std::size_t rowBytes, std::size_t rows) override;
    Raster::HardwareStatus Copy(void* from, Raster::HardwareRows const& there, void* to,
                                Raster::HardwareRows const& here, std::size_t rowBytes, std::size_t rows) override;
    Raster::HardwareStatus Compile(std::string const& source, std::vector<std::byte>& binary,
                                   std::string& log) override;
    Raster::HardwareStatus LoadKernel(std::span<std::byte const> binary, void*& kernel) override;
    void FreeKernel(void* kernel) noexcept override;
    Raster::HardwareStatus Launch(Raster::HardwareLaunch const& launch) override;
    Raster::HardwareStatus Finish() override { return Raster::HardwareStatus::Done; }

    // Of all drivers of this process.
    static int GetCompiledKernels();

private:
    std::string m_compiler;
    Raster::HardwareInfo m_info;
    std::size_t m_usedBytes = 0;
};

} // namespace Tests
