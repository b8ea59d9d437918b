// SPDX-License-Identifier: Apache-2.0
#include "shell/input_files.h"
#include "shell/interrupt.h"
#include "shell/verbs.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace Shell {

namespace {

constexpr std::size_t c_maximumScriptBytes = std::size_t{64} << 20;

// From a file, a pipe, or standard input for "-". An interrupt ends the wait.
std::string ReadScript(std::string const& path) {
    int const descriptor = path == "-" ? ::dup(STDIN_FILENO) : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    auto const fail = [&](std::string const& reason) { throw Failure(ExitStatus::Input, path, reason); };
    if (descriptor < 0)
        fail("cannot be read: " + std::generic_category().message(errno));
    struct Closing {
        ~Closing() { ::close(descriptor); }
        int descriptor;
    } const closing{descriptor};
    std::string text;
    char buffer[1 << 16];
    for (;;) {
        Interrupt::Check(path);
        auto const count = ::read(descriptor, buffer, sizeof buffer);
        if (count == 0)
            return text;
        if (count < 0 && errno != EINTR)
            fail("cannot be read: " + std::generic_category().message(errno));
        if (count > 0)
            text.append(buffer, static_cast<std::size_t>(count));
        if (text.size() > c_maximumScriptBytes)
            fail("is longer than " + std::to_string(c_maximumScriptBytes) + " bytes");
    }
}

ExitStatus RunLine(Session& session, std::vector<std::string> const& words) {
    try {
        return RunVerb(session, words);
    } catch (Failure const& failure) {
        if (failure.GetStatus() != ExitStatus::NothingToDo)
            throw;
        std::fprintf(stderr, "redraft: %s\n", failure.what());
        return ExitStatus::NothingToDo;
    }
}

} // namespace

// A line that finds nothing to do says so and the script goes on; a failure ends it. Its status is "nothing to do" when
// that is what every line that acts has found.
ExitStatus RunScript(Session& session, Arguments const& arguments) {
    auto const& path = arguments.Get("SCRIPT");
    auto const script = ReadScript(path);
    InputFiles::Add(path);
    // A choice that does not exist is wrong before the first line runs.
    if (auto const device = arguments.Find("--device"))
        session.GetDevices(*device);
    auto& document = session.Open(arguments);
    if (auto const target = arguments.Find("-o"))
        session.SaveTo(*target, arguments.Has("--force"));
    document.SetMergingEnabled(arguments.Has("--merge"));
    if (session.IsJson())
        session.Json().BeginArray();
    session.SetScript(&arguments);
    bool didSomething = false;
    bool foundNothing = false;
    std::size_t number = 0;
    for (std::size_t start = 0; start < script.size();) {
        auto const end = std::min(script.find('\n', start), script.size());
        std::string_view const line = std::string_view(script).substr(start, end - start);
        start = end + 1;
        ++number;
        auto const place = path + ":" + std::to_string(number);
        try {
            auto const words = SplitLine(line);
            if (words.empty())
                continue;
            auto const status = Guarded(ExitStatus::Input, words.front(), [&] { return RunLine(session, words); });
            (status == ExitStatus::Done ? didSomething : foundNothing) = true;
            Interrupt::Check(session.GetDocumentPath());
        } catch (Failure const& failure) {
            session.Flush();
            throw failure.WithPlace(place);
        }
        if (!session.IsJson())
            session.Flush();
    }
    session.SetScript(nullptr);
    if (session.IsJson())
        session.Json().EndArray();
    if (foundNothing && !didSomething)
        return ExitStatus::NothingToDo;
    if (arguments.Has("-o"))
        session.MarkChanged();
    return ExitStatus::Done;
}

} // namespace Shell
