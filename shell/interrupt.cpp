// SPDX-License-Identifier: Apache-2.0
#include "shell/interrupt.h"

#include "shell/failure.h"

#include <atomic>
#include <csignal>
#include <unistd.h>

namespace Shell::Interrupt {

namespace {

std::atomic<int> s_asked{0};
std::atomic<bool*> s_abort{nullptr};
std::atomic<Scope::Cancel> s_cancel{nullptr};
// The line that is printed when control-C ends the program at once; empty where it does not. Written before its length.
char s_farewell[1024];
std::atomic<std::size_t> s_farewellLength{0};
static_assert(std::atomic<bool*>::is_always_lock_free, "the handler may only touch what is lock-free");

extern "C" void OnInterrupt(int) {
    bool const isFirst = s_asked.fetch_add(1) == 0;
    auto const length = s_farewellLength.load();
    if (!isFirst || length != 0) {
        [[maybe_unused]] auto const written = write(STDERR_FILENO, s_farewell, length);
        _exit(static_cast<int>(ExitStatus::Interrupted));
    }
    if (bool* const abort = s_abort.load())
        std::atomic_ref<bool>(*abort).store(true);
    if (auto const cancel = s_cancel.load())
        cancel();
}

} // namespace

void Install() {
    // A file that may not grow any more is an error of the write, and no end of the program.
    std::signal(SIGXFSZ, SIG_IGN);
    struct sigaction action {};
    action.sa_handler = &OnInterrupt;
    sigemptyset(&action.sa_mask);
    // Without SA_RESTART: reading a script from a terminal or pipe ends, too.
    action.sa_flags = 0;
    sigaction(SIGINT, &action, nullptr);
}

bool WasAsked() noexcept { return s_asked.load() != 0; }

namespace {

Failure MakeFailure(std::string const& subject) {
    return {ExitStatus::Interrupted, subject, "interrupted, nothing was saved"};
}

} // namespace

void Check(std::string const& subject) {
    if (WasAsked())
        throw MakeFailure(subject);
}

Scope::Scope(bool* abort, std::string const& subject) {
    if (abort == nullptr) {
        Check(subject);
        // On a terminal there may be a progress bar in the line.
        std::string line = isatty(STDERR_FILENO) == 1 ? "\r\033[K" : "";
        line += std::string("redraft: ") + MakeFailure(subject).what() + "\n";
        s_farewellLength.store(line.copy(s_farewell, sizeof s_farewell));
        return;
    }
    s_abort.store(abort);
    // A signal that came before the flag was known counts as well.
    if (WasAsked())
        std::atomic_ref<bool>(*abort).store(true);
}

Scope::Scope(Cancel cancel) {
    s_cancel.store(cancel);
    if (WasAsked())
        cancel();
}

Scope::~Scope() {
    s_farewellLength.store(0);
    s_abort.store(nullptr);
    s_cancel.store(nullptr);
}

} // namespace Shell::Interrupt
