// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/composition.h"
#include "platform/story/story.h"

namespace Commands {

// Copies text as it is laid out into stories of its own: every line goes on ending where it ended. One object copies
// the columns of one frame, in their order, because a run of filler text may go on in the next column.
class REDRAFT_API LaidOutText {
public:
    // The text that a column shows. The words of filler text take the place of the glyph that stands for it; glyphs
    // that were made for their line alone and those that show nothing are left out. A line that ends within its
    // paragraph gets a line separator.
    Kernel::Counted<Story::Story> CopyColumn(Story::ComposedColumn const& column);

private:
    bool IsKept(Story::LinePart const& line, std::uint32_t index);
    void CopyLine(Story::LinePart const& line, Story::GlyphSink& sink);

    bool m_inFillerText = false;
};

} // namespace Commands
