// SPDX-License-Identifier: Apache-2.0
#include "engine/story/break_iterator.h"
#include "platform/story/index_mark.h"
#include "platform/story/story.h"

#include <algorithm>

namespace Story {

Kernel::Counted<Glyph const> StoryPos::GetGlyph() const { return m_story->GetGlyph(m_index); }
GlyphAttsRef StoryPos::GetGlyphAtts() const { return m_story->GetGlyphAtts(m_index); }
ParagraphAttsRef StoryPos::GetParagraphAtts() const { return m_story->GetParagraphAtts(m_index); }

namespace {

bool IsMark(Story const& story, std::uint32_t index) {
    auto const glyph = story.GetGlyph(index);
    return IsAnchorGlyph(*glyph) || IsIndexMarkGlyph(*glyph);
}

} // namespace

StoryPos StoryPos::MoveBy(int count, bool overMarks) const {
    if (!overMarks) {
        auto const target = static_cast<std::int64_t>(m_index) + count;
        return {m_story, static_cast<std::uint32_t>(std::clamp<std::int64_t>(target, 0, m_story->GetLength()))};
    }
    auto at = std::min(m_index, m_story->GetLength());
    for (; count < 0 && at != 0; --at) {
        if (!IsMark(*m_story, at - 1))
            ++count;
    }
    for (; count > 0 && at != m_story->GetLength(); ++at) {
        if (!IsMark(*m_story, at))
            --count;
    }
    return {m_story, at};
}

namespace {

struct Word {
    StoryRange range;
    bool isWord = false;
};

// The span between two word boundaries that holds a glyph. The text is looked at by paragraphs: no word reaches
// over a paragraph's end.
Word FindWord(Story const& story, std::uint32_t index) {
    auto const place = story.Find(index);
    auto const& paragraph = story.GetParagraph(place.paragraph);
    Utf16Text text;
    text.Assign(paragraph->GetText());
    auto* const words = BreakIterator::Get(
        UBRK_WORD, paragraph->GetGlyphAtts(place.offset)->Get(GlyphAtt::String::Language).ToStdString());
    if (words == nullptr)
        return {{index, index + 1}, false};
    words->SetText(text);
    std::uint32_t begin = 0;
    for (std::int32_t next = words->Next(); next != UBRK_DONE; next = words->Next()) {
        std::uint32_t const end = text.ToCodePoints(next);
        if (end > place.offset)
            return {{place.paragraphBegin + begin, place.paragraphBegin + end},
                    words->GetRuleStatus() >= UBRK_WORD_NUMBER};
        begin = end;
    }
    return {{index, index + 1}, false};
}

} // namespace

bool StoryPos::IsInWord() const { return FindWord(*m_story, m_index).isWord; }
bool StoryPos::IsWordBegin() const {
    auto const word = FindWord(*m_story, m_index);
    return word.isWord && word.range.begin == m_index;
}
bool StoryPos::IsMarkupWordEnd() const {
    auto end = std::min(m_index, m_story->GetLength());
    while (end != 0 && IsMark(*m_story, end - 1))
        --end;
    if (end == 0)
        return false;
    auto const word = FindWord(*m_story, end - 1);
    return word.isWord && word.range.end == end;
}
StoryPos StoryPos::GetWordBegin() const { return {m_story, FindWord(*m_story, m_index).range.begin}; }
StoryPos StoryPos::GetWordEnd() const { return {m_story, FindWord(*m_story, m_index).range.end}; }

StoryPos StoryPos::GetNextWordBegin() const {
    std::uint32_t at = FindWord(*m_story, m_index).range.end;
    while (at < m_story->GetLength()) {
        auto const word = FindWord(*m_story, at);
        if (word.isWord)
            return {m_story, at};
        at = word.range.end;
    }
    return {m_story, m_story->GetLength()};
}

} // namespace Story
