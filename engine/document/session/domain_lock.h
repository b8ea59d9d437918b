// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

// The two rights of a domain in one word: the turn, which one thread at a time has and which lets it run commands, and
// the document itself, which the thread that has the turn takes for writing and all others share for reading.
//
// Taking both and giving both back costs two atomic operations when nobody else is there. Readers that had to wait are
// let in all together when the writer lets go, before any other writer, so that neither side starves.
class DomainLock {
public:
    DomainLock() = default;
    DomainLock(DomainLock const&) = delete;
    DomainLock& operator=(DomainLock const&) = delete;

    // Takes the turn and the document for writing. Throws Kernel::Exception where it would never return: when this
    // thread has the turn already, or reads the document.
    void Acquire() {
        std::uint32_t expected = 0;
        if (!m_state.compare_exchange_strong(expected, c_turn | c_writing)) [[unlikely]]
            AcquireSlowly();
        m_owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
    }
    void Release() noexcept {
        m_owner.store(std::thread::id(), std::memory_order_relaxed);
        LetGo(0);
    }
    // Gives up and takes back the writing, not the turn.
    void ReleaseWriting() noexcept { LetGo(c_turn); }
    void AcquireWriting();

    // The thread that has the turn reads by right and must not take this.
    void AcquireShared();
    void ReleaseShared() noexcept;

    bool IsOwnedByThisThread() const noexcept {
        return m_owner.load(std::memory_order_relaxed) == std::this_thread::get_id();
    }
    bool IsWriting() const noexcept { return (m_state.load(std::memory_order_relaxed) & c_writing) != 0; }
    // Whether this thread holds the document for reading.
    bool IsReadByThisThread() const noexcept;
    bool AreReadersWaiting() const noexcept { return m_waitingReaders.load(std::memory_order_relaxed) != 0; }
    bool HasReaders() const noexcept {
        return (m_state.load(std::memory_order_relaxed) & c_readers) != 0 || AreReadersWaiting();
    }
    bool IsWriterWaiting() const noexcept { return (m_state.load(std::memory_order_relaxed) & c_writerWaits) != 0; }

private:
    static constexpr std::uint32_t c_turn = 1u << 31;
    static constexpr std::uint32_t c_writing = 1u << 30;
    // Keeps new readers out while the thread that has the turn waits for those that are in.
    static constexpr std::uint32_t c_writerWaits = 1u << 29;
    static constexpr std::uint32_t c_readers = c_writerWaits - 1;

    void AcquireSlowly();
    bool TryTakeTurn() noexcept;
    bool TryWrite() noexcept;
    bool TryRead() noexcept;
    void LetGo(std::uint32_t kept) noexcept {
        if (m_waiters.load() == 0) [[likely]] {
            m_state.exchange(kept);
            // Whoever began to wait in between has not seen the change.
            if (m_waiters.load() != 0) [[unlikely]]
                Wake();
        } else {
            LetReadersIn(kept);
        }
    }
    void LetReadersIn(std::uint32_t kept) noexcept;
    void Wake() noexcept;

    // All operations on these two are sequentially consistent: a thread that lets go changes the state and then looks
    // for waiters, one that waits makes itself known and then looks at the state, so one of them sees the other.
    std::atomic<std::uint32_t> m_state{0};
    std::atomic<std::uint32_t> m_waiters{0};
    std::atomic<std::uint32_t> m_waitingReaders{0};
    std::atomic<std::thread::id> m_owner{};

    std::mutex m_mutex;
    std::condition_variable m_changed;
    // Grows when waiting readers are let in.
    std::uint64_t m_admission = 0;
};
