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
    // Where the baseline begins, has its middle or ends, in text space.
    Kernel::PointT<double> place;
    Anchor anchor = Anchor::Start;
    bool isRightToLeft = false;
    // Added to the advance of each space, in text space.
    double wordSpacing = 0;
    std::vector<TextRun> runs;
};

// A text as a drawing can say it.
struct TextRows {
    // From text space to the node's.
    Raster::AffineTransform::Params toNode;
    std::vector<TextRow> rows;
    // Why only outlines show the text as it is; empty where rows do.
    std::string_view obstacle;
};

// The rows of a text node as it is composed now, without empty ones.
TextRows FindTextRows(TextNode const& text);

} // namespace Formats::Svg
