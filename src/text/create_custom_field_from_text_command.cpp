// SPDX-License-Identifier: Apache-2.0
#include "text/create_custom_field_from_text_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/custom_field_source.h"
#include "platform/document/document_controller.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "platform/story/composed_range.h"
#include "platform/story/field_glyphs.h"
#include "platform/story/glyph_predicates.h"
#include "text/add_custom_field_command.h"

namespace Commands {

CreateCustomFieldFromTextCommand::CreateCustomFieldFromTextCommand(Kernel::String guid, Kernel::String name,
                                                                   Kernel::String value)
    : Persisted(Kernel::Counted<Selection const>()),
      m_guid(std::move(guid)),
      m_name(std::move(name)),
      m_value(std::move(value)) {
    SetSelectNewText(1);
}

namespace {

Kernel::Counted<TextNode> FindFirstText(Selection const& selection) {
    for (auto const& item : selection) {
        if (auto const text = Kernel::Cast<TextNode>(item->GetSelectable()))
            return text;
    }
    return {};
}

} // namespace

bool CreateCustomFieldFromTextCommand::CanCreateCustomFieldFromSelection(Kernel::Counted<Selection const> selection) {
    using namespace Story;
    auto const text = selection ? selection->MakeFirstStorySelection(true) : ::Story::Selection();
    if (!text.IsSet() || text.BaseFindIf(GlyphPredicateAdaptor<IsHardBreak>()).IsSet() ||
        text.BaseFindIf(GlyphPredicateAdaptor<IsFillerTextGlyph>()).IsSet() || text.GetRangeCount() >= 2)
        return false;
    Kernel::String name, value;
    GetSuggestedNameAndValue(selection, name, value);
    return !value.empty();
}

void CreateCustomFieldFromTextCommand::GetSuggestedNameAndValue(Kernel::Counted<Selection const> selection,
                                                                Kernel::String& name, Kernel::String& value) {
    auto const text = selection ? selection->MakeFirstStorySelection(true) : ::Story::Selection();
    auto const node = selection ? FindFirstText(*selection) : nullptr;
    auto const ranges = text.GetRanges(true);
    if (!text.IsSet() || ranges.empty() || !node)
        return;
    auto const composed = node->MakeComposedStory(Story::CompositionEndConditions(ranges.GetMaxRange()));
    Story::StoryPos begin(text.GetStory(), ranges[0].begin), end(text.GetStory(), ranges[0].end);
    begin.SetIsToComposedForward(true);
    end.SetIsToComposedForward(true);
    auto const shown =
        Story::ComposedRange(Story::ComposedPos(composed, begin), Story::ComposedPos(composed, end)).GetString(0);
    std::string_view trimmed = shown.view();
    constexpr std::string_view c_space = " \t\n\r\f\v";
    auto const last = trimmed.find_last_not_of(c_space);
    trimmed = trimmed.substr(0, last == std::string_view::npos ? 0 : last + 1);
    auto const first = trimmed.find_first_not_of(c_space);
    trimmed.remove_prefix(first == std::string_view::npos ? trimmed.size() : first);
    value = Kernel::String(trimmed);
    name = Kernel::String(trimmed.substr(0, trimmed.find(' ')));
}

void CreateCustomFieldFromTextCommand::Do() {
    SetDirection(Direction::Do);
    m_documentController->GetDocument()->GetCustomFieldSource().AddField(m_guid, m_name, m_value);
    BaseReplaceTextCommand::Do();
}

// Required: the field goes before the text comes back.
void CreateCustomFieldFromTextCommand::Undo() {
    SetDirection(Direction::Undo);
    NoteSelectedTexts();
    m_documentController->GetDocument()->GetCustomFieldSource().DeleteField(m_guid);
    BaseReplaceTextCommand::Undo();
}

void CreateCustomFieldFromTextCommand::Redo() {
    SetDirection(Direction::Redo);
    m_documentController->GetDocument()->GetCustomFieldSource().AddField(m_guid, m_name, m_value);
    BaseReplaceTextCommand::Redo();
}

Story::StoryRanges CreateCustomFieldFromTextCommand::ReplaceText(Kernel::NonCounted<Story::Story> story,
                                                                 Story::StoryRanges const& ranges) {
    if (ranges.empty() || (ranges.size() == 1 && ranges[0].empty()))
        return ranges;
    Story::GlyphString const field(Kernel::MakeCounted<Story::CustomFieldGlyph>(m_guid));
    return Story::StoryRanges({story->ReplaceText(ranges.GetMaxRange(), field, nullptr, nullptr)});
}

void CreateCustomFieldFromTextCommand::Notify(Kernel::NotificationList& notifications) {
    BaseReplaceTextCommand::Notify(notifications);
    notifications.push_back(Kernel::MakeCounted<AvailableFieldsChangedNotification>(GetDocumentController(), true));
}

bool CreateCustomFieldFromTextCommand::Merge(Kernel::Counted<Command const> newer) {
    return AddCustomFieldCommand::TakeOver(newer, m_guid, m_name, m_value);
}

} // namespace Commands
