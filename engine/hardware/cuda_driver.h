// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/hardware/cuda_functions.h"
#include "platform/raster/hardware_driver.h"

namespace Raster {

// As the function of that name without arguments, with these libraries.
std::vector<std::unique_ptr<HardwareDriver>> FindCudaDrivers(std::shared_ptr<CudaFunctions const> const& driver,
                                                             std::shared_ptr<NvrtcFunctions const> const& compiler);

// OutOfMemory for what tells of memory, Lost for errors after which a context answers with nothing else.
HardwareStatus GetCudaStatus(CudaResult result);

// Makes of source text code for devices of a compute capability, 86 for 8.6: of the device itself where the compiler
// knows it, otherwise in the language that the driver translates. Failed, with the compiler's messages in `log`, for a
// text that is refused.
class CudaCompiler {
public:
    CudaCompiler(std::shared_ptr<NvrtcFunctions const> functions, int capability);
    // Whether it knows any architecture that the device runs.
    bool IsUsable() const { return !m_architecture.empty(); }
    std::string GetVersion() const;
    std::string const& GetArchitecture() const { return m_architecture; }
    HardwareStatus Compile(std::string const& source, std::vector<std::byte>& binary, std::string& log) const;

private:
    std::shared_ptr<NvrtcFunctions const> m_functions;
    // As the compiler takes it: "sm_86", or "compute_86" for the translated language.
    std::string m_architecture;
};

} // namespace Raster
