// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unicode/ubrk.h>
#include <vector>

namespace Story {

// Text as ICU wants it, with the way back: UTF-16 positions and positions in code points are the same unless the text
// has characters beyond the Basic Multilingual Plane.
class Utf16Text {
public:
    void Assign(std::u32string_view text);
    std::u16string const& GetText() const { return m_text; }
    UChar const* GetData() const { return m_text.data(); }
    std::int32_t GetLength() const { return static_cast<std::int32_t>(m_text.size()); }
    std::uint32_t ToCodePoints(std::int32_t utf16) const {
        return m_toCodePoints.empty() ? static_cast<std::uint32_t>(utf16)
                                      : m_toCodePoints[static_cast<std::size_t>(utf16)];
    }

private:
    std::u16string m_text;
    // One entry for each unit and one for the end; empty where positions are the same.
    std::vector<std::uint32_t> m_toCodePoints;
};

// Boundaries in text by Unicode Standard Annexes 14 and 29, with ICU's tailorings for the language.
class BreakIterator {
public:
    // One for the calling thread. Null only where ICU has no rules at all.
    static BreakIterator* Get(UBreakIteratorType type, std::string const& language);

    // The text must stay as it is while boundaries are asked for.
    void SetText(Utf16Text const& text);
    std::int32_t Next() { return ubrk_next(m_iterator.get()); }
    std::int32_t Preceding(std::int32_t at) { return ubrk_preceding(m_iterator.get(), at); }
    std::int32_t Following(std::int32_t at) { return ubrk_following(m_iterator.get(), at); }
    bool IsBoundary(std::int32_t at) { return ubrk_isBoundary(m_iterator.get(), at) != 0; }
    std::int32_t GetRuleStatus() const { return ubrk_getRuleStatus(m_iterator.get()); }

private:
    struct Close {
        void operator()(UBreakIterator* iterator) const { ubrk_close(iterator); }
    };
    std::unique_ptr<UBreakIterator, Close> m_iterator;
};

} // namespace Story
