// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/generated_links.h"
#include "platform/document/page_numbers.h"
#include "platform/document/toc_visitor.h"
#include "platform/story/generated_text.h"

#include <functional>

// Makes the text of tables of contents.
class TocText {
public:
    // `beforeChange` is called for each text before its first change.
    TocText(DocumentNode& document, std::function<void(TextNode& text)> beforeChange);
    // Puts a table with empty lines at a place in a text, behind a table that is there.
    void Insert(TextNode& text, std::uint32_t place, Story::TocAttRef const& toc);
    // Gives a table, and its copies, another attribute.
    void Replace(Story::TocAtt const& toc, Story::TocAttRef const& other);
    // Makes the lines of the tables that `isWanted` takes. Without `findPages` page numbers are stand-ins.
    void MakeLines(std::function<bool(Story::TocAtt const& toc)> const& isWanted, bool findPages);

    // The lines of all tables with the headings that they list; see `FindContentsLinks`.
    std::vector<GeneratedLink> FindLinks() const;

    static constexpr int c_maximumPasses = 8;

private:
    using Table = TocVisitor::Table;
    struct Heading {
        Kernel::Counted<TextNode> text;
        std::uint32_t index = 0;
        std::u32string words;
        // Its own.
        Kernel::String style, language;
        // Empty for one that no page shows.
        std::optional<std::size_t> page;
    };
    std::vector<Table> FindTables(std::function<bool(Story::TocAtt const& toc)> const& isWanted) const;
    std::vector<Heading> FindHeadings(std::vector<Table> const& tables) const;
    void FindPages(std::vector<Heading>& headings) const;
    std::vector<Story::GeneratedParagraph> MakeTable(Table const& table, std::vector<Heading> const& headings,
                                                     bool hasPages) const;
    // That of the style of a table; null without one.
    Story::TocAttRef FindDefinition(Story::TocAtt const& toc) const;
    // The own title of a table, else that of its style.
    Kernel::String GetTitle(Story::TocAtt const& toc) const;
    void AddLinks(std::vector<GeneratedLink>& links, Table const& table, std::vector<Heading> const& headings) const;
    // False when the text has such a story.
    bool SetStory(TextNode& text, Kernel::Counted<Story::Story> const& story, Story::StoryRange range);

    DocumentNode& m_document;
    std::function<void(TextNode& text)> m_beforeChange;
    std::unordered_set<TextNode const*> m_changed;
};
