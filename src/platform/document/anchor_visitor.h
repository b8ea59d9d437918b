// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/story_visitor.h"
#include "platform/story/cross_reference.h"

#include <utility>

// Collects the anchors in the texts of a tree, in the order of the tree, those of one story in its order.
class REDRAFT_ENGINE AnchorVisitor final : public StoryVisitor {
public:
    // `visibleOnly` passes over hidden texts.
    explicit AnchorVisitor(bool visibleOnly) : StoryVisitor(visibleOnly) {}
    void Visit(Kernel::JailNonCounted<Node> top);
    using Anchor = std::pair<Kernel::Counted<Story::AnchorData const>, Story::StoryPos>;
    std::vector<Anchor> const& GetAnchors() const { return m_anchors; }

protected:
    void ReceiveStory(Kernel::NonCounted<Story::Story const> story) override;

private:
    std::vector<Anchor> m_anchors;
};
