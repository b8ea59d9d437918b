// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Lives {

// Numbers by chance, the same ones from the same seed on every machine (SplitMix64; Steele, Lea and Flood, 2014).
class Random {
public:
    explicit Random(std::uint64_t seed) : m_state(seed) {}
    std::uint64_t Next() {
        std::uint64_t z = m_state += 0x9E3779B97F4A7C15u;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }
    // From 0 to count - 1; the count is not 0.
    std::size_t Below(std::size_t count) { return static_cast<std::size_t>(Next() % count); }
    bool Chance(unsigned percent) { return Below(100) < percent; }
    template <class T>
    T const& Of(std::vector<T> const& values) {
        return values[Below(values.size())];
    }

private:
    std::uint64_t m_state;
};

} // namespace Lives
