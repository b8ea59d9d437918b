// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <cstddef>
#include <cstdint>
#include <functional>

namespace Kernel {

// Worker threads for loops over independent items.
class REDRAFT_ENGINE Dispatch {
public:
    using Function = void (*)(void* data, std::size_t index);
    enum class DispatchPriority { Background = 0, Low = 1, Normal = 2, High = 3 };
    enum class ThreadPurpose { General = 0, Text = 1, Pixels = 2 };

    // Runs function(data, index) for each index below count and returns when all are done. The calling thread works
    // too. The first exception of an item is thrown again here after the items that had begun have ended; the others
    // are left out. No flag is defined.
    static void DispatchParallelFor(Function function, std::size_t count, void* data, DispatchPriority priority,
                                    ThreadPurpose purpose, unsigned flags);
    static void DispatchParallelFor(std::function<void(std::uint64_t)> const& function, std::uint64_t count,
                                    DispatchPriority priority, ThreadPurpose purpose, int flags);
    // How many threads share a loop, the caller counted. 1 makes every loop serial, in index order.
    static void SetThreadCount(unsigned count);
    static unsigned GetThreadCount();
    // The processors of this machine that the process may use, whatever the thread count is.
    static unsigned GetNumberOfRealCPUs();
};

// The same with a callable of its own.
template <class F>
void ParallelFor(std::size_t count, F const& function) {
    Dispatch::DispatchParallelFor([](void* data, std::size_t index) { (*static_cast<F const*>(data))(index); }, count,
                                  const_cast<F*>(&function), Dispatch::DispatchPriority::Normal,
                                  Dispatch::ThreadPurpose::Pixels, 0);
}

} // namespace Kernel
