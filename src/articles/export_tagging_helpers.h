// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/document/export_article.h"

#include <map>
#include <vector>

namespace Commands {

// How commands number the reading order. Numbers live in two places, which these keep in step: the document's map of
// articles, and the tags of objects and texts. Entries are those of DocumentController::GetExportArticles, which stay
// the same while numbers change, until UpdateExportArticles. Nothing happens without a controller. Throws
// Kernel::Exception where a number would be beyond what an int holds.
class REDRAFT_API ExportTaggingHelpers {
public:
    using Controller = Kernel::Counted<DocumentController>;
    using Collectors = std::vector<Kernel::Counted<ExportArticleCollector>>;
    using NumberMap = std::map<int, int>;

    // All entries, in place of what the list has.
    static void CollectArticles(Controller controller, Collectors& collectors);
    // Adds the entries of one number to the list.
    static void CollectArticles(Controller controller, Collectors& collectors, int article);
    // Of entries, so that an article without one does not count; -1 for none.
    static int GetHighestArticleNumber(Controller controller);
    // Of the members of the entries of one number; -1 for none.
    static int GetMaximumSequenceNumber(Controller controller, int article);
    // Whether an article has the number.
    static bool IsArticleGroup(Controller controller, int article);
    // Adds `delta` to all numbers from `first` on.
    static void RenumberArticles(Controller controller, int first, int delta);
    // Gives entries and articles the numbers that theirs are mapped to; the others keep theirs. Of two articles that
    // come to one number the one whose old number is higher has it.
    static void RemapArticleNumbers(Controller controller, NumberMap map);
    // The same for the sequence numbers of the members of one number's entries.
    static void RemapSequenceNumbers(Controller controller, int article, NumberMap const& map);
    // Gives each entry's members the number at the same place of the other list.
    static void ReparentArticles(Controller controller, Collectors const& collectors, std::vector<int> const& numbers);
    // Takes articles out of the numbered range, to the numbers -1, -2 and so on in the order of the list. Their members
    // keep theirs.
    static void DesequenceArticles(Controller controller, Collectors& collectors);
    // Gives each entry the numbers at its place of the lists; an empty list stands for -1. A list that is too short
    // does too, from its end on. Members of an article keep their sequence numbers. Where an article of the list comes
    // to the number of one that is not in it, the latter has it.
    static void SetArticlesAndSequenceNumbers(Controller controller, Collectors& collectors,
                                              std::vector<int> const& articleNumbers,
                                              std::vector<int> const& sequenceNumbers);
};

// Of an object within its article; -1 for none.
REDRAFT_API int GetSequenceNumber(Node const& member);
// So many numbers from the first one on. Throws Kernel::Exception beyond what an int holds.
REDRAFT_API std::vector<int> CountNumbers(int first, std::size_t count);
// Each new number with its old one; of several old ones the highest.
REDRAFT_API ExportTaggingHelpers::NumberMap Invert(ExportTaggingHelpers::NumberMap const& map);

} // namespace Commands
