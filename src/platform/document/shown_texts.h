// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/spread_rects.h"
#include "platform/document/text_nodes.h"

#include <vector>

// How some texts lie and read: taken before a change, it tells afterwards which of them lie or read otherwise.
class REDRAFT_ENGINE ShownTexts {
public:
    ShownTexts() = default;
    // Of all frames on a spread, and on other spreads of those that show the same stories.
    explicit ShownTexts(std::vector<SpreadNode const*> const& spreads);
    // Of the nodes that show one story, as far as it has been composed: nobody has seen the others. Where texts may run
    // round the node itself, those on its spread too.
    explicit ShownTexts(TextNode const& text);
    // Of the captions of a document that show their numbers.
    static ShownTexts OfNumberedCaptions(DocumentNode const& document);
    // Adds where the texts show, or showed, that lie or read otherwise now, and gives their nodes.
    std::vector<Kernel::Counted<Node>> IncludeChanged(SpreadRects& areas) const;
    // Until some object has had a wrap style no text runs around anything.
    static bool AnyWraps();

private:
    struct Text {
        Kernel::Counted<TextNode> node;
        Story::ComposedFramePtr composed;
        // Where it shows; of frames it stays the same.
        SpreadRects area;
    };
    void AddSpread(SpreadNode const& spread);
    void Add(Kernel::Counted<TextNode> node, Story::ComposedFramePtr composed);

    std::vector<Text> m_texts;
    std::unordered_set<Node const*> m_known;
};
