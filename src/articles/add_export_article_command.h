// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "articles/article_command.h"

namespace Commands {

// Puts a new, empty article into the reading order.
class REDRAFT_API AddExportArticleCommand final : public ArticleCommand<AddExportArticleCommand> {
public:
    // The entries from that number on move back; -1: behind the last entry.
    explicit AddExportArticleCommand(int articleIndex) : m_articleIndex(articleIndex) {}

    static constexpr auto c_description = Kernel::Localisable("Add Article", "Command Description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    // After Do with the new entry.
    void Notify(Kernel::NotificationList& notifications) override;

private:
    friend struct Kernel::FieldAccess;
    AddExportArticleCommand() = default;
    static constexpr auto Fields() {
        using This = AddExportArticleCommand;
        return Kernel::FieldList{Kernel::Field{"idx.", &This::m_articleIndex}
                                     .As("number", "the article's number; -1: behind the last entry", -1)
                                     .AtLeast(-1),
                                 Kernel::Field{"arti", &This::m_article}};
    }

    int m_articleIndex = -1;
    // Null until Do.
    Kernel::Counted<ExportArticle> m_article;
};

} // namespace Commands
