// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <atomic>

namespace Kernel {

// Is told of each look at an abort flag, by the thread that looks, right before it reads the flag. For tests of what an
// abort leaves behind, whenever it comes.
class REDRAFT_ENGINE AbortPollObserver {
public:
    virtual ~AbortPollObserver();
    virtual void BeforePoll(bool& flag) = 0;

    // Null for none.
    static void Set(AbortPollObserver* observer) noexcept;
    static AbortPollObserver* Get() noexcept { return s_observer.load(std::memory_order_relaxed); }

private:
    static std::atomic<AbortPollObserver*> s_observer;
};

// Reads an abort flag that another thread may set; false without one.
inline bool IsAbortSet(bool const* abort) {
    if (abort == nullptr)
        return false;
    // The flag is the owner's to write; a reference to const has no atomic view.
    auto& flag = const_cast<bool&>(*abort);
    if (auto* const observer = AbortPollObserver::Get()) [[unlikely]]
        observer->BeforePoll(flag);
    return std::atomic_ref<bool>(flag).load(std::memory_order_relaxed);
}

} // namespace Kernel
