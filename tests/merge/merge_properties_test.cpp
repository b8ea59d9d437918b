// SPDX-License-Identifier: Apache-2.0
#include "merge/set_data_merge_filter_property_commands.h"
#include "merge/set_data_merge_java_script_filter_script_command.h"
#include "merge/set_data_merge_value_filter_match_values_commands.h"

#include "tests/examples/scenes/merge_documents.h"
#include "tests/support/documents.h"
#include "tests/support/records.h"

#include <atomic>
#include <gtest/gtest.h>
#include <set>
#include <thread>

namespace {

using namespace Commands;
using namespace ExampleDocuments;
using Support::As, Support::NewDocument, Support::NotificationsOf;

Kernel::IndexRangeList Rows(std::int64_t first, std::int64_t last) {
    Kernel::IndexRangeList rows;
    rows.Add(first, last);
    return rows;
}

class MergeProperties : public testing::Test {
protected:
    Kernel::Counted<DocumentController> const document = NewDocument();
    Kernel::Counted<DataMergeSource> const source = (DataMerge(*document), MergeSourceAt(*document, 0));
    Kernel::Counted<DataMergeSelectedRecordsFilter> const selected =
        MergeFilterAt<DataMergeSelectedRecordsFilter>(*document, c_selectedFilter);
    // The second one has a set of values.
    Kernel::Counted<DataMergeRuleClause> const clause = MergeClauseAt(*document, 0),
                                               otherClause = MergeClauseAt(*document, 1);
};

TEST_F(MergeProperties, RowsBeyondTheDataAreCutOff) {
    ASSERT_EQ(10u, source->GetUnfilteredRecordCount());
    document->Run(Kernel::MakeCounted<SetDataMergeFilterAllowedRecords>(source, selected, Rows(6, 400)));
    EXPECT_EQ(Rows(6, 10), selected->GetAllowedIndexes());
}

TEST_F(MergeProperties, RowsOfASourceWithoutRecordsStayAsTheyAreGiven) {
    source->SetFetcher(DataMergeFetcher::MakeWithContent("none.csv", "name,city,age\n"));
    ASSERT_EQ(0u, source->GetUnfilteredRecordCount());
    document->Run(Kernel::MakeCounted<SetDataMergeFilterAllowedRecords>(source, selected, Rows(6, 400)));
    EXPECT_EQ(Rows(6, 400), selected->GetAllowedIndexes());
}

TEST_F(MergeProperties, AnotherFieldHasNoMatchValuesAndUndoGivesThemBack) {
    for (bool const include : {true, false}) {
        SCOPED_TRACE(include);
        DataMergeValueSet values(include);
        values.SetValueIncluded("Oslo", !include);
        otherClause->SetMatchValues(values);
        document->Run(Kernel::MakeCounted<SetDataMergeValueFilterFieldIdCommand>(source, otherClause, "name"));
        EXPECT_EQ("name", otherClause->GetFieldId());
        EXPECT_EQ(DataMergeValueSet(include), otherClause->GetMatchValues());
        document->Undo();
        EXPECT_EQ("city", otherClause->GetFieldId());
        EXPECT_EQ(values, otherClause->GetMatchValues());
        document->Redo();
        EXPECT_EQ("name", otherClause->GetFieldId());
        EXPECT_EQ(DataMergeValueSet(include), otherClause->GetMatchValues());
        document->Undo();
        EXPECT_EQ(values, otherClause->GetMatchValues());
    }
}

TEST_F(MergeProperties, OfTwoClausesDoNotMerge) {
    using Set = SetDataMergeValueFilterMatchValueCommand;
    document->Run(Kernel::MakeCounted<Set>(source, clause, "1"));
    document->Run(Kernel::MakeCounted<Set>(source, otherClause, "2"));
    EXPECT_EQ(2u, document->GetHistory()->GetCount());
    auto const first = Kernel::MakeCounted<Set>(source, clause, "3");
    EXPECT_FALSE(first->Merge(Kernel::MakeCounted<Set>(source, otherClause, "4")));
    EXPECT_FALSE(first->Merge(Kernel::MakeCounted<SetDataMergeValueFilterFieldIdCommand>(source, clause, "4")))
        << "another property of the clause";
}

TEST_F(MergeProperties, OfOneClauseMergeIntoOneStep) {
    using Set = SetDataMergeValueFilterMatchValueCommand;
    document->Run(Kernel::MakeCounted<Set>(source, clause, "1"));
    document->Run(Kernel::MakeCounted<Set>(source, clause, "2"));
    EXPECT_EQ(1u, document->GetHistory()->GetCount());
    document->Undo();
    EXPECT_EQ("30", clause->GetMatchValue());
    document->Redo();
    EXPECT_EQ("2", clause->GetMatchValue());
}

TEST_F(MergeProperties, TwoValuesOfAClauseAreTwoSteps) {
    using Set = SetDataMergeValueFilterMatchValuesCommand;
    document->Run(Kernel::MakeCounted<Set>(source, otherClause, "Pune", false));
    document->Run(Kernel::MakeCounted<Set>(source, otherClause, "Kobe", false));
    EXPECT_EQ(2u, document->GetHistory()->GetCount());
    document->Run(Kernel::MakeCounted<Set>(source, otherClause, "Kobe", true));
    EXPECT_EQ(2u, document->GetHistory()->GetCount()) << "the same value is the same step";
    document->Undo();
    EXPECT_TRUE(otherClause->GetMatchValues().Contains("Kobe"));
    EXPECT_FALSE(otherClause->GetMatchValues().Contains("Pune"));
    document->Undo();
    EXPECT_TRUE(otherClause->GetMatchValues().Contains("Pune"));
    EXPECT_FALSE(otherClause->GetMatchValues().Contains("Oslo"));
}

TEST_F(MergeProperties, UndoShowsTheRecordThatDoFound) {
    source->SetPreviewRow(3);
    document->Run(Kernel::MakeCounted<SetDataMergeSortFilterAscendingCommand>(
        source, MergeFilterAt<DataMergeSortFilter>(*document, c_sortFilter), false));
    source->SetPreviewRow(0);
    document->Undo();
    EXPECT_EQ(3u, source->GetPreviewRow());
}

TEST_F(MergeProperties, ThoseThatReplaceTheValuesGiveThemBack) {
    auto const before = otherClause->GetMatchValues();
    document->Run(Kernel::MakeCounted<SetDataMergeValueFilterMatchValuesIncludeAllCommand>(source, otherClause, false));
    EXPECT_EQ(DataMergeValueSet(false), otherClause->GetMatchValues());
    document->Undo();
    EXPECT_EQ(before, otherClause->GetMatchValues());
    document->Redo();
    EXPECT_EQ(DataMergeValueSet(false), otherClause->GetMatchValues());
}

TEST_F(MergeProperties, AreWorkThatCanBeStopped) {
    SetDataMergeFilterEnabledCommand const command(source, selected, false);
    EXPECT_EQ(DomainCommand::ProgressType::Bar, command.GetProgressType());
    EXPECT_EQ(1000, command.GetProgressInterval());
    EXPECT_NE(nullptr, command.GetProgressAbortPointer());
    EXPECT_FALSE(command.Clone());
    EXPECT_FALSE(command.CanRepeat());
}

TEST_F(MergeProperties, AnUpdateThatWasStoppedKeepsTheValue) {
    auto const command = Kernel::MakeCounted<SetDataMergeSortFilterFieldIdCommand>(
        source, MergeFilterAt<DataMergeSortFilter>(*document, c_sortFilter), "age");
    Support::Bind(*document, *command);
    *command->GetProgressAbortPointer() = true;
    command->Do();
    EXPECT_EQ("age", MergeFilterAt<DataMergeSortFilter>(*document, c_sortFilter)->GetFieldId());
    EXPECT_TRUE(source->GetPayload()->IsStale());
    EXPECT_FALSE(source->GetWarnings()->IsEmpty());
    *command->GetProgressAbortPointer() = false;
    command->Redo();
    EXPECT_FALSE(source->GetPayload()->IsStale());
}

TEST(MergeScripts, AreToldAsAnotherStateOfTheSource) {
    auto const plain = NewDocument();
    DataMergeWithoutPreview(*plain);
    auto const command = Kernel::MakeCounted<SetDataMergeJavaScriptFilterScriptCommand>(
        MergeSourceAt(*plain, 0), MergeFilterAt<DataMergeJavaScriptFilter>(*plain, c_scriptFilter), "return true;");
    plain->Run(command);
    auto const told = NotificationsOf(*command);
    ASSERT_EQ(2u, told.size());
    EXPECT_TRUE(As<DataMergeFilterOptionsChangedNotification>(told[0]));
    EXPECT_TRUE(As<DataMergeSourceUpdatedNotification>(told.back()));
}

TEST_F(MergeProperties, WarningsComeFirst) {
    auto const process = MergeFilterAt<DataMergeProcessFilter>(*document, c_processFilter);
    auto const command = Kernel::MakeCounted<SetDataMergeProcessFilterActionCommand>(
        source, process, DataMergeProcessFilter::Action::Warn);
    document->Run(command);
    auto const told = NotificationsOf(*command);
    ASSERT_GE(told.size(), 2u);
    EXPECT_FALSE(As<DataMergeFilterOptionsChangedNotification>(told[0]));
    EXPECT_TRUE(As<DataMergeFilterOptionsChangedNotification>(told[1]));
    ASSERT_FALSE(source->GetWarnings()->IsEmpty());
    EXPECT_EQ("old spelling", source->GetWarnings()->GetWarnings().front().text);
}

TEST_F(MergeProperties, WithoutATargetFailWithAWord) {
    auto const before = document->GetHash(true);
    EXPECT_THROW(document->Run(Kernel::MakeCounted<SetDataMergeFilterEnabledCommand>(source, nullptr, false)),
                 Kernel::Exception);
    EXPECT_THROW(document->Run(Kernel::MakeCounted<SetDataMergeFilterEnabledCommand>(nullptr, selected, false)),
                 Kernel::Exception);
    EXPECT_EQ(before, document->GetHash(true));
}

std::set<std::string> TagsOf(Kernel::Counted<DocumentCommand> const& command) {
    std::set<std::string> tags;
    auto const classTag = command->GetObjectClassProperties()->GetClassUID().ToString();
    for (auto const& field :
         Support::ListFields(Support::SaveToMemory({Kernel::Counted<Kernel::Serialisable const>(command)}))) {
        if (field.classTag == classTag)
            tags.insert(field.tag);
    }
    return tags;
}

TEST_F(MergeProperties, OfClausesStoreTheOldMatchValuesToo) {
    std::set<std::string> const plain{"valu", "olvl", "trgt", "srce", "udcm", "olpv"};
    auto ofClause = plain;
    ofClause.insert("olmv");
    auto withKey = ofClause;
    withKey.insert("vlky");
    EXPECT_EQ(plain, TagsOf(Kernel::MakeCounted<SetDataMergeFilterEnabledCommand>(source, selected, false)));
    EXPECT_EQ(ofClause, TagsOf(Kernel::MakeCounted<SetDataMergeValueFilterMatchValueCommand>(source, clause, "1")));
    EXPECT_EQ(ofClause, TagsOf(Kernel::MakeCounted<SetDataMergeValueFilterOperatorCommand>(
                            source, clause, DataMergeRuleOperator::Less)));
    EXPECT_EQ(withKey,
              TagsOf(Kernel::MakeCounted<SetDataMergeValueFilterMatchValuesCommand>(source, clause, "1", true)));
}

// A reader that sees the new value beside the old records has come in between the two.
TEST(MergeUpdates, LetReadersIn) {
    std::string content = "name\n";
    for (unsigned i = 0; i != 200'000; ++i)
        content += std::to_string(i * 2'654'435'761U) + " name\n";
    auto const document = NewDocument();
    auto const source = MakePeople(*document);
    source->SetFetcher(DataMergeFetcher::MakeWithContent("names.csv", Kernel::String(content)));
    auto const sort = Kernel::MakeCounted<DataMergeSortFilter>("name", true);
    source->GetFilters().push_back(sort);
    auto const ascending = source->GetResult()->rows;
    std::atomic<int> between = 0;
    {
        std::jthread const reader([&](std::stop_token const& stop) {
            while (!stop.stop_requested()) {
                auto const lock = document->LockForReading();
                if (!sort->GetAscending() && source->GetResult()->rows.front() == ascending.front())
                    ++between;
            }
        });
        for (int round = 0; round != 50 && between == 0; ++round) {
            document->Run(Kernel::MakeCounted<SetDataMergeSortFilterAscendingCommand>(source, sort, false));
            if (between == 0)
                document->Undo();
        }
    }
    EXPECT_GT(between, 0);
    EXPECT_FALSE(sort->GetAscending());
    EXPECT_NE(ascending, source->GetResult()->rows);
}

} // namespace
