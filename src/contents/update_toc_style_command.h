// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "contents/toc_style_arguments.h"
#include "frame/persistence/persisted.h"
#include "platform/document/alter_toc_command.h"
#include "platform/document/text_style_command.h"

namespace Commands {

// Gives a style of tables of contents another definition, and brings its tables up to date.
class REDRAFT_API UpdateTocStyleCommand final : public Persisted<UpdateTocStyleCommand, DocumentCommand> {
public:
    UpdateTocStyleCommand(Kernel::String tocStyleName, Kernel::Counted<Story::TocStyleDelta const> delta)
        : m_tocStyleName(std::move(tocStyleName)), m_delta(std::move(delta)) {}

    static constexpr auto c_description = Kernel::Localisable("Update TOC style", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    // False where one of the inner commands is missing.
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;
    void PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) override;

    // The change of the sheet, null for a style that is not there, and one command for each table that has the style,
    // once the command has run. The table in which the caret stands comes last.
    Kernel::Counted<TextStyleCommand> const& GetSetStyleCommand() const { return m_setStyleCommand; }
    std::vector<Kernel::Counted<AlterTocCommand>> const& GetAlterCommands() const { return m_alterCommands; }
    void AppendInnerCommands(InnerCommands::List& found) const;

private:
    friend struct Kernel::FieldAccess;
    UpdateTocStyleCommand() = default;
    static constexpr auto Fields() {
        using This = UpdateTocStyleCommand;
        return Kernel::FieldList{
            Kernel::Field{"TcNm", &This::m_tocStyleName}.As<TocStyleReference>(
                "style", "the name of a style of tables of contents"),
            Kernel::Field{"Dlta", &This::m_delta}.OnlyWhenSet().As<TocStyleArgument>("definition", "its tables"),
            Kernel::Field{"AlCm", &This::m_alterCommands},
            Kernel::Field{"TSCm", &This::m_setStyleCommand}.OnlyWhenSet()};
    }

    Kernel::String m_tocStyleName;
    Kernel::Counted<Story::TocStyleDelta const> m_delta;
    std::vector<Kernel::Counted<AlterTocCommand>> m_alterCommands;
    Kernel::Counted<TextStyleCommand> m_setStyleCommand;
};

} // namespace Commands
