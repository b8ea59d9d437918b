// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/story_selection.h"

#include <string_view>

namespace Story {

// Tells what stands in a range, in its order: for each paragraph its begin, then spans of characters of equal
// attributes and the objects between them, then its end. What lies outside the range is not told; a paragraph that the
// range cuts is told with `isWhole` false.
class REDRAFT_ENGINE StoryVisitor {
public:
    virtual ~StoryVisitor();
    void Visit(RangeInStory const& range);
    // Each span in its turn.
    void Visit(Selection const& selection);

protected:
    StoryVisitor() = default;
    StoryVisitor(StoryVisitor const&) = default;
    StoryVisitor& operator=(StoryVisitor const&) = default;

    // `at` is the first glyph of the paragraph that is in the range.
    virtual void BeginParagraph(StoryPos const& at, Paragraph const& paragraph, bool isWhole);
    // Without the separator at the paragraph's end, of which EndParagraph tells.
    virtual void ReceiveText(StoryPos const& at, std::u32string_view text, GlyphAttsRef const& atts);
    virtual void ReceiveObject(StoryPos const& at, Kernel::Counted<Glyph const> const& glyph, GlyphAttsRef const& atts);
    // `hasSeparator`: the paragraph's end is in the range.
    virtual void EndParagraph(StoryPos const& at, Paragraph const& paragraph, bool hasSeparator);
    // Asked before each paragraph: true ends the visit.
    virtual bool IsDone() const { return false; }
};

} // namespace Story
