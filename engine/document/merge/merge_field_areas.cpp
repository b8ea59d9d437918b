// SPDX-License-Identifier: Apache-2.0
#include "platform/document/merge_field_areas.h"

#include "platform/document/data_merge_source.h"
#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/document/story_visitor.h"
#include "platform/kernel/cast.h"
#include "platform/story/field_glyphs.h"

void MergeFieldAreas::Begin(DocumentNode& document, DataMergeSource const& source) {
    auto const texts = FindTextsWithObject(document, [&](Story::Glyph const& object) {
        auto const* const field = Kernel::CastPointer<Story::MergeFieldGlyph const>(&object);
        return field != nullptr && field->GetSource() == source.GetGuid();
    });
    m_textAreas.Begin();
    for (auto const& text : texts)
        m_textAreas.Note(*Kernel::CastPointer<TextNode>(text.get()));
    m_texts = Kernel::MakeCounted<Selection const>(texts);
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
