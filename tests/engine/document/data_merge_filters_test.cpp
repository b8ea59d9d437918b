// SPDX-License-Identifier: Apache-2.0
#include "platform/document/data_merge_filters.h"

#include "platform/document/edit_journal.h"
#include "tests/support/records.h"

#include <gtest/gtest.h>

namespace {

Kernel::Counted<DataMergeRuleClause> MakeClause(char const* field) {
    return Kernel::MakeCounted<DataMergeRuleClause>(Kernel::String(field), DataMergeRuleOperator::Greater,
                                                    Kernel::String("5"));
}

Kernel::Counted<DataMergeRecordValueFilter> MakeValueFilter() {
    auto filter = Kernel::MakeCounted<DataMergeRecordValueFilter>();
    auto rule = Kernel::MakeCounted<DataMergeRule>();
    rule->GetClauses().push_back(MakeClause("a"));
    rule->GetClauses().push_back(MakeClause("b"));
    rule->SetAggregateFunction(DataMergeRuleAggregateFunction::Any);
    filter->GetRules().push_back(rule);
    filter->SetAggregateFunction(DataMergeRuleAggregateFunction::None);
    return filter;
}

std::vector<Records::Step> StepsOf(DataMergeFilter const& filter) {
    std::vector<Records::Step> steps;
    filter.AppendSteps(steps);
    return steps;
}

TEST(DataMergeFilters, ASetDropsValuesThatAreAsItsDefault) {
    DataMergeValueSet set(true);
    set.SetValueIncluded("Oslo", false);
    set.SetValueIncluded("Rome", true);
    EXPECT_FALSE(set.Contains("Oslo"));
    EXPECT_TRUE(set.Contains("Rome"));
    EXPECT_EQ(1u, set.GetExceptions().size());
    set.SetValueIncluded("Oslo", true);
    EXPECT_EQ(DataMergeValueSet(true), set);
    EXPECT_NE(DataMergeValueSet(false), set);
}

TEST(DataMergeFilters, AFilterThatIsNotEnabledIsNoStep) {
    auto const filter = MakeValueFilter();
    EXPECT_EQ(1u, StepsOf(*filter).size());
    filter->SetIsEnabled(false);
    EXPECT_TRUE(StepsOf(*filter).empty());
}

TEST(DataMergeFilters, AStepHasAllThatTheFilterHas) {
    auto const filter = MakeValueFilter();
    DataMergeValueSet values(false);
    values.SetValueIncluded("x", true);
    std::as_const(*filter).GetRules().front()->GetClauses().front()->SetMatchValues(values);
    auto const match = std::get<Records::MatchRecords>(StepsOf(*filter).front());
    EXPECT_EQ(DataMergeRuleAggregateFunction::None, match.combine);
    ASSERT_EQ(1u, match.rules.size());
    EXPECT_EQ(DataMergeRuleAggregateFunction::Any, match.rules.front().combine);
    ASSERT_EQ(2u, match.rules.front().clauses.size());
    auto const& clause = match.rules.front().clauses.front();
    EXPECT_EQ("a", clause.field);
    EXPECT_EQ(DataMergeRuleOperator::Greater, clause.comparison);
    EXPECT_EQ("5", clause.value);
    EXPECT_FALSE(clause.defaultInclude);
    EXPECT_EQ(std::set<Kernel::String>{"x"}, clause.exceptions);
}

TEST(DataMergeFilters, ACopySharesNothing) {
    auto const filter = MakeValueFilter();
    auto const copy = Kernel::Cast<DataMergeRecordValueFilter>(filter->Copy());
    ASSERT_TRUE(copy);
    auto const& rules = std::as_const(*copy).GetRules();
    ASSERT_EQ(1u, rules.size());
    EXPECT_NE(std::as_const(*filter).GetRules().front(), rules.front());
    auto const& clauses = std::as_const(*rules.front()).GetClauses();
    ASSERT_EQ(2u, clauses.size());
    clauses.front()->SetFieldId("other");
    auto const match = std::get<Records::MatchRecords>(StepsOf(*filter).front());
    EXPECT_EQ("a", match.rules.front().clauses.front().field);
    auto const process = Kernel::MakeCounted<DataMergeProcessFilter>();
    EXPECT_NE(process->GetRule(), Kernel::Cast<DataMergeProcessFilter>(process->Copy())->GetRule());
}

TEST(DataMergeFilters, AJournalTakesListsAndValuesBack) {
    auto const filter = MakeValueFilter();
    auto const rule = std::as_const(*filter).GetRules().front();
    auto const clause = std::as_const(*rule).GetClauses().front();
    EditJournal journal;
    clause->SetFieldId("other");
    clause->SetOperator(DataMergeRuleOperator::IsEmpty);
    rule->GetClauses().clear();
    filter->GetRules().push_back(Kernel::MakeCounted<DataMergeRule>());
    filter->SetIsEnabled(false);
    journal.RollBack();
    EXPECT_EQ("a", clause->GetFieldId());
    EXPECT_EQ(DataMergeRuleOperator::Greater, clause->GetOperator());
    EXPECT_EQ(1u, std::as_const(*filter).GetRules().size());
    EXPECT_EQ(2u, std::as_const(*rule).GetClauses().size());
    EXPECT_TRUE(filter->IsEnabled());
}

TEST(DataMergeFilters, AreReadAsTheyWereSaved) {
    auto const filter = MakeValueFilter();
    DataMergeValueSet values(false);
    values.SetValueIncluded("x", true);
    std::as_const(*filter).GetRules().front()->GetClauses().back()->SetMatchValues(values);
    auto const selected = Kernel::MakeCounted<DataMergeSelectedRecordsFilter>();
    Kernel::IndexRangeList rows;
    rows.Add(2, 5);
    selected->SetAllowedIndexes(rows);
    selected->SetIsEnabled(false);
    auto const storage = Support::SaveToMemory(
        {Kernel::Counted<Kernel::Serialisable const>(filter), Kernel::Counted<Kernel::Serialisable const>(selected)});
    auto const loaded = Support::LoadFromMemory(storage);
    auto const match =
        std::get<Records::MatchRecords>(StepsOf(*Kernel::Cast<DataMergeRecordValueFilter>(loaded.at(0))).front());
    EXPECT_EQ(DataMergeRuleAggregateFunction::None, match.combine);
    EXPECT_EQ(DataMergeRuleAggregateFunction::Any, match.rules.at(0).combine);
    EXPECT_EQ(DataMergeRuleOperator::Greater, match.rules.at(0).clauses.at(1).comparison);
    EXPECT_EQ(std::set<Kernel::String>{"x"}, match.rules.at(0).clauses.at(1).exceptions);
    auto const rowsFilter = Kernel::Cast<DataMergeSelectedRecordsFilter>(loaded.at(1));
    EXPECT_FALSE(rowsFilter->IsEnabled());
    EXPECT_EQ(rows, rowsFilter->GetAllowedIndexes());
    EXPECT_TRUE(storage == Support::SaveToMemory({Kernel::Counted<Kernel::Serialisable const>(loaded.at(0)),
                                                  Kernel::Counted<Kernel::Serialisable const>(loaded.at(1))}));
}

} // namespace
