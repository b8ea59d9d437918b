// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/story/composed_paragraph.h"

#include <unicode/ubidi.h>

namespace Story {

// Splits a paragraph's text into runs of one appearance, face, script and direction.
class Itemiser {
public:
    // `direction` as ParagraphDirection. `isVertical`: into runs that stand upright and runs that lie on their side,
    // too.
    Itemiser(std::u32string_view text, int direction, bool isVertical = false);
    bool IsRightToLeft() const { return (m_paragraphLevel & 1) != 0; }
    // Appends the runs of a span of one appearance, and marks its spaces, tabs and controls. Spans follow one another.
    void Itemise(std::uint32_t begin, std::uint32_t end, TextLookRef const& look, std::vector<ShapedRun>& runs,
                 std::vector<std::uint8_t>& flags);

private:
    void FindLevels(int direction);
    std::uint8_t GetLevel(std::uint32_t index) const { return m_levels.empty() ? m_paragraphLevel : m_levels[index]; }
    hb_script_t GetScript(std::uint32_t index);
    bool StandsUpright(std::uint32_t index, FontFace const* face, hb_script_t script);
    std::uint32_t GoOn(std::uint32_t begin, std::uint32_t end, TextLookRef const& look, ShapedRun& run,
                       std::vector<std::uint8_t>& flags) const;

    std::u32string_view m_text;
    std::vector<std::uint8_t> m_levels; // empty where all are the paragraph's
    std::uint8_t m_paragraphLevel = 0;
    hb_script_t m_script = HB_SCRIPT_COMMON;
    bool m_isVertical;
    // Of the last character.
    bool m_isUpright = false;
    // No character in front of it is of one script, while there is none.
    std::size_t m_lookedAt = 0;
};

// The bidirectional levels of a text, one for each character, and that of the paragraph (Unicode Standard Annex 9).
std::uint8_t ComputeLevels(std::u32string_view text, int direction, std::vector<std::uint8_t>& levels);

} // namespace Story
