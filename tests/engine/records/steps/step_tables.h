// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/table_builder.h"
#include "platform/records/pipeline.h"

#include <random>
#include <string>
#include <vector>

// Tables and steps for tests of steps.
namespace StepTests {

using Rows = std::vector<std::uint32_t>;

inline Records::TableRef MakeTable(std::vector<std::string> const& columns,
                                   std::vector<std::vector<std::string>> const& rows) {
    Records::TableBuilder builder;
    for (auto const& column : columns)
        builder.AddColumn(Kernel::String(column));
    for (auto const& row : rows) {
        for (std::size_t column = 0; column != row.size(); ++column)
            builder.SetField(column, row[column]);
        builder.EndRow();
    }
    return builder.Finish('.', false);
}

inline Records::TableRef MakeOneColumn(std::vector<std::string> const& fields) {
    std::vector<std::vector<std::string>> rows;
    for (auto const& field : fields)
        rows.push_back({field});
    return MakeTable({"a"}, rows);
}

inline Records::Clause MakeClause(char const* field, DataMergeRuleOperator comparison, char const* value = "") {
    return {field, comparison, value, true, {}};
}

inline Records::MatchRecords MatchAll(std::vector<Records::Clause> clauses) {
    return {{{std::move(clauses), DataMergeRuleAggregateFunction::All}}, DataMergeRuleAggregateFunction::All};
}

inline Kernel::Counted<Records::Result const>
Take(Records::TableRef const& table, std::vector<Records::Step> const& steps, Records::Options const& options = {}) {
    return Records::RunSteps(table, steps, options, nullptr);
}

// The rows of which one clause on the column "a" is true.
inline Rows FindRows(Records::TableRef const& table, DataMergeRuleOperator comparison, char const* value = "") {
    return Take(table, {MatchAll({MakeClause("a", comparison, value)})})->rows;
}

// The first column in the order of the records.
inline std::vector<std::string> ListFields(Records::Result const& result, std::string_view column = "a") {
    std::vector<std::string> fields;
    for (std::size_t place = 0; place != result.rows.size(); ++place)
        fields.emplace_back(result.GetText(place, column));
    return fields;
}

// Columns "text" of some words and odd texts, "number", "date", "few" of few words, "id" of many; some fields are
// empty.
inline Records::TableRef MakeRandomTable(std::mt19937& random, std::size_t rowCount) {
    char const* const words[] = {"",
                                 "a",
                                 "A",
                                 "b",
                                 "ab",
                                 "aB",
                                 "Zebra",
                                 "zebra",
                                 "é",
                                 "e",
                                 "\xC3\x89"
                                 "a",
                                 "1",
                                 "10",
                                 "9",
                                 "1.0",
                                 "a b",
                                 "a-b",
                                 " ",
                                 "\xF0\x9F\x98\x80",
                                 "-",
                                 "co-op",
                                 "coop",
                                 "CO-OP"};
    auto const pick = [&](std::size_t count) { return static_cast<std::size_t>(random() % count); };
    std::vector<std::vector<std::string>> rows;
    for (std::size_t row = 0; row != rowCount; ++row) {
        std::string text = words[pick(std::size(words))];
        if (pick(3) == 0)
            text += words[pick(std::size(words))];
        std::string const number = pick(8) == 0   ? ""
                                   : pick(2) == 0 ? std::to_string(int(pick(20)) - 10)
                                                  : std::to_string(int(pick(20)) - 10) + ".50";
        std::string const day = std::to_string(pick(9) + 1);
        std::string const date = pick(8) == 0 ? "" : "2024-0" + std::to_string(pick(9) + 1) + "-0" + day;
        rows.push_back({text, number, date, words[pick(5)], "id " + std::to_string(pick(rowCount * 2))});
    }
    return MakeTable({"text", "number", "date", "few", "id"}, rows);
}

} // namespace StepTests
