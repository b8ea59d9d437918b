// SPDX-License-Identifier: Apache-2.0
#include "engine/epub/base64.h"

#include <cstdint>

namespace EPub {

std::string EncodeBase64(std::span<std::byte const> bytes) {
    constexpr char c_digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        for (std::size_t j = 0; j != 3; ++j)
            group = group << 8 | (i + j < bytes.size() ? std::to_integer<std::uint32_t>(bytes[i + j]) : 0);
        for (std::size_t j = 0; j != 4; ++j)
            text += i + j > bytes.size() ? '=' : c_digits[group >> (18 - 6 * j) & 63];
    }
    return text;
}

} // namespace EPub
