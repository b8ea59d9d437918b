// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/plugin_process.h"

#include <utility>

namespace Raster {

PluginProcess::PluginProcess(std::filesystem::path const& plugin, std::size_t memoryBytes,
                             std::vector<PluginProtocol::Setting> settings)
    : m_settings(std::move(settings)),
      m_host("redraft-plugin-host", "plug-ins cannot be run", {plugin.string(), std::to_string(memoryBytes)}) {}

bool PluginProcess::SendSettings(Clock::time_point deadline) {
    PluginProtocol::Request const request{PluginProtocol::c_magic, PluginProtocol::Kind::Set, 0, 0};
    for (auto const& setting : m_settings) {
        if (!m_host.Send(&request, sizeof request, deadline) || !m_host.Send(&setting, sizeof setting, deadline))
            return false;
    }
    m_settings.clear();
    return true;
}

bool PluginProcess::Describe(PluginProtocol::Response& response, std::vector<PluginProtocol::Parameter>& parameters,
                             std::chrono::milliseconds time) {
    auto const deadline = Clock::now() + time;
    PluginProtocol::Request const request{PluginProtocol::c_magic, PluginProtocol::Kind::Describe, 0, 0};
    if (!m_host.Send(&request, sizeof request, deadline) || !m_host.Receive(&response, sizeof response, deadline) ||
        response.magic != PluginProtocol::c_magic || response.parameterCount < 0 ||
        response.parameterCount > PluginProtocol::c_maximumParameters)
        return false;
    response.name[sizeof response.name - 1] = 0;
    parameters.resize(static_cast<std::size_t>(response.parameterCount));
    if (!m_host.Receive(parameters.data(), parameters.size() * sizeof(PluginProtocol::Parameter), deadline))
        return false;
    for (auto& parameter : parameters)
        parameter.name[sizeof parameter.name - 1] = 0;
    return true;
}

bool PluginProcess::Ask(PluginProtocol::Request const& request, void const* pixels, std::size_t pixelBytes,
                        PluginProtocol::Response& response, void* results, std::chrono::milliseconds time) {
    auto const deadline = Clock::now() + time;
    return SendSettings(deadline) && m_host.Send(&request, sizeof request, deadline) &&
           m_host.Send(pixels, pixelBytes, deadline) && m_host.Receive(&response, sizeof response, deadline) &&
           response.magic == PluginProtocol::c_magic &&
           (response.status != PluginProtocol::Status::Done || m_host.Receive(results, pixelBytes, deadline));
}

} // namespace Raster
