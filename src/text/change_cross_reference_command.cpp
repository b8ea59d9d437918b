// SPDX-License-Identifier: Apache-2.0
#include "text/change_cross_reference_command.h"

#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/document/text_commands.h"
#include "platform/kernel/cast.h"

namespace Commands {

ChangeCrossReferenceCommand::ChangeCrossReferenceCommand(Story::CrossReferenceTargetType targetType,
                                                         Kernel::Counted<Story::CrossReferenceAtt const> att,
                                                         Kernel::Counted<Story::AnchorData> anchorData, bool anchorFlag,
                                                         Kernel::Counted<Selection const> selection)
    : Persisted(std::move(selection)),
      m_targetType(targetType),
      m_att(std::move(att)),
      m_anchorData(std::move(anchorData)),
      m_anchorFlag(anchorFlag) {}

ChangeCrossReferenceCommand::ChangeCrossReferenceCommand() = default;
ChangeCrossReferenceCommand::~ChangeCrossReferenceCommand() = default;

bool ChangeCrossReferenceCommand::CanApplyTo(Kernel::Counted<Selection const> selection) {
    if (!selection)
        return false;
    for (auto const& item : *selection) {
        auto const text = item->MakeStorySelection(true);
        if (text.IsSet() && !InsertGlyphsCommand::FindToggleGlyphs(text, Glyph::GetDefault()).empty())
            return true;
    }
    return false;
}

void ChangeCrossReferenceCommand::BeginPass() {
    m_cursor = 0;
    m_visitedStories.clear();
}

void ChangeCrossReferenceCommand::ForgetAreas() {
    m_invalidationRects = {};
    m_changeResult.Clear();
}

void ChangeCrossReferenceCommand::Do() {
    SetDirection(Direction::Do);
    BeginPass();
    m_newSelection = Kernel::MakeCounted<MutableSelection>();
    SelectionCommand::Do();
    auto const changed = m_newSelection->CloneImmutable();
    m_newSelection.reset();
    m_updateCommand = Kernel::MakeCounted<UpdateCrossReferencesCommand>(changed, true, false);
    InnerCommands::DoOne(*this, *m_updateCommand);
}

void ChangeCrossReferenceCommand::Undo() {
    SetDirection(Direction::Undo);
    BeginPass();
    ForgetAreas();
    if (m_updateCommand)
        InnerCommands::UndoOne(*m_updateCommand);
    SelectionCommand::Undo();
}

void ChangeCrossReferenceCommand::Redo() {
    SetDirection(Direction::Redo);
    BeginPass();
    ForgetAreas();
    SelectionCommand::Redo();
    if (m_updateCommand)
        InnerCommands::RedoOne(*m_updateCommand);
}

// A story that several of its frames deliver is taken once.
void ChangeCrossReferenceCommand::ReceiveInterface(Kernel::NonCounted<StoryInterface> face) {
    auto* const text = Kernel::CastPointer<TextNode>(face.get());
    if (m_direction == Direction::Teardown || text == nullptr || m_visitedStories.HasVisitedStory(face))
        return;
    auto const story = text->GetMutableStory(true);
    auto const selected = GetSelectionItem()->MakeStorySelection(true);
    Story::StoryChange const change(Story::StoryChangeType::Glyphs, selected.GetRanges(true));
    text->GetStoryInvalidationBox(m_invalidationRects, change);
    text->OnStoryChange(&m_changeResult, false, change, false);
    auto positions = InsertGlyphsCommand::FindToggleGlyphs(selected, Glyph::GetDefault());
    std::erase_if(positions, [](auto const& each) { return each.GetGlyph()->GetClassUID() != Glyph::c_classUid; });
    if (m_direction == Direction::Do)
        Keep(*text->GetTextFlow(), positions);
    auto const scales =
        m_direction == Direction::Undo ? std::vector<Params>() : FindScales(*text->GetTextFlow(), positions);
    for (std::size_t i = 0; i != positions.size(); ++i) {
        auto& glyph = static_cast<Glyph&>(*story->GetMutableGlyph(positions[i].GetIndex()));
        if (m_direction == Direction::Undo)
            Restore(glyph);
        else
            Apply(glyph, scales[i]);
    }
    text->OnStoryChange(&m_changeResult, true, change, false);
    text->GetStoryInvalidationBox(m_invalidationRects, change);
}

void ChangeCrossReferenceCommand::Keep(TextFlow const& flow, std::vector<Story::StoryPos> const& positions) {
    if (positions.empty())
        return;
    std::vector<Story::SelectionRange> ranges;
    for (auto const& position : positions) {
        auto const glyph = Kernel::Cast<Glyph const>(position.GetGlyph());
        int const index = static_cast<int>(position.GetIndex());
        ranges.push_back({index, index + 1});
        m_oldAtts.push_back(glyph->GetAtt());
        m_oldUiScales.push_back(glyph->GetUiScale());
        m_oldTargetTypes.push_back(glyph->GetTargetType());
        m_oldAnchors.push_back(glyph->GetAnchorData());
        m_oldAnchorFlags.push_back(glyph->GetAnchorFlag());
    }
    flow.AddToSelection(m_newSelection, Story::Selection(positions.front().GetStory(), ranges));
}

// A reference that keeps its style keeps its scale. They are found before the first edit, after which the text would be
// composed anew.
std::vector<ChangeCrossReferenceCommand::Params>
ChangeCrossReferenceCommand::FindScales(TextFlow const& flow, std::vector<Story::StoryPos> const& positions) const {
    std::vector<Params> scales;
    for (auto const& position : positions) {
        auto const glyph = Kernel::Cast<Glyph const>(position.GetGlyph());
        bool const staysAlike = !m_att || glyph->GetAtt()->IsSameStyle(m_att);
        auto const frame = staysAlike ? nullptr : Kernel::Cast<FrameTextNode>(flow.GetNode(position));
        scales.push_back(staysAlike ? glyph->GetUiScale() : frame ? frame->GetTextUiScale() : Params());
    }
    return scales;
}

void ChangeCrossReferenceCommand::Apply(Glyph& glyph, Params const& scale) const {
    if (m_att) {
        glyph.SetUiScale(scale);
        glyph.SetAtt(m_att);
    }
    if (m_anchorData) {
        glyph.SetTargetType(m_targetType);
        glyph.SetAnchorData(m_anchorData, m_anchorFlag);
    }
}

// The lists of a forged step may be too short.
void ChangeCrossReferenceCommand::Restore(Glyph& glyph) {
    auto const at = static_cast<std::size_t>(m_cursor++);
    if (m_att && at < m_oldAtts.size() && at < m_oldUiScales.size()) {
        glyph.SetAtt(m_oldAtts[at]);
        glyph.SetUiScale(m_oldUiScales[at]);
    }
    if (m_anchorData && at < m_oldTargetTypes.size() && at < m_oldAnchors.size() && at < m_oldAnchorFlags.size()) {
        glyph.SetTargetType(m_oldTargetTypes[at]);
        glyph.SetAnchorData(m_oldAnchors[at], m_oldAnchorFlags[at]);
    }
}

void ChangeCrossReferenceCommand::Notify(Kernel::NotificationList& notifications) {
    auto const controller = GetDocumentController();
    auto const selection = GetSelection();
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
        controller, m_invalidationRects, selection, m_preview, false, false, false));
    notifications.push_back(Kernel::MakeCounted<StoryChangedNotification>(controller, selection, m_preview));
    m_changeResult.Notify(notifications, controller, selection, m_preview);
    if (!m_updateCommand)
        return;
    // A preview may have become a step since the command ran.
    m_updateCommand->SetPreview(IsPreview());
    m_updateCommand->Notify(notifications);
}

// The first version kept nothing of references.
bool ChangeCrossReferenceCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files,
                                       unsigned short version) {
    if (!SelectionCommandProxyStateManager::Load(in, files, version))
        return false;
    if (version == 1)
        return true;
    Kernel::LoadFields(*this, in);
    return InnerCommandFields::AreComplete<ChangeCrossReferenceCommand, FieldBase>(*this, in);
}

void ChangeCrossReferenceCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    SelectionCommandBase::PostLoad(controller);
    if (m_updateCommand)
        m_updateCommand->PostLoad(controller);
}

} // namespace Commands
