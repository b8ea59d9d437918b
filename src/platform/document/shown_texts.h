// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/spread_rects.h"
#include "platform/document/text_nodes.h"

#include <vector>

// How the texts of some spreads lie: taken before a change of something that text runs around, it tells afterwards
// which of them lie otherwise.
class REDRAFT_ENGINE ShownTexts {
public:
    ShownTexts() = default;
    // Of all frames on a spread, and on other spreads of those that show the same stories.
    explicit ShownTexts(std::vector<SpreadNode const*> const& spreads);
    // Adds where the texts show that lie otherwise now.
    void IncludeChanged(SpreadRects& areas) const;
    // Until some object has had a wrap style no text runs around anything.
    static bool AnyWraps();

private:
    struct Text {
        Kernel::Counted<FrameTextNode> frame;
        Story::ComposedFramePtr composed;
    };
    std::vector<Text> m_texts;
};
