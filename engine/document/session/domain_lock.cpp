// SPDX-License-Identifier: Apache-2.0
#include "engine/document/session/domain_lock.h"

#include "platform/kernel/exception.h"

#include <algorithm>
#include <vector>

namespace {

// The locks that this thread reads under, each as often as it does. A thread reads few documents at once.
thread_local std::vector<DomainLock const*> s_readByThisThread;

} // namespace

bool DomainLock::IsReadByThisThread() const noexcept {
    return std::find(s_readByThisThread.begin(), s_readByThisThread.end(), this) != s_readByThisThread.end();
}

bool DomainLock::TryTakeTurn() noexcept {
    auto state = m_state.load();
    while ((state & c_turn) == 0) {
        if (m_state.compare_exchange_weak(state, state | c_turn))
            return true;
    }
    return false;
}

bool DomainLock::TryWrite() noexcept {
    auto state = m_state.load();
    for (;;) {
        bool const free = (state & c_readers) == 0;
        auto const wanted = free ? c_turn | c_writing : state | c_writerWaits;
        if (m_state.compare_exchange_weak(state, wanted))
            return free;
    }
}

bool DomainLock::TryRead() noexcept {
    // A thread that reads already must get in again, or it and the waiting writer would wait for each other.
    auto const closed = IsReadByThisThread() ? c_writing : c_writing | c_writerWaits;
    auto state = m_state.load();
    while ((state & closed) == 0) {
        if (m_state.compare_exchange_weak(state, state + 1))
            return true;
    }
    return false;
}

void DomainLock::AcquireSlowly() {
    if (IsOwnedByThisThread())
        throw Kernel::Exception("a command cannot wait for the queue that it runs in");
    if (IsReadByThisThread())
        throw Kernel::Exception("a reader cannot wait for a command of the document that it reads");
    std::unique_lock lock(m_mutex);
    ++m_waiters;
    m_changed.wait(lock, [this] { return TryTakeTurn(); });
    m_changed.wait(lock, [this] { return TryWrite(); });
    --m_waiters;
}

void DomainLock::AcquireWriting() {
    auto expected = c_turn;
    if (m_state.compare_exchange_strong(expected, c_turn | c_writing))
        return;
    std::unique_lock lock(m_mutex);
    ++m_waiters;
    m_changed.wait(lock, [this] { return TryWrite(); });
    --m_waiters;
}

void DomainLock::AcquireShared() {
    if (!TryRead()) {
        std::unique_lock lock(m_mutex);
        ++m_waiters;
        ++m_waitingReaders;
        auto const admission = m_admission;
        bool entered = false;
        m_changed.wait(lock, [&] { return m_admission != admission || (entered = TryRead()); });
        if (entered)
            --m_waitingReaders;
        --m_waiters;
    }
    s_readByThisThread.push_back(this);
}

void DomainLock::ReleaseShared() noexcept {
    auto& held = s_readByThisThread;
    held.erase(std::find(held.begin(), held.end(), this));
    auto const left = --m_state & c_readers;
    if (left == 0 && m_waiters.load() != 0)
        Wake();
}

// Called by the only thread that can change the state: it writes, so nobody reads, and it has the turn.
void DomainLock::LetReadersIn(std::uint32_t kept) noexcept {
    std::lock_guard const lock(m_mutex);
    m_state.store(kept | m_waitingReaders.exchange(0));
    ++m_admission;
    m_changed.notify_all();
}

void DomainLock::Wake() noexcept {
    std::lock_guard const lock(m_mutex);
    m_changed.notify_all();
}
