// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "index/index_command.h"

namespace Commands {

// Sets the text that a topic of the index is sorted by in place of its name.
class REDRAFT_API SetIndexTopicSortCommand final : public IndexTopicCommand<SetIndexTopicSortCommand, Kernel::String> {
public:
    SetIndexTopicSortCommand(Kernel::Counted<Story::IndexTopic const> topic, Kernel::String sort)
        : IndexTopicCommand(std::move(topic), std::move(sort)) {}

    static constexpr auto c_description = Kernel::Localisable("Rename Index Topic", "Command description");

private:
    friend struct Kernel::FieldAccess;
    friend IndexTopicCommand;
    SetIndexTopicSortCommand() = default;
    static Kernel::String Get(Story::IndexTopic const& topic) { return topic.GetSortString(); }
    static void Set(Story::Index& index, Kernel::Counted<Story::IndexTopic const> const& topic,
                    Kernel::String const& value) {
        index.SetSortString(topic, value);
    }
    static constexpr auto Fields() {
        using This = SetIndexTopicSortCommand;
        return Kernel::FieldList{
            Kernel::Field{"topc", &This::m_topic}.As<TopicReference>("topic", "the topic, by path or GUID"),
            Kernel::Field{"nwNm", &This::m_value}.As("sort",
                                                     "the text to sort it by, such as a reading; empty for its name"),
            Kernel::Field{"olNm", &This::m_oldValue}};
    }
};

} // namespace Commands
