// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "index/index_command.h"
#include "platform/document/text_commands.h"

namespace Commands {

// Takes topics out of the index, with all topics below them and with the marks that point at them in texts.
class REDRAFT_API DeleteIndexTopicCommand final : public Persisted<DeleteIndexTopicCommand, DocumentCommand> {
public:
    using Topics = std::vector<Kernel::Counted<Story::IndexTopic const>>;
    explicit DeleteIndexTopicCommand(Topics topics) : m_topics(std::move(topics)) {}

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    // False where one of the inner commands is missing.
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;
    void PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) override;

    // The given ones and all below them, the deepest first, once the command has run.
    Topics const& GetAllTopics() const { return m_allTopics; }
    // One for each mark.
    std::vector<Kernel::Counted<DeleteTextCommand>> const& GetDeleteCommands() const { return m_deleteCommands; }
    void AppendInnerCommands(InnerCommands::List& found) const;

    static constexpr bool c_storesBaseFirst = true;

private:
    friend struct Kernel::FieldAccess;
    DeleteIndexTopicCommand() = default;
    static constexpr auto Fields() {
        using This = DeleteIndexTopicCommand;
        return Kernel::FieldList{Kernel::Field{"tpcs", &This::m_topics}.As<TopicReferences>(
                                     "topics", "the topics, by path or GUID, with commas between"),
                                 Kernel::Field{"alTp", &This::m_allTopics},
                                 Kernel::Field{"dlCm", &This::m_deleteCommands}};
    }

    Topics m_topics, m_allTopics;
    std::vector<Kernel::Counted<DeleteTextCommand>> m_deleteCommands;
};

} // namespace Commands
