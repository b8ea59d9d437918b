// SPDX-License-Identifier: Apache-2.0
#include "platform/story/composed_range.h"

#include "engine/story/format_text.h"
#include "engine/story/paragraph_numbers.h"
#include "platform/story/note.h"

#include <algorithm>

namespace Story {

ComposedPos::ComposedPos(Kernel::Counted<ComposedStory> composed, StoryPos const& position)
    : m_composed(std::move(composed)), m_index(position.GetIndex()), m_isForward(position.IsToComposedForward()) {
    if (m_composed)
        m_index = std::min(m_index, m_composed->GetStory()->GetLength());
}

namespace {

// Text of the story with the numbers of paragraphs that begin in it.
class ParagraphTexts {
public:
    // `skipsFirst`: a paragraph that begins right there begins in front of the text.
    ParagraphTexts(ComposedStory& composed, std::uint32_t begin, bool skipsFirst)
        : m_story(*composed.GetStory()), m_resolved(*composed.GetStyleSheet()) {
        auto const place = m_story.Find(begin);
        m_numberer = composed.MakeNumberer({composed.GetStory(), begin});
        m_next = place.paragraph;
        bool const isInside = begin >= m_story.GetLength() || place.offset != 0 || skipsFirst;
        if (isInside)
            TakeNumber();
    }
    void Append(std::u32string& text, std::uint32_t from, std::uint32_t to) {
        while (from < to) {
            BeginAt(text, from);
            auto const end = std::min(to, m_story.GetParagraphBegin(m_next));
            text += m_story.GetText({from, end});
            from = end;
        }
    }
    // Adds the number of a paragraph that begins at the place.
    void BeginAt(std::u32string& text, std::uint32_t index) {
        if (m_next >= m_story.GetParagraphCount() || m_story.GetParagraphBegin(m_next) != index)
            return;
        if (auto const number = TakeNumber(); !number.empty())
            text += DecodeUtf8(number.view()).text + U'\t';
    }

private:
    Kernel::String TakeNumber() {
        return m_numberer->Next(*m_resolved.Resolve(m_story.GetParagraph(m_next++)->GetAtts()));
    }

    Story const& m_story;
    ResolvedParagraphs m_resolved;
    Kernel::Counted<Numberer> m_numberer;
    // The next paragraph to begin.
    std::size_t m_next = 0;
};

} // namespace

Kernel::String ComposedRange::GetString(IoFormat::Type format) const {
    auto const& composed = m_begin.GetComposed();
    if (!composed || composed != m_end.GetComposed() || m_begin.GetIndex() > m_end.GetIndex())
        return {};
    auto const& story = *composed->GetStory();
    auto const expand = [&](Glyph const& glyph, std::uint32_t index) {
        bool const isOfFrame = glyph.GetExpansionReach() == ExpansionReach::Frame;
        std::uint32_t const note = IsNoteGlyph(glyph) ? story.CountNotes({0, index + 1}) : 0;
        return ExpandGlyph(glyph, {composed->GetFields().get(), isOfFrame ? composed->FindFrame(index) : 0, note});
    };
    std::uint32_t const begin = m_begin.GetIndex(), end = m_end.GetIndex();
    // An object right in front of the begin shows behind it, unless the begin leads forward; one right in front of the
    // end shows behind that one.
    std::uint32_t const first = !m_begin.IsForward() && begin != 0 ? begin - 1 : begin;
    std::u32string text;
    std::uint32_t at = begin;
    ParagraphTexts paragraphs(*composed, begin, m_begin.IsForward());
    story.VisitObjects({first, end}, [&](std::uint32_t index, Kernel::Counted<Glyph const> const& glyph) {
        if (index >= at) {
            paragraphs.Append(text, at, index);
            if (index < end)
                paragraphs.BeginAt(text, index);
            at = index + 1;
        }
        bool const showsBehindEnd = index + 1 == end && !m_end.IsForward();
        if (!showsBehindEnd)
            text += expand(*glyph, index);
        return true;
    });
    paragraphs.Append(text, at, end);
    return FormatStoryText(std::move(text), format);
}

} // namespace Story
