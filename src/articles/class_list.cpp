// SPDX-License-Identifier: Apache-2.0
#include "articles/class_list.h"

#include "articles/add_export_article_command.h"
#include "articles/delete_export_article_command.h"
#include "articles/move_export_articles_command.h"
#include "articles/rename_export_article_command.h"
#include "articles/reparent_export_articles_command.h"
#include "articles/set_export_article_include_untagged_command.h"
#include "articles/set_hide_export_article_from_reader_command.h"
#include "articles/set_mark_as_decoration_command.h"
#include "articles/set_metadata_tag_command.h"

namespace Commands {

// clang-format off
std::vector<ListedClass> GetArticlesClasses() {
    return {
        Listed<AddExportArticleCommand, DocumentCommand>("aeac", 1, Coverage::No),
        Listed<DeleteExportArticleCommand, DocumentCommand>("deac", 1, Coverage::No),
        Listed<MoveExportArticlesCommand, DocumentCommand>("meac", 1, Coverage::No),
        Listed<RenameExportArticleCommand, DocumentCommand>("rnac", 1, Coverage::No),
        Listed<ReparentExportArticlesCommand, DocumentCommand>("reac", 1, Coverage::No),
        Listed<SetExportArticleIncludeUntaggedCommand, DocumentCommand>("eaiu", 1, Coverage::No),
        Listed<SetHideExportArticleFromReaderCommand, DocumentCommand>("hdac", 1, Coverage::No),
        Listed<SetMarkAsDecorationCommand, SelectionCommandBase>("SMaD", 1, Coverage::Yes),
        Listed<SetMetadataTagCommand, SelectionCommandBase>("SMtC", 1, Coverage::Yes),
    };
}
// clang-format on

} // namespace Commands
