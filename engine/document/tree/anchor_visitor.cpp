// SPDX-License-Identifier: Apache-2.0
#include "platform/document/anchor_visitor.h"

#include "platform/kernel/cast.h"

void AnchorVisitor::Visit(Kernel::JailNonCounted<Node> top) { StoryVisitor::Visit(top.ToCounted(), {}); }

void AnchorVisitor::ReceiveStory(Kernel::NonCounted<Story::Story const> story) {
    story->VisitObjects(story->GetAll(), [&](std::uint32_t index, Kernel::Counted<Story::Glyph const> const& glyph) {
        if (auto const* const anchor = Kernel::CastPointer<Story::AnchorGlyph const>(glyph.get()))
            m_anchors.emplace_back(anchor->GetAnchorData(), Story::StoryPos(story.ToCounted(), index));
        return true;
    });
}
