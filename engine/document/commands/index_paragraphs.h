// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/index_text.h"

class IndexPreview;

// An index in a text: paragraphs in a row that belong to one index.
struct FoundIndex {
    Kernel::Counted<Story::IndexAtt const> att;
    // Whole paragraphs, with their separators.
    Story::StoryRange range;
};
// In the order of the story.
std::vector<FoundIndex> FindIndices(Story::Story const& story);
// Marks are numbered as in the preview, which has pages.
Story::IndexedPages GetIndexedPages(IndexPreview const& marks);
Story::IndexSeparators GetIndexSeparators(Story::Index const& index);
