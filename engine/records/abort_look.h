// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/abort_flag.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <cstddef>

namespace Records {

// Looks at an abort flag after so much work that a few tenths of a millisecond have gone by. One thread's.
class AbortLook {
public:
    explicit AbortLook(bool const* abort) : m_abort(abort) {}
    // `work`: about as many steps as take a nanosecond each, such as bytes that are looked at.
    void Spend(std::size_t work) {
        m_spent += work;
        if (m_spent >= c_workPerLook)
            Now();
    }
    void Now() {
        m_spent = 0;
        if (Kernel::IsAbortSet(m_abort))
            throw Kernel::AbortException();
    }

    static constexpr std::size_t c_workPerLook = 200'000;

private:
    bool const* m_abort;
    std::size_t m_spent = 0;
};

// Calls visit(share, first, last, look) for the shares of as many items, in parallel, and looks at the flag before
// each.
template <class Visit>
void ForShares(std::size_t count, std::size_t itemsPerShare, bool const* abort, Visit const& visit) {
    Kernel::ParallelFor((count + itemsPerShare - 1) / itemsPerShare, [&](std::size_t share) {
        AbortLook look(abort);
        look.Now();
        visit(share, share * itemsPerShare, std::min(count, (share + 1) * itemsPerShare), look);
    });
}

} // namespace Records
