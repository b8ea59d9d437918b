// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/story/composed_paragraph.h"
#include "engine/story/line_breaker.h"

#include <span>
#include <vector>

namespace Story {

// A span of one run on a line.
struct LineRun {
    std::uint32_t run = 0;
    // Glyphs of the paragraph, or of the line itself.
    std::uint32_t glyphBegin = 0, glyphEnd = 0;
    bool own = false;
    // Left end, from the line's left end.
    float x = 0;
};

// One line, with lengths from its own left end and baseline. See LinePart.
struct LineData {
    std::uint32_t begin = 0, end = 0; // composed text, what hangs included
    std::uint32_t visibleEnd = 0;
    float left = 0; // from the column's left
    float width = 0;
    float spaceExtra = 0;
    float ascent = 0, descent = 0;
    float leading = 0; // to the baseline above
    bool hyphen = false;
    bool endsParagraph = false;
    Alignment alignment = Alignment::Left; // Left, Right, Centre or Justify
    std::vector<LineRun> runs;             // in visual order
    std::vector<ShapedGlyph> own;
};

// How lines lie in a column.
struct LineMeasure {
    double width = 0; // of the column; 0 for art text
    bool endless = false;
    friend bool operator==(LineMeasure const&, LineMeasure const&) = default;
};

// The lines of a paragraph from one of its characters on. Immutable once it is shared.
class BrokenLines final : public virtual Kernel::Countable {
public:
    // Breaks and builds all of them.
    BrokenLines(ComposedParagraphRef paragraph, std::uint32_t begin, LineMeasure const& measure);
    // Empty: lines are added one by one.
    explicit BrokenLines(ComposedParagraphRef composed) : paragraph(std::move(composed)) {}
    ~BrokenLines() override;

    ComposedParagraphRef paragraph;
    std::uint32_t begin = 0;
    LineMeasure measure;
    std::vector<LineData> lines;

    std::size_t GetMemoryUse() const;
};
using BrokenLinesRef = Kernel::Counted<BrokenLines const>;

// The indents of a line, from the left and from the right.
struct LineIndents {
    double left = 0, right = 0;
    double start = 0;
};
LineIndents GetIndents(ComposedParagraph const& paragraph, bool isFirst);

// Builds the line that ends there, in a column of that measure.
LineData BuildLine(ComposedParagraph const& paragraph, std::uint32_t begin, LineEnd const& end,
                   LineMeasure const& measure);

} // namespace Story
