// SPDX-License-Identifier: Apache-2.0
#include "engine/story/emoji.h"

#include <algorithm>
#include <unicode/uchar.h>

namespace Story {

namespace {

constexpr char32_t c_joiner = 0x200D;
constexpr char32_t c_asText = 0xFE0E;
constexpr char32_t c_asEmoji = 0xFE0F;
constexpr char32_t c_keycap = 0x20E3;
constexpr std::uint32_t c_longest = 64;

bool HasProperty(char32_t c, UProperty property) { return u_hasBinaryProperty(static_cast<UChar32>(c), property) != 0; }
bool IsTone(char32_t c) { return c >= 0x1F3FB && c <= 0x1F3FF; }
bool IsTag(char32_t c) { return c >= 0xE0020 && c <= 0xE007F; }
bool SaysHow(char32_t next) {
    return next == c_joiner || next == c_asText || next == c_asEmoji || next == c_keycap || IsTone(next) || IsTag(next);
}

// Reads one emoji with what modifies it.
class SequenceReader {
public:
    SequenceReader(std::u32string_view text, std::uint32_t begin, std::uint32_t end)
        : m_text(text), m_at(begin), m_end(std::min(end, begin + c_longest)) {}

    std::optional<EmojiSequence> Read() {
        if (IsRegionalIndicator(Peek())) {
            ++m_at;
            if (!IsRegionalIndicator(Peek()))
                return std::nullopt;
            return EmojiSequence{m_at + 1, true};
        }
        if (!ReadElement())
            return std::nullopt;
        if (Peek() == c_asText)
            return EmojiSequence{m_at + 1, false};
        while (Peek() == c_joiner) {
            auto const joined = m_at++;
            if (!ReadElement()) {
                m_at = joined;
                break;
            }
            m_inColours = true;
        }
        return m_inColours ? std::optional(EmojiSequence{m_at, true}) : std::nullopt;
    }

private:
    char32_t Peek() const { return m_at < m_end ? m_text[m_at] : 0; }
    bool ReadElement() {
        char32_t const base = Peek();
        if (base == 0 || !HasProperty(base, UCHAR_EMOJI))
            return false;
        ++m_at;
        if (IsTone(Peek()) && HasProperty(base, UCHAR_EMOJI_MODIFIER_BASE)) {
            m_inColours = true;
            ++m_at;
        }
        if (Peek() == c_asEmoji) {
            m_inColours = true;
            ++m_at;
        }
        if (Peek() == c_keycap) {
            m_inColours = true;
            ++m_at;
        }
        for (; IsTag(Peek()); ++m_at)
            m_inColours = true;
        return true;
    }

    std::u32string_view m_text;
    std::uint32_t m_at;
    std::uint32_t m_end;
    bool m_inColours = false;
};

} // namespace

std::optional<EmojiSequence> FindEmojiSequence(std::u32string_view text, std::uint32_t begin, std::uint32_t end) {
    if (begin + 1 >= end || !(SaysHow(text[begin + 1]) || IsRegionalIndicator(text[begin])))
        return std::nullopt;
    return SequenceReader(text, begin, end).Read();
}

} // namespace Story
