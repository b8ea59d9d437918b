// SPDX-License-Identifier: Apache-2.0
#include "platform/document/text_commands.h"

#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/document/edit_journal.h"
#include "platform/document/story_visitor.h"
#include "platform/document/text_field_data_source.h"
#include "platform/kernel/cast.h"
#include "platform/story/field_glyphs.h"

#include <algorithm>

namespace {

// Of the commands that this thread runs.
thread_local TextChangeBatch* t_openBatch = nullptr;

} // namespace

void ChangedTextAreas::Note(TextNode& text) {
    bool const isInBatch = t_openBatch != nullptr;
    m_texts.push_back({isInBatch ? ShownTexts() : ShownTexts(text), Kernel::Counted<TextNode>(&text.GetStoryOwner()),
                       text.GetStory(), isInBatch});
    if (isInBatch)
        t_openBatch->Note(text, *this);
}

void ChangedTextAreas::Begin() {
    m_rects = {};
    m_texts.clear();
    m_changedOwners.clear();
    m_hasBegun = true;
}

void ChangedTextAreas::Gather() {
    m_hasBegun = false;
    for (auto const& text : m_texts) {
        text.shown.IncludeChanged(m_rects);
        if (text.owner->GetStory() == text.story)
            continue;
        if (!text.isInBatch)
            m_rects.IncludeWhereShown(*text.owner);
        m_changedOwners.emplace_back(text.owner);
    }
    m_texts.clear();
}

TextChangeBatch::TextChangeBatch() : m_isOpen(t_openBatch == nullptr) {
    if (m_isOpen)
        t_openBatch = this;
}

TextChangeBatch::~TextChangeBatch() {
    if (m_isOpen)
        t_openBatch = nullptr;
}

void TextChangeBatch::Note(TextNode& text, ChangedTextAreas& areas) {
    auto& owner = text.GetStoryOwner();
    if (m_known.insert(&owner).second)
        m_texts.push_back({{ShownTexts(text), Kernel::Counted<TextNode>(&owner), text.GetStory()}, &areas});
}

void TextChangeBatch::Finish() {
    if (!std::exchange(m_isOpen, false))
        return;
    t_openBatch = nullptr;
    for (auto const& [before, areas] : m_texts) {
        before.shown.IncludeChanged(areas->m_rects);
        if (before.owner->GetStory() != before.story)
            areas->m_rects.IncludeWhereShown(*before.owner);
    }
}

Kernel::Counted<Selection const> ChangedTextAreas::GetNodes(Kernel::Counted<Selection const> const& selection) const {
    if (m_changedOwners.empty())
        return selection;
    auto nodes = selection ? selection->GetNodes() : std::vector<Kernel::Counted<Node>>();
    nodes.insert(nodes.end(), m_changedOwners.begin(), m_changedOwners.end());
    return Kernel::MakeCounted<Selection const>(nodes);
}

namespace {

void NotifyOfTexts(Kernel::NotificationList& notifications, SelectionCommandBase& command,
                   Kernel::Counted<Selection const> const& selection, ChangedTextAreas const& areas) {
    auto const controller = command.GetDocumentController();
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
        controller, areas.GetRects(), selection, command.IsPreview(), false, false, false));
    notifications.push_back(Kernel::MakeCounted<NodesAttributesChangedNotification>(areas.GetNodes(selection),
                                                                                    controller, command.IsPreview()));
    notifications.push_back(Kernel::MakeCounted<StoryChangedNotification>(controller, selection, command.IsPreview()));
}

// Merging is for values that are tried one after the other.
template <class Atts>
bool SetTheSame(Kernel::Counted<Atts const> const& a, Kernel::Counted<Atts const> const& b) {
    if (!a || !b)
        return !a && !b;
    auto const same = [&]<class Kind>(Kind) {
        for (int i = 0; i != static_cast<int>(Kind::Count); ++i) {
            if (a->IsSet(static_cast<Kind>(i)) != b->IsSet(static_cast<Kind>(i)))
                return false;
        }
        return true;
    };
    return same(typename Atts::Double{}) && same(typename Atts::Enum{}) && same(typename Atts::String{}) &&
           same(typename Atts::Object{});
}

bool CanTakePlaceOf(Story::Delta const& older, Story::Delta const& newer) {
    auto const& a = older.GetValues();
    auto const& b = newer.GetValues();
    auto const hasFactor = [](Story::Delta::Values const& values) {
        return values.lengthScale != 1 || values.horizontalScale != 1;
    };
    return typeid(older) == typeid(Story::Delta) && typeid(newer) == typeid(Story::Delta) && !hasFactor(a) &&
           !hasFactor(b) && a.resetLocal == b.resetLocal && a.writingMode.has_value() == b.writingMode.has_value() &&
           SetTheSame(a.glyphAtts, b.glyphAtts) && SetTheSame(a.paragraphAtts, b.paragraphAtts);
}

} // namespace

// FormatTextCommand

FormatTextCommand::FormatTextCommand() : FormatTextCommand({}, {}) {}
FormatTextCommand::FormatTextCommand(Kernel::Counted<Story::Delta const> const& delta,
                                     Kernel::Counted<Selection const> selection)
    : StoredClass(std::move(selection)), m_delta(delta) {}
FormatTextCommand::~FormatTextCommand() = default;

Kernel::LocalisedString FormatTextCommand::GetDescription() const {
    return Kernel::LocalisedString("Format text", "Command description");
}

void FormatTextCommand::Do() {
    ForgetKeptStates();
    m_areas.Around([this] {
        SubSelectionCommandWithSingleInterface::Do();
        FormatTextsInTheMaking();
    });
}

// A text that is about to enter the document takes part, too; a step of its own is nothing to it.
void FormatTextCommand::FormatTextsInTheMaking() {
    auto const selection = GetSelection();
    if (!selection)
        return;
    for (auto const& item : *selection) {
        auto* const text = Kernel::CastPointer<TextNode>(item->GetSelectable().get());
        if (text == nullptr || text->IsInDocument())
            continue;
        if (text->GetDocumentForComposition().get() == GetDocumentController()->GetDocument().get())
            ReceiveInterface(Kernel::NonCounted<TextNode>(text), item->MakeStorySelection(true).GetRanges(true));
    }
}

void FormatTextCommand::Undo() {
    m_areas.Around([this] { SubSelectionCommandWithSingleInterface::Undo(); });
}
void FormatTextCommand::Redo() {
    m_areas.Around([this] { SubSelectionCommandWithSingleInterface::Redo(); });
}

void FormatTextCommand::ReceiveInterface(Kernel::NonCounted<TextNode> text, Story::StoryRanges const& ranges) {
    m_areas.Note(*text);
    if (m_direction != Direction::Do || !m_delta)
        return;
    auto const before = text->GetStory();
    auto const story = before->Clone();
    for (auto const& range : ranges)
        story->FormatText(range, *m_delta);
    if (*story == *before)
        return;
    text->SetStory(story);
    text->OnStoryChange(nullptr, true, Story::StoryChange(Story::StoryChangeType::GlyphAtts, ranges), false);
}

void FormatTextCommand::Notify(Kernel::NotificationList& notifications) {
    NotifyOfTexts(notifications, *this, m_selection, m_areas);
}

bool FormatTextCommand::CanMerge(Kernel::Counted<Command const> newer) const {
    auto const other = Kernel::Cast<FormatTextCommand const>(newer);
    if (!other || !m_delta || !other->m_delta)
        return false;
    auto const& own = *this;
    auto const& others = *other;
    return typeid(own) == typeid(others) && CanTakePlaceOf(*m_delta, *other->m_delta) &&
           SelectionCommandBase::CanMerge(newer);
}

bool FormatTextCommand::Merge(Kernel::Counted<Command const> newer) {
    if (!CanMerge(newer))
        return false;
    auto const other = Kernel::Cast<FormatTextCommand const>(newer);
    m_delta = other->m_delta;
    MergeStates(*other);
    return true;
}

Kernel::Counted<DocumentCommand> FormatTextCommand::Clone() const {
    return Kernel::MakeCounted<FormatTextCommand>(m_delta, GetGivenSelection());
}

// BaseReplaceTextCommand

BaseReplaceTextCommand::BaseReplaceTextCommand(Kernel::Counted<Selection const> selection)
    : SubSelectionCommandWithSingleInterface(std::move(selection)) {}
BaseReplaceTextCommand::~BaseReplaceTextCommand() = default;

void BaseReplaceTextCommand::NoteSelectedTexts() {
    m_areas.Begin();
    auto const selection = GetSelection();
    if (!selection)
        return;
    for (auto const& item : *selection) {
        if (auto* const text = Kernel::CastPointer<TextNode>(item->GetSelectable().get()))
            m_areas.Note(*text);
    }
}

void BaseReplaceTextCommand::Do() {
    ForgetKeptStates();
    m_hasNewSelection = false;
    m_newItems.clear();
    m_areas.Around([this] { SubSelectionCommandWithSingleInterface::Do(); });
    SelectNewText();
}

void BaseReplaceTextCommand::Undo() {
    m_areas.Around([this] { SubSelectionCommandWithSingleInterface::Undo(); });
    if (m_hasNewSelection)
        UndoSelection(*GetDocumentController());
}

void BaseReplaceTextCommand::Redo() {
    m_areas.Around([this] { SubSelectionCommandWithSingleInterface::Redo(); });
    if (m_hasNewSelection)
        RedoSelection(*GetDocumentController());
}

void BaseReplaceTextCommand::ReceiveInterface(Kernel::NonCounted<TextNode> text, Story::StoryRanges const& ranges) {
    m_areas.Note(*text);
    if (m_direction != Direction::Do)
        return;
    auto const before = text->GetStory();
    auto const limit = before->GetClientAll().end;
    std::vector<Story::StoryRange> clamped;
    for (auto const& range : ranges)
        clamped.push_back({std::min(range.begin, limit), std::min(range.end, limit)});
    auto const story = before->Clone();
    m_text = text.ToCounted();
    auto const replaced = ReplaceText(Kernel::NonCounted<Story::Story>(story), Story::StoryRanges(std::move(clamped)));
    m_text.reset();
    std::vector<Story::SelectionRange> selected;
    for (auto const& range : replaced) {
        auto const end = static_cast<int>(range.end);
        selected.push_back(
            {m_selectNewText == NewTextSelection::CaretBehind ? end : static_cast<int>(range.begin), end});
    }
    m_newItems.push_back(Kernel::MakeCounted<SubSelectionItem>(
        Kernel::Counted<Selectable>(text.get()), Kernel::MakeCounted<TextSelection>(std::move(selected))));
    if (*story == *before)
        return;
    text->SetStory(story);
    text->OnStoryChange(nullptr, true, Story::StoryChange(Story::StoryChangeType::Text, ranges), false);
}

void BaseReplaceTextCommand::SelectNewText() {
    auto items = std::exchange(m_newItems, {});
    if (m_selectNewText == NewTextSelection::Keep || items.empty() || !HasKeptStates())
        return;
    EditJournal::NoteValue(*this, m_hasNewSelection);
    m_hasNewSelection = true;
    SetNewSelection(*GetDocumentController(), Kernel::MakeCounted<Selection const>(std::move(items), false));
}

void BaseReplaceTextCommand::Notify(Kernel::NotificationList& notifications) {
    NotifyOfTexts(notifications, *this, m_selection, m_areas);
    if (m_hasNewSelection)
        NotifySelection(*this, notifications);
}

void BaseReplaceTextCommand::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "SelT", m_selectNewText);
    Kernel::SaveValue(out, "HasS", m_hasNewSelection);
    Kernel::SaveValue(out, "NewS", m_newSelection);
    Kernel::SaveValue(out, "OldS", m_oldSelection);
    SelectionCommandProxyStateManager::Save(out);
}

bool BaseReplaceTextCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadValue(in, "SelT", m_selectNewText);
    Kernel::LoadValue(in, "HasS", m_hasNewSelection);
    Kernel::LoadValue(in, "NewS", m_newSelection);
    Kernel::LoadValue(in, "OldS", m_oldSelection);
    return SelectionCommandProxyStateManager::Load(in, files, version);
}

namespace {

// Replaces each range by `make(number)`, a text with its attributes, and gives the ranges of the new texts.
template <class Ranges, class Make>
Story::StoryRanges ReplaceEach(Story::Story& story, Ranges const& ranges, Make const& make) {
    std::vector<Story::TextReplacement> replacements;
    replacements.reserve(ranges.size());
    for (std::size_t at = 0; at != ranges.size(); ++at) {
        replacements.push_back(make(at));
        replacements.back().range = ranges[at];
    }
    return Story::StoryRanges(story.ReplaceTexts(replacements));
}

} // namespace

// InsertTextCommand

InsertTextCommand::InsertTextCommand(Kernel::String text, Kernel::Counted<Selection const> selection)
    : StoredClass(std::move(selection)), m_text(std::move(text)) {
    SetSelectNewText(static_cast<unsigned>(NewTextSelection::CaretBehind));
}

Kernel::LocalisedString InsertTextCommand::GetDescription() const {
    return Kernel::LocalisedString("Insert text", "Command description");
}

Story::StoryRanges InsertTextCommand::ReplaceText(Kernel::NonCounted<Story::Story> story,
                                                  Story::StoryRanges const& ranges) {
    Story::GlyphString const text(m_text);
    return ReplaceEach(*story, ranges, [&](std::size_t) { return Story::TextReplacement{{}, text}; });
}

Kernel::Counted<DocumentCommand> InsertTextCommand::Clone() const {
    return Kernel::MakeCounted<InsertTextCommand>(m_text, GetGivenSelection());
}

// DeleteTextCommand

DeleteTextCommand::DeleteTextCommand(Story::MoveCaret moveCaret, Kernel::Counted<Selection const> selection)
    : StoredClass(std::move(selection)) {
    if (moveCaret == Story::MoveCaret::Yes)
        SetSelectNewText(static_cast<unsigned>(NewTextSelection::CaretBehind));
}

Kernel::LocalisedString DeleteTextCommand::GetDescription() const {
    return Kernel::LocalisedString("Delete text", "Command description");
}

Story::StoryRanges DeleteTextCommand::ReplaceText(Kernel::NonCounted<Story::Story> story,
                                                  Story::StoryRanges const& ranges) {
    return ReplaceEach(*story, ranges, [](std::size_t) { return Story::TextReplacement(); });
}

Kernel::Counted<DocumentCommand> DeleteTextCommand::Clone() const {
    return Kernel::MakeCounted<DeleteTextCommand>(GetSelectNewText() == NewTextSelection::Keep ? Story::MoveCaret::No
                                                                                               : Story::MoveCaret::Yes,
                                                  GetGivenSelection());
}

// InsertGlyphsCommand

InsertGlyphsCommand::InsertGlyphsCommand(Kernel::Counted<Story::Glyph const> glyph,
                                         Kernel::Counted<Selection const> selection)
    : StoredClass(std::move(selection)), m_glyph(std::move(glyph)) {
    SetSelectNewText(static_cast<unsigned>(NewTextSelection::CaretBehind));
}

std::vector<Story::StoryPos> InsertGlyphsCommand::FindToggleGlyphs(Story::Selection const& selection,
                                                                   Kernel::Counted<Story::Glyph const> const& glyph) {
    std::vector<Story::StoryPos> found;
    if (!selection.IsSet() || !glyph)
        return found;
    auto const uid = glyph->GetClassUID();
    auto const& story = selection.GetStory();
    for (auto const& range : selection.GetRanges(false))
        story->VisitObjects(range, [&](std::uint32_t index, Kernel::Counted<Story::Glyph const> const& object) {
            if (object->GetClassUID() == uid)
                found.emplace_back(story, index);
            return true;
        });
    return found;
}

Kernel::LocalisedString InsertGlyphsCommand::GetDescription() const {
    return Kernel::LocalisedString("Insert object into text", "Command description");
}

Story::StoryRanges InsertGlyphsCommand::ReplaceText(Kernel::NonCounted<Story::Story> story,
                                                    Story::StoryRanges const& ranges) {
    if (!m_glyph)
        return ranges;
    return ReplaceEach(*story, ranges, [&](std::size_t number) {
        auto const glyph = number == 0 ? m_glyph : m_glyph->Clone(Story::GlyphCloneContext::CloneGlyphs);
        return Story::TextReplacement{{}, Story::GlyphString(glyph)};
    });
}

Kernel::Counted<DocumentCommand> InsertGlyphsCommand::Clone() const {
    return Kernel::MakeCounted<InsertGlyphsCommand>(
        m_glyph ? m_glyph->Clone(Story::GlyphCloneContext::CloneGlyphs) : m_glyph, GetGivenSelection());
}

// ExpandFieldGlyphCommand

ExpandFieldGlyphCommand::ExpandFieldGlyphCommand(Kernel::Counted<Selection const> selection)
    : StoredClass(std::move(selection)) {}

Kernel::LocalisedString ExpandFieldGlyphCommand::GetDescription() const {
    return Kernel::LocalisedString("Expand field", "Command description");
}

// The text of a field may depend on its frame: it is asked for before anything moves.
Story::StoryRanges ExpandFieldGlyphCommand::ReplaceText(Kernel::NonCounted<Story::Story> story,
                                                        Story::StoryRanges const& ranges) {
    struct Shown {
        std::uint32_t index;
        std::u32string text;
        Story::GlyphAttsRef atts;
    };
    std::vector<Shown> shown;
    auto const flow = GetText()->GetTextFlow();
    TextFieldDataSource const fields{Kernel::NonCounted<TextFlow const>(flow)};
    for (auto const& range : ranges)
        story->VisitObjects(range, [&](std::uint32_t index, Kernel::Counted<Story::Glyph const> const& glyph) {
            if (!Story::IsFieldGlyph(*glyph))
                return true;
            Story::ExpansionContext context{&fields, 0};
            if (glyph->GetExpansionReach() == Story::ExpansionReach::Frame)
                context.frame = flow->FindNode(index).value_or(flow->size());
            shown.push_back({index, Story::ExpandGlyph(*glyph, context), story->GetGlyphAtts(index)});
            return true;
        });
    std::vector<Story::StoryRange> places;
    for (auto const& field : shown)
        places.push_back({field.index, field.index + 1});
    return ReplaceEach(*story, places, [&](std::size_t number) {
        return Story::TextReplacement{{}, Story::GlyphString(shown[number].text), shown[number].atts};
    });
}

Kernel::Counted<DocumentCommand> ExpandFieldGlyphCommand::Clone() const {
    return Kernel::MakeCounted<ExpandFieldGlyphCommand>(GetGivenSelection());
}

// SetCustomFieldValueCommand

SetCustomFieldValueCommand::SetCustomFieldValueCommand(Kernel::String guid, Kernel::String value)
    : m_guid(std::move(guid)), m_value(std::move(value)) {}

Kernel::LocalisedString SetCustomFieldValueCommand::GetDescription() const {
    return Kernel::LocalisedString("Set field value", "Command description");
}

void SetCustomFieldValueCommand::Set(Kernel::String const& value) {
    auto const document = m_documentController->GetDocument();
    auto const texts = FindTextsWithObject(*document, [&](Story::Glyph const& object) {
        auto const* const field = Kernel::CastPointer<Story::CustomFieldGlyph const>(&object);
        return field != nullptr && field->GetCustomFieldGuid() == m_guid;
    });
    m_areas.Around([&] {
        for (auto const& text : texts)
            m_areas.Note(*Kernel::CastPointer<TextNode>(text.get()));
        document->GetCustomFieldSource().SetFieldValue(m_guid, value);
    });
    m_shownIn = Kernel::MakeCounted<Selection const>(texts);
}

void SetCustomFieldValueCommand::Do() {
    SetDirection(Direction::Do);
    m_oldValue = m_documentController->GetDocument()->GetCustomFieldSource().GetFieldValue(m_guid);
    Set(m_value);
}
void SetCustomFieldValueCommand::Undo() {
    SetDirection(Direction::Undo);
    Set(m_oldValue);
}
void SetCustomFieldValueCommand::Redo() {
    SetDirection(Direction::Redo);
    Set(m_value);
}

void SetCustomFieldValueCommand::Notify(Kernel::NotificationList& notifications) {
    if (!m_shownIn || m_shownIn->empty())
        return;
    auto const controller = GetDocumentController();
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
        controller, m_areas.GetRects(), m_shownIn, m_preview, false, false, false));
    notifications.push_back(Kernel::MakeCounted<NodesAttributesChangedNotification>(m_shownIn, controller, m_preview));
}

bool SetCustomFieldValueCommand::CanMerge(Kernel::Counted<Command const> newer) const {
    auto const other = Kernel::Cast<SetCustomFieldValueCommand const>(newer);
    return other && other->m_guid == m_guid && DocumentCommand::CanMerge(newer);
}

bool SetCustomFieldValueCommand::Merge(Kernel::Counted<Command const> newer) {
    if (!CanMerge(newer))
        return false;
    EditJournal::NoteValue(*this, m_value);
    m_value = Kernel::Cast<SetCustomFieldValueCommand const>(newer)->m_value;
    MarkChanged();
    return true;
}

Kernel::Counted<DocumentCommand> SetCustomFieldValueCommand::Clone() const {
    return Kernel::MakeCounted<SetCustomFieldValueCommand>(m_guid, m_value);
}
