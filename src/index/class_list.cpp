// SPDX-License-Identifier: Apache-2.0
#include "index/class_list.h"

#include "index/add_index_cross_reference_command.h"
#include "index/delete_index_cross_reference_command.h"
#include "index/delete_index_topic_command.h"
#include "index/insert_index_mark_with_new_topic_command.h"
#include "index/rename_index_topic_command.h"
#include "index/reparent_index_cross_reference_command.h"
#include "index/reparent_index_topic_command.h"
#include "index/set_index_fragment_command.h"
#include "index/set_index_language_command.h"
#include "index/set_index_option_command.h"
#include "index/set_index_topic_guid_command.h"
#include "index/set_index_topic_sort_command.h"

namespace Commands {

// clang-format off
std::vector<ListedClass> GetIndexClasses() {
    return {
        Listed<AddIndexCrossReferenceCommand, DocumentCommand>("SxIT", 1, Coverage::Yes),
        Listed<DeleteIndexCrossReferenceCommand, DocumentCommand>("DxIT", 1, Coverage::Yes),
        Listed<DeleteIndexTopicCommand, DocumentCommand>("DlIT", 1, Coverage::Yes),
        Listed<InsertIndexMarkWithNewTopicCommand, DocumentCommand>("InIm", 1, Coverage::Yes),
        Listed<RenameIndexTopicCommand, DocumentCommand>("RnIT", 1, Coverage::Yes),
        Listed<ReparentIndexCrossReferenceCommand, DocumentCommand>("RpIC", 1, Coverage::Yes),
        Listed<ReparentIndexTopicCommand, DocumentCommand>("RpIT", 1, Coverage::Yes),
        Listed<SetIndexFragmentCommand, DocumentCommand>("SIFC", 1, Coverage::Yes),
        Listed<SetIndexLanguageCommand, DocumentCommand>("SILg", 1, Coverage::Yes),
        Listed<SetIndexOptionCommand, DocumentCommand>("SIOC", 1, Coverage::Yes),
        Listed<SetIndexTopicGUIDCommand, DocumentCommand>("SITU", 1, Coverage::Yes),
        Listed<SetIndexTopicSortCommand, DocumentCommand>("SSIT", 1, Coverage::Yes),
    };
}
// clang-format on

} // namespace Commands
