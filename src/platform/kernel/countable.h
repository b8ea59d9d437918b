// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <sys/single_threaded.h>

namespace Kernel {

// The strong and weak counts of one counted object. It outlives the object while weak references stand.
//
// A count starts at zero strong references; the first Counted takes the first one. The object itself holds one
// weak reference, given back when its Countable part is destroyed. Counts are atomic once the process has had a
// second thread, and plain before that.
class REDRAFT_ENGINE CountedControlBlock {
public:
    CountedControlBlock() = default;
    CountedControlBlock(CountedControlBlock const&) = delete;
    CountedControlBlock& operator=(CountedControlBlock const&) = delete;

    static void* operator new(std::size_t size);
    static void operator delete(void* block) noexcept;

    void AcquireStrong() noexcept {
        if (__libc_single_threaded)
            m_strong.store(m_strong.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        else
            m_strong.fetch_add(1, std::memory_order_relaxed);
    }

    // Returns the count that is left. At 0 the caller deletes the object through its Countable face.
    std::uint32_t ReleaseStrong() noexcept {
        if (__libc_single_threaded) {
            auto const left = m_strong.load(std::memory_order_relaxed) - 1;
            m_strong.store(left, std::memory_order_relaxed);
            return left;
        }
        return m_strong.fetch_sub(1, std::memory_order_acq_rel) - 1;
    }

    // Takes a strong reference unless the object is already gone.
    bool TryAcquireStrong() noexcept;

    void AcquireWeak() noexcept { m_weak.fetch_add(1, std::memory_order_relaxed); }
    void ReleaseWeak() noexcept;

    std::uint32_t GetStrongCount() const noexcept { return m_strong.load(std::memory_order_acquire); }

private:
    std::atomic<std::uint32_t> m_strong{0};
    std::atomic<std::uint32_t> m_weak{1};
};

// The virtual base of everything that is held by Counted.
class REDRAFT_ENGINE Countable {
public:
    Countable() : m_controlBlock(new CountedControlBlock) {}
    // A copy is an object of its own: it gets a control block of its own.
    Countable(Countable const&) : Countable() {}
    Countable& operator=(Countable const&) { return *this; }
    virtual ~Countable();

    CountedControlBlock* GetControlBlock() const noexcept { return m_controlBlock; }

private:
    CountedControlBlock* m_controlBlock;
};

} // namespace Kernel
