// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/raster/plugin_protocol.h"
#include "platform/raster/filter_plugin.h"

#include <filesystem>
#include <sys/types.h>

namespace Raster {

// A process that runs one plug-in, from construction to destruction. One thread's.
class PluginProcess {
public:
    // Exception when the process cannot be started.
    PluginProcess(std::filesystem::path const& plugin, FilterPluginLimits const& limits);
    PluginProcess(PluginProcess const&) = delete;
    PluginProcess& operator=(PluginProcess const&) = delete;
    ~PluginProcess();

    // False when the process died, or did not answer in time: it is of no more use then. The sizes of what is sent and
    // received are told by the caller.
    bool Ask(PluginProtocol::Request const& request, void const* pixels, std::size_t pixelBytes,
             PluginProtocol::Response& response, void* results);

private:
    using Clock = std::chrono::steady_clock;
    bool Send(void const* bytes, std::size_t count, Clock::time_point deadline);
    bool Receive(void* bytes, std::size_t count, Clock::time_point deadline);
    bool Wait(short events, Clock::time_point deadline) const;

    FilterPluginLimits m_limits;
    pid_t m_process = -1;
    int m_socket = -1;
};

} // namespace Raster
