// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_nodes.h"
#include "platform/story/index_mark.h"

#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

// A place in a text, which is found by the glyph that stands there, wherever edits have moved it.
class REDRAFT_ENGINE TextBookmark {
public:
    TextBookmark() = default;
    // `index`: where the glyph stands now, as a hint.
    TextBookmark(Kernel::Counted<TextNode> const& text, Kernel::Counted<Story::Glyph const> glyph, std::uint32_t index)
        : m_text(text), m_glyph(std::move(glyph)), m_index(index) {}
    // A node that shows the story, the head of a chain; empty when it is gone.
    Kernel::Counted<TextNode> GetText() const { return m_text.Lock(); }
    Kernel::Counted<Story::Glyph const> const& GetGlyph() const { return m_glyph; }
    // Where the glyph stands in the story as it is now; empty when it stands there no more.
    std::optional<std::uint32_t> FindIndex() const;
    // Of the glyph. Nothing is selected when it stands there no more.
    Kernel::Counted<Selection const> GetSelection() const;

private:
    Kernel::Weak<TextNode> m_text;
    Kernel::Counted<Story::Glyph const> m_glyph;
    std::uint32_t m_index = 0;
};

// One mark, as it was when the preview was made.
class REDRAFT_ENGINE IndexMarkPreview final : public virtual Kernel::Countable {
public:
    IndexMarkPreview(Kernel::Counted<Story::IndexMarkGlyph const> mark, TextBookmark bookmark)
        : m_mark(std::move(mark)), m_bookmark(std::move(bookmark)) {}
    // Null only in a damaged file. It may stand in no index any more.
    Kernel::Counted<Story::IndexTopic const> const& GetTopic() const { return m_mark->GetTopic(); }
    // The character style of the page number; empty for none of its own.
    Kernel::String const& GetStyleName() const { return m_mark->GetStyleName(); }
    TextBookmark const& GetBookmark() const { return m_bookmark; }
    Kernel::Counted<Selection const> GetSelection() const { return m_bookmark.GetSelection(); }
    // Of the page on which it stands; empty where it stands on none, as text that has no place, and in a preview
    // without pages.
    Kernel::String const& GetPageLabel() const { return m_pageLabel; }
    // Counts from 1 through the document; 0 where it stands on none, and in a preview without pages.
    std::size_t GetPageNumber() const { return m_pageNumber; }

private:
    friend class IndexPreview;
    Kernel::Counted<Story::IndexMarkGlyph const> m_mark;
    TextBookmark m_bookmark;
    Kernel::String m_pageLabel;
    std::size_t m_pageNumber = 0;
};

// The index marks of a document, as they were when it was made: in the order of the tree's stories, and within a story
// in the order of its text.
class REDRAFT_ENGINE IndexPreview final : public virtual Kernel::Countable {
public:
    using Marks = std::span<Kernel::Counted<IndexMarkPreview const> const>;

    IndexPreview(DocumentNode const& document, bool visibleOnly, bool withPages);
    ~IndexPreview() override;
    Marks GetMarks() const { return m_marks; }
    // In the same order.
    Marks GetMarksForTopic(Kernel::Counted<Story::IndexTopic const> const& topic) const;
    bool IsVisibleOnly() const { return m_visibleOnly; }
    bool HasPages() const { return m_hasPages; }
    // Whether no story, and nothing of the tree's structure, has changed since.
    bool IsCurrent() const;

private:
    struct Source {
        Kernel::Weak<TextNode> owner;
        // A version of its own, which no edit changes.
        Story::StoryRef story;
    };
    class Finder;

    std::vector<Kernel::Counted<IndexMarkPreview const>> m_marks;
    std::unordered_map<Story::IndexTopic const*, std::vector<Kernel::Counted<IndexMarkPreview const>>> m_byTopic;
    std::vector<Source> m_sources;
    std::uint64_t m_epoch = 0;
    bool m_visibleOnly, m_hasPages;
};
