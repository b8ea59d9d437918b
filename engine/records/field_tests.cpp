// SPDX-License-Identifier: Apache-2.0
#include "engine/records/field_tests.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace Records {

namespace {

// In pieces, so that the longest field does not keep an abort waiting.
bool Contains(std::string_view text, std::string_view part, AbortLook& look) {
    if (part.empty())
        return true;
    auto const piece = std::max<std::size_t>(AbortLook::c_workPerLook, 2 * part.size());
    while (text.size() > piece) {
        if (memmem(text.data(), piece, part.data(), part.size()) != nullptr)
            return true;
        look.Spend(piece);
        text.remove_prefix(piece - part.size());
    }
    look.Spend(text.size());
    // An empty field may have no address at all.
    return !text.empty() && memmem(text.data(), text.size(), part.data(), part.size()) != nullptr;
}

bool IsByValue(DataMergeRuleOperator comparison) {
    switch (comparison) {
    case DataMergeRuleOperator::Equal:
    case DataMergeRuleOperator::NotEqual:
    case DataMergeRuleOperator::Less:
    case DataMergeRuleOperator::LessOrEqual:
    case DataMergeRuleOperator::Greater:
    case DataMergeRuleOperator::GreaterOrEqual:
        return true;
    default:
        return false;
    }
}

} // namespace

bool HasFewDistinctFields(Table const& table, std::size_t column) {
    constexpr std::uint32_t c_sample = 1024;
    auto const rowCount = table.GetRowCount();
    if (rowCount < 8 * c_sample)
        return false;
    std::unordered_set<std::string_view> seen;
    std::size_t bytes = 0;
    for (std::uint32_t i = 0; i != c_sample; ++i) {
        auto const text = table.GetText(static_cast<std::uint32_t>(std::uint64_t(rowCount) * i / c_sample), column);
        bytes += text.size();
        if (bytes > AbortLook::c_workPerLook)
            return false;
        seen.insert(text);
    }
    return seen.size() <= c_sample / 4;
}

ClauseTest::ClauseTest(WorkingRecords& records, Clause const& clause) : m_table(records.GetTable()), m_clause(clause) {
    auto const* const abort = records.GetAbortFlag();
    AbortLook look(abort);
    for (auto const& exception : clause.exceptions)
        m_exceptions.insert(exception.view());
    auto const column = records.FindColumn(clause.field);
    if (!column) {
        m_constant = TestText({}, look);
        return;
    }
    m_column = *column;
    m_replaced = records.FindReplaced(m_column);
    m_number = IsByValue(clause.comparison) ? m_table.ParseField(clause.value.view(), m_column)
                                            : std::numeric_limits<double>::quiet_NaN();
    bool const isByValue = !std::isnan(m_number);
    if (isByValue) {
        m_manner = Manner::Numbers;
        m_numbers = m_table.GetNumbers(m_column, abort);
    } else if (HasFewDistinctFields(m_table, m_column)) {
        m_manner = Manner::Codes;
        auto const& dictionary = m_table.GetDictionary(m_column, abort);
        m_codes = dictionary.codes;
        for (auto const value : dictionary.values) {
            m_answers.push_back(TestText(value, look));
            look.Spend(10);
        }
    } else {
        m_manner = Manner::Texts;
    }
    if (m_replaced != nullptr) {
        for (auto const& value : m_replaced->values)
            m_replacedAnswers.push_back(isByValue ? TestNumber(m_table.ParseField(value.view(), m_column))
                                                  : TestText(value.view(), look));
    }
}

bool ClauseTest::TestText(std::string_view text, AbortLook& look) const {
    auto const value = m_clause.value.view();
    switch (m_clause.comparison) {
    case DataMergeRuleOperator::Equal:
        return text == value;
    case DataMergeRuleOperator::NotEqual:
        return text != value;
    case DataMergeRuleOperator::Contains:
        return Contains(text, value, look);
    case DataMergeRuleOperator::DoesNotContain:
        return !Contains(text, value, look);
    case DataMergeRuleOperator::BeginsWith:
        return text.starts_with(value);
    case DataMergeRuleOperator::EndsWith:
        return text.ends_with(value);
    case DataMergeRuleOperator::Less:
        return text < value;
    case DataMergeRuleOperator::LessOrEqual:
        return text <= value;
    case DataMergeRuleOperator::Greater:
        return text > value;
    case DataMergeRuleOperator::GreaterOrEqual:
        return text >= value;
    case DataMergeRuleOperator::IsEmpty:
        return text.empty();
    case DataMergeRuleOperator::IsNotEmpty:
        return !text.empty();
    case DataMergeRuleOperator::IsIncluded:
        return m_clause.defaultInclude != m_exceptions.contains(text);
    }
    return false;
}

// Numbers that are none fail all comparisons but NotEqual, as NaN does.
bool ClauseTest::TestNumber(double number) const {
    switch (m_clause.comparison) {
    case DataMergeRuleOperator::Equal:
        return number == m_number;
    case DataMergeRuleOperator::NotEqual:
        return number != m_number;
    case DataMergeRuleOperator::Less:
        return number < m_number;
    case DataMergeRuleOperator::LessOrEqual:
        return number <= m_number;
    case DataMergeRuleOperator::Greater:
        return number > m_number;
    case DataMergeRuleOperator::GreaterOrEqual:
        return number >= m_number;
    default:
        return false;
    }
}

template <class Compare>
std::uint64_t ClauseTest::TestNumbers(std::size_t word, Compare const& compare) const {
    auto const* const numbers = m_numbers.data() + word * 64;
    auto const count = std::min<std::size_t>(64, m_numbers.size() - word * 64);
    std::uint64_t answers = 0;
    // Four at a time, so that the bits do not wait for each other.
    std::size_t at = 0;
    for (; at + 4 <= count; at += 4) {
        auto const four = unsigned(compare(numbers[at], m_number)) | unsigned(compare(numbers[at + 1], m_number)) << 1 |
                          unsigned(compare(numbers[at + 2], m_number)) << 2 |
                          unsigned(compare(numbers[at + 3], m_number)) << 3;
        answers |= std::uint64_t(four) << at;
    }
    for (; at != count; ++at)
        answers |= std::uint64_t(compare(numbers[at], m_number)) << at;
    return answers;
}

std::uint64_t ClauseTest::TestNumbers(std::size_t word) const {
    switch (m_clause.comparison) {
    case DataMergeRuleOperator::Equal:
        return TestNumbers(word, std::equal_to<double>());
    case DataMergeRuleOperator::NotEqual:
        return TestNumbers(word, std::not_equal_to<double>());
    case DataMergeRuleOperator::Less:
        return TestNumbers(word, std::less<double>());
    case DataMergeRuleOperator::LessOrEqual:
        return TestNumbers(word, std::less_equal<double>());
    case DataMergeRuleOperator::Greater:
        return TestNumbers(word, std::greater<double>());
    case DataMergeRuleOperator::GreaterOrEqual:
        return TestNumbers(word, std::greater_equal<double>());
    default:
        return 0;
    }
}

std::uint64_t ClauseTest::TestCodes(std::size_t word) const {
    auto const* const codes = m_codes.data() + word * 64;
    auto const count = std::min<std::size_t>(64, m_codes.size() - word * 64);
    std::uint64_t answers = 0;
    for (std::size_t at = 0; at != count; ++at)
        answers |= std::uint64_t(m_answers[codes[at]]) << at;
    return answers;
}

std::uint64_t ClauseTest::TestTexts(std::size_t word, std::uint64_t candidates, AbortLook& look) const {
    std::uint64_t answers = 0;
    ColumnRun run;
    ForRows(word, candidates, [&](std::uint32_t row) {
        if (row - run.firstRow >= run.rowCount)
            run = m_table.GetRun(row, m_column);
        answers |= std::uint64_t(TestText(run.Get(row), look)) << row % 64;
        look.Spend(20);
    });
    return answers;
}

std::uint64_t ClauseTest::TestReplaced(std::size_t word, std::uint64_t candidates, std::uint64_t answers) const {
    ForRows(word, candidates, [&](std::uint32_t row) {
        if (auto const code = m_replaced->codes[row]) {
            auto const bit = std::uint64_t(1) << row % 64;
            answers = m_replacedAnswers[code - 1] != 0 ? answers | bit : answers & ~bit;
        }
    });
    return answers;
}

std::uint64_t ClauseTest::Test(std::size_t word, std::uint64_t candidates, AbortLook& look) const {
    std::uint64_t answers = 0;
    switch (m_manner) {
    case Manner::Constant:
        return m_constant ? candidates : 0;
    case Manner::Numbers:
        answers = TestNumbers(word);
        break;
    case Manner::Codes:
        answers = TestCodes(word);
        break;
    case Manner::Texts:
        answers = TestTexts(word, candidates, look);
        break;
    }
    if (m_replaced != nullptr)
        answers = TestReplaced(word, candidates, answers);
    return answers & candidates;
}

RuleTest MakeRuleTest(WorkingRecords& records, Rule const& rule) {
    std::vector<ClauseTest> tests;
    for (auto const& clause : rule.clauses)
        tests.emplace_back(records, clause);
    return {std::move(tests), rule.combine};
}

} // namespace Records
