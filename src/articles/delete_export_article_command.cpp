// SPDX-License-Identifier: Apache-2.0
#include "articles/delete_export_article_command.h"

namespace Commands {

void DeleteExportArticleCommand::Do() {
    auto const controller = Begin(Direction::Do);
    m_article = controller->GetDocument()->GetArticle(m_articleIndex);
    Helpers::CollectArticles(controller, m_collectors, m_articleIndex);
    controller->GetDocument()->SetArticle(m_articleIndex, {});
    if (!IsEmpty()) {
        for (auto const& member : m_collectors.front()->GetMembers())
            m_sequenceNumbers.push_back(GetSequenceNumber(*member));
    }
    Dissolve(controller);
}

// Members take the article's number and those behind it; entries that stood there move back. One member needs no more
// room than the article had.
void DeleteExportArticleCommand::Dissolve(Kernel::Counted<DocumentController> const& controller) {
    if (IsEmpty()) {
        Helpers::RenumberArticles(controller, m_articleIndex, -1);
        return End(controller);
    }
    auto unpacked = m_collectors.front()->Unpack();
    std::size_t const members = unpacked.size();
    if (members >= 2) {
        for (auto const& entry : controller->GetExportArticles()) {
            if (entry->GetArticleIndex(controller, false) > m_articleIndex)
                unpacked.push_back(entry);
        }
    }
    auto const numbers = CountNumbers(m_articleIndex, unpacked.size());
    Helpers::SetArticlesAndSequenceNumbers(controller, unpacked, numbers, {});
    End(controller);
}

void DeleteExportArticleCommand::Undo() {
    auto const controller = Begin(Direction::Undo);
    if (IsEmpty())
        Helpers::RenumberArticles(controller, m_articleIndex, 1);
    controller->GetDocument()->SetArticle(m_articleIndex, m_article);
    if (!IsEmpty()) {
        std::vector<int> const numbers(m_sequenceNumbers.size(), m_articleIndex);
        auto unpacked = m_collectors.front()->Unpack();
        Helpers::SetArticlesAndSequenceNumbers(controller, unpacked, numbers, m_sequenceNumbers);
        if (unpacked.size() > 1)
            Helpers::RenumberArticles(controller, m_articleIndex + 1, 1 - static_cast<int>(unpacked.size()));
    }
    End(controller);
}

void DeleteExportArticleCommand::Redo() {
    auto const controller = Begin(Direction::Redo);
    controller->GetDocument()->SetArticle(m_articleIndex, {});
    Dissolve(controller);
}

// Required: the sequence numbers are written and not read, so that a loaded command's Undo leaves the members at -1.
bool DeleteExportArticleCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files,
                                      unsigned short version) {
    bool const loaded = ArticleCommand::Load(in, files, version);
    m_sequenceNumbers.clear();
    std::erase(m_collectors, nullptr);
    return loaded;
}

} // namespace Commands
