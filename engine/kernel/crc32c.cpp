// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/crc32c.h"

#include <array>
#include <cstring>

#if defined(__x86_64__)
#include <nmmintrin.h>
#endif

namespace Kernel::Detail {

namespace {

using Tables = std::array<std::array<std::uint32_t, 256>, 8>;

// Eight tables, so that eight bytes go in one step ("slicing-by-8", Kounavis and Berry, 2005).
consteval Tables MakeTables() {
    Tables tables{};
    for (std::uint32_t i = 0; i != 256; ++i) {
        std::uint32_t crc = i;
        for (int bit = 0; bit != 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0x82F63B78u : 0u);
        tables[0][i] = crc;
    }
    for (std::size_t i = 0; i != 256; ++i) {
        for (std::size_t slice = 1; slice != 8; ++slice)
            tables[slice][i] = (tables[slice - 1][i] >> 8) ^ tables[0][tables[slice - 1][i] & 0xFF];
    }
    return tables;
}

constexpr Tables c_tables = MakeTables();

#if defined(__x86_64__)
__attribute__((target("sse4.2"))) std::uint32_t ComputeByProcessor(std::byte const* bytes, std::size_t size) noexcept {
    std::uint64_t crc = 0xFFFFFFFF;
    for (; size >= 8; bytes += 8, size -= 8) {
        std::uint64_t word;
        std::memcpy(&word, bytes, sizeof word);
        crc = _mm_crc32_u64(crc, word);
    }
    auto rest = static_cast<std::uint32_t>(crc);
    if (size >= 4) {
        std::uint32_t word;
        std::memcpy(&word, bytes, sizeof word);
        rest = _mm_crc32_u32(rest, word);
        bytes += 4;
        size -= 4;
    }
    for (; size != 0; ++bytes, --size)
        rest = _mm_crc32_u8(rest, static_cast<std::uint8_t>(*bytes));
    return ~rest;
}
#endif

} // namespace

std::uint32_t ComputeCrc32cByTable(std::byte const* bytes, std::size_t size) noexcept {
    std::uint32_t crc = 0xFFFFFFFF;
    for (; size >= 8; bytes += 8, size -= 8) {
        std::uint64_t word;
        std::memcpy(&word, bytes, sizeof word);
        word ^= crc;
        crc = 0;
        for (std::size_t slice = 0; slice != 8; ++slice)
            crc ^= c_tables[7 - slice][word >> (8 * slice) & 0xFF];
    }
    for (; size != 0; ++bytes, --size)
        crc = (crc >> 8) ^ c_tables[0][(crc ^ static_cast<std::uint32_t>(*bytes)) & 0xFF];
    return ~crc;
}

std::uint32_t ComputeCrc32c(std::byte const* bytes, std::size_t size) noexcept {
#if defined(__x86_64__)
    static bool const s_hasInstruction = __builtin_cpu_supports("sse4.2") != 0;
    if (s_hasInstruction)
        return ComputeByProcessor(bytes, size);
#endif
    return ComputeCrc32cByTable(bytes, size);
}

} // namespace Kernel::Detail
