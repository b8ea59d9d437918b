// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "articles/article_command.h"

namespace Commands {

// Dissolves an article: its members become entries of their own in its place.
class REDRAFT_API DeleteExportArticleCommand final : public ArticleCommand<DeleteExportArticleCommand> {
public:
    explicit DeleteExportArticleCommand(int articleIndex) : m_articleIndex(articleIndex) {}

    static constexpr auto c_description = Kernel::Localisable("Remove Article", "Command Description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

    static constexpr std::string_view c_keptByUndo =
        "After the document has been opened again, taking this back leaves the members outside of the article.";

private:
    friend struct Kernel::FieldAccess;
    DeleteExportArticleCommand() = default;
    static constexpr auto Fields() {
        using This = DeleteExportArticleCommand;
        return Kernel::FieldList{
            Kernel::Field{"idx.", &This::m_articleIndex}.As<ArticleNumber>("article", "the article, as article:NUMBER"),
            Kernel::Field{"arti", &This::m_article}, Kernel::Field{"arts", &This::m_collectors},
            Kernel::Field{"seqs", &This::m_sequenceNumbers}};
    }
    // An article without members leaves a gap behind, which the entries from there on fill.
    bool IsEmpty() const { return m_collectors.empty() || m_collectors.front()->GetMembers().empty(); }
    void Dissolve(Kernel::Counted<DocumentController> const& controller);

    int m_articleIndex = -1;
    // Filled by Do: the article, the entries that had its number, and the sequence numbers of the first one's members.
    Kernel::Counted<ExportArticle> m_article;
    std::vector<Kernel::Counted<ExportArticleCollector>> m_collectors;
    std::vector<int> m_sequenceNumbers;
};

} // namespace Commands
