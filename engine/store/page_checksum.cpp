// SPDX-License-Identifier: Apache-2.0
#include "engine/store/page_checksum.h"

#include <algorithm>
#include <xxhash.h>

namespace Store {

namespace {

XXH64_hash_t Compute(std::span<std::byte const> page, std::uint64_t number) noexcept {
    return XXH3_64bits_withSeed(page.data(), page.size() - c_pageChecksumSize, number + 1);
}

} // namespace

void SetPageChecksum(std::span<std::byte> page, std::uint64_t number) noexcept {
    auto checksum = Compute(page, number);
    for (auto& byte : page.last(c_pageChecksumSize)) {
        byte = static_cast<std::byte>(checksum);
        checksum >>= 8;
    }
}

bool IsPageIntact(std::span<std::byte const> page, std::uint64_t number) noexcept {
    auto checksum = Compute(page, number);
    for (auto const byte : page.last(c_pageChecksumSize)) {
        if (byte != static_cast<std::byte>(checksum))
            return false;
        checksum >>= 8;
    }
    return true;
}

bool IsPageAcceptable(std::span<std::byte const> page, std::uint64_t number) noexcept {
    return page.size() == c_pageSize && (IsPageIntact(page, number) ||
                                         std::ranges::all_of(page, [](std::byte byte) { return byte == std::byte{}; }));
}

} // namespace Store
