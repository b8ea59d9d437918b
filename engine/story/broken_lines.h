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

// One line, with lengths from its own left end and baseline. See LinePart. Where lines run from top to bottom, the
// middle of what stands on it is in place of the baseline.
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
    float scale = 1;                       // of the letters of a drop cap, against what their attributes say
    std::vector<LineRun> runs;             // in visual order
    std::vector<ShapedGlyph> own;
};

// How lines lie in a column.
struct LineMeasure {
    double width = 0; // of the column; 0 for art text
    bool endless = false;
    double gridSpacing = 0; // of the frame's baselines; 0 for no grid
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
    // Set where the first of the lines is a drop cap: the lines that it is high, whether the paragraph has so many or
    // not; those of `lines` behind it that stand beside it; and how far its baseline is below the last of them.
    std::uint32_t capHeight = 0;
    std::uint32_t besideCap = 0;
    double capDrop = 0;

    std::size_t GetMemoryUse() const;

private:
    bool BreakBesideDropCap();
};
using BrokenLinesRef = Kernel::Counted<BrokenLines const>;

// The indents of a line, from the left and from the right.
struct LineIndents {
    double left = 0, right = 0;
    double start = 0;
};
LineIndents GetIndents(ComposedParagraph const& paragraph, bool isFirst);
// Those of a line that does not begin before `capEnd`, counted from the side at which text begins.
LineIndents GetIndentsBesideCap(ComposedParagraph const& paragraph, double capEnd);
// How far the baseline of a run is below the line's: half of the difference of ascent and descent on a line that runs
// from top to bottom, else 0. The run's letters are drawn larger by `scale`.
double GetBaselineOffset(ComposedParagraph const& paragraph, ShapedRun const& run, double scale);
// The distance to the baseline above of a line whose largest letters are of that size.
float GetLeading(ComposedParagraph const& paragraph, double size);

// Builds the line that ends there, in a column of that measure.
LineData BuildLine(ComposedParagraph const& paragraph, std::uint32_t begin, LineEnd const& end,
                   LineMeasure const& measure, LineIndents const& indents);

} // namespace Story
