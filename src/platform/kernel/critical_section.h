// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <mutex>

namespace Kernel {

// A recursive lock with the standard library's names, so that std::lock_guard takes it.
class REDRAFT_ENGINE CriticalSection {
public:
    void lock() { m_mutex.lock(); }
    void unlock() { m_mutex.unlock(); }
    bool try_lock() { return m_mutex.try_lock(); }

private:
    std::recursive_mutex m_mutex;
};

} // namespace Kernel
