// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "index/index_command.h"

namespace Commands {

// Has a topic of the index refer to another one than before. Nothing happens where that is the topic itself.
class REDRAFT_API ReparentIndexCrossReferenceCommand final
    : public IndexCrossReferenceCommand<ReparentIndexCrossReferenceCommand> {
public:
    ReparentIndexCrossReferenceCommand(Kernel::Counted<Story::IndexTopic const> topic,
                                       Kernel::Counted<Story::IndexTopic const> newRelatedTopic,
                                       Kernel::Counted<Story::IndexTopic const> oldRelatedTopic)
        : IndexCrossReferenceCommand(std::move(topic), std::move(newRelatedTopic)),
          m_oldRelatedTopic(std::move(oldRelatedTopic)) {}

    static constexpr auto c_description = Kernel::Localisable("Reparent Index Topic", "Command description");

private:
    friend struct Kernel::FieldAccess;
    friend IndexCrossReferenceCommand;
    ReparentIndexCrossReferenceCommand() = default;
    void Apply(Story::Index& index, bool forward);
    static constexpr auto Fields() {
        using This = ReparentIndexCrossReferenceCommand;
        return Kernel::FieldList{
            Kernel::Field{"topc", &This::m_topic}.As<TopicReference>("topic", "the topic that refers, by path or GUID"),
            Kernel::Field{"nwPt", &This::m_relatedTopic}.As<TopicReference>(
                "related", "the topic that it will refer to, by path or GUID"),
            Kernel::Field{"olPt", &This::m_oldRelatedTopic}.As<TopicReference>(
                "oldRelated", "the topic that it refers to now, by path or GUID")};
    }

    Kernel::Counted<Story::IndexTopic const> m_oldRelatedTopic;
};

} // namespace Commands
