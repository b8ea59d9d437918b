// SPDX-License-Identifier: Apache-2.0
#include "articles/move_export_articles_command.h"

#include <algorithm>
#include <set>
#include <unordered_map>

namespace Commands {

// The numbers that the moved entries leave: those of entries of the order, and those of members within articles.
struct MoveExportArticlesCommand::Moved {
    std::set<int> articles;
    std::map<int, std::set<int>> sequences;
};

void MoveExportArticlesCommand::Do() {
    auto const controller = Begin(Direction::Do);
    auto const all = controller->GetExportArticles();
    std::erase(m_collectors, nullptr);
    NumberAll(controller, all);
    auto const moved = KeepOldNumbers(controller);
    CleanCollectors(controller, all);
    MapNumbers(controller, all, moved);
    Apply(controller);
}

// Entries without a number come last, and get the numbers behind the others.
void MoveExportArticlesCommand::NumberAll(Kernel::Counted<DocumentController> const& controller,
                                          Collectors const& all) {
    int running = -1;
    for (auto const& entry : all) {
        int const number = entry->GetArticleIndex(controller, true);
        if (number != -1) {
            running = std::max(running, number);
            continue;
        }
        running = CountNumbers(running, 2).back();
        m_unsequenced.push_back(entry);
        m_unsequencedNumbers.push_back(running);
    }
    Helpers::SetArticlesAndSequenceNumbers(controller, m_unsequenced, m_unsequencedNumbers, {});
}

MoveExportArticlesCommand::Moved
MoveExportArticlesCommand::KeepOldNumbers(Kernel::Counted<DocumentController> const& controller) {
    Moved moved;
    for (auto const& entry : m_collectors) {
        int const article = entry->GetArticleIndex(controller, true), sequence = entry->GetSequenceIndex();
        m_oldParents.push_back(article);
        if (!entry->GetArticle())
            m_oldSequences.push_back(sequence);
        if (article == -1)
            continue;
        if (sequence == -1)
            moved.articles.insert(article);
        else
            moved.sequences[article].insert(sequence);
    }
    return moved;
}

// A member goes along with an article that is listed before it. What was kept of the old numbers is not shortened.
void MoveExportArticlesCommand::CleanCollectors(Kernel::Counted<DocumentController> const& controller,
                                                Collectors const& all) {
    std::unordered_map<ExportArticle const*, Kernel::Counted<ExportArticleCollector>> current;
    for (auto const& entry : m_collectors) {
        if (entry->GetArticle())
            current.emplace(entry->GetArticle().get(), nullptr);
    }
    for (auto const& entry : all) {
        if (auto const found = current.find(entry->GetArticle().get()); found != current.end() && !found->second)
            found->second = entry;
    }
    std::set<int> seen;
    Collectors cleaned;
    for (auto const& entry : m_collectors) {
        int const article = entry->GetArticleIndex(controller, true);
        if (!entry->GetArticle()) {
            if (!seen.contains(article))
                cleaned.push_back(entry);
            continue;
        }
        if (auto const found = current.find(entry->GetArticle().get()); found->second)
            cleaned.push_back(found->second);
        seen.insert(article);
    }
    m_collectors = std::move(cleaned);
}

// Entries up to the target close the gaps that the moved ones leave; behind it they make room for them too.
void MoveExportArticlesCommand::MapNumbers(Kernel::Counted<DocumentController> const& controller, Collectors const& all,
                                           Moved const& moved) {
    int next = 0;
    std::map<int, int> sequenceCounts;
    auto entry = all.begin();
    for (; entry != all.end(); ++entry) {
        int const article = (*entry)->GetArticleIndex(controller, true), sequence = (*entry)->GetSequenceIndex();
        if (article == -1 || article - 1 == m_target)
            break;
        if (!moved.articles.contains(article))
            m_articleMap.insert_or_assign(m_articleMap.end(), article, next++);
        if (sequence == -1) {
            sequenceCounts[article] = 0;
            continue;
        }
        auto const taken = moved.sequences.find(article);
        if (taken == moved.sequences.end() || !taken->second.contains(sequence))
            m_sequenceMaps.maps[article][sequence] = sequenceCounts[article]++;
    }
    m_newBase = next;
    next += static_cast<int>(m_collectors.size());
    for (; entry != all.end(); ++entry) {
        int const article = (*entry)->GetArticleIndex(controller, true);
        if (article == -1)
            break;
        if (!moved.articles.contains(article))
            m_articleMap.insert_or_assign(m_articleMap.end(), article, next++);
    }
}

void MoveExportArticlesCommand::Apply(Kernel::Counted<DocumentController> const& controller) {
    Helpers::DesequenceArticles(controller, m_collectors);
    Helpers::RemapArticleNumbers(controller, m_articleMap);
    // Required: by the articles' old numbers, although they have their new ones by now.
    for (auto const& [article, map] : m_sequenceMaps.maps)
        Helpers::RemapSequenceNumbers(controller, article, map);
    Helpers::SetArticlesAndSequenceNumbers(controller, m_collectors, CountNumbers(m_newBase, m_collectors.size()), {});
    End(controller);
}

// Required: the sequence numbers are counted without the articles among the entries, so that they are out of step
// where both were moved together, and end before the entries do.
void MoveExportArticlesCommand::Undo() {
    auto const controller = Begin(Direction::Undo);
    Helpers::DesequenceArticles(controller, m_collectors);
    Helpers::RemapArticleNumbers(controller, Invert(m_articleMap));
    for (auto const& [article, map] : m_sequenceMaps.maps)
        Helpers::RemapSequenceNumbers(controller, article, Invert(map));
    Helpers::SetArticlesAndSequenceNumbers(controller, m_collectors, m_oldParents, m_oldSequences);
    Helpers::SetArticlesAndSequenceNumbers(controller, m_unsequenced, {}, {});
    End(controller);
}

// Required: the numbers that Do found are not stored, so that a loaded command puts its entries first.
void MoveExportArticlesCommand::Redo() {
    auto const controller = Begin(Direction::Redo);
    Helpers::SetArticlesAndSequenceNumbers(controller, m_unsequenced, m_unsequencedNumbers, {});
    Apply(controller);
}

bool MoveExportArticlesCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    bool const loaded = ArticleCommand::Load(in, files, version);
    std::erase(m_collectors, nullptr);
    std::erase(m_unsequenced, nullptr);
    return loaded;
}

} // namespace Commands
