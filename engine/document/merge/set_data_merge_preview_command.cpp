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

void SetDataMergePreviewCommand::Show(bool enabled, std::int64_t row) {
    m_shownIn.reset();
    if (!m_source)
        return;
    ShowingTexts showing(m_source->GetGuid());
    showing.Visit(Kernel::JailCounted<Node>(m_documentController->GetDocument().get()), {});
    m_areas.Around([&] {
        for (auto const& text : showing.texts)
            m_areas.Note(*Kernel::CastPointer<TextNode>(text.get()));
        if (m_source->IsPreviewEnabled() != enabled)
            m_source->SetPreviewEnabled(enabled);
        if (row >= 0 && m_source->GetPreviewRow() != row)
            m_source->SetPreviewRow(static_cast<unsigned>(row));
        m_source->UpdatePreview();
    });
    m_shownIn = Kernel::MakeCounted<Selection const>(showing.texts);
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
    if (!m_shownIn || m_shownIn->empty())
        return;
    auto const controller = GetDocumentController();
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
        controller, m_areas.GetRects(), m_shownIn, m_preview, false, false, false));
    notifications.push_back(Kernel::MakeCounted<NodesAttributesChangedNotification>(m_shownIn, controller, m_preview));
}

Kernel::Counted<DocumentCommand> SetDataMergePreviewCommand::Clone() const {
    return Kernel::MakeCounted<SetDataMergePreviewCommand>(m_source, m_enabled, static_cast<int>(m_row));
}
