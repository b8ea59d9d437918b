// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace Renderer::Detail {

// Mixes numbers into one hash. Equal numbers give equal hashes; 0 and -0 are one.
class ValueHash {
public:
    ValueHash& Add(std::uint64_t value) {
        m_hash = (m_hash ^ value) * 0x9e3779b97f4a7c15u;
        m_hash ^= m_hash >> 32;
        return *this;
    }
    ValueHash& Add(double value) { return Add(std::bit_cast<std::uint64_t>(value + 0.0)); }
    std::size_t Get() const { return m_hash; }

private:
    std::uint64_t m_hash = 0x2545f4914f6cdd1du;
};

} // namespace Renderer::Detail
