// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/dom_visitor.h"
#include "platform/document/selection.h"
#include "platform/document/visited_stories.h"

#include <functional>
#include <vector>

// Walks over the stories of a node tree, in the order of the tree: each story once, at the first of its nodes that the
// walk meets.
class REDRAFT_ENGINE StoryVisitor : public DOMVisitorT<StoryVisitor> {
public:
    // `visibleOnly` passes over texts that are hidden, by themselves or by something above them.
    explicit StoryVisitor(bool visibleOnly);
    ~StoryVisitor() override;
    // With a selection, only the texts that it names, or that stand below a node that it names.
    void Visit(Kernel::JailCounted<Node> top, Kernel::Counted<Selection const> selection);
    // For the walk.
    void Receive(Kernel::NonCounted<TextNode> text) { ReceiveTextNode(text); }

protected:
    virtual void ReceiveStory(Kernel::NonCounted<Story::Story const> story) = 0;
    // The node at which the walk is; empty between walks.
    Kernel::Counted<TextNode> const& GetTextNode() const { return m_text; }
    virtual void ReceiveTextNode(Kernel::NonCounted<TextNode> text);

private:
    using DOMVisitor::Visit;

    bool m_visibleOnly;
    std::unordered_set<Node const*> m_selected;
    bool m_hasSelection = false;
    VisitedStories m_visited;
    Kernel::Counted<TextNode> m_text;
};

// The texts of a tree, hidden ones too, that have an object of some kind, each by the first node that shows it.
REDRAFT_ENGINE std::vector<Kernel::Counted<Node>>
FindTextsWithObject(Node& top, std::function<bool(Story::Glyph const& object)> const& isWanted);
