// SPDX-License-Identifier: Apache-2.0
#include "engine/learning/program_run.h"

#include "engine/learning/pipe_signal_block.h"
#include "engine/learning/service_text.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace Learning {

namespace {

using Result = RemoteInference::Result;

constexpr int c_programWaitMilliseconds = 20;
constexpr std::size_t c_keptErrors = 4096;

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : m_number(number) {}
    Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(m_number, other.m_number);
        return *this;
    }
    ~Descriptor() { Close(); }
    void Close() {
        if (m_number >= 0)
            close(std::exchange(m_number, -1));
    }
    int Get() const { return m_number; }
    bool IsOpen() const { return m_number >= 0; }

private:
    int m_number = -1;
};

struct Pipe {
    Descriptor reader, writer;

    Pipe() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw Kernel::Exception("no pipe to a program can be had");
        reader = MoveUp(ends[0]);
        writer = MoveUp(ends[1]);
    }

private:
    // Where the program itself was started without its first three descriptors, a pipe would take their numbers.
    static Descriptor MoveUp(int number) {
        Descriptor low(number);
        if (number > STDERR_FILENO)
            return low;
        return Descriptor(fcntl(number, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    }
};

// A shell with its processes, killed at the end.
class ShellProcess {
public:
    ShellProcess(ProgramRun const& run, Pipe const& input, Pipe const& output, Pipe const& errors) {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, input.reader.Get(), STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, output.writer.Get(), STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, errors.writer.Get(), STDERR_FILENO);
        posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        sigset_t none, all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        posix_spawnattr_setpgroup(&attributes, 0);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setsigdefault(&attributes, &all);
        std::string shell = "/bin/sh", option = "-c", command = run.command;
        char* const arguments[] = {shell.data(), option.data(), command.data(), nullptr};
        auto variables = run.variables;
        int const failure =
            posix_spawn(&m_process, shell.c_str(), &actions, &attributes, arguments, ListVariables(variables).data());
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
        if (failure != 0)
            throw Kernel::Exception("the command that makes pictures cannot be started");
    }
    ShellProcess(ShellProcess const&) = delete;
    ShellProcess& operator=(ShellProcess const&) = delete;
    // The shell is still there, if only as a number, so that nobody else's group has it.
    ~ShellProcess() {
        kill(-m_process, SIGKILL);
        while (waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    // Keeps the number taken.
    bool HasEnded(siginfo_t& how) const {
        how.si_pid = 0;
        return waitid(P_PID, static_cast<id_t>(m_process), &how, WEXITED | WNOHANG | WNOWAIT) == 0 && how.si_pid != 0;
    }

private:
    // The program's own, but for those that are set anew.
    static std::vector<char*> ListVariables(std::vector<std::string>& added) {
        std::vector<char*> pointers;
        for (char** variable = environ; *variable != nullptr; ++variable) {
            if (!std::string_view(*variable).starts_with("REDRAFT_"))
                pointers.push_back(*variable);
        }
        for (auto& variable : added)
            pointers.push_back(variable.data());
        pointers.push_back(nullptr);
        return pointers;
    }

    pid_t m_process = -1;
};

// Reads some of what is there; closes at the end.
void ReadSome(Descriptor& from, std::string& to) {
    char bytes[65'536];
    ssize_t const got = read(from.Get(), bytes, sizeof bytes);
    if (got < 0 && (errno == EINTR || errno == EAGAIN))
        return;
    if (got <= 0)
        return from.Close();
    to.append(bytes, static_cast<std::size_t>(got));
}

void WriteSome(Descriptor& to, std::string_view& text) {
    while (!text.empty()) {
        ssize_t const put = write(to.Get(), text.data(), text.size());
        if (put < 0 && errno == EINTR)
            continue;
        if (put < 0 && errno == EAGAIN)
            return;
        // A command need not read its input.
        if (put <= 0)
            break;
        text.remove_prefix(static_cast<std::size_t>(put));
    }
    to.Close();
}

Result DescribeEnd(siginfo_t const& how, std::string_view errors) {
    if (how.si_code == CLD_EXITED && how.si_status == 0)
        return {};
    while (!errors.empty() && (errors.back() == '\n' || errors.back() == '\r' || errors.back() == ' '))
        errors.remove_suffix(1);
    auto const lastLine = CleanLine(errors.substr(errors.rfind('\n') + 1), {});
    std::string const reason = !lastLine.empty()           ? lastLine.ToStdString()
                               : how.si_code == CLD_EXITED ? "it ended with status " + std::to_string(how.si_status)
                                                           : "it was ended by signal " + std::to_string(how.si_status);
    return {RemoteInference::Refused, Kernel::String("the command that makes pictures: " + reason)};
}

} // namespace

Result RunProgram(ProgramRun const& run, InferenceCall const& call, std::string& output) {
    PipeSignalBlock const block;
    Pipe input, out, errors;
    ShellProcess const shell(run, input, out, errors);
    input.reader.Close();
    out.writer.Close();
    errors.writer.Close();
    for (int const descriptor : {input.writer.Get(), out.reader.Get(), errors.reader.Get()})
        fcntl(descriptor, F_SETFL, O_NONBLOCK);
    auto left = run.input;
    std::string errorText;
    auto const end = std::chrono::steady_clock::now() + run.totalTime;
    siginfo_t how{};
    for (;;) {
        // Looked at first: what it wrote before it ended is read below.
        bool const hasEnded = shell.HasEnded(how);
        if (input.writer.IsOpen())
            WriteSome(input.writer, left);
        std::size_t const before = output.size(), errorsBefore = errorText.size();
        if (out.reader.IsOpen())
            ReadSome(out.reader, output);
        if (errors.reader.IsOpen())
            ReadSome(errors.reader, errorText);
        bool const hasRead = output.size() != before || errorText.size() != errorsBefore;
        if (errorText.size() > 2 * c_keptErrors)
            errorText.erase(0, errorText.size() - c_keptErrors);
        if (output.size() > run.maximumOutput)
            return {RemoteInference::TooLarge, "the command that makes pictures wrote more than is allowed"};
        if (call.IsCancelled())
            return {RemoteInference::Cancelled, "cancelled"};
        if (std::chrono::steady_clock::now() >= end)
            return {RemoteInference::TimedOut, "the command that makes pictures did not end in time"};
        if (hasEnded && !hasRead)
            return DescribeEnd(how, errorText);
        pollfd waiting[] = {
            {input.writer.Get(), POLLOUT, 0}, {out.reader.Get(), POLLIN, 0}, {errors.reader.Get(), POLLIN, 0}};
        poll(waiting, 3, c_programWaitMilliseconds);
    }
}

} // namespace Learning
