// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pthread.h>
#include <signal.h>

namespace Learning {

// Keeps the signal that comes of writing to a pipe or socket whose reader is gone from this thread, so that only the
// write fails. The program's own handling of the signal stays as it is.
class PipeSignalBlock {
public:
    PipeSignalBlock() {
        sigset_t pending;
        sigpending(&pending);
        m_wasPending = sigismember(&pending, SIGPIPE) != 0;
        sigemptyset(&m_pipe);
        sigaddset(&m_pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &m_pipe, &m_before);
    }
    PipeSignalBlock(PipeSignalBlock const&) = delete;
    PipeSignalBlock& operator=(PipeSignalBlock const&) = delete;
    ~PipeSignalBlock() {
        timespec const atOnce{};
        if (!m_wasPending)
            sigtimedwait(&m_pipe, nullptr, &atOnce);
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }

private:
    sigset_t m_pipe, m_before;
    bool m_wasPending;
};

} // namespace Learning
