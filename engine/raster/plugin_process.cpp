// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/plugin_process.h"

#include "platform/kernel/exception.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace Raster {

namespace {

constexpr char const* c_hostName = "redraft-plugin-host";

// Beside the library, where a build has it, or where it is installed.
std::filesystem::path FindHost() {
    std::vector<std::filesystem::path> places;
    if (char const* const told = std::getenv("REDRAFT_PLUGIN_HOST"))
        places.emplace_back(told);
    Dl_info library{};
    if (dladdr(reinterpret_cast<void const*>(&GetFilterPluginLimits), &library) != 0 && library.dli_fname != nullptr) {
        auto const folder = std::filesystem::absolute(library.dli_fname).parent_path();
        places.push_back(folder / c_hostName);
        places.push_back(folder / ".." / "libexec" / "redraft" / c_hostName);
        places.push_back(folder / ".." / ".." / "libexec" / "redraft" / c_hostName);
    }
    places.push_back(std::filesystem::path(REDRAFT_LIBEXECDIR) / "redraft" / c_hostName);
    for (auto const& place : places) {
        if (access(place.c_str(), X_OK) == 0)
            return place;
    }
    throw Kernel::Exception("plug-ins cannot be run: the program redraft-plugin-host is not installed");
}

class SpawnActions {
public:
    SpawnActions() { posix_spawn_file_actions_init(&m_actions); }
    SpawnActions(SpawnActions const&) = delete;
    SpawnActions& operator=(SpawnActions const&) = delete;
    ~SpawnActions() { posix_spawn_file_actions_destroy(&m_actions); }
    posix_spawn_file_actions_t* Get() { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions;
};

} // namespace

PluginProcess::PluginProcess(std::filesystem::path const& plugin, std::size_t memoryBytes,
                             std::vector<PluginProtocol::Setting> settings)
    : m_settings(std::move(settings)) {
    auto const host = FindHost().string();
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0)
        throw Kernel::Exception("plug-ins cannot be run: no connection to a process can be had");
    m_socket = sockets[0];
    fcntl(m_socket, F_SETFL, O_NONBLOCK);
    SpawnActions actions;
    // Out of the way first, whatever number it has.
    posix_spawn_file_actions_adddup2(actions.Get(), sockets[1], PluginProtocol::c_socket + 1);
    posix_spawn_file_actions_adddup2(actions.Get(), PluginProtocol::c_socket + 1, PluginProtocol::c_socket);
    posix_spawn_file_actions_addopen(actions.Get(), STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(actions.Get(), STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(actions.Get(), STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::string path = plugin.string(), memory = std::to_string(memoryBytes), name = host;
    char* const arguments[] = {name.data(), path.data(), memory.data(), nullptr};
    std::string variables[] = {"PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8"};
    char* const environment[] = {variables[0].data(), variables[1].data(), nullptr};
    int const failure = posix_spawn(&m_process, host.c_str(), actions.Get(), nullptr, arguments, environment);
    close(sockets[1]);
    if (failure != 0) {
        close(m_socket);
        throw Kernel::Exception("plug-ins cannot be run: no process can be started");
    }
}

PluginProcess::~PluginProcess() {
    close(m_socket);
    kill(m_process, SIGKILL);
    while (waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) {
    }
}

bool PluginProcess::Wait(short events, Clock::time_point deadline) const {
    for (;;) {
        auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0)
            return false;
        pollfd descriptor{m_socket, events, 0};
        int const ready = poll(&descriptor, 1, static_cast<int>(left));
        if (ready < 0 && errno == EINTR)
            continue;
        return ready > 0;
    }
}

bool PluginProcess::Send(void const* bytes, std::size_t count, Clock::time_point deadline) {
    auto const* from = static_cast<char const*>(bytes);
    while (count != 0) {
        ssize_t const put = send(m_socket, from, count, MSG_NOSIGNAL);
        if (put < 0 && (errno == EAGAIN || errno == EINTR)) {
            if (!Wait(POLLOUT, deadline))
                return false;
            continue;
        }
        if (put <= 0)
            return false;
        from += put;
        count -= static_cast<std::size_t>(put);
    }
    return true;
}

bool PluginProcess::Receive(void* bytes, std::size_t count, Clock::time_point deadline) {
    auto* to = static_cast<char*>(bytes);
    while (count != 0) {
        ssize_t const got = recv(m_socket, to, count, 0);
        if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
            if (!Wait(POLLIN, deadline))
                return false;
            continue;
        }
        if (got <= 0)
            return false;
        to += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

bool PluginProcess::SendSettings(Clock::time_point deadline) {
    PluginProtocol::Request const request{PluginProtocol::c_magic, PluginProtocol::Kind::Set, 0, 0};
    for (auto const& setting : m_settings) {
        if (!Send(&request, sizeof request, deadline) || !Send(&setting, sizeof setting, deadline))
            return false;
    }
    m_settings.clear();
    return true;
}

bool PluginProcess::Describe(PluginProtocol::Response& response, std::vector<PluginProtocol::Parameter>& parameters,
                             std::chrono::milliseconds time) {
    auto const deadline = Clock::now() + time;
    PluginProtocol::Request const request{PluginProtocol::c_magic, PluginProtocol::Kind::Describe, 0, 0};
    if (!Send(&request, sizeof request, deadline) || !Receive(&response, sizeof response, deadline) ||
        response.magic != PluginProtocol::c_magic || response.parameterCount < 0 ||
        response.parameterCount > PluginProtocol::c_maximumParameters)
        return false;
    response.name[sizeof response.name - 1] = 0;
    parameters.resize(static_cast<std::size_t>(response.parameterCount));
    if (!Receive(parameters.data(), parameters.size() * sizeof(PluginProtocol::Parameter), deadline))
        return false;
    for (auto& parameter : parameters)
        parameter.name[sizeof parameter.name - 1] = 0;
    return true;
}

bool PluginProcess::Ask(PluginProtocol::Request const& request, void const* pixels, std::size_t pixelBytes,
                        PluginProtocol::Response& response, void* results, std::chrono::milliseconds time) {
    auto const deadline = Clock::now() + time;
    return SendSettings(deadline) && Send(&request, sizeof request, deadline) && Send(pixels, pixelBytes, deadline) &&
           Receive(&response, sizeof response, deadline) && response.magic == PluginProtocol::c_magic &&
           (response.status != PluginProtocol::Status::Done || Receive(results, pixelBytes, deadline));
}

} // namespace Raster
