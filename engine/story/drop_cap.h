// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/story/broken_lines.h"

#include <optional>
#include <string>
#include <string_view>

namespace Story {

// How many characters of a text, from its beginning on, are set as a drop cap of so many grapheme clusters. 0 where the
// text begins with a space, a tab or the end of a line. Characters that show nothing in front of the letters count with
// them; `limit` is where the letters end at the latest.
std::uint32_t FindDropCapEnd(std::u32string_view text, std::uint32_t characters, std::uint32_t limit,
                             std::string const& language);

// Attributes of a letter in a drop cap: its own, in the character style of caps where that of the paragraph names one.
GlyphAttsRef WithDropCapStyle(GlyphAttsRef const& own, ParagraphAtts const& resolved);

// A drop cap in a column.
struct DropCap {
    // Its glyphs, all of them the line's own.
    LineData line;
    // From the column's side at which text begins: where the lines beside it begin.
    double end = 0;
    // How far its baseline stands below that of the last line beside it.
    double drop = 0;
};
// The distance between two lines beside the paragraph's cap where neither has larger letters than the text behind it.
float GetDropCapLeading(ComposedParagraph const& paragraph);
// The cap whose last line is so far below the first one. Empty where nothing of it can be drawn, or where a column of
// that width has no room for a letter beside it.
std::optional<DropCap> BuildDropCap(ComposedParagraph const& paragraph, double depth, LineMeasure const& measure);

} // namespace Story
