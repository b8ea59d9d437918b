// SPDX-License-Identifier: Apache-2.0
#include "platform/document/merge_field_areas.h"

#include "platform/document/data_merge_source.h"
#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/document/story_visitor.h"
#include "platform/kernel/cast.h"
#include "platform/story/field_glyphs.h"

namespace {

// The texts of a tree that show fields of a source.
class ShowingTexts final : public StoryVisitor {
public:
    explicit ShowingTexts(Kernel::String const& guid) : StoryVisitor(false), m_guid(guid) {}
    std::vector<Kernel::Counted<Node>> texts;

protected:
    void ReceiveStory(Kernel::NonCounted<Story::Story const> story) override {
        bool isShown = false;
        story->VisitObjects(story->GetAll(), [&](std::uint32_t, Kernel::Counted<Story::Glyph const> const& glyph) {
            auto const* const field = Kernel::CastPointer<Story::MergeFieldGlyph const>(glyph.get());
            isShown = field != nullptr && field->GetSource() == m_guid;
            return !isShown;
        });
        if (isShown)
            texts.emplace_back(GetTextNode());
    }

private:
    Kernel::String const& m_guid;
};

} // namespace

void MergeFieldAreas::Begin(DocumentNode& document, DataMergeSource const& source) {
    ShowingTexts showing(source.GetGuid());
    showing.Visit(Kernel::JailCounted<Node>(&document), {});
    m_textAreas.Begin();
    for (auto const& text : showing.texts)
        m_textAreas.Note(*Kernel::CastPointer<TextNode>(text.get()));
    m_texts = Kernel::MakeCounted<Selection const>(showing.texts);
    m_hasBegun = true;
}

void MergeFieldAreas::FindPictures(DocumentNode& document, DataMergeSource const& source) {
    std::vector<Kernel::Counted<Node>> pictures;
    ForEachNode(document, [&](Node& node) {
        auto const* const scene = Kernel::CastPointer<SceneNode>(&node);
        if (scene != nullptr && !scene->GetMergeSource().empty() && scene->GetMergeSource() == source.GetGuid())
            pictures.emplace_back(&node);
    });
    m_pictures = Kernel::MakeCounted<Selection const>(pictures);
}

void MergeFieldAreas::Notify(Kernel::NotificationList& notifications,
                             Kernel::Counted<DocumentController> const& controller, bool isPreview) const {
    auto const tell = [&](Kernel::Counted<Selection const> const& nodes, SpreadRects const& areas) {
        if (!nodes || nodes->empty() || areas.IsEmpty())
            return;
        notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(controller, areas, nodes, isPreview,
                                                                                    false, false, false));
        notifications.push_back(Kernel::MakeCounted<NodesAttributesChangedNotification>(nodes, controller, isPreview));
    };
    tell(m_texts, m_textAreas.GetRects());
    tell(m_pictures, m_pictureAreas.GetRects());
}
