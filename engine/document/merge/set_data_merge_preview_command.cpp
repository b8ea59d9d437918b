// SPDX-License-Identifier: Apache-2.0
#include "platform/document/set_data_merge_preview_command.h"

#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/document/edit_journal.h"
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

std::vector<Kernel::Counted<Node>> FindPictures(DocumentNode& document, Kernel::String const& guid) {
    std::vector<Kernel::Counted<Node>> pictures;
    ForEachNode(document, [&](Node& node) {
        auto const* const scene = Kernel::CastPointer<SceneNode>(&node);
        if (scene != nullptr && !scene->GetMergeSource().empty() && scene->GetMergeSource() == guid)
            pictures.emplace_back(&node);
    });
    return pictures;
}

} // namespace

SetDataMergePreviewCommand::SetDataMergePreviewCommand() = default;
SetDataMergePreviewCommand::SetDataMergePreviewCommand(Kernel::JailCounted<DataMergeSource> source, bool enabled,
                                                       int row)
    : m_source(std::move(source)), m_enabled(enabled), m_row(row) {}
SetDataMergePreviewCommand::~SetDataMergePreviewCommand() = default;

Kernel::Counted<SetDataMergePreviewCommand>
SetDataMergePreviewCommand::MakeForceUpdatePreviewCommand(Kernel::JailCounted<DataMergeSource> source) {
    bool const enabled = source && source->IsPreviewEnabled();
    return Kernel::MakeCounted<SetDataMergePreviewCommand>(std::move(source), enabled, -1);
}

Kernel::LocalisedString SetDataMergePreviewCommand::GetDescription() const {
    return Kernel::LocalisedString("Set data merge preview", "Command description");
}

void SetDataMergePreviewCommand::NoteBeforeChange() {
    if (!m_source)
        return;
    ShowingTexts showing(m_source->GetGuid());
    showing.Visit(Kernel::JailCounted<Node>(m_documentController->GetDocument().get()), {});
    m_areas.Begin();
    for (auto const& text : showing.texts)
        m_areas.Note(*Kernel::CastPointer<TextNode>(text.get()));
    m_shownIn = Kernel::MakeCounted<Selection const>(showing.texts);
    m_isNoted = true;
}

void SetDataMergePreviewCommand::Show(bool enabled, std::int64_t row) {
    if (!m_isNoted)
        NoteBeforeChange();
    m_isNoted = false;
    m_pictures.reset();
    if (!m_source)
        return;
    auto const document = m_documentController->GetDocument();
    m_pictures = Kernel::MakeCounted<Selection const>(FindPictures(*document, m_source->GetGuid()));
    m_pictureAreas.Around(m_pictures, [&] {
        m_areas.Around([&] {
            if (m_source->IsPreviewEnabled() != enabled)
                m_source->SetPreviewEnabled(enabled);
            if (row >= 0 && m_source->GetPreviewRow() != row)
                m_source->SetPreviewRow(static_cast<unsigned>(row));
            m_source->UpdatePreview();
        });
    });
}

void SetDataMergePreviewCommand::Do() {
    SetDirection(Direction::Do);
    if (m_source) {
        m_oldEnabled = m_source->IsPreviewEnabled();
        m_oldRow = m_source->GetPreviewRow();
    }
    Show(m_enabled, m_row);
}

void SetDataMergePreviewCommand::Undo() {
    SetDirection(Direction::Undo);
    Show(m_oldEnabled, m_oldRow);
}

void SetDataMergePreviewCommand::Redo() {
    SetDirection(Direction::Redo);
    Show(m_enabled, m_row);
}

bool SetDataMergePreviewCommand::ShouldStackForUndo() const {
    return m_enabled != m_oldEnabled || (m_row >= 0 && static_cast<std::uint32_t>(m_row) != m_oldRow);
}

void SetDataMergePreviewCommand::Notify(Kernel::NotificationList& notifications) {
    auto const tell = [&](Kernel::Counted<Selection const> const& nodes, SpreadRects const& areas) {
        if (!nodes || nodes->empty() || areas.IsEmpty())
            return;
        auto const controller = GetDocumentController();
        notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(controller, areas, nodes, m_preview,
                                                                                    false, false, false));
        notifications.push_back(Kernel::MakeCounted<NodesAttributesChangedNotification>(nodes, controller, m_preview));
    };
    tell(m_shownIn, m_areas.GetRects());
    tell(m_pictures, m_pictureAreas.GetRects());
}

Kernel::Counted<DocumentCommand> SetDataMergePreviewCommand::Clone() const {
    return Kernel::MakeCounted<SetDataMergePreviewCommand>(m_source, m_enabled, static_cast<int>(m_row));
}
