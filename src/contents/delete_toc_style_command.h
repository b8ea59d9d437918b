// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "contents/toc_style_arguments.h"
#include "frame/persistence/persisted.h"
#include "platform/document/alter_toc_command.h"
#include "platform/document/text_style_command.h"

namespace Commands {

// Takes a style of tables of contents and its entry styles out of the document's sheet. Its tables get the default
// style.
class REDRAFT_API DeleteTocStyleCommand final : public Persisted<DeleteTocStyleCommand, DocumentCommand> {
public:
    explicit DeleteTocStyleCommand(Kernel::String tocStyleName) : m_tocStyleName(std::move(tocStyleName)) {}

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

    // The changes of the sheet, and one command for each table that had the style, once the command has run.
    std::vector<Kernel::Counted<TextStyleCommand>> const& GetTextStyleCommands() const { return m_textStyleCommands; }
    std::vector<Kernel::Counted<AlterTocCommand>> const& GetAlterCommands() const { return m_alterCommands; }
    void AppendInnerCommands(InnerCommands::List& found) const;

private:
    friend struct Kernel::FieldAccess;
    DeleteTocStyleCommand() = default;
    static constexpr auto Fields() {
        using This = DeleteTocStyleCommand;
        return Kernel::FieldList{Kernel::Field{"TcNm", &This::m_tocStyleName}.As<TocStyleReference>(
                                     "style", "the name of a style of tables of contents"),
                                 Kernel::Field{"AlCm", &This::m_alterCommands},
                                 Kernel::Field{"TSCm", &This::m_textStyleCommands}};
    }

    Kernel::String m_tocStyleName;
    std::vector<Kernel::Counted<AlterTocCommand>> m_alterCommands;
    std::vector<Kernel::Counted<TextStyleCommand>> m_textStyleCommands;
};

} // namespace Commands
