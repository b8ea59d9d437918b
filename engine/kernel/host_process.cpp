// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/host_process.h"

#include "engine/kernel/host_socket.h"

#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Kernel {

namespace {

std::string MakeVariableName(std::string const& program) {
    std::string name;
    for (char const character : program)
        name.push_back(character == '-'                       ? '_'
                       : 'a' <= character && character <= 'z' ? char(character - 32)
                                                              : character);
    return name;
}

std::filesystem::path FindHost(std::string const& program, std::string const& purpose) {
    std::vector<std::filesystem::path> places;
    if (char const* const told = std::getenv(MakeVariableName(program).c_str()))
        places.emplace_back(told);
    Dl_info library{};
    if (dladdr(reinterpret_cast<void const*>(&Dispatch::GetThreadCount), &library) != 0 &&
        library.dli_fname != nullptr) {
        auto const folder = std::filesystem::absolute(library.dli_fname).parent_path();
        places.push_back(folder / program);
        places.push_back(folder / ".." / "libexec" / "redraft" / program);
        places.push_back(folder / ".." / ".." / "libexec" / "redraft" / program);
    }
    places.push_back(std::filesystem::path(REDRAFT_LIBEXECDIR) / "redraft" / program);
    for (auto const& place : places) {
        if (access(place.c_str(), X_OK) == 0)
            return place;
    }
    throw Exception(String(purpose + ": the program " + program + " is not installed"));
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

// As posix_spawn takes them; the texts must outlive it.
std::vector<char*> MakePointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (auto& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

HostProcess::HostProcess(std::string const& program, std::string const& purpose,
                         std::vector<std::string> const& arguments) {
    auto const host = FindHost(program, purpose).string();
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0)
        throw Exception(String(purpose + ": no connection to a process can be had"));
    m_socket = sockets[0];
    fcntl(m_socket, F_SETFL, O_NONBLOCK);
    SpawnActions actions;
    // Out of the way first, whatever number it has.
    posix_spawn_file_actions_adddup2(actions.Get(), sockets[1], HostSocket::c_descriptor + 1);
    posix_spawn_file_actions_adddup2(actions.Get(), HostSocket::c_descriptor + 1, HostSocket::c_descriptor);
    posix_spawn_file_actions_addopen(actions.Get(), STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(actions.Get(), STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(actions.Get(), STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<std::string> texts{host}, variables{"PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8"};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    // Named, so that the time zone is read once and not looked for at each use.
    char const* const zone = std::getenv("TZ");
    variables.push_back(std::string("TZ=") + (zone != nullptr ? zone : ":/etc/localtime"));
    int const failure = posix_spawn(&m_process, host.c_str(), actions.Get(), nullptr, MakePointers(texts).data(),
                                    MakePointers(variables).data());
    close(sockets[1]);
    if (failure != 0) {
        close(m_socket);
        throw Exception(String(purpose + ": no process can be started"));
    }
}

HostProcess::~HostProcess() {
    close(m_socket);
    kill(m_process, SIGKILL);
    while (waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) {
    }
}

bool HostProcess::Wait(short events, Clock::time_point deadline) const {
    for (;;) {
        auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0)
            return false;
        pollfd descriptor{m_socket, events, 0};
        int const ready = poll(&descriptor, 1, static_cast<int>(std::min<std::int64_t>(left, 1'000'000)));
        if (ready < 0 && errno == EINTR)
            continue;
        return ready > 0;
    }
}

bool HostProcess::Send(void const* bytes, std::size_t count, Clock::time_point deadline) {
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

bool HostProcess::Receive(void* bytes, std::size_t count, Clock::time_point deadline) {
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

} // namespace Kernel
