// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_nodes.h"

#include <string>
#include <string_view>
#include <vector>

namespace Formats::Svg {

// Consecutive glyphs of one style.
struct TextRun {
    // With what styles give.
    Story::GlyphAttsRef atts;
    std::string text;
};

// A part of a line that has a position of its own: the whole line, or the part behind a tab.
struct TextRow {
    enum class Anchor { Start, Middle, End };
    // Where the baseline begins, has its middle or ends; the middle of the letters on a line from top to bottom.
    Kernel::PointT<double> place;
    Anchor anchor = Anchor::Start;
    bool isRightToLeft = false;
    // Added to the advance of each space, in text space.
    double wordSpacing = 0;
    std::vector<TextRun> runs;
};

// A text as a drawing can say it.
struct TextRows {
    // From the space of the rows to the node's: text space, but for its turn where lines run from top to bottom.
    Raster::AffineTransform::Params toNode;
    // Lines run from top to bottom.
    bool isVertical = false;
    std::vector<TextRow> rows;
    // Why only outlines show the text as it is; empty where rows do.
    std::string_view obstacle;
};

// The rows of a text node as it is composed now, without empty ones.
TextRows FindTextRows(TextNode const& text);

} // namespace Formats::Svg
