// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kernel/host_process.h"
#include "engine/raster/plugin_protocol.h"
#include "platform/raster/filter_plugin.h"

#include <filesystem>
#include <span>
#include <vector>

namespace Raster {

// A process that runs one plug-in, from construction to destruction. One thread's.
class PluginProcess {
public:
    // `memoryBytes`: its address space, 0 for no limit. The settings are those of its filter. Exception when the
    // process cannot be started.
    PluginProcess(std::filesystem::path const& plugin, std::size_t memoryBytes,
                  std::vector<PluginProtocol::Setting> settings = {});

    // Both are false when the process died, or did not answer in time: it is of no more use then.
    bool Describe(PluginProtocol::Response& response, std::vector<PluginProtocol::Parameter>& parameters,
                  std::chrono::milliseconds time);
    // The results are as many bytes as the pixels.
    bool Ask(PluginProtocol::Request const& request, void const* pixels, std::size_t pixelBytes,
             PluginProtocol::Response& response, void* results, std::chrono::milliseconds time);

private:
    using Clock = Kernel::HostProcess::Clock;
    bool SendSettings(Clock::time_point deadline);

    // Not sent yet.
    std::vector<PluginProtocol::Setting> m_settings;
    Kernel::HostProcess m_host;
};

} // namespace Raster
