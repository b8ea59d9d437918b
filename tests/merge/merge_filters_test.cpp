// SPDX-License-Identifier: Apache-2.0
#include "merge/add_data_merge_filter_command.h"
#include "merge/add_data_merge_filter_part_commands.h"
#include "merge/delete_data_merge_filter_clause_command.h"
#include "merge/delete_data_merge_filter_command.h"

#include "frame/contract/notifications.h"
#include "tests/examples/scenes/merge_documents.h"
#include "tests/support/documents.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using namespace ExampleDocuments;
using Support::As, Support::NewDocument, Support::NotificationsOf;
using Filter = Kernel::Counted<DataMergeFilter>;

class MergeFilters : public testing::Test {
protected:
    std::vector<Filter> Filters() const { return std::as_const(*source).GetFilters(); }
    void Add(Filter const& filter, Kernel::Counted<DataMergeFilter const> const& before = nullptr) {
        document->Run(Kernel::MakeCounted<AddDataMergeFilterCommand>(source, filter, before));
    }

    Kernel::Counted<DocumentController> const document = NewDocument();
    Kernel::Counted<DataMergeSource> const source = (DataMergeWithoutPreview(*document), MergeSourceAt(*document, 0));
};

// Three filters of other kinds are there already.
TEST_F(MergeFilters, OneOfSelectedRecordsGoesFirst) {
    source->GetFilters() = {Filters()[c_valueFilter], Filters()[c_processFilter], Filters()[c_sortFilter]};
    auto const before = Filters();
    Filter const added = Kernel::MakeCounted<DataMergeSelectedRecordsFilter>();
    Add(added);
    EXPECT_EQ((std::vector<Filter>{added, before[0], before[1], before[2]}), Filters());
    document->Undo();
    EXPECT_EQ(before, Filters());
    document->Redo();
    EXPECT_EQ(added, Filters().front());
}

TEST_F(MergeFilters, OneOfSelectedRecordsGoesWhereItIsTold) {
    auto const before = Filters();
    Filter const added = Kernel::MakeCounted<DataMergeSelectedRecordsFilter>();
    Add(added, before[2]);
    EXPECT_EQ(added, Filters()[2]);
}

TEST_F(MergeFilters, OneByValueGoesInFrontOfTheSort) {
    auto const before = Filters();
    ASSERT_TRUE(Kernel::Cast<DataMergeSortFilter>(before.back()));
    Filter const added = Kernel::MakeCounted<DataMergeRecordValueFilter>();
    Add(added);
    auto const after = Filters();
    ASSERT_EQ(before.size() + 1, after.size());
    EXPECT_EQ(added, after[before.size() - 1]);
    EXPECT_EQ(before.back(), after.back());
}

TEST_F(MergeFilters, WithoutASortOneGoesToTheEnd) {
    source->GetFilters().pop_back();
    Filter const added = Kernel::MakeCounted<DataMergeProcessFilter>();
    Add(added);
    EXPECT_EQ(added, Filters().back());
}

// The place that Do chose counts, though another filter is first by now.
TEST_F(MergeFilters, RedoKeepsThePlaceThatDoChose) {
    auto const first = Filters().front();
    Filter const added = Kernel::MakeCounted<DataMergeSelectedRecordsFilter>();
    Add(added);
    document->Undo();
    Filter const other = Kernel::MakeCounted<DataMergeSortFilter>();
    source->GetFilters().insert(source->GetFilters().begin(), other);
    document->Redo();
    EXPECT_EQ(other, Filters()[0]);
    EXPECT_EQ(added, Filters()[1]);
    EXPECT_EQ(first, Filters()[2]);
}

TEST_F(MergeFilters, RedoKeepsTheEndThatDoChose) {
    source->GetFilters().pop_back();
    Filter const added = Kernel::MakeCounted<DataMergeProcessFilter>();
    Add(added);
    document->Undo();
    source->GetFilters().push_back(Kernel::MakeCounted<DataMergeSortFilter>());
    document->Redo();
    EXPECT_EQ(added, Filters().back());
}

TEST_F(MergeFilters, OneThatIsThereAlreadyIsRefused) {
    auto const before = document->GetHash(true);
    EXPECT_THROW(Add(Filters()[1]), Kernel::Exception);
    EXPECT_THROW(Add(nullptr), Kernel::Exception);
    EXPECT_EQ(before, document->GetHash(true));
}

TEST_F(MergeFilters, RulesAndClausesGoInFrontOfOthersOrToTheEnd) {
    auto const filter = MergeFilterAt<DataMergeRecordValueFilter>(*document, c_valueFilter);
    auto const rules = std::as_const(*filter).GetRules();
    auto const one = Kernel::MakeCounted<DataMergeRule>(), two = Kernel::MakeCounted<DataMergeRule>();
    document->Run(Kernel::MakeCounted<AddDataMergeFilterRuleCommand>(source, filter, one, rules[0]));
    document->Run(Kernel::MakeCounted<AddDataMergeFilterRuleCommand>(source, filter, two, nullptr));
    EXPECT_EQ((DataMergeRecordValueFilter::Rules{one, rules[0], rules[1], two}), std::as_const(*filter).GetRules());
    auto const clause = MakeMergeClause("name", DataMergeRuleOperator::IsEmpty, "");
    document->Run(Kernel::MakeCounted<AddDataMergeFilterClauseCommand>(source, two, clause, nullptr));
    EXPECT_EQ(clause, std::as_const(*two).GetClauses().front());
    for (int i = 0; i != 3; ++i)
        document->Undo();
    EXPECT_EQ(rules, std::as_const(*filter).GetRules());
    EXPECT_TRUE(std::as_const(*two).GetClauses().empty());
}

TEST_F(MergeFilters, ADeletedOneComesBackToItsPlace) {
    auto const before = Filters();
    for (std::size_t place = 0; place != before.size(); ++place) {
        document->Run(Kernel::MakeCounted<DeleteDataMergeFilterCommand>(source, before[place]));
        EXPECT_EQ(before.size() - 1, Filters().size());
        document->Undo();
        EXPECT_EQ(before, Filters());
    }
}

TEST_F(MergeFilters, OneThatTheSourceDoesNotHaveIsNotDeletedAndNotPutIn) {
    auto const before = Filters();
    document->Run(
        Kernel::MakeCounted<DeleteDataMergeFilterCommand>(source, Kernel::MakeCounted<DataMergeSortFilter>()));
    EXPECT_EQ(before, Filters());
    document->Undo();
    EXPECT_EQ(before, Filters());
}

class MergeClauses : public MergeFilters {
protected:
    void Delete(Filter const& filter, Kernel::Counted<DataMergeRule> const& rule, std::size_t place) {
        document->Run(Kernel::MakeCounted<DeleteDataMergeFilterClauseCommand>(
            source, filter, rule, std::as_const(*rule).GetClauses().at(place)));
    }
};

TEST_F(MergeClauses, TheLastOneTakesItsRuleAlong) {
    auto const filter = MergeFilterAt<DataMergeRecordValueFilter>(*document, c_valueFilter);
    auto const rules = std::as_const(*filter).GetRules();
    auto const filters = Filters();
    auto const clauses = std::as_const(*rules[0]).GetClauses();
    Delete(filter, rules[0], 0);
    EXPECT_EQ(rules, std::as_const(*filter).GetRules()) << "a clause is left";
    Delete(filter, rules[0], 0);
    EXPECT_EQ(DataMergeRecordValueFilter::Rules{rules[1]}, std::as_const(*filter).GetRules());
    EXPECT_EQ(filters, Filters()) << "the filter stays";
    document->Undo();
    EXPECT_EQ(rules, std::as_const(*filter).GetRules());
    document->Undo();
    EXPECT_EQ(clauses, std::as_const(*rules[0]).GetClauses());
    document->Redo();
    document->Redo();
    EXPECT_EQ(DataMergeRecordValueFilter::Rules{rules[1]}, std::as_const(*filter).GetRules());
}

TEST_F(MergeClauses, TheLastOneOfAProcessFilterTakesTheFilterAlong) {
    auto const filter = MergeFilterAt<DataMergeProcessFilter>(*document, c_processFilter);
    auto const filters = Filters();
    auto const clauses = std::as_const(*filter->GetRule()).GetClauses();
    auto without = filters;
    without.erase(without.begin() + c_processFilter);
    Delete(filter, filter->GetRule(), 0);
    EXPECT_EQ(without, Filters());
    document->Undo();
    EXPECT_EQ(filters, Filters());
    EXPECT_EQ(clauses, std::as_const(*filter->GetRule()).GetClauses());
    document->Redo();
    EXPECT_EQ(without, Filters());
    document->Undo();
    EXPECT_EQ(filters, Filters());
}

TEST_F(MergeClauses, OneThatTheRuleDoesNotHaveIsNotDeletedAndNotPutIn) {
    auto const rule = MergeRuleAt(*document, 0);
    auto const clauses = std::as_const(*rule).GetClauses();
    document->Run(Kernel::MakeCounted<DeleteDataMergeFilterClauseCommand>(source, Filters()[c_valueFilter], rule,
                                                                          Kernel::MakeCounted<DataMergeRuleClause>()));
    EXPECT_EQ(clauses, std::as_const(*rule).GetClauses());
    document->Undo();
    EXPECT_EQ(clauses, std::as_const(*rule).GetClauses());
}

TEST_F(MergeFilters, ChangesAreToldAndShownAsWork) {
    auto const command =
        Kernel::MakeCounted<AddDataMergeFilterCommand>(source, Kernel::MakeCounted<DataMergeSortFilter>(), nullptr);
    document->Run(command);
    auto const told = NotificationsOf(*command);
    ASSERT_EQ(1u, told.size());
    auto const changed = As<DataMergeFiltersChangedNotification>(told[0]);
    ASSERT_TRUE(changed);
    EXPECT_EQ(source, changed->GetSource());
    EXPECT_EQ(DomainCommand::ProgressType::Bar, command->GetProgressType());
    EXPECT_EQ(1000, command->GetProgressInterval());
    EXPECT_NE(nullptr, command->GetProgressAbortPointer());
    EXPECT_FALSE(command->Clone());
}

} // namespace
