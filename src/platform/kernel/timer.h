// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>

namespace Kernel {

// Measures elapsed time from its construction, on a clock that never goes back.
class Timer {
public:
    double GetElapsedMilliseconds() const {
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - m_start).count();
    }
    std::int64_t GetMilliseconds() const { return static_cast<std::int64_t>(GetElapsedMilliseconds()); }

private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

} // namespace Kernel
