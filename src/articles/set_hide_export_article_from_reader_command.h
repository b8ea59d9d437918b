// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "articles/article_command.h"

namespace Commands {

// Hides entries of the reading order from readers, or shows them again.
class REDRAFT_API SetHideExportArticleFromReaderCommand final
    : public ArticleCommand<SetHideExportArticleFromReaderCommand> {
public:
    SetHideExportArticleFromReaderCommand(Kernel::Counted<ExportArticleCollector> collector, bool hide)
        : m_hide(hide), m_collectors{std::move(collector)} {}
    SetHideExportArticleFromReaderCommand(std::vector<Kernel::Counted<ExportArticleCollector>> const& collectors,
                                          bool hide)
        : m_hide(hide), m_collectors(collectors) {}
    // As programs outside give them.
    SetHideExportArticleFromReaderCommand(bool hide, ArticleEntries const& entries)
        : SetHideExportArticleFromReaderCommand(entries.collectors, hide) {}

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    friend struct Kernel::FieldAccess;
    SetHideExportArticleFromReaderCommand() = default;
    static constexpr auto Fields() {
        using This = SetHideExportArticleFromReaderCommand;
        return Kernel::FieldList{Kernel::Field{"hide", &This::m_hide}.As("hide", "true: readers do not get them"),
                                 Kernel::Field{"ohds", &This::m_oldHidden}, Kernel::Field{"oats", &This::m_oldAutoHide},
                                 Kernel::Field{"arts", &This::m_collectors}.As<ArticleEntries>(
                                     "entries", "the entries: article:NUMBER or #ID, with commas between")};
    }

    bool m_hide = false;
    // Of each entry, filled by Do.
    std::vector<bool> m_oldHidden, m_oldAutoHide;
    std::vector<Kernel::Counted<ExportArticleCollector>> m_collectors;
};

} // namespace Commands
