// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "articles/article_command.h"

namespace Commands {

// Gives an entry of the reading order another name. A run of renames of one entry is one step.
class REDRAFT_API RenameExportArticleCommand final : public ArticleCommand<RenameExportArticleCommand> {
public:
    RenameExportArticleCommand(Kernel::Counted<ExportArticleCollector> collector, Kernel::String name)
        : m_name(std::move(name)), m_collector(std::move(collector)) {}

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool Merge(Kernel::Counted<Command const> newer) override;

    static constexpr std::string_view c_keptByUndo =
        "After the document has been opened again, the new name stays when this is taken back.";

private:
    friend struct Kernel::FieldAccess;
    RenameExportArticleCommand() = default;
    static constexpr auto Fields() {
        using This = RenameExportArticleCommand;
        return Kernel::FieldList{
            Kernel::Unstored{&This::m_collector}.As<ArticleEntry>("entry", "the entry, as article:NUMBER or #ID"),
            Kernel::Field{"name", &This::m_name}.As("name", "its new name"), Kernel::Field{"onam", &This::m_oldName}};
    }
    void Put(Direction direction, Kernel::String const& name);

    Kernel::String m_name, m_oldName;
    // Required: it is not stored. A loaded command changes nothing.
    Kernel::Counted<ExportArticleCollector> m_collector;
};

} // namespace Commands
