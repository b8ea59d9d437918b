// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

namespace Kernel {

// Measures elapsed time from its construction, on a clock that never goes back.
class Timer {
public:
    double GetElapsedMilliseconds() const {
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - m_start).count();
    }

private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

} // namespace Kernel
