// SPDX-License-Identifier: Apache-2.0
#include "merge/set_data_merge_filter_property_commands.h"
#include "merge/set_data_merge_java_script_filter_script_command.h"
#include "merge/set_data_merge_value_filter_match_values_commands.h"
#include "platform/kernel/type_name.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/merge_documents.h"

namespace Commands {

using namespace ExampleDocuments;

namespace {

// C on the object that `find` gives, with the other arguments.
template <class C, class Find, class... Arguments>
CommandExample On(Find const& find, Arguments const&... arguments) {
    return {.className = std::string(Kernel::TypeName<C>()),
            .prepare = DataMerge,
            .make = [=](DocumentController& document) -> Kernel::Counted<DocumentCommand> {
                return Kernel::MakeCounted<C>(NewestMergeSourceAt(document, 0), find(document), arguments...);
            }};
}

template <class F, MergeFilterPlace place>
Kernel::Counted<F> FindFilter(DocumentController& document) {
    return MergeFilterAt<F>(document, place);
}
constexpr auto c_process = &FindFilter<DataMergeProcessFilter, c_processFilter>;
constexpr auto c_script = &FindFilter<DataMergeJavaScriptFilter, c_scriptFilter>;
constexpr auto c_sort = &FindFilter<DataMergeSortFilter, c_sortFilter>;
auto const c_clause = [](DocumentController& document) { return MergeClauseAt(document, 0); };
auto const c_clauseWithValues = [](DocumentController& document) { return MergeClauseAt(document, 1); };

Kernel::IndexRangeList MakeRows(std::int64_t first, std::int64_t last) {
    Kernel::IndexRangeList rows;
    rows.Add(first, last);
    return rows;
}

using Text = Kernel::String;

} // namespace

static ExampleRegistration const s_mergeProperties[] = {
    ExampleRegistration(On<SetDataMergeFilterEnabledCommand>(&FindFilter<DataMergeFilter, c_selectedFilter>, false)),
    ExampleRegistration(On<SetDataMergeFilterAllowedRecords>(
        &FindFilter<DataMergeSelectedRecordsFilter, c_selectedFilter>, MakeRows(1, 4))),
    ExampleRegistration(On<SetDataMergeFilterAllowedRecords>(
        &FindFilter<DataMergeSelectedRecordsFilter, c_selectedFilter>, MakeRows(5, 400))),
    ExampleRegistration(On<SetDataMergeValueFilterClauseCombineCommand>(
        [](DocumentController& document) { return MergeRuleAt(document, 0); }, DataMergeRuleAggregateFunction::None)),
    ExampleRegistration(On<SetDataMergeValueFilterRuleCombineCommand>(
        &FindFilter<DataMergeRecordValueFilter, c_valueFilter>, DataMergeRuleAggregateFunction::Any)),
    ExampleRegistration(On<SetDataMergeValueFilterFieldIdCommand>(c_clause, Text("joined"))),
    ExampleRegistration(On<SetDataMergeValueFilterFieldIdCommand>(c_clauseWithValues, Text("name"))),
    ExampleRegistration(On<SetDataMergeValueFilterOperatorCommand>(c_clause, DataMergeRuleOperator::LessOrEqual)),
    ExampleRegistration(On<SetDataMergeValueFilterMatchValueCommand>(c_clause, Text("50"))),
    ExampleRegistration(On<SetDataMergeValueFilterMatchValuesCommand>(c_clauseWithValues, Text("Ghent"), false)),
    ExampleRegistration(On<SetDataMergeValueFilterMatchValuesCommand>(c_clauseWithValues, Text("Oslo"), true)),
    ExampleRegistration(On<SetDataMergeValueFilterMatchValuesIncludeAllCommand>(c_clauseWithValues, false)),
    ExampleRegistration(On<SetDataMergeJavaScriptFilterNameCommand>(c_script, Text("Short names"))),
    ExampleRegistration(
        On<SetDataMergeJavaScriptFilterScriptCommand>(c_script, Text("return record.name.length < 4;"))),
    ExampleRegistration(On<SetDataMergeProcessFilterActionCommand>(c_process, DataMergeProcessFilter::Action::Skip)),
    ExampleRegistration(On<SetDataMergeProcessFilterActionCommand>(c_process, DataMergeProcessFilter::Action::Warn)),
    ExampleRegistration(On<SetDataMergeProcessFilterWarningMessageCommand>(c_process, Text("spell it anew"))),
    ExampleRegistration(On<SetDataMergeProcessFilterReplacementFieldCommand>(c_process, Text("name"))),
    ExampleRegistration(On<SetDataMergeProcessFilterReplacementValueCommand>(c_process, Text("Gand"))),
    ExampleRegistration(On<SetDataMergeSortFilterFieldIdCommand>(c_sort, Text("age"))),
    ExampleRegistration(On<SetDataMergeSortFilterAscendingCommand>(c_sort, false)),
};

} // namespace Commands
