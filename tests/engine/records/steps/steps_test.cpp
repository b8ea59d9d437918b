// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/records/steps/naive_steps.h"
#include "tests/engine/records/steps/step_tables.h"

#include <gtest/gtest.h>

using namespace Records;
using namespace StepTests;
using Operator = DataMergeRuleOperator;
using Combine = DataMergeRuleAggregateFunction;
using Action = ProcessRecords::Action;

namespace {

TableRef const& Words() {
    static auto const s_words = MakeOneColumn({"", "b", "Z", "ab", "a", "b ", " "});
    return s_words;
}

TEST(Clause, ComparesTextsByTheirBytes) {
    EXPECT_EQ(FindRows(Words(), Operator::Equal, "b"), (Rows{1}));
    EXPECT_EQ(FindRows(Words(), Operator::NotEqual, "b"), (Rows{0, 2, 3, 4, 5, 6}));
    EXPECT_EQ(FindRows(Words(), Operator::Contains, "b"), (Rows{1, 3, 5}));
    EXPECT_EQ(FindRows(Words(), Operator::DoesNotContain, "b"), (Rows{0, 2, 4, 6}));
    EXPECT_EQ(FindRows(Words(), Operator::BeginsWith, "a"), (Rows{3, 4}));
    EXPECT_EQ(FindRows(Words(), Operator::EndsWith, "b"), (Rows{1, 3}));
    EXPECT_EQ(FindRows(Words(), Operator::Less, "a"), (Rows{0, 2, 6}));
    EXPECT_EQ(FindRows(Words(), Operator::LessOrEqual, "a"), (Rows{0, 2, 4, 6}));
    EXPECT_EQ(FindRows(Words(), Operator::Greater, "ab"), (Rows{1, 5}));
    EXPECT_EQ(FindRows(Words(), Operator::GreaterOrEqual, "ab"), (Rows{1, 3, 5}));
    EXPECT_EQ(FindRows(Words(), Operator::IsEmpty, "b"), (Rows{0}));
    EXPECT_EQ(FindRows(Words(), Operator::IsNotEmpty, "b"), (Rows{1, 2, 3, 4, 5, 6}));
}

TEST(Clause, FindsTheEmptyTextInEveryField) {
    Rows const all{0, 1, 2, 3, 4, 5, 6};
    EXPECT_EQ(FindRows(Words(), Operator::Contains), all);
    EXPECT_EQ(FindRows(Words(), Operator::BeginsWith), all);
    EXPECT_EQ(FindRows(Words(), Operator::EndsWith), all);
    EXPECT_EQ(FindRows(Words(), Operator::DoesNotContain), Rows());
    EXPECT_EQ(FindRows(Words(), Operator::Equal), (Rows{0}));
}

TEST(Clause, TakesBytesForLettersInNoCaseNorForm) {
    auto const table = MakeOneColumn({"\xC3\xA9", "e\xCC\x81", "E"});
    EXPECT_EQ(FindRows(table, Operator::Equal, "\xC3\xA9"), (Rows{0}));
    EXPECT_EQ(FindRows(table, Operator::BeginsWith, "e"), (Rows{1}));
}

TEST(Clause, ComparesNumbersByValueInColumnsOfNumbers) {
    auto const table = MakeOneColumn({"1", "1.0", "", "10", "9", "-2", "1e1"});
    ASSERT_EQ(table->GetColumn(0).type, ColumnType::Number);
    EXPECT_EQ(FindRows(table, Operator::Equal, "1.00"), (Rows{0, 1}));
    EXPECT_EQ(FindRows(table, Operator::NotEqual, "1"), (Rows{2, 3, 4, 5, 6}));
    EXPECT_EQ(FindRows(table, Operator::Less, "10"), (Rows{0, 1, 4, 5}));
    EXPECT_EQ(FindRows(table, Operator::LessOrEqual, "9"), (Rows{0, 1, 4, 5}));
    EXPECT_EQ(FindRows(table, Operator::Greater, "1"), (Rows{3, 4, 6}));
    EXPECT_EQ(FindRows(table, Operator::GreaterOrEqual, "10"), (Rows{3, 6}));
    // Of texts there is no value.
    EXPECT_EQ(FindRows(table, Operator::Contains, "1"), (Rows{0, 1, 3, 6}));
    EXPECT_EQ(FindRows(table, Operator::EndsWith, "0"), (Rows{1, 3}));
    EXPECT_EQ(FindRows(table, Operator::Equal, "x"), Rows());
    EXPECT_EQ(FindRows(table, Operator::Less, "x"), (Rows{0, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(FindRows(table, Operator::Equal), (Rows{2}));
}

TEST(Clause, ComparesNumbersAsTextsInColumnsOfTexts) {
    auto const table = MakeOneColumn({"1", "1.0", "ten", "10", "9"});
    ASSERT_EQ(table->GetColumn(0).type, ColumnType::Text);
    EXPECT_EQ(FindRows(table, Operator::Equal, "1"), (Rows{0}));
    EXPECT_EQ(FindRows(table, Operator::Less, "9"), (Rows{0, 1, 3}));
}

TEST(Clause, ComparesDatesByValueInColumnsOfDates) {
    auto const table = MakeOneColumn({"31.1.2024", "1.2.2024", "", "15.12.2023"});
    ASSERT_EQ(table->GetColumn(0).type, ColumnType::Date);
    EXPECT_EQ(FindRows(table, Operator::Less, "2024-01-31"), (Rows{3}));
    EXPECT_EQ(FindRows(table, Operator::GreaterOrEqual, "31.01.2024"), (Rows{0, 1}));
    EXPECT_EQ(FindRows(table, Operator::Equal, "2024-02-01"), (Rows{1}));
    EXPECT_EQ(FindRows(table, Operator::NotEqual, "2024-02-01"), (Rows{0, 2, 3}));
    EXPECT_EQ(FindRows(table, Operator::BeginsWith, "1"), (Rows{1, 3}));
}

TEST(Clause, ReadsWhatIsIncludedFromItsSet) {
    auto const table = MakeOneColumn({"1", "1.0", "2", ""});
    auto const find = [&](bool defaultInclude) {
        return Take(table, {MatchAll({{"a", Operator::IsIncluded, "2", defaultInclude, {"1", ""}}})})->rows;
    };
    EXPECT_EQ(find(false), (Rows{0, 3}));
    EXPECT_EQ(find(true), (Rows{1, 2}));
    EXPECT_EQ(Take(table, {MatchAll({{"a", Operator::IsIncluded, "", true, {}}})})->rows, (Rows{0, 1, 2, 3}));
    EXPECT_EQ(Take(table, {MatchAll({{"a", Operator::IsIncluded, "", false, {}}})})->rows, Rows());
}

TEST(Clause, OnAnUnknownFieldFindsItEmptyAndWarnsOnce) {
    auto const table = Words();
    auto const result =
        Take(table, {MatchAll({MakeClause("x", Operator::IsEmpty), MakeClause("x", Operator::Less, "a")}),
                     SortRecords{"x", true}, SortRecords{"y", true}});
    EXPECT_EQ(result->rows.size(), table->GetRowCount());
    ASSERT_EQ(result->warnings.size(), 2u);
    EXPECT_EQ(result->warnings[0], (Warning{Warning::c_noRow, "x", "there is no field of this name"}));
    EXPECT_EQ(result->warnings[1].column, "y");
    EXPECT_EQ(Take(table, {MatchAll({MakeClause("x", Operator::IsNotEmpty)})})->rows, Rows());
}

// Of no answers, of one true, one false, and both.
TEST(Rule, CombinesItsClauses) {
    auto const table = MakeOneColumn({"a"});
    auto const yes = MakeClause("a", Operator::Equal, "a"), no = MakeClause("a", Operator::Equal, "b");
    auto const isTrue = [&](Combine combine, std::vector<Clause> clauses) {
        MatchRecords const ofRule{{{clauses, combine}}, Combine::All};
        auto const rows = Take(table, {ofRule})->rows;
        if (!clauses.empty()) {
            MatchRecords ofRules{{}, combine};
            for (auto const& clause : clauses)
                ofRules.rules.push_back({{clause}, Combine::All});
            EXPECT_EQ(Take(table, {ofRules})->rows, rows);
        }
        return rows.size() == 1;
    };
    EXPECT_TRUE(isTrue(Combine::All, {}));
    EXPECT_TRUE(isTrue(Combine::None, {}));
    EXPECT_FALSE(isTrue(Combine::Any, {}));
    EXPECT_TRUE(isTrue(Combine::All, {yes}) && isTrue(Combine::Any, {yes}) && isTrue(Combine::None, {no}));
    EXPECT_FALSE(isTrue(Combine::All, {no}) || isTrue(Combine::Any, {no}) || isTrue(Combine::None, {yes}));
    for (auto const& both : {std::vector<Clause>{yes, no}, std::vector<Clause>{no, yes}}) {
        EXPECT_FALSE(isTrue(Combine::All, both));
        EXPECT_TRUE(isTrue(Combine::Any, both));
        EXPECT_FALSE(isTrue(Combine::None, both));
    }
    EXPECT_TRUE(isTrue(Combine::None, {no, no}));
}

TEST(MatchStep, WithoutRulesKeepsEveryRecord) {
    for (auto const combine : {Combine::All, Combine::Any, Combine::None})
        EXPECT_EQ(Take(Words(), {MatchRecords{{}, combine}})->rows.size(), 7u);
}

TEST(SelectStep, TakesRowsOfTheTableWhateverCameBefore) {
    auto const table = MakeOneColumn({"d", "c", "b", "a"});
    SelectRecords select;
    select.rows.Add(1, 3);
    EXPECT_EQ(ListFields(*Take(table, {SortRecords{"a", true}, select})), (std::vector<std::string>{"b", "c"}));
    EXPECT_EQ(Take(table, {SelectRecords()})->rows, Rows());
}

TEST(SelectStep, PassesRowsBeyondTheTableOver) {
    std::vector<std::string> fields(200, "x");
    auto const table = MakeOneColumn(fields);
    SelectRecords select;
    select.rows.Add(std::numeric_limits<std::int64_t>::min(), 3);
    select.rows.Add(62, 130);
    select.rows.Add(199, std::numeric_limits<std::int64_t>::max());
    Rows expected{0, 1, 2};
    for (std::uint32_t row = 62; row != 130; ++row)
        expected.push_back(row);
    expected.push_back(199);
    EXPECT_EQ(Take(table, {select})->rows, expected);
    select.rows.Clear();
    select.rows.Add(200, 10'000'000'000);
    EXPECT_EQ(Take(table, {select})->rows, Rows());
}

TEST(ProcessStep, SkipsRecords) {
    ProcessRecords const skip{{{MakeClause("a", Operator::Contains, "b")}, Combine::All}, Action::Skip, {}, {}, {}};
    EXPECT_EQ(Take(Words(), {skip})->rows, (Rows{0, 2, 4, 6}));
    EXPECT_EQ(Take(Words(), {skip, skip})->rows, (Rows{0, 2, 4, 6}));
}

TEST(ProcessStep, ReplacesFieldsForTheStepsThatFollowAndForTheResult) {
    auto const table = MakeTable({"a", "n"}, {{"x", "1"}, {"y", "2"}, {"z", "3"}});
    auto const replace = [](char const* ofField, char const* equalTo, char const* field, char const* value) {
        return ProcessRecords{
            {{MakeClause(ofField, Operator::Equal, equalTo)}, Combine::All}, Action::Replace, {}, field, value};
    };
    auto const result =
        Take(table, {replace("a", "x", "n", "10"), replace("n", "10.0", "a", "w"), replace("a", "w", "a", "w2"),
                     replace("a", "y", "n", "none"), SortRecords{"n", false}});
    // 10 is greater than 3; a text that is no number comes behind.
    EXPECT_EQ(ListFields(*result), (std::vector<std::string>{"w2", "z", "y"}));
    EXPECT_EQ(ListFields(*result, "n"), (std::vector<std::string>{"10", "3", "none"}));
    EXPECT_EQ(table->GetText(0, 0), "x");
    ASSERT_EQ(result->replacements.size(), 2u);
    EXPECT_EQ(Take(table, {replace("a", "y", "n", "none"), MatchAll({MakeClause("n", Operator::Greater, "0")})})->rows,
              (Rows{0, 2}));
}

TEST(ProcessStep, ReplacesNothingInAnUnknownField) {
    ProcessRecords const replace{{{}, Combine::All}, Action::Replace, {}, "x", "y"};
    auto const result = Take(Words(), {replace});
    EXPECT_TRUE(result->replacements.empty());
    EXPECT_EQ(result->warnings.size(), 1u);
}

TEST(ProcessStep, WarnsOfRecordsInTheirOrderWithTheirFields) {
    auto const table = MakeTable({"a", "n"}, {{"x", "1"}, {"y", "2"}, {"z", "3"}});
    ProcessRecords const warn{
        {{MakeClause("n", Operator::Less, "3")}, Combine::All}, Action::Warn, "{a} has {n}, {b} {not {a}", {}, {}};
    auto const result = Take(table, {SortRecords{"n", false}, warn});
    EXPECT_EQ(result->rows.size(), 3u);
    EXPECT_EQ(result->warnings,
              (std::vector<Warning>{{1, "n", "y has 2, {b} {not y"}, {0, "n", "x has 1, {b} {not x"}}));
    ProcessRecords const silent{{{}, Combine::All}, Action::Warn, {}, {}, {}};
    EXPECT_EQ(Take(table, {silent})->warnings.at(2), (Warning{2, "", "the rule is true of this record"}));
}

TEST(ProcessStep, ShortensLongFieldsInItsMessages) {
    auto const table = MakeOneColumn({std::string(199, 'x') + "\xC3\xA9" + std::string(1'000'000, 'x')});
    ProcessRecords const warn{{{}, Combine::All}, Action::Warn, "{a}{a}", {}, {}};
    EXPECT_EQ(Take(table, {warn})->warnings.at(0).text, Kernel::String(std::string(398, 'x')));
}

TEST(ProcessStep, CountsWarningsBeyondAHundred) {
    auto const table = MakeOneColumn(std::vector<std::string>(250, "x"));
    ProcessRecords const warn{{{}, Combine::All}, Action::Warn, "w", {}, {}};
    auto const result = Take(table, {MatchAll({MakeClause("y", Operator::IsEmpty)}), warn});
    EXPECT_EQ(result->warnings.size(), 100u);
    EXPECT_EQ(result->furtherWarnings, 151u);
    EXPECT_EQ(result->warnings.back().row, 98);
}

TEST(Steps, GiveAllRecordsWhereThereAreNone) {
    EXPECT_EQ(Take(Words(), {})->rows.size(), 7u);
    auto const nothing = Take({}, {SortRecords{"a", true}});
    EXPECT_FALSE(nothing->table);
    EXPECT_TRUE(nothing->rows.empty());
    EXPECT_EQ(nothing->GetText(0, "a"), "");
}

std::vector<Step> ListEveryStep() {
    SelectRecords select;
    select.rows.Add(0, 100);
    ProcessRecords process{{{MakeClause("a", Operator::Greater, "1")}, Combine::None}, Action::Warn, "{a}", "a", "b"};
    std::vector<Step> steps{select, MatchAll({MakeClause("a", Operator::IsEmpty)}), SortRecords{"a", false}, process};
    process.action = Action::Replace;
    steps.emplace_back(process);
    steps.emplace_back(SortRecords{"b", true});
    process.action = Action::Skip;
    steps.emplace_back(process);
    return steps;
}

TEST(Steps, TakeTablesOfNoRowsAndNoColumns) {
    EXPECT_TRUE(Take(MakeTable({"a"}, {}), ListEveryStep())->rows.empty());
    EXPECT_TRUE(Take(MakeTable({}, {}), ListEveryStep())->rows.empty());
    EXPECT_EQ(Take(MakeTable({"a"}, {{"7"}}), {SortRecords{"a", true}})->rows, (Rows{0}));
}

TEST(Steps, LeaveTheFieldsOfRecordsThatThereAreNotEmpty) {
    auto const result = Take(Words(), {});
    EXPECT_EQ(result->GetText(1, std::size_t(0)), "b");
    EXPECT_EQ(result->GetText(7, std::size_t(0)), "");
    EXPECT_EQ(result->GetText(0, std::size_t(1)), "");
    EXPECT_EQ(result->GetText(0, "x"), "");
}

TEST(Steps, FindPartsAcrossThePiecesOfLongFields) {
    std::string field(1'000'000, 'x');
    auto const table = [&](std::size_t at) {
        auto changed = field;
        changed.replace(at, 6, "needle");
        return MakeOneColumn({changed, field});
    };
    for (std::size_t const at : {0u, 199'995u, 199'997u, 200'000u, 399'990u, 500'000u, 999'994u})
        EXPECT_EQ(FindRows(table(at), Operator::Contains, "needle"), (Rows{0})) << at;
}

class RandomSteps {
public:
    explicit RandomSteps(std::mt19937& random) : m_random(random) {}

    std::vector<Step> Make() {
        std::vector<Step> steps;
        for (auto count = Pick(6); count != 0; --count)
            steps.push_back(MakeStep());
        return steps;
    }

private:
    std::size_t Pick(std::size_t count) { return static_cast<std::size_t>(m_random() % count); }
    char const* PickField() {
        constexpr char const* c_fields[] = {"text", "number", "date", "few", "id", "none"};
        return c_fields[Pick(20) == 0 ? 5 : Pick(5)];
    }
    char const* PickValue() {
        constexpr char const* c_values[] = {"",     "a",          "b",      "A", "1",    "1.0",
                                            "-3.5", "2024-05-05", "2024-0", "é", "id 1", "zebra"};
        return c_values[Pick(std::size(c_values))];
    }
    Combine PickCombine() { return static_cast<Combine>(Pick(3)); }
    Rule MakeRule() {
        Rule rule;
        rule.combine = PickCombine();
        for (auto count = Pick(4); count != 0; --count)
            rule.clauses.push_back(
                {PickField(), static_cast<Operator>(Pick(13)), PickValue(), Pick(2) == 0, {PickValue(), PickValue()}});
        return rule;
    }
    Step MakeStep() {
        switch (Pick(7)) {
        case 0: {
            SelectRecords select;
            for (auto count = Pick(4); count != 0; --count) {
                auto const first = static_cast<std::int64_t>(Pick(400)) - 50;
                select.rows.Add(first, first + static_cast<std::int64_t>(Pick(300)));
            }
            return select;
        }
        case 1:
        case 2: {
            MatchRecords match{{}, PickCombine()};
            for (auto count = Pick(4); count != 0; --count)
                match.rules.push_back(MakeRule());
            return match;
        }
        case 3:
        case 4:
            return ProcessRecords{MakeRule(), static_cast<Action>(Pick(3)), "w", PickField(), PickValue()};
        default:
            return SortRecords{PickField(), Pick(2) == 0};
        }
    }

    std::mt19937& m_random;
};

void ExpectEqual(Table const& table, Result const& result, NaiveResult const& naive) {
    ASSERT_EQ(result.rows, naive.rows);
    for (std::size_t place = 0; place != naive.rows.size(); ++place) {
        for (std::size_t column = 0; column != table.GetColumnCount(); ++column)
            ASSERT_EQ(result.GetText(place, column), naive.fields[place][column]);
    }
    ASSERT_EQ(result.warnings.size(), naive.warnings.size());
    for (std::size_t i = 0; i != naive.warnings.size(); ++i) {
        ASSERT_EQ(result.warnings[i].row, naive.warnings[i].row);
        ASSERT_EQ(result.warnings[i].column, naive.warnings[i].column);
    }
    ASSERT_EQ(result.furtherWarnings, naive.furtherWarnings);
}

TEST(Steps, DoWhatPlainLoopsDoOnRandomTables) {
    std::mt19937 random{8};
    for (int turn = 0; turn != 1500; ++turn) {
        SCOPED_TRACE(turn);
        auto const table = MakeRandomTable(random, turn % 50 == 0 ? 700 : random() % 150);
        auto const steps = RandomSteps(random).Make();
        ASSERT_NO_FATAL_FAILURE(ExpectEqual(*table, *Take(table, steps), RunNaively(*table, steps, "en")));
    }
}

// So many rows that columns of few distinct fields are taken by these and sorts go in parallel.
TEST(Steps, DoWhatPlainLoopsDoOnALargeTable) {
    std::mt19937 random{9};
    auto const table = MakeRandomTable(random, 20'000);
    for (int turn = 0; turn != 40; ++turn) {
        SCOPED_TRACE(turn);
        auto const steps = RandomSteps(random).Make();
        ASSERT_NO_FATAL_FAILURE(ExpectEqual(*table, *Take(table, steps), RunNaively(*table, steps, "en")));
    }
}

} // namespace
