// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "contents/toc_style_arguments.h"
#include "platform/document/alter_toc_command.h"
#include "platform/document/inner_commands.h"
#include "platform/document/text_style_command.h"

namespace Commands {

// Base of commands that change styles of the document's sheet, and then the tables of contents that have them. A
// derived class says which, in Do, and stores both lists.
class REDRAFT_API TocStyleCommand : public DocumentCommand {
public:
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;
    void PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) override;

    // The changes of the sheet, and one command for each table that had the style, once the command has run.
    std::vector<Kernel::Counted<TextStyleCommand>> const& GetTextStyleCommands() const { return m_textStyleCommands; }
    std::vector<Kernel::Counted<AlterTocCommand>> const& GetAlterCommands() const { return m_alterCommands; }
    void AppendInnerCommands(InnerCommands::List& found) const;

protected:
    // Those of the selected tables, as TocVisitor finds them, that have a style.
    static std::vector<Story::TocAttRef> TakeTables(std::vector<Kernel::Counted<Selection const>> const& selections,
                                                    Kernel::String const& tocStyleName);
    // Gives each of them a style; those that cannot take it are passed over.
    void Apply(std::vector<Story::TocAttRef> const& tables, Kernel::String const& tocStyleName);
    // False where a loaded step lacks one of its commands.
    bool IsComplete() const;

    std::vector<Kernel::Counted<TextStyleCommand>> m_textStyleCommands;
    std::vector<Kernel::Counted<AlterTocCommand>> m_alterCommands;
};

} // namespace Commands
