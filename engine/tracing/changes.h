// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Tracing {

// Eight flags, one a byte with values of 0 and 1, as the bits of a number: the first is the lowest bit.
inline std::uint32_t PackFlags(std::uint8_t const* flags) {
    static_assert(std::endian::native == std::endian::little);
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, flags, sizeof bytes);
    // Moves bit 8 i to bit 56 + i; no two of the products meet in one bit.
    return static_cast<std::uint32_t>(bytes * 0x0102040810204080u >> 56);
}

// For sixteen items a bit each: whether differs(i) is true. A loop that is done several items at a time.
template <class F>
std::uint32_t FindFlags16(F const& differs) {
    std::uint8_t flags[16];
    for (std::size_t i = 0; i != 16; ++i)
        flags[i] = differs(i) ? 1 : 0;
    return PackFlags(flags) | PackFlags(flags + 8) << 8;
}

} // namespace Tracing
