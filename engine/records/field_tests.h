// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/working_records.h"

#include <unordered_set>

namespace Records {

// A clause, ready to be asked about many rows. Valid as long as the records are unchanged.
class ClauseTest {
public:
    ClauseTest(WorkingRecords& records, Clause const& clause);
    // Those of the candidates among the 64 rows of a word of which the clause is true. On any thread.
    std::uint64_t Test(std::size_t word, std::uint64_t candidates, AbortLook& look) const;

private:
    // All rows have one answer; each distinct field has one; numbers are compared; texts are looked at.
    enum class Manner : std::uint8_t { Constant, Codes, Numbers, Texts };
    bool TestText(std::string_view text, AbortLook& look) const;
    bool TestNumber(double number) const;
    template <class Compare>
    std::uint64_t TestNumbers(std::size_t word, Compare const& compare) const;
    std::uint64_t TestNumbers(std::size_t word) const;
    std::uint64_t TestCodes(std::size_t word) const;
    std::uint64_t TestTexts(std::size_t word, std::uint64_t candidates, AbortLook& look) const;
    std::uint64_t TestReplaced(std::size_t word, std::uint64_t candidates, std::uint64_t answers) const;

    Table const& m_table;
    Clause const& m_clause;
    Manner m_manner = Manner::Constant;
    bool m_constant = false;
    std::size_t m_column = 0;
    double m_number = 0;
    std::unordered_set<std::string_view> m_exceptions;
    std::span<double const> m_numbers;
    std::span<std::uint32_t const> m_codes;
    // Of each distinct field.
    std::vector<std::uint8_t> m_answers;
    ReplacedColumn const* m_replaced = nullptr;
    // Of each value that replaces fields.
    std::vector<std::uint8_t> m_replacedAnswers;
};

// Several tests whose answers are combined: the clauses of a rule, or rules.
template <class OneTest>
class CombinedTest {
public:
    CombinedTest(std::vector<OneTest> tests, DataMergeRuleAggregateFunction combine)
        : m_tests(std::move(tests)), m_combine(combine) {}

    std::uint64_t Test(std::size_t word, std::uint64_t candidates, AbortLook& look) const {
        if (m_combine == DataMergeRuleAggregateFunction::All) {
            for (auto const& test : m_tests)
                candidates = candidates == 0 ? 0 : test.Test(word, candidates, look);
            return candidates;
        }
        auto open = candidates;
        for (auto const& test : m_tests)
            open &= open == 0 ? 0 : ~test.Test(word, open, look);
        return m_combine == DataMergeRuleAggregateFunction::Any ? candidates & ~open : open;
    }

private:
    std::vector<OneTest> m_tests;
    DataMergeRuleAggregateFunction m_combine;
};

using RuleTest = CombinedTest<ClauseTest>;
RuleTest MakeRuleTest(WorkingRecords& records, Rule const& rule);

// Whether few enough distinct fields are to be expected that looking at each of them once is the quicker way.
bool HasFewDistinctFields(Table const& table, std::size_t column);

} // namespace Records
