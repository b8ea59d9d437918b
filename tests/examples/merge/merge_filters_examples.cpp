// SPDX-License-Identifier: Apache-2.0
#include "merge/add_data_merge_filter_command.h"
#include "merge/add_data_merge_filter_part_commands.h"
#include "merge/delete_data_merge_filter_clause_command.h"
#include "merge/delete_data_merge_filter_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/merge_documents.h"

namespace Commands {

using namespace ExampleDocuments;

// In front of the one that sorts.
static ExampleRegistration const s_addDataMergeFilterExample({
    .className = "AddDataMergeFilterCommand",
    .prepare = DataMerge,
    .make =
        [](auto& document) {
            auto const filter = Kernel::MakeCounted<DataMergeRecordValueFilter>();
            auto const rule = Kernel::MakeCounted<DataMergeRule>();
            rule->GetClauses().push_back(MakeMergeClause("city", DataMergeRuleOperator::Equal, "Pune"));
            filter->GetRules().push_back(rule);
            return Kernel::MakeCounted<AddDataMergeFilterCommand>(NewestMergeSourceAt(document, 0), filter, nullptr);
        },
});

// In front of all others.
static ExampleRegistration const s_addDataMergeSelectedRecordsFilterExample({
    .className = "AddDataMergeFilterCommand",
    .prepare = DataMergeWithoutPreview,
    .make =
        [](auto& document) {
            auto const filter = Kernel::MakeCounted<DataMergeSelectedRecordsFilter>();
            Kernel::IndexRangeList rows;
            rows.Add(2, 4);
            filter->SetAllowedIndexes(rows);
            return Kernel::MakeCounted<AddDataMergeFilterCommand>(NewestMergeSourceAt(document, 0), filter, nullptr);
        },
});

static ExampleRegistration const s_addDataMergeSortFilterExample({
    .className = "AddDataMergeFilterCommand",
    .prepare = DataMerge,
    .make =
        [](auto& document) {
            return Kernel::MakeCounted<AddDataMergeFilterCommand>(
                NewestMergeSourceAt(document, 0), Kernel::MakeCounted<DataMergeSortFilter>("age", false),
                MergeFilterAt(document, c_processFilter));
        },
});

// The only one.
static ExampleRegistration const s_addFirstDataMergeFilterExample({
    .className = "AddDataMergeFilterCommand",
    .prepare = DataMergeWithoutPreview,
    .make =
        [](auto& document) {
            return Kernel::MakeCounted<AddDataMergeFilterCommand>(
                NewestMergeSourceAt(document, 1), Kernel::MakeCounted<DataMergeProcessFilter>(), nullptr);
        },
});

static ExampleRegistration const s_addDataMergeFilterRuleExample({
    .className = "AddDataMergeFilterRuleCommand",
    .prepare = DataMerge,
    .make =
        [](auto& document) {
            auto const rule = Kernel::MakeCounted<DataMergeRule>();
            rule->GetClauses().push_back(MakeMergeClause("age", DataMergeRuleOperator::Less, "50"));
            return Kernel::MakeCounted<AddDataMergeFilterRuleCommand>(
                NewestMergeSourceAt(document, 0), MergeFilterAt<DataMergeRecordValueFilter>(document, c_valueFilter),
                rule, MergeRuleAt(document, 1));
        },
});

static ExampleRegistration const s_addDataMergeFilterClauseExample({
    .className = "AddDataMergeFilterClauseCommand",
    .prepare = DataMerge,
    .make =
        [](auto& document) {
            return Kernel::MakeCounted<AddDataMergeFilterClauseCommand>(
                NewestMergeSourceAt(document, 0), MergeRuleAt(document, 0),
                MakeMergeClause("name", DataMergeRuleOperator::BeginsWith, "C"), nullptr);
        },
});

// To the rule of a process filter.
static ExampleRegistration const s_addDataMergeProcessFilterClauseExample({
    .className = "AddDataMergeFilterClauseCommand",
    .prepare = DataMerge,
    .make =
        [](auto& document) {
            auto const rule = MergeFilterAt<DataMergeProcessFilter>(document, c_processFilter)->GetRule();
            return Kernel::MakeCounted<AddDataMergeFilterClauseCommand>(
                NewestMergeSourceAt(document, 0), rule, MakeMergeClause("age", DataMergeRuleOperator::Greater, "42"),
                std::as_const(*rule).GetClauses().front());
        },
});

static ExampleRegistration const s_deleteDataMergeFilterExample({
    .className = "DeleteDataMergeFilterCommand",
    .prepare = DataMerge,
    .make =
        [](auto& document) {
            return Kernel::MakeCounted<DeleteDataMergeFilterCommand>(NewestMergeSourceAt(document, 0),
                                                                     MergeFilterAt(document, c_selectedFilter));
        },
});

static ExampleRegistration const s_deleteLastDataMergeFilterExample({
    .className = "DeleteDataMergeFilterCommand",
    .prepare = DataMergeWithoutPreview,
    .make =
        [](auto& document) {
            return Kernel::MakeCounted<DeleteDataMergeFilterCommand>(NewestMergeSourceAt(document, 0),
                                                                     MergeFilterAt(document, c_sortFilter));
        },
});

namespace {

Kernel::Counted<DocumentCommand> DeleteClause(DocumentController& document, std::size_t filter,
                                              Kernel::Counted<DataMergeRule> const& rule) {
    return Kernel::MakeCounted<DeleteDataMergeFilterClauseCommand>(NewestMergeSourceAt(document, 0),
                                                                   MergeFilterAt(document, filter), rule,
                                                                   std::as_const(*rule).GetClauses().front());
}

} // namespace

static ExampleRegistration const s_deleteDataMergeFilterClauseExample({
    .className = "DeleteDataMergeFilterClauseCommand",
    .prepare = DataMerge,
    .make = [](auto& document) { return DeleteClause(document, c_valueFilter, MergeRuleAt(document, 0)); },
});

// The only one of its rule.
static ExampleRegistration const s_deleteLastDataMergeFilterClauseExample({
    .className = "DeleteDataMergeFilterClauseCommand",
    .prepare = DataMerge,
    .make = [](auto& document) { return DeleteClause(document, c_valueFilter, MergeRuleAt(document, 1)); },
});

// The only one of a filter that has one rule.
static ExampleRegistration const s_deleteLastDataMergeProcessClauseExample({
    .className = "DeleteDataMergeFilterClauseCommand",
    .prepare = DataMerge,
    .make =
        [](auto& document) {
            return DeleteClause(document, c_processFilter,
                                MergeFilterAt<DataMergeProcessFilter>(document, c_processFilter)->GetRule());
        },
    .keptAfterReload = "The filter that went with its last clause does not come back.",
});

} // namespace Commands
