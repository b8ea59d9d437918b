// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Store {

inline constexpr std::size_t c_pageSize = 32768;
// The bytes that SQLite leaves free at the end of each page, which the container fills with the page's checksum.
inline constexpr std::size_t c_pageChecksumSize = 8;

// Both take one whole page and its number, counted from 0. The number takes part in the checksum, so that a page that
// was written to the wrong place is found out.
void SetPageChecksum(std::span<std::byte> page, std::uint64_t number) noexcept;
bool IsPageIntact(std::span<std::byte const> page, std::uint64_t number) noexcept;
// Also true for a page of zeros, which was never written. It holds nothing, and cannot be taken for anything.
bool IsPageAcceptable(std::span<std::byte const> page, std::uint64_t number) noexcept;

} // namespace Store
