// SPDX-License-Identifier: Apache-2.0
#include "platform/document/update_cross_references_command.h"

#include "engine/document/tree/caption_numbers.h"
#include "platform/document/document_controller.h"
#include "platform/document/page_numbers.h"
#include "platform/document/story_visitor.h"
#include "platform/kernel/cast.h"
#include "platform/story/composition.h"
#include "platform/story/numberer.h"

#include <algorithm>
#include <unordered_map>

namespace {

using Reference = UpdateCrossReferencesCommandHelper::Reference;
using Story::CrossReferenceAtt, Story::CrossReferenceGlyph, Story::CrossReferenceTargetType;

class ReferenceFinder final : public StoryVisitor {
public:
    ReferenceFinder() : StoryVisitor(false) {}
    std::vector<Reference> references;

protected:
    void ReceiveStory(Kernel::NonCounted<Story::Story const> story) override {
        story->VisitObjects(story->GetAll(),
                            [&](std::uint32_t index, Kernel::Counted<Story::Glyph const> const& glyph) {
                                if (Story::IsCrossReferenceGlyph(*glyph))
                                    references.push_back({GetTextNode(), index});
                                return true;
                            });
    }
};

// Where the anchors of a document stand. An anchor that stands twice is where it is met first.
class AnchorFinder final : public StoryVisitor {
public:
    struct Place {
        Kernel::Counted<TextFlow> flow;
        Kernel::Counted<Story::Story const> story;
        std::uint32_t index = 0;
    };
    AnchorFinder() : StoryVisitor(false) {}
    std::unordered_map<Story::AnchorData const*, Place> places;

protected:
    void ReceiveStory(Kernel::NonCounted<Story::Story const> story) override {
        Kernel::Counted<TextFlow> flow;
        story->VisitObjects(
            story->GetAll(), [&](std::uint32_t index, Kernel::Counted<Story::Glyph const> const& glyph) {
                auto const* const anchor = Kernel::CastPointer<Story::AnchorGlyph const>(glyph.get());
                if (anchor == nullptr)
                    return true;
                if (!flow)
                    flow = GetTextNode()->GetTextFlow();
                places.try_emplace(anchor->GetAnchorData().get(), Place{flow, story.ToCounted(), index});
                return true;
            });
    }
};

// The values of targets as the document is now.
class Targets {
public:
    explicit Targets(DocumentNode& document) : m_document(document) {
        m_anchors.Visit(Kernel::JailCounted<Node>(&document), {});
    }
    // Another text may have moved what follows it.
    void ForgetPages() {
        m_numbers.reset();
        m_labels.clear();
    }
    // The text that the reference should show; none when its anchor is not in the document.
    std::optional<Kernel::String> Format(CrossReferenceGlyph const& glyph) {
        auto const found = m_anchors.places.find(glyph.GetAnchorData().get());
        if (found == m_anchors.places.end())
            return {};
        auto const& att = *glyph.GetAtt();
        auto const& place = found->second;
        auto const asksFor = [&](CrossReferenceTargetType type, std::string_view name) {
            return glyph.GetTargetType() == type || att.GetPattern().view().find(name) != std::string_view::npos;
        };
        CrossReferenceAtt::Target target;
        target.name = glyph.GetAnchorData()->GetName();
        if (asksFor(CrossReferenceTargetType::Text, "{text}"))
            target.text = GetParagraphText(place);
        if (asksFor(CrossReferenceTargetType::Page, "{page}"))
            target.page = GetPage(place);
        if (asksFor(CrossReferenceTargetType::Number, "{number}"))
            target.number = GetNumber(place);
        return att.Format(glyph.GetTargetType(), target);
    }

private:
    static Kernel::String GetParagraphText(AnchorFinder::Place const& place) {
        auto const at = place.story->Find(place.index);
        auto const length = place.story->GetParagraph(at.paragraph)->GetLength();
        return place.story->GetString({at.paragraphBegin, at.paragraphBegin + length - 1});
    }
    // Of the paragraph, without the full stop that parts it from its text, or else of the caption that it stands in.
    Kernel::String GetNumber(AnchorFinder::Place const& place) {
        auto const styles = m_document.GetTextStyleSheet();
        // Numbers need no frames.
        auto& numbered = m_numbered[place.story.get()];
        if (!numbered)
            numbered =
                Kernel::MakeCounted<Story::ComposedStory>(place.story, styles, std::vector<Story::FrameGeometry>());
        auto const numberer = numbered->MakeNumberer({place.story, place.index});
        auto number = numberer->Next(*styles->Resolve(place.story->GetParagraphAtts(place.index))).ToStdString();
        if (number.ends_with('.'))
            number.pop_back();
        if (!number.empty())
            return {number};
        auto const first = place.flow->GetFirst();
        auto const ofCaption = first ? CaptionNumbers::Get(m_document)->Find(first->GetStoryOwner()) : 0;
        return Kernel::String(ofCaption == 0 ? "" : std::to_string(ofCaption));
    }
    Kernel::String GetPage(AnchorFinder::Place const& place) {
        auto const number = place.flow->FindNode(place.index);
        auto const node = number ? place.flow->GetNodeAt(*number) : Kernel::Counted<TextNode>();
        if (!node)
            return {};
        auto const known = m_labels.find(node.get());
        if (known != m_labels.end())
            return known->second;
        if (!m_numbers)
            m_numbers.emplace(m_document);
        return m_labels.emplace(node.get(), m_numbers->GetPageLabel(*node)).first->second;
    }

    DocumentNode& m_document;
    AnchorFinder m_anchors;
    std::optional<PageNumbers> m_numbers;
    std::unordered_map<Node const*, Kernel::String> m_labels;
    std::unordered_map<Story::Story const*, Kernel::Counted<Story::ComposedStory>> m_numbered;
};

// The new texts of the references of one story, and whether one differs.
struct StoryUpdate {
    Kernel::Counted<TextNode> text;
    std::vector<std::uint32_t> indices;
    std::vector<Kernel::String> shown;
};

std::vector<StoryUpdate> FindUpdates(std::vector<Reference> const& references, Targets& targets) {
    std::vector<StoryUpdate> updates;
    for (std::size_t i = 0; i != references.size();) {
        StoryUpdate update{references[i].text, {}, {}};
        auto const story = update.text->GetStory();
        for (; i != references.size() && references[i].text == update.text; ++i) {
            auto const object = story->GetGlyph(references[i].index);
            auto const* const glyph = Kernel::CastPointer<CrossReferenceGlyph const>(object.get());
            auto const shown = glyph == nullptr ? std::nullopt : targets.Format(*glyph);
            if (!shown || *shown == glyph->GetText())
                continue;
            update.indices.push_back(references[i].index);
            update.shown.push_back(*shown);
        }
        if (!update.indices.empty())
            updates.push_back(std::move(update));
    }
    return updates;
}

} // namespace

std::vector<Reference> UpdateCrossReferencesCommandHelper::FindReferences(DocumentNode& document,
                                                                          Selection const* selection) {
    if (selection == nullptr) {
        ReferenceFinder finder;
        finder.Visit(Kernel::JailCounted<Node>(&document), {});
        return std::move(finder.references);
    }
    // By story, in the order in which the selection comes to them.
    struct Found {
        Kernel::Counted<TextNode> text;
        std::vector<std::uint32_t> indices;
    };
    std::vector<Found> stories;
    std::unordered_map<TextNode const*, std::size_t> numbers;
    for (auto const& item : *selection) {
        auto* const text = Kernel::CastPointer<TextNode>(item->GetSelectable().get());
        if (text == nullptr || !text->IsInDocument())
            continue;
        auto const number = numbers.try_emplace(&text->GetStoryOwner(), stories.size()).first->second;
        if (number == stories.size())
            stories.push_back({Kernel::Counted<TextNode>(text), {}});
        auto const selected = item->MakeStorySelection(true);
        for (auto const& at : InsertGlyphsCommand::FindToggleGlyphs(selected, Story::CrossReferenceGlyph::GetDefault()))
            stories[number].indices.push_back(at.GetIndex());
    }
    std::vector<Reference> references;
    for (auto& [text, indices] : stories) {
        std::sort(indices.begin(), indices.end());
        indices.erase(std::unique(indices.begin(), indices.end()), indices.end());
        for (auto const index : indices)
            references.push_back({text, index});
    }
    return references;
}

void UpdateCrossReferencesCommandHelper::Update(DocumentNode& document, std::vector<Reference> const& references,
                                                std::function<void(TextNode& text)> const& beforeChange) {
    if (references.empty())
        return;
    Targets targets(document);
    std::unordered_map<TextNode const*, Kernel::Counted<Story::Story>> edited;
    for (int pass = 0; pass != c_maximumPasses; ++pass) {
        auto const updates = FindUpdates(references, targets);
        if (updates.empty())
            return;
        for (auto const& update : updates) {
            auto& text = *update.text;
            auto& story = edited[&text];
            if (!story)
                beforeChange(text);
            story = text.GetMutableStory(true);
            auto const glyphs = story->GetMutableGlyphs(update.indices);
            for (std::size_t i = 0; i != glyphs.size(); ++i) {
                if (auto* const glyph = Kernel::CastPointer<CrossReferenceGlyph>(glyphs[i].get()))
                    glyph->SetText(update.shown[i]);
            }
            text.OnStoryChange(nullptr, true, Story::StoryChange(Story::StoryChangeType::Glyphs, Story::StoryRanges()),
                               false);
        }
        targets.ForgetPages();
    }
}

UpdateCrossReferencesCommand::UpdateCrossReferencesCommand(Kernel::Counted<Selection const> selection, bool inSelection,
                                                           bool alwaysStacks)
    : StoredClass(std::move(selection)), m_inSelection(inSelection), m_alwaysStacks(alwaysStacks) {}

Kernel::LocalisedString UpdateCrossReferencesCommand::GetDescription() const {
    return Kernel::LocalisedString("Update cross-references", "Command description");
}

void UpdateCrossReferencesCommand::UpdateTexts(BeforeChange const& beforeChange) {
    auto const document = m_documentController->GetDocument();
    auto const selection = GetSelection();
    if (!m_inSelection || selection)
        Update(*document, FindReferences(*document, m_inSelection ? selection.get() : nullptr), beforeChange);
}

Kernel::Counted<DocumentCommand> UpdateCrossReferencesCommand::Clone() const {
    return Kernel::MakeCounted<UpdateCrossReferencesCommand>(GetGivenSelection(), m_inSelection, m_alwaysStacks);
}
