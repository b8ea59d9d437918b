// SPDX-License-Identifier: Apache-2.0
#include "shapes/text/laid_out_text.h"

#include "platform/story/reading_direction.h"

namespace Commands {

namespace {

// A glyph with one of these never reaches the new story: it shows nothing, was made for its line alone, ends the story,
// or is drawn by another object.
constexpr unsigned c_leftOut = 588;
static_assert(c_leftOut == (Story::CompositionFlag::c_hidden | Story::CompositionFlag::c_madeForLine |
                            Story::CompositionFlag::c_storyEnd | Story::CompositionFlag::c_drawnApart));

using LineIterator = Story::ComposedColumn::const_iterator;

bool EndsParagraph(Story::LinePart const& line) { return line.IsHardBreak(true) && !line.IsHardBreak(false); }

// The text that a paragraph shows in the column, from a line to the paragraph's end there.
std::u32string GetTextOfParagraph(LineIterator line, LineIterator end) {
    std::u32string text;
    for (bool isOver = false; line != end && !isOver; ++line) {
        for (std::uint32_t i = 0; i != line->GetSize(); ++i) {
            if ((line->GetCompositionFlags(i) & c_leftOut) == 0)
                text.push_back(line->GetCharacter(i));
        }
        isOver = EndsParagraph(*line);
    }
    return text;
}

// The line's own, with the direction where a paragraph that is continued from another column would find another one in
// the words that are left of it: it would leave its column on the other side.
Story::ParagraphAttsRef GetParagraphAtts(Story::LinePart const& line, std::u32string_view paragraph) {
    auto const own = line.GetParagraphAtts();
    if (Story::BeginsRightToLeft(paragraph) == line.IsRightToLeft())
        return own;
    auto atts = Kernel::MakeCounted<Story::ParagraphAtts>(*own);
    atts->Set(Story::ParagraphAtt::Enum::Direction,
              static_cast<int>(line.IsRightToLeft() ? Story::ParagraphDirection::RightToLeft
                                                    : Story::ParagraphDirection::LeftToRight));
    return atts;
}

} // namespace

Kernel::Counted<Story::Story> LaidOutText::CopyColumn(Story::ComposedColumn const& column) {
    auto story = Kernel::MakeCounted<Story::Story>();
    Story::GlyphSink sink(story);
    Story::ParagraphAttsRef paragraphAtts;
    for (auto line = column.begin(); line != column.end(); ++line) {
        if (line == column.begin() || EndsParagraph(*std::prev(line)))
            paragraphAtts = GetParagraphAtts(*line, GetTextOfParagraph(line, column.end()));
        sink.SetParagraphAtts(paragraphAtts);
        CopyLine(*line, sink);
    }
    sink.Flush();
    return story;
}

void LaidOutText::CopyLine(Story::LinePart const& line, Story::GlyphSink& sink) {
    for (std::uint32_t i = 0; i != line.GetSize(); ++i) {
        if (!IsKept(line, i))
            continue;
        sink.SetGlyphAtts(line.GetGlyphAtts(i));
        sink.Add(line.GetGlyph(i)->Clone(Story::GlyphCloneContext::NoCloneGlyphs));
    }
    if (line.IsWholeLineBack() && !line.IsHardBreak(true))
        sink.Add(Story::c_lineSeparator);
}

bool LaidOutText::IsKept(Story::LinePart const& line, std::uint32_t index) {
    unsigned const flags = line.GetCompositionFlags(index);
    bool isKept = false;
    if (line.IsSource(index)) {
        m_inFillerText = line.GetGlyph(index)->GetClassUID() == Story::FillerTextGlyph::c_classUid;
        isKept = !m_inFillerText;
    } else {
        isKept =
            (flags & (m_inFillerText ? Story::CompositionFlag::c_fillerText : Story::CompositionFlag::c_madeText)) != 0;
    }
    return isKept && (flags & c_leftOut) == 0;
}

} // namespace Commands
