// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/records/steps/naive_steps.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <unicode/coll.h>

namespace StepTests {

using namespace Records;

namespace {

class NaiveRun {
public:
    NaiveRun(Table const& table, char const* locale) : m_table(table) {
        for (std::uint32_t row = 0; row != table.GetRowCount(); ++row) {
            m_result.rows.push_back(row);
            m_fields.emplace_back();
            for (std::size_t column = 0; column != table.GetColumnCount(); ++column)
                m_fields.back().emplace_back(table.GetText(row, column));
        }
        UErrorCode status = U_ZERO_ERROR;
        m_collator.reset(icu::Collator::createInstance(icu::Locale(locale), status));
    }

    void operator()(SelectRecords const& step) {
        Keep([&](auto row) { return step.rows.Contains(row); });
    }
    void operator()(MatchRecords const& step) {
        if (step.rules.empty())
            return;
        for (auto const& rule : step.rules)
            NameFields(rule);
        Keep([&](auto row) {
            std::vector<bool> answers;
            for (auto const& rule : step.rules)
                answers.push_back(IsTrue(rule, row));
            return Combine(answers, step.combine);
        });
    }
    void operator()(ProcessRecords const& step) {
        if (step.action == ProcessRecords::Action::Replace)
            FindColumn(step.field);
        NameFields(step.rule);
        if (step.action == ProcessRecords::Action::Skip) {
            Keep([&](auto row) { return !IsTrue(step.rule, row); });
            return;
        }
        std::vector<std::uint32_t> found;
        std::copy_if(m_result.rows.begin(), m_result.rows.end(), std::back_inserter(found),
                     [&](auto row) { return IsTrue(step.rule, row); });
        for (auto const row : found) {
            if (step.action == ProcessRecords::Action::Warn) {
                Warn({row, step.rule.clauses.empty() ? Kernel::String() : step.rule.clauses[0].field, step.message});
            } else if (auto const column = m_table.FindColumn(step.field.view())) {
                m_fields[row][*column] = step.value.ToStdString();
            }
        }
    }
    void operator()(SortRecords const& step) {
        auto const column = FindColumn(step.field);
        if (!column)
            return;
        std::stable_sort(m_result.rows.begin(), m_result.rows.end(), [&](auto a, auto b) {
            auto const &textA = m_fields[a][*column], &textB = m_fields[b][*column];
            auto const classA = FindClass(textA, *column), classB = FindClass(textB, *column);
            if (classA != classB || classA == 2)
                return classA < classB;
            if (classA == 0) {
                auto const numberA = m_table.ParseField(textA, *column), numberB = m_table.ParseField(textB, *column);
                return step.ascending ? numberA < numberB : numberA > numberB;
            }
            UErrorCode status = U_ZERO_ERROR;
            auto const compared = m_collator->compareUTF8(textA, textB, status);
            return step.ascending ? compared < 0 : compared > 0;
        });
    }
    void operator()(RunScript const&) {}

    NaiveResult Finish() {
        for (auto const row : m_result.rows)
            m_result.fields.push_back(m_fields[row]);
        return m_result;
    }

private:
    void Keep(std::function<bool(std::uint32_t)> const& isKept) {
        std::erase_if(m_result.rows, [&](auto row) { return !isKept(row); });
    }
    void Warn(Warning warning) {
        if (m_result.warnings.size() < 100)
            m_result.warnings.push_back(std::move(warning));
        else
            ++m_result.furtherWarnings;
    }
    std::optional<std::size_t> FindColumn(Kernel::String const& name) {
        auto const column = m_table.FindColumn(name.view());
        if (!column && m_unknown.insert(name).second)
            Warn({Warning::c_noRow, name, "there is no field of this name"});
        return column;
    }
    void NameFields(Rule const& rule) {
        for (auto const& clause : rule.clauses)
            FindColumn(clause.field);
    }

    // Values, other texts, empty ones.
    int FindClass(std::string const& text, std::size_t column) const {
        if (text.empty())
            return 2;
        auto const type = m_table.GetColumn(column).type;
        bool const isByValue = type == ColumnType::Number || type == ColumnType::Date;
        return isByValue && !std::isnan(m_table.ParseField(text, column)) ? 0 : 1;
    }

    static bool Combine(std::vector<bool> const& answers, DataMergeRuleAggregateFunction combine) {
        auto const count = std::count(answers.begin(), answers.end(), true);
        switch (combine) {
        case DataMergeRuleAggregateFunction::All:
            return count == static_cast<std::ptrdiff_t>(answers.size());
        case DataMergeRuleAggregateFunction::Any:
            return count != 0;
        case DataMergeRuleAggregateFunction::None:
            return count == 0;
        }
        return false;
    }
    bool IsTrue(Rule const& rule, std::uint32_t row) const {
        std::vector<bool> answers;
        for (auto const& clause : rule.clauses)
            answers.push_back(IsTrue(clause, row));
        return Combine(answers, rule.combine);
    }
    template <class T>
    static bool Compare(T const& field, T const& value, DataMergeRuleOperator comparison) {
        switch (comparison) {
        case DataMergeRuleOperator::Equal:
            return field == value;
        case DataMergeRuleOperator::Less:
            return field < value;
        case DataMergeRuleOperator::LessOrEqual:
            return field <= value;
        case DataMergeRuleOperator::Greater:
            return field > value;
        default:
            return field >= value;
        }
    }
    bool IsTrue(Clause const& clause, std::uint32_t row) const {
        auto const column = m_table.FindColumn(clause.field.view());
        auto const field = column ? m_fields[row][*column] : std::string();
        auto const value = clause.value.ToStdString();
        switch (clause.comparison) {
        case DataMergeRuleOperator::NotEqual:
            return !IsTrue({clause.field, DataMergeRuleOperator::Equal, clause.value, true, {}}, row);
        case DataMergeRuleOperator::Contains:
            return field.find(value) != std::string::npos;
        case DataMergeRuleOperator::DoesNotContain:
            return field.find(value) == std::string::npos;
        case DataMergeRuleOperator::BeginsWith:
            return field.substr(0, value.size()) == value;
        case DataMergeRuleOperator::EndsWith:
            return field.size() >= value.size() && field.substr(field.size() - value.size()) == value;
        case DataMergeRuleOperator::IsEmpty:
            return field.empty();
        case DataMergeRuleOperator::IsNotEmpty:
            return !field.empty();
        case DataMergeRuleOperator::IsIncluded:
            return clause.exceptions.contains(Kernel::String(field)) ? !clause.defaultInclude : clause.defaultInclude;
        default:
            break;
        }
        auto const number = column ? m_table.ParseField(value, *column) : std::nan("");
        return std::isnan(number) ? Compare(field, value, clause.comparison)
                                  : Compare(m_table.ParseField(field, *column), number, clause.comparison);
    }

    Table const& m_table;
    NaiveResult m_result;
    // Of all rows, with what replaces them.
    std::vector<std::vector<std::string>> m_fields;
    std::set<Kernel::String> m_unknown;
    std::unique_ptr<icu::Collator> m_collator;
};

} // namespace

NaiveResult RunNaively(Table const& table, std::vector<Step> const& steps, char const* locale) {
    NaiveRun run(table, locale);
    for (auto const& step : steps)
        std::visit(run, step);
    return run.Finish();
}

} // namespace StepTests
