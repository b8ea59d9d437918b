// SPDX-License-Identifier: Apache-2.0
#include "platform/story/paragraph.h"

#include <algorithm>
#include <cstring>

namespace Story {

namespace {

// The least and greatest second byte, and the count of bytes behind the first, of a well-formed sequence (The Unicode
// Standard, table 3-7). A count of 0: no sequence begins with the byte.
struct Lead {
    int following;
    unsigned char low, high;
};
Lead ClassifyLead(unsigned char byte) {
    if (byte >= 0xC2 && byte <= 0xDF)
        return {1, 0x80, 0xBF};
    if (byte >= 0xE0 && byte <= 0xEF)
        return {2, static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(byte == 0xED ? 0x9F : 0xBF)};
    if (byte >= 0xF0 && byte <= 0xF4)
        return {3, static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
                static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
    return {0, 0, 0};
}

// The character at `at`, which moves on. False for a maximal subpart of none.
bool DecodeOne(std::string_view bytes, std::size_t& at, char32_t& character) {
    auto const first = static_cast<unsigned char>(bytes[at++]);
    if (first < 0x80) {
        character = first;
        return true;
    }
    auto lead = ClassifyLead(first);
    if (lead.following == 0)
        return false;
    character = first & (0x3F >> lead.following);
    for (int i = 0; i != lead.following; ++i) {
        auto const byte = at == bytes.size() ? 0 : static_cast<unsigned char>(bytes[at]);
        if (byte < lead.low || byte > lead.high)
            return false;
        character = character << 6 | (byte & 0x3F);
        lead.low = 0x80;
        lead.high = 0xBF;
        ++at;
    }
    return true;
}

// Characters of ASCII at the beginning.
std::size_t CountAscii(std::string_view bytes) {
    constexpr std::uint64_t c_highBits = 0x8080808080808080;
    std::size_t count = 0;
    for (std::uint64_t eight = 0; bytes.size() - count >= sizeof eight; count += sizeof eight) {
        std::memcpy(&eight, bytes.data() + count, sizeof eight);
        if ((eight & c_highBits) != 0)
            break;
    }
    while (count != bytes.size() && static_cast<unsigned char>(bytes[count]) < 0x80)
        ++count;
    return count;
}

} // namespace

DecodedText DecodeUtf8(std::string_view bytes) {
    DecodedText result;
    auto& text = result.text;
    // A character more than there can be: most texts get a separator at their end.
    text.reserve(bytes.size() + 1);
    for (std::size_t at = 0; at != bytes.size();) {
        if (auto const count = CountAscii(bytes.substr(at)); count != 0) {
            auto const first = text.size();
            text.resize(first + count);
            std::transform(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                           bytes.begin() + static_cast<std::ptrdiff_t>(at + count), text.data() + first,
                           [](char c) { return static_cast<char32_t>(static_cast<unsigned char>(c)); });
            at += count;
            continue;
        }
        char32_t character = 0;
        if (!DecodeOne(bytes, at, character)) {
            character = c_replacementCharacter;
            ++result.replaced;
        }
        text.push_back(character);
    }
    return result;
}

DecodedText DecodeUtf16(std::string_view bytes, bool bigEndian) {
    DecodedText result;
    result.text.reserve(bytes.size() / 2 + 1);
    auto const unitAt = [&](std::size_t at) {
        auto const a = static_cast<unsigned char>(bytes[at]);
        auto const b = static_cast<unsigned char>(bytes[at + 1]);
        return static_cast<char32_t>(bigEndian ? a << 8 | b : b << 8 | a);
    };
    std::size_t at = 0;
    for (; at + 1 < bytes.size(); at += 2) {
        char32_t unit = unitAt(at);
        if (unit >= 0xD800 && unit < 0xDC00 && at + 3 < bytes.size()) {
            char32_t const low = unitAt(at + 2);
            if (low >= 0xDC00 && low < 0xE000) {
                unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
                at += 2;
            }
        }
        if (unit >= 0xD800 && unit < 0xE000) {
            unit = c_replacementCharacter;
            ++result.replaced;
        }
        result.text.push_back(unit);
    }
    if (at != bytes.size()) {
        result.text.push_back(c_replacementCharacter);
        ++result.replaced;
    }
    return result;
}

DecodedText DecodeLatin1(std::string_view bytes) {
    DecodedText result;
    result.text.reserve(bytes.size());
    for (char const byte : bytes)
        result.text.push_back(static_cast<unsigned char>(byte));
    return result;
}

std::string EncodeUtf8(std::u32string_view text) {
    std::string bytes;
    bytes.reserve(text.size() + text.size() / 8);
    auto const put = [&](char32_t value) { bytes.push_back(static_cast<char>(value)); };
    for (char32_t const c : text) {
        if (c < 0x80) {
            put(c);
        } else if (c < 0x800) {
            put(0xC0 | c >> 6);
            put(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            put(0xE0 | c >> 12);
            put(0x80 | (c >> 6 & 0x3F));
            put(0x80 | (c & 0x3F));
        } else {
            put(0xF0 | c >> 18);
            put(0x80 | (c >> 12 & 0x3F));
            put(0x80 | (c >> 6 & 0x3F));
            put(0x80 | (c & 0x3F));
        }
    }
    return bytes;
}

} // namespace Story
