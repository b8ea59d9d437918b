// SPDX-License-Identifier: Apache-2.0
#include "engine/story/line_breaks.h"

#include "engine/story/break_iterator.h"
#include "engine/story/composed_paragraph.h"

#include <array>
#include <unicode/uchar.h>

namespace Story {

namespace {

// The classes of Unicode Standard Annex 14 that words are made of; for their pairs the rules give an answer that no
// other text can change. Everything else is left to ICU.
enum Class : std::uint8_t { c_other, c_letter, c_digit, c_quote, c_stop, c_exclamation, c_classCount };
constexpr char32_t c_classedEnd = 0x2070;

Class ToClass(int property) {
    switch (property) {
    case U_LB_ALPHABETIC:
        return c_letter;
    case U_LB_NUMERIC:
        return c_digit;
    case U_LB_QUOTATION:
        return c_quote;
    case U_LB_INFIX_NUMERIC:
        return c_stop;
    case U_LB_EXCLAMATION:
        return c_exclamation;
    default:
        return c_other;
    }
}

using Classes = std::array<Class, c_classedEnd>;

Classes const& GetClasses() {
    static auto const s_classes = [] {
        Classes classes{};
        for (char32_t i = 0; i != c_classedEnd; ++i)
            classes[i] = ToClass(u_getIntPropertyValue(static_cast<UChar32>(i), UCHAR_LINE_BREAK));
        return classes;
    }();
    return s_classes;
}

// Whether the second class directly behind the first is never split from it: rules LB13, 19, 23, 25, 28 and 29. What
// follows an exclamation mark, and figures behind a stop, depend on more.
constexpr bool c_joins[c_classCount][c_classCount] = {
    // other, letter, digit, quote, stop, exclamation
    {false, false, false, false, false, false}, // other
    {false, true, true, true, true, true},      // letter
    {false, true, true, true, true, true},      // digit
    {false, true, true, true, true, true},      // quote
    {false, true, false, true, true, true},     // stop
    {false, false, false, true, true, true},    // exclamation
};

// A line may begin with these behind a space, whatever of the classes above stands before the space: LB18, since LB14
// to 17 tell of others.
constexpr bool BeginsLines(Class kind) { return kind == c_letter || kind == c_digit || kind == c_quote; }

// Languages whose quotation marks and small letters have other classes, and wishes for other rules.
bool HasOtherRules(std::string const& language) {
    auto const primary = std::string_view(language).substr(0, 2);
    return primary == "zh" || primary == "ja" || primary == "ko" || language.find("-u-") != std::string::npos ||
           language.find('@') != std::string::npos;
}

class LineBreakFinder {
public:
    LineBreakFinder(std::u32string_view text, std::string const& language, std::vector<std::uint8_t>& flags)
        : m_text(text), m_language(language), m_flags(flags) {}

    void Find() {
        for (std::size_t begin = 0; begin != m_text.size();) {
            std::size_t next = SkipWord(begin);
            if (next == begin)
                next = AskIcu(begin);
            Mark(next);
            begin = next;
        }
    }

private:
    Class GetClass(char32_t c) const { return c < c_classedEnd ? m_classes[c] : c_other; }
    void Mark(std::size_t at) { m_flags[at] |= CharacterFlag::c_breakBefore; }

    // Behind spaces from `at` on.
    std::size_t SkipSpaces(std::size_t at) const {
        while (at != m_text.size() && m_text[at] == U' ')
            ++at;
        return at;
    }
    // The end of all, but for the separator there, to which nothing is a break before (LB6).
    bool IsEnd(std::size_t at) const {
        return at == m_text.size() || (at + 1 == m_text.size() && m_text[at] == c_paragraphSeparator);
    }

    // From where a line may begin to the next such place; `begin` where the rules for words do not tell.
    std::size_t SkipWord(std::size_t begin) const {
        auto kind = GetClass(m_text[begin]);
        if (!BeginsLines(kind))
            return begin;
        std::size_t at = begin + 1;
        for (; at != m_text.size(); ++at) {
            auto const next = GetClass(m_text[at]);
            if (!c_joins[kind][next])
                break;
            kind = next;
        }
        auto const behind = SkipSpaces(at);
        if (IsEnd(behind))
            return m_text.size();
        return behind != at && BeginsLines(GetClass(m_text[behind])) ? behind : begin;
    }

    // Up to the next place where a line may begin for certain. A place between words starts ICU's rules afresh.
    std::size_t AskIcu(std::size_t begin) {
        std::size_t end = begin;
        while (end != m_text.size()) {
            auto const kind = GetClass(m_text[end++]);
            if (kind == c_other || end == m_text.size() || m_text[end] != U' ')
                continue;
            end = SkipSpaces(end);
            if (end != m_text.size() && BeginsLines(GetClass(m_text[end])))
                break;
        }
        thread_local Utf16Text s_text;
        s_text.Assign(m_text.substr(begin, end - begin));
        if (m_lines == nullptr)
            m_lines = BreakIterator::Get(UBRK_LINE, m_language);
        if (m_lines == nullptr)
            return end;
        m_lines->SetText(s_text);
        for (std::int32_t at = m_lines->Next(); at != UBRK_DONE; at = m_lines->Next())
            Mark(begin + s_text.ToCodePoints(at));
        return end;
    }

    std::u32string_view m_text;
    std::string const& m_language;
    std::vector<std::uint8_t>& m_flags;
    Classes const& m_classes = GetClasses();
    BreakIterator* m_lines = nullptr;
};

} // namespace

void FindLineBreaks(std::u32string_view text, std::string const& language, std::vector<std::uint8_t>& flags) {
    if (HasOtherRules(language))
        FindLineBreaksByIcu(text, language, flags);
    else
        LineBreakFinder(text, language, flags).Find();
}

void FindLineBreaksByIcu(std::u32string_view text, std::string const& language, std::vector<std::uint8_t>& flags) {
    auto* const lines = BreakIterator::Get(UBRK_LINE, language);
    if (lines == nullptr)
        return;
    thread_local Utf16Text s_text;
    s_text.Assign(text);
    lines->SetText(s_text);
    for (std::int32_t at = lines->Next(); at != UBRK_DONE; at = lines->Next())
        flags[s_text.ToCodePoints(at)] |= CharacterFlag::c_breakBefore;
}

} // namespace Story
