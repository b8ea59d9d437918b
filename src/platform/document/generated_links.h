// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/story.h"

#include <vector>

class DocumentNode;

// A part of a text that was made from the document, and the place in a text that it names.
struct GeneratedLink {
    Story::StoryRef story;
    Story::StoryRange range;
    Story::StoryPos target;
};

// The lines of all tables of contents, without the ends of their paragraphs, with the headings that they list. A table
// may be older than its headings: a line belongs to a heading with its words, whatever page number it shows, and only
// where the table has as many lines with these words as it lists headings with them, the first for the first and so on.
REDRAFT_ENGINE std::vector<GeneratedLink> FindContentsLinks(DocumentNode& document);

// The page numbers in all indices, each with the first mark on its page that it stands for. Lines that an update would
// make otherwise have none.
REDRAFT_ENGINE std::vector<GeneratedLink> FindIndexLinks(DocumentNode const& document);
