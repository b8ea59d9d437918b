// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/story.h"

namespace Story {

// Paragraphs in a row. Small enough that an edit copies few pointers, large enough that a story has few blocks.
struct Story::Block final : public virtual Kernel::Countable {
    static constexpr std::size_t c_capacity = 256;
    std::vector<ParagraphRef> paragraphs;
    // Where each paragraph begins within the block, and at last the block's length.
    std::vector<std::uint32_t> begins;
    // Those of them that have objects.
    std::vector<std::uint16_t> withObjects;
};

struct Story::Content {
    using BlockRef = Kernel::Counted<Block const>;
    struct Entry {
        BlockRef block;
        std::size_t firstParagraph = 0;
        std::uint32_t begin = 0;
    };
    std::vector<Entry> blocks;
    std::size_t paragraphCount = 0;
    std::uint32_t length = 0;

    // Throws Kernel::Exception when the text would become too long.
    static std::shared_ptr<Content const> Make(std::vector<BlockRef> blocks);
    static void AppendBlocks(std::vector<BlockRef>& blocks, std::vector<ParagraphRef> const& paragraphs);
    Entry const& FindBlockOfParagraph(std::size_t index) const;
    ParagraphRef const& GetParagraph(std::size_t index) const;
};

} // namespace Story
