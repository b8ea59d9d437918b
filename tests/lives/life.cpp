// SPDX-License-Identifier: Apache-2.0
#include "tests/lives/life.h"

#include "tests/lives/fade_command.h"
#include "tests/lives/living_document.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Lives {

namespace {

// Every third life looks at pictures: they cost more than all else.
bool ChecksPictures(std::uint64_t seed) { return seed % 3 == 0; }

std::string StartPath(Conditions const& conditions, std::uint64_t seed) {
    return conditions.folder + "/start-" + std::to_string(seed) + ".redraft";
}

// Sends one message of the life's process to the one that started it: a letter, a text, a line end.
void Tell(int pipe, char what, std::string const& text) {
    auto line = what + text;
    for (char& c : line)
        c = c == '\n' ? ' ' : c;
    line += '\n';
    if (::write(pipe, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        ::_exit(3);
}

void LiveHere(Conditions const& conditions, std::uint64_t seed, std::vector<std::string> const* lines, int pipe) {
    FadeCommand::Register();
    Random random(seed);
    auto const start = StartPath(conditions, seed);
    MakeStart(random, conditions.props, start);
    LivingDocument life(start, conditions.folder, conditions.device, ChecksPictures(seed));
    auto const count = lines == nullptr ? conditions.lineCount : lines->size();
    for (std::size_t i = 0; i != count; ++i) {
        auto const line = lines == nullptr ? ChooseLine(random, conditions.props, life.GetController()) : (*lines)[i];
        Tell(pipe, 'L', line);
        life.Run(line);
        if (!life.GetCommandThatRan().empty())
            Tell(pipe, 'C', life.GetCommandThatRan());
    }
    // Whatever was lived can be taken back and is there again in a next life.
    for (std::string const line : {"goto 0", "reload", "redo 1000"}) {
        Tell(pipe, 'L', line);
        life.Run(line);
    }
    Tell(pipe, 'E', {});
}

[[noreturn]] void RunChild(Conditions const& conditions, std::uint64_t seed, std::vector<std::string> const* lines,
                           int pipe) {
    rlimit const limit{conditions.cpuSeconds, conditions.cpuSeconds + 5};
    ::setrlimit(RLIMIT_CPU, &limit);
    // The program's own remarks are for users.
    int const nowhere = ::open("/dev/null", O_WRONLY);
    ::dup2(nowhere, STDOUT_FILENO);
    ::dup2(nowhere, STDERR_FILENO);
    try {
        LiveHere(conditions, seed, lines, pipe);
    } catch (Fault const& fault) {
        Tell(pipe, 'F', fault.what());
    } catch (std::exception const& error) {
        Tell(pipe, 'F', std::string("an exception came out: ") + error.what());
    }
    // Without the end of the process's own objects: threads of the pool may still be there.
    ::_exit(0);
}

void TakeDown(Record& record, std::string const& line, bool& ended) {
    auto const text = line.substr(1);
    if (line[0] == 'L')
        record.lines.push_back(text);
    else if (line[0] == 'C')
        record.commands.push_back(text);
    else if (line[0] == 'F')
        record.fault = text;
    else if (line[0] == 'E')
        ended = true;
}

Record LiveInProcess(Conditions const& conditions, std::uint64_t seed, std::vector<std::string> const* lines) {
    std::array<int, 2> pipe{};
    if (::pipe(pipe.data()) != 0)
        throw Fault("no pipe");
    std::fflush(nullptr);
    pid_t const child = ::fork();
    if (child < 0)
        throw Fault("no process");
    if (child == 0) {
        ::close(pipe[0]);
        RunChild(conditions, seed, lines, pipe[1]);
    }
    ::close(pipe[1]);
    Record record;
    bool ended = false;
    std::string text;
    std::array<char, 4096> buffer{};
    for (ssize_t got = 0; (got = ::read(pipe[0], buffer.data(), buffer.size())) > 0;) {
        text.append(buffer.data(), static_cast<std::size_t>(got));
        for (std::size_t end = 0; (end = text.find('\n')) != std::string::npos; text.erase(0, end + 1))
            TakeDown(record, text.substr(0, end), ended);
    }
    ::close(pipe[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFSIGNALED(status))
        record.fault = WTERMSIG(status) == SIGXCPU ? std::string("endless: the processor time ran out")
                                                   : std::string("crash: ") + ::strsignal(WTERMSIG(status));
    else if (!record.fault && (!ended || WEXITSTATUS(status) != 0))
        record.fault = "crash: the process ended with " + std::to_string(WEXITSTATUS(status));
    return record;
}

std::string KindOf(std::string const& fault) { return fault.substr(0, fault.find(':')); }

} // namespace

Record Live(Conditions const& conditions, std::uint64_t seed) { return LiveInProcess(conditions, seed, nullptr); }

Record Replay(Conditions const& conditions, std::uint64_t seed, std::vector<std::string> const& lines) {
    return LiveInProcess(conditions, seed, &lines);
}

// Halves, quarters and so on down to single lines, as long as the same kind of fault comes.
Record Shrink(Conditions const& conditions, std::uint64_t seed, Record record) {
    auto const kind = KindOf(*record.fault);
    for (std::size_t part = record.lines.size(); part != 0; part /= 2) {
        for (std::size_t first = 0; first < record.lines.size();) {
            auto lines = record.lines;
            auto const begin = lines.begin() + static_cast<std::ptrdiff_t>(first);
            lines.erase(begin, begin + static_cast<std::ptrdiff_t>(std::min(part, lines.size() - first)));
            auto tried = Replay(conditions, seed, lines);
            if (tried.fault && KindOf(*tried.fault) == kind && tried.lines.size() < record.lines.size())
                record = std::move(tried);
            else
                first += part;
        }
    }
    return record;
}

// A reload is the next call of the program; with --merge commands merge in it.
std::string FormatReport(Conditions const& conditions, std::uint64_t seed, Record const& record) {
    std::string text = "life " + std::to_string(seed) + ": " + *record.fault + "\n  cp " + StartPath(conditions, seed) +
                       " life.redraft\n  redraft run life.redraft - <<'END'\n";
    for (auto const& line : record.lines)
        text += line.starts_with("reload")
                    ? "  END\n  redraft run life.redraft -" + line.substr(std::string("reload").size()) + " <<'END'\n"
                    : "  " + line + "\n";
    return text + "  END\n";
}

} // namespace Lives
