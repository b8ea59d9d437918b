// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

namespace Kernel::Detail {

// CRC-32C (Castagnoli, polynomial 0x1EDC6F41 reflected, RFC 3720 section 12.1), by the processor where it can.
std::uint32_t ComputeCrc32c(std::byte const* bytes, std::size_t size) noexcept;
// The same by table.
std::uint32_t ComputeCrc32cByTable(std::byte const* bytes, std::size_t size) noexcept;

} // namespace Kernel::Detail
