// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "index/index_command.h"

namespace Commands {

// Gives a topic of the index another name.
class REDRAFT_API RenameIndexTopicCommand final : public IndexTopicCommand<RenameIndexTopicCommand, Kernel::String> {
public:
    RenameIndexTopicCommand(Kernel::Counted<Story::IndexTopic const> topic, Kernel::String name)
        : IndexTopicCommand(std::move(topic), std::move(name)) {}

    static constexpr auto c_description = Kernel::Localisable("Rename Index Topic", "Command description");

private:
    friend struct Kernel::FieldAccess;
    friend IndexTopicCommand;
    RenameIndexTopicCommand() = default;
    static Kernel::String Get(Story::IndexTopic const& topic) { return topic.GetName(); }
    static void Set(Story::Index& index, Kernel::Counted<Story::IndexTopic const> const& topic,
                    Kernel::String const& value) {
        index.RenameTopic(topic, value);
    }
    static constexpr auto Fields() {
        using This = RenameIndexTopicCommand;
        return Kernel::FieldList{
            Kernel::Field{"topc", &This::m_topic}.As<TopicReference>("topic", "the topic, by path or GUID"),
            Kernel::Field{"nwNm", &This::m_value}.As("name", "its new name"), Kernel::Field{"olNm", &This::m_oldValue}};
    }
};

} // namespace Commands
