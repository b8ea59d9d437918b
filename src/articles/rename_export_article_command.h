// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "articles/article_command.h"
#include "frame/persistence/value_command.h"

namespace Commands {

// Gives an entry of the reading order another name. A run of renames of one entry is one step.
class REDRAFT_API RenameExportArticleCommand final
    : public ValueCommand<RenameExportArticleCommand, Kernel::String, ArticleCommand<RenameExportArticleCommand>> {
public:
    static constexpr auto c_description = Kernel::Localisable("Rename Article", "Command Description");
    static constexpr std::string_view c_keptByUndo =
        "After the document has been opened again, the new name stays when this is taken back.";

    RenameExportArticleCommand(Kernel::Counted<ExportArticleCollector> collector, Kernel::String name)
        : ValueCommand(std::move(name)), m_collector(std::move(collector)) {}

    Kernel::String Read() const { return m_collector ? m_collector->GetName() : m_oldValue; }
    void Write(Kernel::String const& name) {
        if (m_collector)
            m_collector->SetName(name);
    }
    bool HasTarget(RenameExportArticleCommand const& newer) const {
        return m_collector && m_collector->Matches(newer.m_collector);
    }
    void Notify(Kernel::NotificationList& notifications) override {
        NotifyOfArticles(*this, notifications, GetDirection() == Direction::Do);
    }

private:
    friend struct Kernel::FieldAccess;
    RenameExportArticleCommand() = default;
    static constexpr auto Fields() {
        using This = RenameExportArticleCommand;
        return Kernel::FieldList{
            Kernel::Unstored{&This::m_collector}.As<ArticleEntry>("entry", "the entry, as article:NUMBER or #ID"),
            Kernel::Field{"name", &This::m_value}.As("name", "its new name"), Kernel::Field{"onam", &This::m_oldValue}};
    }

    // Required: it is not stored. A loaded command changes nothing.
    Kernel::Counted<ExportArticleCollector> m_collector;
};

} // namespace Commands
