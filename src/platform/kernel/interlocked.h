// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <semaphore>

namespace Kernel {

// A counter that several threads change.
class Interlocked {
public:
    // The value after the change.
    int Increment() noexcept { return m_value.fetch_add(1, std::memory_order_acq_rel) + 1; }
    int Decrement() noexcept { return m_value.fetch_sub(1, std::memory_order_acq_rel) - 1; }
    int Get() const noexcept { return m_value.load(std::memory_order_acquire); }

private:
    std::atomic<int> m_value{0};
};

// Lets one holder in at a time; any thread may let the holder out.
class Semaphore {
public:
    void Acquire() { m_semaphore.acquire(); }
    bool TryAcquire() { return m_semaphore.try_acquire(); }
    void Release() { m_semaphore.release(); }

private:
    std::binary_semaphore m_semaphore{1};
};

} // namespace Kernel
