// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "articles/article_command.h"
#include "articles/sequence_maps.h"

#include <set>

namespace Commands {

// Puts entries of the reading order into an article.
class REDRAFT_API ReparentExportArticlesCommand final : public ArticleCommand<ReparentExportArticlesCommand> {
public:
    // `targetSequence` is the place inside the article; -1: behind its last member. Do throws Kernel::Exception where
    // the numbers of the order go beyond c_highestNumber, which only a forged document has.
    ReparentExportArticlesCommand(std::vector<Kernel::Counted<ExportArticleCollector>> const& collectors,
                                  int targetArticle, int targetSequence)
        : m_collectors(collectors), m_targetArticle(targetArticle), m_targetSequence(targetSequence) {}

    static constexpr int c_highestNumber = 4'000'000;
    static constexpr std::string_view c_keptByUndo =
        "Where a single entry went into an article behind it, the members that made room stay in order and keep their "
        "new places.";

    static constexpr auto c_description = Kernel::Localisable("Modify Reading Order", "Command Description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    friend struct Kernel::FieldAccess;
    ReparentExportArticlesCommand() = default;
    static constexpr auto Fields() {
        using This = ReparentExportArticlesCommand;
        return Kernel::FieldList{Kernel::Field{"mmap", &This::m_articleMap},
                                 Kernel::Field{"artc", &This::m_collectors}.As<ArticleEntries>(
                                     "entries", "the entries: article:NUMBER or #ID, with commas between"),
                                 Kernel::Field{"oldp", &This::m_oldParents},
                                 Kernel::Field{"olds", &This::m_oldSequences},
                                 Kernel::Field{"seqm", &This::m_sequenceMaps},
                                 Kernel::Unstored{&This::m_targetArticle}.As<ArticleNumber>(
                                     "article", "the article that gets them, as article:NUMBER"),
                                 Kernel::Unstored{&This::m_targetSequence}
                                     .As("place", "their place among its members, from 0; -1: behind the last one", -1)
                                     .AtLeast(-1)};
    }
    using Gaps = std::map<int, std::set<int>>;
    void CloseGaps(Kernel::Counted<DocumentController> const& controller, Gaps const& gaps);
    void MakeRoom(Kernel::Counted<DocumentController> const& controller, int oldTarget);
    // Counts the sequence numbers up to `maximum` without the gaps, and leaves room for the entries at the target.
    void MakeRoomAmong(int maximum, std::set<int> const& gaps);
    void Apply(Kernel::Counted<DocumentController> const& controller);

    std::vector<Kernel::Counted<ExportArticleCollector>> m_collectors;
    // Of each entry before the move. Required: each Redo adds to them; Undo reads the first ones.
    std::vector<int> m_oldParents, m_oldSequences;
    std::map<int, int> m_articleMap;
    SequenceMaps m_sequenceMaps;
    // Do makes them the number after the gaps were closed, and the first number that the entries get.
    int m_targetArticle = -1, m_targetSequence = -1;
};

} // namespace Commands
