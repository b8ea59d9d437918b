// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "index/index_command.h"

namespace Commands {

// Gives a topic of the index another id, by which programs outside know it.
class REDRAFT_API SetIndexTopicGUIDCommand final : public IndexTopicCommand<SetIndexTopicGUIDCommand, Kernel::String> {
public:
    SetIndexTopicGUIDCommand(Kernel::Counted<Story::IndexTopic const> topic, Kernel::String guid)
        : IndexTopicCommand(std::move(topic), std::move(guid)) {}

    static constexpr auto c_description = Kernel::Localisable("Change index topic binding", "Command description");

private:
    friend struct Kernel::FieldAccess;
    friend IndexTopicCommand;
    SetIndexTopicGUIDCommand() = default;
    static Kernel::String Get(Story::IndexTopic const& topic) { return topic.GetGUID(); }
    static void Set(Story::Index& index, Kernel::Counted<Story::IndexTopic const> const& topic,
                    Kernel::String const& value) {
        index.SetTopicGUID(topic, value);
    }
    static constexpr auto Fields() {
        using This = SetIndexTopicGUIDCommand;
        return Kernel::FieldList{
            Kernel::Field{"topc", &This::m_topic}.As<TopicReference>("topic", "the topic, by path or GUID"),
            Kernel::Field{"nwGD", &This::m_value}.As("guid", "its new id, any text that no other topic has"),
            Kernel::Field{"olGD", &This::m_oldValue}};
    }
};

} // namespace Commands
