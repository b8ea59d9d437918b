// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"
#include "tests/engine/records/steps/step_tables.h"

#include <chrono>
#include <cstdlib>
#include <gtest/gtest.h>

using namespace Records;
using namespace StepTests;

namespace {

// Counts the looks at the flag, and sets it at one of them.
class LookCounter final : public Kernel::AbortPollObserver {
public:
    explicit LookCounter(std::size_t setAt) : m_setAt(setAt) { Set(this); }
    ~LookCounter() override { Set(nullptr); }
    void BeforePoll(bool& flag) override {
        if (m_count.fetch_add(1) == m_setAt)
            std::atomic_ref<bool>(flag).store(true);
    }
    std::size_t GetCount() const { return m_count; }

private:
    std::size_t m_setAt;
    std::atomic<std::size_t> m_count{0};
};

std::vector<Step> ListSteps() {
    ProcessRecords replace{{{MakeClause("text", DataMergeRuleOperator::Contains, "b")}, {}},
                           ProcessRecords::Action::Replace,
                           {},
                           "few",
                           "x"};
    auto warn = replace;
    warn.action = ProcessRecords::Action::Warn;
    SelectRecords select;
    select.rows.Add(0, 17'000);
    return {select,
            MatchAll({MakeClause("number", DataMergeRuleOperator::Less, "9"),
                      MakeClause("few", DataMergeRuleOperator::NotEqual, "ab")}),
            replace,
            warn,
            SortRecords{"few", false},
            SortRecords{"number", true},
            SortRecords{"text", false},
            SortRecords{"id", true},
            RunScript{"", "return record.number != 3"}};
}

TEST(AbortedSteps, EndAtWhicheverLookTheFlagIsSet) {
    setenv("REDRAFT_SCRIPT_HOST", SCRIPT_HOST, 1);
    std::mt19937 random{12};
    auto const table = MakeRandomTable(random, 18'000);
    auto const expected = Take(table, ListSteps())->rows;
    auto const run = [&](std::size_t setAt) {
        bool abort = false;
        LookCounter const counter(setAt);
        auto const rows = RunSteps(table, ListSteps(), {}, &abort)->rows;
        EXPECT_EQ(rows, expected);
        return counter.GetCount();
    };
    auto const looks = run(~std::size_t(0));
    EXPECT_GT(looks, 50u);
    for (std::size_t look = 0; look < looks; look += look < 40 ? 1 : 1 + looks / 60) {
        bool abort = false;
        LookCounter const counter(look);
        try {
            // Waits for a script take their own number of looks, so that the last ones may not be reached.
            EXPECT_EQ(RunSteps(table, ListSteps(), {}, &abort)->rows, expected);
            EXPECT_LE(counter.GetCount(), look);
        } catch (Kernel::AbortException const&) {
            EXPECT_TRUE(abort);
        }
    }
}

TEST(AbortedSteps, MakeNothingOfATableThatIsAskedAgain) {
    std::mt19937 random{13};
    auto const table = MakeRandomTable(random, 9000);
    std::vector<Step> const steps{MatchAll({MakeClause("number", DataMergeRuleOperator::Less, "9"),
                                            MakeClause("few", DataMergeRuleOperator::NotEqual, "ab")})};
    bool abort = true;
    EXPECT_THROW(RunSteps(table, steps, {}, &abort), Kernel::AbortException);
    EXPECT_THROW(RunSteps({}, steps, {}, &abort), Kernel::AbortException);
    abort = false;
    EXPECT_EQ(RunSteps(table, steps, {}, &abort)->rows, Take(table, steps)->rows);
}

TEST(AbortedSteps, GiveOneResultOnAnyNumberOfThreads) {
    std::mt19937 random{14};
    auto const table = MakeRandomTable(random, 30'000);
    auto const steps = ListSteps();
    setenv("REDRAFT_SCRIPT_HOST", SCRIPT_HOST, 1);
    auto const threads = Kernel::Dispatch::GetThreadCount();
    Kernel::Dispatch::SetThreadCount(1);
    auto const one = Take(table, steps);
    Kernel::Dispatch::SetThreadCount(7);
    auto const seven = Take(table, steps);
    Kernel::Dispatch::SetThreadCount(threads);
    EXPECT_EQ(one->rows, seven->rows);
    EXPECT_EQ(one->warnings, seven->warnings);
    EXPECT_EQ(one->furtherWarnings, seven->furtherWarnings);
}

} // namespace
