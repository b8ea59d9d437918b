// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "index/index_command.h"

namespace Commands {

// Has one topic of the index refer to another: see, or see also. Undo takes the relation away, also where it was there
// before.
class REDRAFT_API AddIndexCrossReferenceCommand final
    : public IndexCrossReferenceCommand<AddIndexCrossReferenceCommand> {
public:
    AddIndexCrossReferenceCommand(Kernel::Counted<Story::IndexTopic const> topic,
                                  Kernel::Counted<Story::IndexTopic const> relatedTopic)
        : IndexCrossReferenceCommand(std::move(topic), std::move(relatedTopic)) {}

    static constexpr std::string_view c_keptByUndo = "Undo takes the relation away, also where it was there before.";

    static constexpr auto c_description = Kernel::Localisable("Add Index Cross-Reference", "Command description");

private:
    friend struct Kernel::FieldAccess;
    friend IndexCrossReferenceCommand;
    AddIndexCrossReferenceCommand() = default;
    void Apply(Story::Index& index, bool forward);
    static constexpr auto Fields() {
        using This = AddIndexCrossReferenceCommand;
        return Kernel::FieldList{
            Kernel::Field{"topc", &This::m_topic}.As<TopicReference>("topic", "the topic that refers, by path or GUID"),
            Kernel::Field{"nwPt", &This::m_relatedTopic}.As<TopicReference>(
                "related", "the topic that it refers to, by path or GUID")};
    }
};

} // namespace Commands
