// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "index/index_command.h"
#include "platform/document/index_commands.h"

class Tool;

namespace Commands {

// Adds a topic to the index, with the levels above it that are missing, and puts a mark of it into the text.
class REDRAFT_API InsertIndexMarkWithNewTopicCommand final
    : public Persisted<InsertIndexMarkWithNewTopicCommand, DocumentCommand> {
public:
    // A command that puts a mark at the selection: a plain one for a topic that is given, or that stands below
    // `parentName` under this name; otherwise one that adds the topic first. `parent` counts only where its full name
    // is `parentName`, without regard to case. `reuse`: levels that are there already are not added again.
    static Kernel::Counted<DocumentCommand> MakeInsertIndexMarkCommand(
        Kernel::Counted<DocumentController const> controller, Kernel::Counted<Story::IndexTopic const> topic,
        Kernel::Counted<Story::IndexTopic const> parent, Kernel::String name, Kernel::String parentName,
        Kernel::Counted<Selection const> selection, Kernel::String styleName, bool reuse);
    // The selected text, if it is short, or else the word at the selection's begin or the next one. `selection` comes
    // to hold where the mark should go; it stays where no text is selected.
    static Kernel::String SuggestIndexTopic(Kernel::Counted<Tool> tool, Kernel::Counted<Selection const>& selection);

    static constexpr auto c_description = Kernel::Localisable("Insert Index Mark", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool ShouldStackForUndo() const override;
    void Save(Kernel::OutSerialiser& out) const override;
    // False where a command that it is made of cannot be read.
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;
    void PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    Kernel::Counted<Selection const> GetSelection() override { return m_selection; }

    Kernel::Counted<AddIndexTopicCommand> const& GetAddTopicCommand() const { return m_addTopicCommand; }
    // Null when no topic was added.
    Kernel::Counted<InsertIndexMarkCommand> const& GetInsertMarkCommand() const { return m_insertMarkCommand; }
    void AppendInnerCommands(InnerCommands::List& found) const;

private:
    friend struct Kernel::FieldAccess;
    InsertIndexMarkWithNewTopicCommand() = default;
    InsertIndexMarkWithNewTopicCommand(Kernel::Counted<AddIndexTopicCommand> addTopicCommand,
                                       Kernel::Counted<Selection const> selection, Kernel::String styleName);

    Kernel::Counted<AddIndexTopicCommand> m_addTopicCommand;
    Kernel::Counted<InsertIndexMarkCommand> m_insertMarkCommand;
    Kernel::Counted<Selection const> m_selection;
    Kernel::String m_styleName;
};

} // namespace Commands
