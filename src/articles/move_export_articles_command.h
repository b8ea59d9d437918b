// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "articles/article_command.h"
#include "articles/sequence_maps.h"

namespace Commands {

// Moves entries of the reading order behind another one. Entries without a number get one; members of articles become
// entries of their own.
class REDRAFT_API MoveExportArticlesCommand final : public ArticleCommand<MoveExportArticlesCommand> {
public:
    // `target` is the number of the entry that they go behind; -1: they come first. Do reads a moved article anew, and
    // leaves out its members that are listed behind it.
    MoveExportArticlesCommand(std::vector<Kernel::Counted<ExportArticleCollector>> collectors, int target)
        : m_collectors(std::move(collectors)), m_target(target) {}

    static constexpr auto c_description = Kernel::Localisable("Modify Reading Order", "Command Description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    friend struct Kernel::FieldAccess;
    using Collectors = std::vector<Kernel::Counted<ExportArticleCollector>>;
    struct Moved;
    MoveExportArticlesCommand() = default;
    static constexpr auto Fields() {
        using This = MoveExportArticlesCommand;
        return Kernel::FieldList{Kernel::Field{"mmap", &This::m_articleMap},
                                 Kernel::Field{"artc", &This::m_collectors}.As<ArticleEntries>(
                                     "entries", "the entries: article:NUMBER or #ID, with commas between"),
                                 Kernel::Field{"unsq", &This::m_unsequenced},
                                 Kernel::Field{"oldp", &This::m_oldParents},
                                 Kernel::Field{"olds", &This::m_oldSequences},
                                 Kernel::Field{"seqm", &This::m_sequenceMaps},
                                 Kernel::Unstored{&This::m_target}.As<ArticlePlace>(
                                     "behind", "the entry that they go behind, or start", ArticlePlace::Start())};
    }
    void NumberAll(Kernel::Counted<DocumentController> const& controller, Collectors const& all);
    Moved KeepOldNumbers(Kernel::Counted<DocumentController> const& controller);
    void CleanCollectors(Kernel::Counted<DocumentController> const& controller, Collectors const& all);
    void MapNumbers(Kernel::Counted<DocumentController> const& controller, Collectors const& all, Moved const& moved);
    void Apply(Kernel::Counted<DocumentController> const& controller);

    Collectors m_collectors;
    // The entries that had no number when Do ran, and those that it gave them.
    Collectors m_unsequenced;
    std::vector<int> m_unsequencedNumbers;
    int m_target = -1;
    // The first number of the moved entries.
    int m_newBase = 0;
    // Old numbers with new ones, of entries that do not move.
    std::map<int, int> m_articleMap;
    SequenceMaps m_sequenceMaps;
    // Of every entry that was given, and of every one without an article.
    std::vector<int> m_oldParents, m_oldSequences;
};

} // namespace Commands
