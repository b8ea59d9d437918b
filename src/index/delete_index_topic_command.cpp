// SPDX-License-Identifier: Apache-2.0
#include "index/delete_index_topic_command.h"

#include "platform/document/document_controller.h"
#include "platform/document/index_preview.h"
#include "platform/kernel/cast.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace Commands {

namespace {

// The given topics and all below them, the deepest first. Each is looked at once, however deep it stands.
DeleteIndexTopicCommand::Topics FindAllTopics(Story::Index const& index, DeleteIndexTopicCommand::Topics const& given) {
    using Topic = Kernel::Counted<Story::IndexTopic const>;
    struct Known {
        int depth = 0;
        bool isTaken = false;
    };
    std::unordered_map<Story::IndexTopic const*, Known> known;
    std::unordered_set<Story::IndexTopic const*> named;
    for (auto const& topic : given)
        named.insert(topic.get());
    std::vector<Topic> way;
    std::vector<std::pair<int, Topic>> taken;
    for (auto const& topic : index) {
        for (Topic at = topic; at && !known.contains(at.get()); at = at->GetParent())
            way.push_back(at);
        for (; !way.empty(); way.pop_back()) {
            auto const parent = way.back()->GetParent();
            auto const above = parent ? known.at(parent.get()) : Known{-1, false};
            known[way.back().get()] = {above.depth + 1, above.isTaken || named.contains(way.back().get())};
        }
        if (auto const& found = known.at(topic.get()); found.isTaken)
            taken.emplace_back(found.depth, topic);
    }
    std::ranges::stable_sort(taken, std::greater(), [](auto const& each) { return each.first; });
    DeleteIndexTopicCommand::Topics all;
    for (auto& [depth, topic] : taken)
        all.push_back(std::move(topic));
    return all;
}

} // namespace

Kernel::LocalisedString DeleteIndexTopicCommand::GetDescription() const {
    if (m_topics.size() < 2)
        return Kernel::LocalisedString("Delete Index Topic", "Command description");
    return Kernel::LocalisedString("Delete Index Topics", "Command description");
}

// The marks go first, while their topics are still there, and children leave the index before their parents.
void DeleteIndexTopicCommand::Do() {
    SetDirection(Direction::Do);
    auto* const index = FindIndex(*this);
    if (index == nullptr)
        return;
    m_deleteCommands.clear();
    m_allTopics = FindAllTopics(*index, m_topics);
    auto const marks = m_documentController->GetDocument()->GetIndexMarks(false, false, true);
    TextChangeBatch batch;
    for (auto const& topic : m_allTopics) {
        for (auto const& mark : marks->GetMarksForTopic(topic)) {
            auto command = Kernel::MakeCounted<DeleteTextCommand>(Story::MoveCaret::No, mark->GetSelection());
            InnerCommands::DoOne(*this, *command);
            m_deleteCommands.push_back(std::move(command));
        }
    }
    for (auto const& topic : m_allTopics)
        index->DeleteTopic(topic);
    batch.Finish();
}

void DeleteIndexTopicCommand::Undo() {
    SetDirection(Direction::Undo);
    auto* const index = FindIndex(*this);
    if (index == nullptr)
        return;
    for (auto topic = m_allTopics.rbegin(); topic != m_allTopics.rend(); ++topic)
        index->AddTopic(Kernel::JailCounted<Story::IndexTopic>(const_cast<Story::IndexTopic*>(topic->get())));
    TextChangeBatch batch;
    for (auto command = m_deleteCommands.rbegin(); command != m_deleteCommands.rend(); ++command)
        InnerCommands::UndoOne(**command);
    batch.Finish();
    // The marks that are back make it old.
    if (!m_deleteCommands.empty())
        m_documentController->GetDocument()->SetIndexMarkPreview({});
}

void DeleteIndexTopicCommand::Redo() {
    SetDirection(Direction::Redo);
    auto* const index = FindIndex(*this);
    if (index == nullptr)
        return;
    TextChangeBatch batch;
    for (auto const& command : m_deleteCommands)
        InnerCommands::RedoOne(*command);
    for (auto const& topic : m_allTopics)
        index->DeleteTopic(topic);
    batch.Finish();
}

void DeleteIndexTopicCommand::Notify(Kernel::NotificationList& notifications) {
    for (auto const& command : m_deleteCommands) {
        // A preview may have become a step since the command ran.
        command->SetPreview(IsPreview());
        command->Notify(notifications);
    }
    NotifyOfTopics(*this, notifications);
}

bool DeleteIndexTopicCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    return DocumentCommand::Load(in, files, version) && (Kernel::LoadFields(*this, in), true) &&
           std::ranges::all_of(m_deleteCommands, [](auto const& command) { return static_cast<bool>(command); });
}

void DeleteIndexTopicCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    DocumentCommand::PostLoad(controller);
    for (auto const& command : m_deleteCommands)
        command->PostLoad(controller);
}

void DeleteIndexTopicCommand::PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) {
    DocumentCommand::PostDequeueWithMutableController(controller);
    for (auto const& command : m_deleteCommands)
        command->PostDequeueWithMutableController(controller);
}

void DeleteIndexTopicCommand::AppendInnerCommands(InnerCommands::List& found) const {
    found.insert(found.end(), m_deleteCommands.begin(), m_deleteCommands.end());
}

} // namespace Commands
