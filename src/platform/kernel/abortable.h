// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <atomic>

namespace Kernel {

// Something that can be told to stop: it polls a plain bool that another thread sets. The flag is not owned.
class REDRAFT_ENGINE Abortable {
public:
    virtual void SetAbortPointer(bool* abort) { m_abort = abort; }
    virtual ~Abortable();
    bool IsAborted() const noexcept {
        return m_abort != nullptr && std::atomic_ref<bool>(*m_abort).load(std::memory_order_relaxed);
    }

private:
    bool* m_abort = nullptr;
};

} // namespace Kernel
