// SPDX-License-Identifier: Apache-2.0
#include "index/insert_index_mark_with_new_topic_command.h"

#include "platform/document/text_nodes.h"
#include "platform/document/tool.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/char_traits.h"
#include "platform/story/style_sheet.h"

namespace Commands {

Kernel::Counted<DocumentCommand> InsertIndexMarkWithNewTopicCommand::MakeInsertIndexMarkCommand(
    Kernel::Counted<DocumentController const> controller, Kernel::Counted<Story::IndexTopic const> topic,
    Kernel::Counted<Story::IndexTopic const> parent, Kernel::String name, Kernel::String parentName,
    Kernel::Counted<Selection const> selection, Kernel::String styleName, bool reuse) {
    // As the user reads it, or as it is in the original.
    auto const none = Story::Style::GetNoneName();
    if (styleName == none.ToString() || styleName == none.GetText())
        styleName = {};
    if (topic)
        return Kernel::MakeCounted<InsertIndexMarkCommand>(topic, styleName, selection);
    auto const& index = controller->GetDocument()->GetIndex();
    if (auto const found = index.FindTopicByName(name, parentName, false))
        return Kernel::MakeCounted<InsertIndexMarkCommand>(found, styleName, selection);
    std::vector<Kernel::String> parts;
    if (parent) {
        using Traits = Kernel::CharTraits<Kernel::TEncUtf8>;
        if (Traits::CompareNoCase(parentName, parent->GetNameWithParents()) != 0) {
            parent.reset();
            parts.push_back(parentName);
        }
    } else if (!parentName.empty()) {
        parent = index.FindTopicByName(parentName, false);
        if (!parent)
            parts.push_back(parentName);
    }
    parts.push_back(name);
    return Kernel::Counted<DocumentCommand>(new InsertIndexMarkWithNewTopicCommand(
        Kernel::MakeCounted<AddIndexTopicCommand>(std::move(parts), parent, reuse), selection, styleName));
}

namespace {

// The word that is meant by a place: the one that it stands in, at the begin or at the end of, or else the next one.
Story::RangeInStory FindSuggestedWord(Story::StoryPos at) {
    if (at.IsMarkupWordEnd() && !at.IsInWord() && !at.IsWordBegin())
        at = at.MoveBy(-1, true);
    else if (!at.IsInWord() && !at.IsWordBegin())
        at = at.GetNextWordBegin();
    auto const begin = at.IsInWord() ? at.GetWordBegin() : at;
    return {at.GetStory(), {begin.GetIndex(), at.GetWordEnd().GetIndex()}};
}

} // namespace

Kernel::String InsertIndexMarkWithNewTopicCommand::SuggestIndexTopic(Kernel::Counted<Tool> tool,
                                                                     Kernel::Counted<Selection const>& selection) {
    constexpr std::uint32_t c_longText = 80;
    auto const controller = tool ? tool->GetSafeDocumentController() : Kernel::Counted<DocumentController>();
    auto const selected = controller ? controller->GetUnrestrictedSelection() : Kernel::Counted<Selection const>();
    auto const found =
        selected ? selected->GetFirstSelectionItemOfType<StoryInterface>() : Kernel::Counted<SelectionItem const>();
    auto const text = found ? found->MakeStorySelection(true) : Story::Selection();
    if (!text.IsSet())
        return {};
    auto const size = text.GetSize();
    bool const isShort = size >= 1 && size < c_longText;
    auto const suggested = isShort ? text.GetMaxRange() : FindSuggestedWord(text.GetMaxBegin());
    auto const begin = text.GetMaxBegin().GetIndex();
    auto const item = found->CloneMutable();
    item->SetSubSelection(
        Kernel::MakeCounted<TextSelection>(isShort ? Story::StoryRange{begin, begin} : Story::StoryRange(suggested)));
    MutableSelection made;
    made.AppendMutableSelectionItem(item);
    selection = made.CloneImmutable();
    return suggested.GetString(Story::IoFormat::c_oneLine | Story::IoFormat::c_plain, -1);
}

InsertIndexMarkWithNewTopicCommand::InsertIndexMarkWithNewTopicCommand(
    Kernel::Counted<AddIndexTopicCommand> addTopicCommand, Kernel::Counted<Selection const> selection,
    Kernel::String styleName)
    : m_addTopicCommand(std::move(addTopicCommand)),
      m_selection(std::move(selection)),
      m_styleName(std::move(styleName)) {}

void InsertIndexMarkWithNewTopicCommand::Do() {
    SetDirection(Direction::Do);
    m_insertMarkCommand.reset();
    if (!m_addTopicCommand || FindIndex(*this) == nullptr)
        return;
    InnerCommands::DoOne(*this, *m_addTopicCommand);
    auto const topic = m_addTopicCommand->GetAddedTopic();
    if (!topic)
        return;
    auto insert = Kernel::MakeCounted<InsertIndexMarkCommand>(topic, m_styleName, m_selection);
    InnerCommands::DoOne(*this, *insert);
    m_insertMarkCommand = std::move(insert);
}

void InsertIndexMarkWithNewTopicCommand::Undo() {
    SetDirection(Direction::Undo);
    if (m_insertMarkCommand)
        InnerCommands::UndoOne(*m_insertMarkCommand);
    if (m_addTopicCommand)
        InnerCommands::UndoOne(*m_addTopicCommand);
}

void InsertIndexMarkWithNewTopicCommand::Redo() {
    SetDirection(Direction::Redo);
    if (m_addTopicCommand)
        InnerCommands::RedoOne(*m_addTopicCommand);
    if (m_insertMarkCommand)
        InnerCommands::RedoOne(*m_insertMarkCommand);
}

void InsertIndexMarkWithNewTopicCommand::Notify(Kernel::NotificationList& notifications) {
    InnerCommands::List commands;
    AppendInnerCommands(commands);
    for (auto const& command : commands) {
        // A preview may have become a step since the command ran.
        command->SetPreview(IsPreview());
        command->Notify(notifications);
    }
}

bool InsertIndexMarkWithNewTopicCommand::ShouldStackForUndo() const {
    return m_addTopicCommand && m_addTopicCommand->ShouldStackForUndo();
}

void InsertIndexMarkWithNewTopicCommand::Save(Kernel::OutSerialiser& out) const {
    DocumentCommand::Save(out);
    Kernel::SaveValue(out, "adTC", m_addTopicCommand);
    if (m_insertMarkCommand)
        Kernel::SaveValue(out, "inGC", m_insertMarkCommand);
    Kernel::SaveValue(out, "OvSN", m_styleName);
    Kernel::SaveValue(out, "InSl", m_selection);
}

bool InsertIndexMarkWithNewTopicCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files,
                                              unsigned short version) {
    if (!DocumentCommand::Load(in, files, version))
        return false;
    Kernel::LoadValue(in, "adTC", m_addTopicCommand);
    Kernel::LoadValue(in, "inGC", m_insertMarkCommand);
    Kernel::LoadValue(in, "OvSN", m_styleName);
    Kernel::LoadValue(in, "InSl", m_selection);
    auto const isComplete = [&](Kernel::IDTag tag, auto const& command) {
        Kernel::Counted<Kernel::Serialisable> stored;
        return command || !in.LoadObjectI(tag, stored, true) || !stored;
    };
    return isComplete("adTC", m_addTopicCommand) && isComplete("inGC", m_insertMarkCommand);
}

void InsertIndexMarkWithNewTopicCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    DocumentCommand::PostLoad(controller);
    InnerCommands::List commands;
    AppendInnerCommands(commands);
    for (auto const& command : commands)
        command->PostLoad(controller);
}

void InsertIndexMarkWithNewTopicCommand::PostDequeueWithMutableController(
    Kernel::NonCounted<DocumentController> controller) {
    DocumentCommand::PostDequeueWithMutableController(controller);
    InnerCommands::List commands;
    AppendInnerCommands(commands);
    for (auto const& command : commands)
        command->PostDequeueWithMutableController(controller);
}

void InsertIndexMarkWithNewTopicCommand::AppendInnerCommands(InnerCommands::List& found) const {
    if (m_addTopicCommand)
        found.emplace_back(m_addTopicCommand);
    if (m_insertMarkCommand)
        found.emplace_back(m_insertMarkCommand);
}

Kernel::Counted<DocumentCommand> InsertIndexMarkWithNewTopicCommand::Clone() const {
    return Kernel::Counted<DocumentCommand>(new InsertIndexMarkWithNewTopicCommand(
        m_addTopicCommand ? Kernel::Cast<AddIndexTopicCommand>(m_addTopicCommand->Clone()) : m_addTopicCommand,
        m_selection, m_styleName));
}

} // namespace Commands
