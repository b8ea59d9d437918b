// SPDX-License-Identifier: Apache-2.0
#include "publishing/story_callbacks.h"

#include "platform/document/flowing_epub_helpers.h"
#include "platform/document/localisable_string_manager.h"
#include "platform/story/note.h"
#include "platform/story/numberer.h"

namespace Commands {

void ExportedStories::Meet(Kernel::JailCounted<TextNode> const& node) {
    auto const story = node->GetStory();
    if (m_entries.contains(story))
        return;
    auto const* const frame = Kernel::CastPointer<TextFrameInterface const>(node.get());
    m_entries.emplace(story, Entry{frame != nullptr ? frame->MakeComposedStory() : node->MakeComposedStory({}),
                                   FlowingEPubHelpers::CreateCachedTextDataSourceForStory(story, node)});
}

ExportedStories::Entry const* ExportedStories::Find(Story::StoryPos const& position) const {
    auto const found = m_entries.find(position.GetStory());
    return found == m_entries.end() ? nullptr : &found->second;
}

EPub::HtmlExporter::Callbacks MakeStoryCallbacks(EPub::HtmlExporter& exporter, ExportedStories& stories,
                                                 Kernel::Counted<Story::FieldDataSource> const& fields,
                                                 Kernel::Counted<DocumentController const> const& controller) {
    EPub::HtmlExporter::Callbacks callbacks;
    auto const meet = [&stories](Kernel::JailCounted<TextNode> const& node) { stories.Meet(node); };
    callbacks.handlePin = [&exporter, controller, meet](Kernel::JailCounted<Story::PinInterface> const& pin) {
        FlowingEPubHelpers::HandlePin(pin, exporter, controller->GetProfiles(), controller->GetFormat(), meet);
    };
    callbacks.writesPinAsImage = FlowingEPubHelpers::WritesPinAsImage;
    callbacks.getNoteNumber = [&stories](Kernel::Counted<Story::NoteGlyph const> const& note,
                                         Story::StoryPos const& position) {
        auto const* const entry = stories.Find(position);
        return entry == nullptr ? 0 : entry->composed->GetNoteNumber(*note);
    };
    callbacks.makeNumberer = [&stories](Story::StoryPos const& position) {
        auto const* const entry = stories.Find(position);
        return entry == nullptr ? Kernel::Counted<Story::Numberer>() : entry->composed->MakeNumberer(position)->Clone();
    };
    callbacks.expandField = [&stories, fields](Kernel::Counted<Story::FieldGlyph const> const& glyph,
                                               Story::StoryPos const& position) {
        auto const* const entry = stories.Find(position);
        if (entry == nullptr)
            return Kernel::String();
        bool const needsFrame = glyph->GetExpansionReach() == Story::ExpansionReach::Frame;
        Story::ExpansionContext context;
        context.fields = fields ? fields.get() : entry->fields.get();
        context.frame = needsFrame ? entry->composed->FindFrame(position.GetIndex()) : 0;
        return Kernel::String(Story::EncodeUtf8(Story::ExpandGlyph(*glyph, context)));
    };
    callbacks.lookUpString = [controller](Kernel::String const& key,
                                          Kernel::Counted<Story::Language const> const& language,
                                          Kernel::String const& fallback) {
        Story::GlyphString words;
        LocalisableStringManager::LookupString(controller, language, key, words);
        return words.empty() ? fallback : Kernel::String(Story::EncodeUtf8(words.GetText()));
    };
    return callbacks;
}

PageRegistrar::PageRegistrar(EPub::AnchorRegistry& anchors, Kernel::String file, DocumentNode const& document,
                             Kernel::Counted<TextFlow const> flow, std::vector<bool>& isRegistered)
    : m_anchors(anchors),
      m_file(std::move(file)),
      m_document(document),
      m_flow(std::move(flow)),
      m_isRegistered(isRegistered) {}

void PageRegistrar::Reach(std::uint32_t index) {
    while (m_next != m_flow->size() && m_reached < index)
        RegisterNext();
}

void PageRegistrar::ReachEnd() {
    while (m_next != m_flow->size())
        RegisterNext();
}

void PageRegistrar::RegisterNext() {
    auto const frame = m_flow->GetNodeAt(m_next++);
    auto const spread = frame ? frame->GetSpreadNode() : Kernel::JailCounted<SpreadNode>();
    if (!spread)
        return;
    auto const index = spread->GetPageIndexOfBox(frame->GetSpreadBaseBox()) + spread->GetFirstPageIndex();
    auto const page = static_cast<std::size_t>(index);
    // A spread may have no pages.
    if (page >= m_isRegistered.size() || m_isRegistered[page])
        return;
    auto const begin = frame->GetContainedText(false).GetAnchor();
    m_anchors.RegisterPage(m_file, index, m_document.GetFormattedPageNumber(static_cast<unsigned>(index)), begin, 0);
    m_isRegistered[page] = true;
    m_reached = begin.GetIndex();
}

} // namespace Commands
