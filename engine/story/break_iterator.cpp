// SPDX-License-Identifier: Apache-2.0
#include "engine/story/break_iterator.h"

#include <map>

namespace Story {

void Utf16Text::Assign(std::u32string_view text) {
    m_text.clear();
    m_toCodePoints.clear();
    m_text.reserve(text.size());
    bool isPlain = true;
    for (char32_t const c : text) {
        if (c < 0x10000) {
            m_text.push_back(static_cast<char16_t>(c));
        } else {
            m_text.push_back(static_cast<char16_t>(0xD7C0 + (c >> 10)));
            m_text.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
            isPlain = false;
        }
    }
    if (isPlain)
        return;
    m_toCodePoints.reserve(m_text.size() + 1);
    for (std::uint32_t i = 0; i != text.size(); ++i) {
        m_toCodePoints.push_back(i);
        if (text[i] >= 0x10000)
            m_toCodePoints.push_back(i);
    }
    m_toCodePoints.push_back(static_cast<std::uint32_t>(text.size()));
}

BreakIterator* BreakIterator::Get(UBreakIteratorType type, std::string const& language) {
    // Languages come from documents: those that are asked for by turns are few, and a forged document gets no more.
    constexpr std::size_t c_maximumCount = 16;
    thread_local std::map<std::pair<UBreakIteratorType, std::string>, BreakIterator> s_iterators;
    auto const key = std::pair(type, language);
    auto found = s_iterators.find(key);
    if (found == s_iterators.end()) {
        if (s_iterators.size() >= c_maximumCount)
            s_iterators.clear();
        UErrorCode status = U_ZERO_ERROR;
        BreakIterator made;
        made.m_iterator.reset(ubrk_open(type, language.c_str(), nullptr, 0, &status));
        if (U_FAILURE(status) || !made.m_iterator)
            return nullptr;
        found = s_iterators.emplace(key, std::move(made)).first;
    }
    return &found->second;
}

void BreakIterator::SetText(Utf16Text const& text) {
    UErrorCode status = U_ZERO_ERROR;
    ubrk_setText(m_iterator.get(), text.GetData(), text.GetLength(), &status);
    ubrk_first(m_iterator.get());
}

} // namespace Story
