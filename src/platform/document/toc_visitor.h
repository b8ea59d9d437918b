// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/story_visitor.h"
#include "platform/story/toc.h"

class DocumentController;

// Finds the tables of contents in the texts of a tree: adjacent paragraphs of one story that belong to one table.
class REDRAFT_ENGINE TocVisitor final : public StoryVisitor {
public:
    struct Table {
        Kernel::Counted<TextNode> text;
        Story::TocAttRef toc;
        // Whole paragraphs, the last separator included.
        Story::StoryRange range;
    };
    TocVisitor() : StoryVisitor(false) {}
    // In the order of the tree, those of one story in its order.
    std::vector<Table> const& GetTables() const { return m_tables; }

    // Each table of the document. Copies of a table have its attribute, and are found each by itself.
    static std::vector<Kernel::Counted<Selection const>>
    FindTocs(Kernel::Counted<DocumentController const> const& controller);
    // The table that the first selected part of a text begins in; null where it begins elsewhere, and for texts that
    // are selected as objects.
    static Story::TocAttRef GetToc(Kernel::Counted<Selection const> const& selection);

protected:
    void ReceiveStory(Kernel::NonCounted<Story::Story const> story) override;

private:
    std::vector<Table> m_tables;
};
