// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "index/index_command.h"

namespace Commands {

// Puts a topic of the index below another one.
class REDRAFT_API ReparentIndexTopicCommand final
    : public IndexTopicCommand<ReparentIndexTopicCommand, Kernel::Counted<Story::IndexTopic const>> {
public:
    // Null: to the top. Do throws Kernel::Exception where the topic would stand below itself.
    ReparentIndexTopicCommand(Kernel::Counted<Story::IndexTopic const> topic,
                              Kernel::Counted<Story::IndexTopic const> parent)
        : IndexTopicCommand(std::move(topic), std::move(parent)) {}

    static constexpr auto c_description = Kernel::Localisable("Reparent Index Topic", "Command description");

private:
    friend struct Kernel::FieldAccess;
    friend IndexTopicCommand;
    ReparentIndexTopicCommand() = default;
    static Kernel::Counted<Story::IndexTopic const> Get(Story::IndexTopic const& topic) { return topic.GetParent(); }
    static void Set(Story::Index& index, Kernel::Counted<Story::IndexTopic const> const& topic,
                    Kernel::Counted<Story::IndexTopic const> const& value) {
        index.SetTopicParent(topic, value);
    }
    static constexpr auto Fields() {
        using This = ReparentIndexTopicCommand;
        return Kernel::FieldList{
            Kernel::Field{"topc", &This::m_topic}.As<TopicReference>("topic", "the topic, by path or GUID"),
            Kernel::Field{"nwPt", &This::m_value}.As<OptionalTopicReference>(
                "parent", "the topic to put it below, by path or GUID, or none"),
            Kernel::Field{"olPt", &This::m_oldValue}};
    }
};

} // namespace Commands
