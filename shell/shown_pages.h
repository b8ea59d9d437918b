// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/page_numbers.h"
#include "platform/document/text_nodes.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace Shell {

// The texts of a document, each story once, with the parts of it that its nodes show.
struct ShownStory {
    struct Part {
        Kernel::Counted<TextNode> node;
        Story::StoryRange range;
    };
    Kernel::Counted<Story::Story const> story;
    // Laid out as far as it was needed.
    Kernel::Counted<Story::ComposedStory> composed;
    // In the order of the text. A node that no text has reached has an empty range.
    std::vector<Part> parts;
    // Behind it no text has a place.
    std::uint32_t overflowBegin = 0;
};

// In the order of the tree. Composes all texts where `withPlaces`; otherwise ranges and overflow are not filled.
std::vector<ShownStory> FindStories(DocumentNode const& document, bool withPlaces);

// The page that a node stands on.
struct PagePlace {
    // From 0.
    std::size_t spread = 0;
    // As the page shows it; empty beside all pages of the spread.
    std::string page;
};

// As they were when it was made.
class PagePlaces {
public:
    explicit PagePlaces(DocumentNode const& document);
    PagePlace Find(Node const& node) const;

private:
    PageNumbers m_numbers;
    std::unordered_map<Node const*, std::size_t> m_spreads;
};

} // namespace Shell
