// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "index/topic_reference.h"
#include "platform/document/command.h"

namespace Commands {

// The index of the command's document; null without a document.
REDRAFT_API Story::Index* FindIndex(DocumentCommand const& command);
// One notification that topics, or how an index is made of them, changed.
REDRAFT_API void NotifyOfTopics(DocumentCommand& command, Kernel::NotificationList& notifications);

// Base of the commands on the index. Their fields are read only where those of DocumentCommand could be.
template <class T>
class IndexCommand : public Persisted<T, DocumentCommand> {
public:
    void Notify(Kernel::NotificationList& notifications) override { NotifyOfTopics(*this, notifications); }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override {
        if (!DocumentCommand::Load(in, files, version))
            return false;
        Kernel::LoadFields(static_cast<T&>(*this), in);
        return true;
    }

    static constexpr bool c_storesBaseFirst = true;
};

// Gives one value to one topic. A derived class says which, in Get and Set.
template <class T, class Value>
class IndexTopicCommand : public IndexCommand<T> {
public:
    void Do() override {
        this->SetDirection(DomainCommand::Direction::Do);
        auto* const index = FindIndex(*this);
        if (index == nullptr || !m_topic)
            return;
        m_oldValue = T::Get(*m_topic);
        T::Set(*index, m_topic, m_value);
    }
    void Undo() override { Put(DomainCommand::Direction::Undo, m_oldValue); }
    void Redo() override { Put(DomainCommand::Direction::Redo, m_value); }

protected:
    IndexTopicCommand() = default;
    IndexTopicCommand(Kernel::Counted<Story::IndexTopic const> topic, Value value)
        : m_topic(std::move(topic)), m_value(std::move(value)) {}

    Kernel::Counted<Story::IndexTopic const> m_topic;
    Value m_value, m_oldValue;

private:
    void Put(DomainCommand::Direction direction, Value const& value) {
        this->SetDirection(direction);
        if (auto* const index = FindIndex(*this); index != nullptr && m_topic)
            T::Set(*index, m_topic, value);
    }
};

// A relation, as "see also", from one topic to another. A derived class says what becomes of it, in Apply.
template <class T>
class IndexCrossReferenceCommand : public IndexCommand<T> {
public:
    void Do() override { Run(DomainCommand::Direction::Do, true); }
    void Undo() override { Run(DomainCommand::Direction::Undo, false); }
    void Redo() override { Run(DomainCommand::Direction::Redo, true); }

protected:
    IndexCrossReferenceCommand() = default;
    IndexCrossReferenceCommand(Kernel::Counted<Story::IndexTopic const> topic,
                               Kernel::Counted<Story::IndexTopic const> relatedTopic)
        : m_topic(std::move(topic)), m_relatedTopic(std::move(relatedTopic)) {}

    Kernel::Counted<Story::IndexTopic const> m_topic, m_relatedTopic;

private:
    void Run(DomainCommand::Direction direction, bool forward) {
        this->SetDirection(direction);
        if (auto* const index = FindIndex(*this))
            static_cast<T&>(*this).Apply(*index, forward);
    }
};

} // namespace Commands
