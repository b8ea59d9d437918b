// SPDX-License-Identifier: Apache-2.0
#include "publishing/written_stories.h"

#include "platform/document/flowing_epub_helpers.h"
#include "platform/document/generated_links.h"
#include "platform/document/pinned_node.h"
#include "platform/kernel/cast.h"

namespace Commands {

void WrittenStories::Add(Kernel::String const& file, TextNode const& text) { Add(file, text.GetStory(), 1); }

void WrittenStories::Add(Kernel::String const& file, Story::StoryRef const& story, std::size_t depth) {
    if (depth > EPub::HtmlExporter::c_maximumDepth || !m_files.try_emplace(story, file).second)
        return;
    story->VisitObjects(story->GetAll(), [&](std::uint32_t, Kernel::Counted<Story::Glyph const> const& glyph) {
        auto const* const pin = Kernel::CastPointer<Story::PinGlyph const>(glyph.get());
        if (pin == nullptr || !pin->GetPin() || FlowingEPubHelpers::WritesPinAsImage(pin->GetPin()))
            return true;
        auto const pinned = Kernel::Cast<PinnedNode>(pin->GetPin());
        if (auto const text = pinned ? Kernel::Cast<TextNode>(pinned->GetNode()) : Kernel::JailCounted<TextNode>())
            Add(file, text->GetStory(), depth + 1);
        return true;
    });
}

void WrittenStories::RegisterGeneratedLinks(EPub::AnchorRegistry& anchors, DocumentNode& document) const {
    for (auto const& links : {FindContentsLinks(document), FindIndexLinks(document)}) {
        for (auto const& link : links) {
            auto const target = m_files.find(link.target.GetStory());
            if (target != m_files.end() && m_files.contains(link.story))
                anchors.RegisterLink(link.story, link.range, anchors.RegisterPlace(target->second, link.target));
        }
    }
}

} // namespace Commands
