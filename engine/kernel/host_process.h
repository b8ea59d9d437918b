// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <sys/types.h>
#include <vector>

namespace Kernel {

// A process of one of our own programs that runs what is not trusted, such as plug-ins and scripts, from construction
// to destruction, which kills it. The two talk through a socket, which the process has as descriptor
// HostSocket::c_descriptor; it has no other files than /dev/null and an environment of two or three plain variables.
// One thread's.
class HostProcess {
public:
    // `program`: such as redraft-plugin-host, looked for where the environment variable REDRAFT_PLUGIN_HOST says,
    // beside the engine's library, and where it is installed. `purpose` begins the messages of the exceptions that are
    // thrown when it is not there or cannot be started, such as "plug-ins cannot be run".
    HostProcess(std::string const& program, std::string const& purpose, std::vector<std::string> const& arguments);
    HostProcess(HostProcess const&) = delete;
    HostProcess& operator=(HostProcess const&) = delete;
    ~HostProcess();

    using Clock = std::chrono::steady_clock;
    // Both are false when the process died, or did not take or give all bytes in time: it is of no more use then.
    bool Send(void const* bytes, std::size_t count, Clock::time_point deadline);
    bool Receive(void* bytes, std::size_t count, Clock::time_point deadline);
    // Non-blocking, for callers that wait for several of them.
    int GetSocket() const { return m_socket; }

private:
    bool Wait(short events, Clock::time_point deadline) const;

    pid_t m_process = -1;
    int m_socket = -1;
};

} // namespace Kernel
