// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_nodes.h"
#include "platform/story/toc.h"
#include "tests/examples/scenes/example_documents.h"

namespace ExampleDocuments {

// A style of tables of contents with entry styles for "Heading 1" and "Heading 2".
inline constexpr char c_tocStyle[] = "Book";

struct ContentsTexts {
    // Linked, with the story.
    Kernel::Counted<FrameTextNode> head, second;
};
// A text of two linked frames with headings, behind as many tables of contents as `styles` names: a table for each of
// their styles, with ids from 1, whose lines are not made yet. The sheet has the style "Book", and of the tables one
// that is named as the default is.
ContentsTexts TextsWithContents(DocumentController& controller, std::vector<Kernel::String> const& styles);
// The selection with a caret in a table of the text, from 0.
Kernel::Counted<Selection const> MakeCaretInTable(DocumentController& controller, std::size_t table);
Kernel::Counted<Story::TocStyleDelta const> MakeTocDefinition(char const* title);

} // namespace ExampleDocuments
