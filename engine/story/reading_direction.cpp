// SPDX-License-Identifier: Apache-2.0
#include "platform/story/reading_direction.h"

#include "engine/story/itemiser.h"

#include <unicode/uchar.h>

namespace Story {

namespace {

constexpr int c_examinedLetters = 10'000;

enum class LetterDirection { None, LeftToRight, RightToLeft };

LetterDirection GetDirection(char32_t c) {
    if (c < 0x80)
        return (c | 0x20) >= U'a' && (c | 0x20) <= U'z' ? LetterDirection::LeftToRight : LetterDirection::None;
    switch (u_charDirection(static_cast<UChar32>(c))) {
    case U_LEFT_TO_RIGHT:
        return LetterDirection::LeftToRight;
    case U_RIGHT_TO_LEFT:
    case U_RIGHT_TO_LEFT_ARABIC:
        return LetterDirection::RightToLeft;
    default:
        return LetterDirection::None;
    }
}

} // namespace

bool IsReadRightToLeft(Story const& story, StyleSheet const& styles) {
    int letters = 0, rightToLeft = 0;
    for (std::size_t i = 0; i != story.GetParagraphCount() && letters < c_examinedLetters; ++i) {
        auto const& paragraph = *story.GetParagraph(i);
        auto const asked =
            static_cast<ParagraphDirection>(styles.Resolve(paragraph.GetAtts())->Get(ParagraphAtt::Enum::Direction));
        for (char32_t const c : paragraph.GetText()) {
            auto const direction = GetDirection(c);
            if (direction == LetterDirection::None)
                continue;
            bool const counts = asked == ParagraphDirection::Automatic ? direction == LetterDirection::RightToLeft
                                                                       : asked == ParagraphDirection::RightToLeft;
            rightToLeft += counts ? 1 : 0;
            if (++letters == c_examinedLetters)
                break;
        }
    }
    return 2 * rightToLeft > letters;
}

// The first letter decides (Unicode Standard Annex 9, rules P2 and P3). Where isolates or paragraph separators stand
// before it, the whole algorithm tells.
bool BeginsRightToLeft(std::u32string_view text) {
    for (char32_t const c : text) {
        if (auto const direction = GetDirection(c); direction != LetterDirection::None)
            return direction == LetterDirection::RightToLeft;
        auto const kind = u_charDirection(static_cast<UChar32>(c));
        if (kind == U_BLOCK_SEPARATOR || kind == U_LEFT_TO_RIGHT_ISOLATE || kind == U_RIGHT_TO_LEFT_ISOLATE ||
            kind == U_FIRST_STRONG_ISOLATE)
            break;
    }
    std::vector<std::uint8_t> levels;
    return (ComputeLevels(text, static_cast<int>(ParagraphDirection::Automatic), levels) & 1) != 0;
}

} // namespace Story
