// SPDX-License-Identifier: Apache-2.0
#include "merge/class_list.h"

#include "merge/add_data_merge_filter_command.h"
#include "merge/add_data_merge_filter_part_commands.h"
#include "merge/delete_data_merge_filter_clause_command.h"
#include "merge/delete_data_merge_filter_command.h"
#include "merge/delete_data_merge_source_command.h"
#include "merge/set_data_merge_enabled_command.h"
#include "merge/set_data_merge_filter_property_commands.h"
#include "merge/set_data_merge_java_script_filter_script_command.h"
#include "merge/set_data_merge_output_pages_command.h"
#include "merge/set_data_merge_source_options_commands.h"
#include "merge/set_data_merge_value_filter_match_values_commands.h"

namespace Commands {

// clang-format off
std::vector<ListedClass> GetMergeClasses() {
    return {
        Listed<AddDataMergeFilterClauseCommand, DocumentCommand>("Adfc", 1, Coverage::Yes),
        Listed<AddDataMergeFilterCommand, DocumentCommand>("AdDF", 1, Coverage::Yes),
        Listed<AddDataMergeFilterRuleCommand, DocumentCommand>("Adfr", 1, Coverage::Yes),
        Listed<DeleteDataMergeFilterClauseCommand, DocumentCommand>("DlDc", 1, Coverage::Yes),
        Listed<DeleteDataMergeFilterCommand, DocumentCommand>("DlDF", 1, Coverage::Yes),
        Listed<DeleteDataMergeSourceCommand, DocumentCommand>("DlMs", 1, Coverage::Yes),
        Listed<SetDataMergeEnabledCommand, DocumentCommand>("SDME", 1, Coverage::Yes),
        Listed<SetDataMergeFetcherOptionsCommand, DocumentCommand>("SDMF", 1, Coverage::Yes),
        Listed<SetDataMergeFilterAllowedRecords, DocumentCommand>("dmfr", 1, Coverage::Yes),
        Listed<SetDataMergeValueFilterClauseCombineCommand, DocumentCommand>("Dfrc", 1, Coverage::Yes),
        Listed<SetDataMergeValueFilterFieldIdCommand, DocumentCommand>("DVff", 1, Coverage::Yes),
        Listed<SetDataMergeValueFilterOperatorCommand, DocumentCommand>("DVfo", 1, Coverage::Yes),
        Listed<SetDataMergeValueFilterMatchValueCommand, DocumentCommand>("DVfm", 1, Coverage::Yes),
        Listed<SetDataMergeValueFilterMatchValuesCommand, DocumentCommand>("DVfM", 1, Coverage::Yes),
        Listed<SetDataMergeValueFilterMatchValuesIncludeAllCommand, DocumentCommand>("DVfi", 1, Coverage::Yes),
        Listed<SetDataMergeFilterEnabledCommand, DocumentCommand>("dmfe", 1, Coverage::Yes),
        Listed<SetDataMergeJavaScriptFilterNameCommand, DocumentCommand>("DjsN", 1, Coverage::Yes),
        Listed<SetDataMergeJavaScriptFilterScriptCommand, DocumentCommand>("DjsS", 1, Coverage::Yes),
        Listed<SetDataMergeOutputPagesCommand, DocumentCommand>("SDoP", 1, Coverage::Yes),
        Listed<SetDataMergeParserOptionsCommand, DocumentCommand>("SDMP", 1, Coverage::Yes),
        Listed<SetDataMergeProcessFilterActionCommand, DocumentCommand>("DVfa", 1, Coverage::Yes),
        Listed<SetDataMergeProcessFilterWarningMessageCommand, DocumentCommand>("DPwm", 1, Coverage::Yes),
        Listed<SetDataMergeProcessFilterReplacementFieldCommand, DocumentCommand>("DPrf", 1, Coverage::Yes),
        Listed<SetDataMergeProcessFilterReplacementValueCommand, DocumentCommand>("DVfr", 1, Coverage::Yes),
        Listed<SetDataMergeSortFilterFieldIdCommand, DocumentCommand>("Dsff", 1, Coverage::Yes),
        Listed<SetDataMergeSortFilterAscendingCommand, DocumentCommand>("Dsfa", 1, Coverage::Yes),
        Listed<SetDataMergeValueFilterRuleCombineCommand, DocumentCommand>("DVfc", 1, Coverage::Yes),
    };
}
// clang-format on

} // namespace Commands
