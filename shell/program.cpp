// SPDX-License-Identifier: Apache-2.0
#include "shell/program.h"

#include "shell/help.h"
#include "shell/interrupt.h"
#include "shell/verbs.h"

#include "platform/story/hyphenation.h"

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>

namespace Shell {

namespace {

// Numbers stay the same in every locale; texts and their letters follow the user's.
void SetLocale() {
    std::setlocale(LC_CTYPE, "");
    std::setlocale(LC_MESSAGES, "");
}

// In the user's cache folder, as the XDG base directory specification names it.
void SetCaches() {
    auto const get = [](char const* name) {
        char const* const value = std::getenv(name);
        return std::string(value != nullptr && value[0] == '/' ? value : "");
    };
    auto folder = get("XDG_CACHE_HOME");
    if (auto const home = get("HOME"); folder.empty() && !home.empty())
        folder = home + "/.cache";
    if (!folder.empty())
        Story::SetHyphenationCacheFolder(folder + "/redraft/hyphenation");
}

ExitStatus RunWords(std::vector<std::string> const& words) {
    bool const wantsJson = std::find(words.begin(), words.end(), "--json") != words.end();
    Session session(wantsJson);
    if (words.front() == "--help" || words.front() == "-h") {
        session.Print(FormatProgramHelp());
        session.Flush();
        return ExitStatus::Done;
    }
    if (words.front() == "--version") {
        session.Print("redraft " REDRAFT_VERSION "\n");
        session.Flush();
        return ExitStatus::Done;
    }
    auto const status = RunVerb(session, words);
    session.Finish();
    return status;
}

int Report(Failure const& failure) noexcept {
    std::fprintf(stderr, "redraft: %s\n", failure.what());
    return static_cast<int>(failure.GetStatus());
}

} // namespace

int RunProgram(int argumentCount, char const* const* arguments) noexcept {
    try {
        SetLocale();
        SetCaches();
        Interrupt::Install();
        std::vector<std::string> const words(arguments + std::min(argumentCount, 1), arguments + argumentCount);
        if (words.empty())
            throw Failure(ExitStatus::Usage, "call", "a verb is missing; `redraft --help` lists them");
        return static_cast<int>(Guarded(ExitStatus::Input, words.front(), [&] { return RunWords(words); }));
    } catch (Failure const& failure) {
        return Report(failure);
    } catch (...) {
        std::fputs("redraft: call: not enough memory\n", stderr);
        return static_cast<int>(ExitStatus::Input);
    }
}

} // namespace Shell
