// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <cstddef>

namespace Kernel {

// Worker threads for loops over independent items.
class REDRAFT_ENGINE Dispatch {
public:
    using Function = void (*)(void* data, std::size_t index);
    enum class DispatchPriority { Background = 0, Low = 1, Normal = 2, High = 3 };
    enum class ThreadPurpose { General = 0, Text = 1, Pixels = 2 };

    // Runs function(data, index) for each index below count and returns when all are done. The calling thread works
    // too. The first exception of an item is thrown again here after the others have ended.
    static void DispatchParallelFor(Function function, std::size_t count, void* data, DispatchPriority priority,
                                    ThreadPurpose purpose, unsigned flags);
    // How many threads share a loop, the caller counted. 1 makes every loop serial, in index order.
    static void SetThreadCount(unsigned count);
    static unsigned GetThreadCount();
};

// The same with a callable of its own.
template <class F> void ParallelFor(std::size_t count, F const& function) {
    Dispatch::DispatchParallelFor([](void* data, std::size_t index) { (*static_cast<F const*>(data))(index); }, count,
                                  const_cast<F*>(&function), Dispatch::DispatchPriority::Normal,
                                  Dispatch::ThreadPurpose::Pixels, 0);
}

} // namespace Kernel
