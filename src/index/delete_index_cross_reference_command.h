// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "index/index_command.h"

namespace Commands {

// Takes away that one topic of the index refers to another.
class REDRAFT_API DeleteIndexCrossReferenceCommand final
    : public IndexCrossReferenceCommand<DeleteIndexCrossReferenceCommand> {
public:
    DeleteIndexCrossReferenceCommand(Kernel::Counted<Story::IndexTopic const> topic,
                                     Kernel::Counted<Story::IndexTopic const> relatedTopic)
        : IndexCrossReferenceCommand(std::move(topic), std::move(relatedTopic)) {}

    static constexpr auto c_description = Kernel::Localisable("Delete Index Cross-Reference", "Command description");

private:
    friend struct Kernel::FieldAccess;
    friend IndexCrossReferenceCommand;
    DeleteIndexCrossReferenceCommand() = default;
    void Apply(Story::Index& index, bool forward);
    static constexpr auto Fields() {
        using This = DeleteIndexCrossReferenceCommand;
        return Kernel::FieldList{
            Kernel::Field{"topc", &This::m_topic}.As<TopicReference>("topic", "the topic that refers, by path or GUID"),
            Kernel::Field{"nwPt", &This::m_relatedTopic}.As<TopicReference>(
                "related", "the topic that it refers to, by path or GUID")};
    }
};

} // namespace Commands
