// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/story.h"

#include <vector>

namespace Story {

// A whole paragraph as a program makes it.
struct GeneratedParagraph {
    // The separator at the end is not part of it. Ends of paragraphs inside become line separators, and what is longer
    // than a paragraph may be goes on in another one with the same attributes.
    GlyphString text;
    // Null: the default.
    ParagraphAttsRef paragraphAtts;
    // In ascending order of `begin`; where two overlap, the earlier one holds. Text without a run, and null attributes,
    // have the default. The separator is formatted as the last glyph.
    struct Run {
        std::uint32_t begin = 0;
        std::uint32_t end = 0;
        GlyphAttsRef atts;
    };
    std::vector<Run> runs;
};

// A text as a generated paragraph shows it: ends of paragraphs as line separators, and what is no character as U+FFFD.
REDRAFT_ENGINE std::u32string CleanGeneratedText(std::u32string_view text);

// Puts whole paragraphs in place of those that the range touches, and leaves all others alone. An empty range replaces
// none: the new paragraphs stand in front of a paragraph that begins there, behind one that ends there, and else part
// the paragraph that the place lies in, whose halves keep its attributes; the story's end is behind all of them.
// Gives the range of the new paragraphs, their separators included. A story that would lose all of its paragraphs
// keeps an empty one with the attributes of the first. Takes time in proportion to the paragraphs that come and go.
REDRAFT_ENGINE StoryRange ReplaceWithParagraphs(Story& story, StoryRange range,
                                                std::vector<GeneratedParagraph> const& paragraphs);

} // namespace Story
