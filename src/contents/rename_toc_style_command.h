// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "contents/toc_style_arguments.h"
#include "frame/persistence/persisted.h"
#include "platform/document/alter_toc_command.h"
#include "platform/document/text_style_command.h"

namespace Commands {

// Gives a style of tables of contents another name, and with it the tables that have it. Its entry styles go on naming
// the old one.
class REDRAFT_API RenameTocStyleCommand final : public Persisted<RenameTocStyleCommand, DocumentCommand> {
public:
    RenameTocStyleCommand(Kernel::String oldName, Kernel::String newName)
        : m_oldName(std::move(oldName)), m_newName(std::move(newName)) {}

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    // False where one of the inner commands is missing.
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;
    void PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) override;
    Kernel::Counted<DocumentCommand> Clone() const override;

    // The change of the sheet, and one command for each table that had the style, once the command has run.
    std::vector<Kernel::Counted<TextStyleCommand>> const& GetTextStyleCommands() const { return m_textStyleCommands; }
    std::vector<Kernel::Counted<AlterTocCommand>> const& GetAlterCommands() const { return m_alterCommands; }
    void AppendInnerCommands(InnerCommands::List& found) const;

    static constexpr bool c_storesBaseFirst = true;

protected:
    // Has an entry style name another style of tables. Do leaves entry styles alone.
    void Rename(Kernel::Consolidated<Story::TocEntryStyle> const& style, Kernel::String const& name);

private:
    friend struct Kernel::FieldAccess;
    RenameTocStyleCommand() = default;
    static constexpr auto Fields() {
        using This = RenameTocStyleCommand;
        return Kernel::FieldList{Kernel::Field{"OlNm", &This::m_oldName}.As<TocStyleReference>(
                                     "style", "the name of a style of tables of contents"),
                                 Kernel::Field{"NwNm", &This::m_newName}.As("newName", "its new name"),
                                 Kernel::Field{"TxSC", &This::m_textStyleCommands},
                                 Kernel::Field{"AlTC", &This::m_alterCommands}};
    }

    Kernel::String m_oldName, m_newName;
    std::vector<Kernel::Counted<TextStyleCommand>> m_textStyleCommands;
    std::vector<Kernel::Counted<AlterTocCommand>> m_alterCommands;
};

} // namespace Commands
