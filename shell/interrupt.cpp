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
static_assert(std::atomic<bool*>::is_always_lock_free, "the handler may only touch what is lock-free");

extern "C" void OnInterrupt(int) {
    if (s_asked.fetch_add(1) != 0)
        _exit(static_cast<int>(ExitStatus::Interrupted));
    if (bool* const abort = s_abort.load())
        std::atomic_ref<bool>(*abort).store(true);
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

void Check(std::string const& subject) {
    if (WasAsked())
        throw Failure(ExitStatus::Interrupted, subject, "interrupted, nothing was saved");
}

Scope::Scope(bool* abort) {
    s_abort.store(abort);
    // What came before the flag was known counts as well.
    if (abort != nullptr && WasAsked())
        std::atomic_ref<bool>(*abort).store(true);
}

Scope::~Scope() { s_abort.store(nullptr); }

} // namespace Shell::Interrupt
