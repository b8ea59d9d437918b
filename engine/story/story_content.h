// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/story.h"

namespace Story {

// Paragraphs in a row: an immutable value that versions of a story share, in memory and on file. Small enough that an
// edit copies few pointers, large enough that a story has few blocks.
struct Story::Block final : public Kernel::Serialisable {
    static constexpr std::size_t c_capacity = 128;
    std::vector<ParagraphRef> paragraphs;
    // Where each paragraph begins within the block, and at last the block's length.
    std::vector<std::uint32_t> begins;
    // Those of them that have objects.
    std::vector<std::uint16_t> withObjects;
    std::uint32_t noteCount = 0;

    void Add(ParagraphRef paragraph);
    // Fits what was loaded into a story: called once by each story that has loaded it.
    void Settle();

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<Block>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    std::vector<Kernel::Counted<Paragraph>> m_loaded;
    std::atomic<bool> m_isSettled{true};
};

struct Story::Content {
    using BlockRef = Kernel::Counted<Block const>;
    struct Entry {
        BlockRef block;
        std::size_t firstParagraph = 0;
        std::uint32_t begin = 0;
        std::uint32_t notesBefore = 0;
    };
    std::vector<Entry> blocks;
    // Of a story that was loaded and is not settled yet: all that there is.
    std::vector<Kernel::Counted<Block>> loaded;
    std::size_t paragraphCount = 0;
    std::uint32_t length = 0;

    // Throws Kernel::Exception when the text would become too long.
    static std::shared_ptr<Content const> Make(std::vector<BlockRef> blocks);
    static void AppendBlocks(std::vector<BlockRef>& blocks, std::vector<ParagraphRef> const& paragraphs);
    Entry const& FindBlockOfParagraph(std::size_t index) const;
    ParagraphRef const& GetParagraph(std::size_t index) const;
};

} // namespace Story
