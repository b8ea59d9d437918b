// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace Story {

// Characters that are to be shown as one emoji, or as a text's letter.
struct EmojiSequence {
    // Index behind its last character.
    std::uint32_t end = 0;
    bool inColours = false;
};

constexpr bool IsRegionalIndicator(char32_t c) { return c >= 0x1F1E6 && c <= 0x1F1FF; }
// Characters that say how others are shown, and need not be in a font: joiners, variation selectors, tags.
constexpr bool IsShapingControl(char32_t c) {
    return c == 0x200D || (c >= 0xFE00 && c <= 0xFE0F) || (c >= 0xE0000 && c <= 0xE0FFF);
}

// The sequence that begins at `begin`, where it says how it wants to be shown (Unicode Technical Standard 51, revision
// 23, 1.4 and 1.5): a variation selector, a skin tone, a flag of two letters or of tags, a key, or several joined. None
// for any other character, an emoji that stands alone among them. Looks at 64 characters.
std::optional<EmojiSequence> FindEmojiSequence(std::u32string_view text, std::uint32_t begin, std::uint32_t end);

} // namespace Story
