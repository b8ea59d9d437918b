// SPDX-License-Identifier: Apache-2.0
#include "platform/document/index_commands.h"

#include "platform/document/document_controller.h"
#include "platform/document/edit_journal.h"
#include "platform/document/index_topics_changed_notification.h"
#include "platform/kernel/exception.h"

#include <algorithm>

namespace {

void RequireTopic(Story::Index const& index, Kernel::Counted<Story::IndexTopic const> const& topic) {
    if (!index.Has(topic))
        throw Kernel::Exception("the index has no such topic");
}

} // namespace

// InsertIndexMarkCommand

InsertIndexMarkCommand::InsertIndexMarkCommand(Kernel::Counted<Story::IndexTopic const> topic, Kernel::String styleName,
                                               Kernel::Counted<Selection const> selection)
    : StoredClass(std::move(selection)), m_topic(std::move(topic)), m_styleName(std::move(styleName)) {
    SetSelectNewText(static_cast<unsigned>(NewTextSelection::CaretBehind));
}
InsertIndexMarkCommand::~InsertIndexMarkCommand() = default;

Kernel::LocalisedString InsertIndexMarkCommand::GetDescription() const {
    return Kernel::LocalisedString("Insert Index Mark", "Command description");
}

void InsertIndexMarkCommand::Do() {
    RequireTopic(GetDocumentController()->GetDocument()->GetIndex(), m_topic);
    m_isPlaced = false;
    BaseReplaceTextCommand::Do();
}

Story::StoryRanges InsertIndexMarkCommand::ReplaceText(Kernel::NonCounted<Story::Story> story,
                                                       Story::StoryRanges const& ranges) {
    if (ranges.empty() || std::exchange(m_isPlaced, true))
        return ranges;
    auto const begin = ranges[0].begin;
    auto const mark = Kernel::MakeCounted<Story::IndexMarkGlyph>(m_topic, m_styleName);
    return Story::StoryRanges({story->ReplaceText({begin, begin}, Story::GlyphString(mark))});
}

Kernel::Counted<DocumentCommand> InsertIndexMarkCommand::Clone() const {
    return Kernel::MakeCounted<InsertIndexMarkCommand>(m_topic, m_styleName, GetGivenSelection());
}

// AddIndexTopicCommand

AddIndexTopicCommand::AddIndexTopicCommand(std::vector<Kernel::String> names,
                                           Kernel::Counted<Story::IndexTopic const> parent, bool reuse)
    : m_names(std::move(names)), m_parent(std::move(parent)), m_reuse(reuse) {}
AddIndexTopicCommand::~AddIndexTopicCommand() = default;

Kernel::LocalisedString AddIndexTopicCommand::GetDescription() const {
    return Kernel::LocalisedString("Add Index Topic", "Command description");
}

Kernel::Counted<Story::IndexTopic const> AddIndexTopicCommand::GetAddedTopic() const {
    return m_topics.empty() ? Kernel::Counted<Story::IndexTopic const>() : m_topics.back();
}

void AddIndexTopicCommand::Do() {
    SetDirection(Direction::Do);
    auto& index = GetDocumentController()->GetDocument()->GetIndex();
    if (m_parent)
        RequireTopic(index, m_parent);
    EditJournal::NoteValue(*this, m_topics);
    m_topics.clear();
    m_innermost = m_parent;
    for (auto const& name : m_names) {
        if (name.empty())
            continue;
        if (m_reuse && m_topics.empty()) {
            auto const known = std::find_if(index.begin(), index.end(), [&](auto const& topic) {
                return topic->GetName() == name && topic->GetParent() == m_innermost;
            });
            if (known != index.end()) {
                m_innermost = *known;
                continue;
            }
        }
        auto topic = Kernel::MakeCounted<Story::IndexTopic>(name, m_innermost);
        index.AddTopic(topic);
        m_innermost = topic;
        m_topics.push_back(std::move(topic));
    }
    MarkChanged();
}

void AddIndexTopicCommand::Undo() {
    SetDirection(Direction::Undo);
    auto& index = GetDocumentController()->GetDocument()->GetIndex();
    for (auto topic = m_topics.rbegin(); topic != m_topics.rend(); ++topic)
        index.DeleteTopic(*topic);
}

void AddIndexTopicCommand::Redo() {
    SetDirection(Direction::Redo);
    auto& index = GetDocumentController()->GetDocument()->GetIndex();
    for (auto const& topic : m_topics)
        index.AddTopic(topic);
}

void AddIndexTopicCommand::Notify(Kernel::NotificationList& notifications) {
    notifications.push_back(Kernel::MakeCounted<IndexTopicsChangedNotification>(GetDocumentController()));
}

Kernel::Counted<DocumentCommand> AddIndexTopicCommand::Clone() const {
    return Kernel::MakeCounted<AddIndexTopicCommand>(m_names, m_parent, m_reuse);
}

// SetLocalisableStringCommand

SetLocalisableStringCommand::SetLocalisableStringCommand(Kernel::Counted<Story::Language const> const& language,
                                                         Kernel::String const& key, Story::GlyphString const& text,
                                                         Story::GlyphString const& oldText)
    : m_language(language ? language->GetIdentifier() : Kernel::String()),
      m_key(key),
      m_text(text),
      m_oldText(oldText),
      m_wasSet(!oldText.empty()) {}
SetLocalisableStringCommand::~SetLocalisableStringCommand() = default;

Kernel::LocalisedString SetLocalisableStringCommand::GetDescription() const {
    return Kernel::LocalisedString("Set Index Text", "Command description");
}

void SetLocalisableStringCommand::Do() {
    SetDirection(Direction::Do);
    auto& index = GetDocumentController()->GetDocument()->GetIndex();
    auto const* const known = index.GetString(m_key, m_language);
    m_wasSet = known != nullptr;
    m_oldText = known == nullptr ? Story::GlyphString() : *known;
    index.SetString(m_key, m_text, m_language);
}

void SetLocalisableStringCommand::Undo() {
    SetDirection(Direction::Undo);
    auto& index = GetDocumentController()->GetDocument()->GetIndex();
    if (m_wasSet)
        index.SetString(m_key, m_oldText, m_language);
    else
        index.ResetString(m_key, m_language);
}

void SetLocalisableStringCommand::Redo() {
    SetDirection(Direction::Redo);
    GetDocumentController()->GetDocument()->GetIndex().SetString(m_key, m_text, m_language);
}

void SetLocalisableStringCommand::Notify(Kernel::NotificationList& notifications) {
    notifications.push_back(Kernel::MakeCounted<IndexTopicsChangedNotification>(GetDocumentController()));
}

Kernel::Counted<DocumentCommand> SetLocalisableStringCommand::Clone() const {
    auto const language =
        m_language.empty() ? Kernel::Counted<Story::Language const>() : Story::Language::Make(m_language);
    return Kernel::MakeCounted<SetLocalisableStringCommand>(language, m_key, m_text, Story::GlyphString());
}
