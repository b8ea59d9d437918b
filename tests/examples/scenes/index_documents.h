// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_nodes.h"
#include "platform/story/index_mark.h"
#include "tests/examples/scenes/example_documents.h"

namespace ExampleDocuments {

// An index of the topics Animals, below it Whales, below it Sperm whale; Ships; and Sea, to which Ships refers. A chain
// of two frames has a mark of Whales in each of them and one of Ships; another frame has one of Sperm whale and is
// selected.
struct IndexTexts {
    Kernel::Counted<FrameTextNode> head, second, other;
    Kernel::Counted<Story::IndexTopic> animals, whales, spermWhale, ships, sea;
};
IndexTexts TextsWithIndexMarks(DocumentController& controller);
Kernel::Counted<Story::IndexTopic> AddTopic(DocumentController& controller, char const* name,
                                            Kernel::Counted<Story::IndexTopic const> const& parent = {});
// The topic of this name or full name.
Kernel::Counted<Story::IndexTopic const> FindTopic(DocumentController& controller, char const* name);
void InsertMark(TextNode& text, std::uint32_t index, Kernel::Counted<Story::IndexTopic const> const& topic,
                char const* styleName = "");

} // namespace ExampleDocuments
