// SPDX-License-Identifier: Apache-2.0
#include "engine/records/steps.h"

#include "engine/records/field_tests.h"

#include <algorithm>

namespace Records {

namespace {

// The rows that are left of which a test is true.
template <class Test>
RowSet FindRows(WorkingRecords const& records, Test const& test) {
    auto const& rows = records.GetRows();
    RowSet found(records.GetTable().GetRowCount());
    records.ForWords(100, [&](std::size_t word, AbortLook& look) {
        if (auto const candidates = rows.GetWord(word))
            found.SetWord(word, test.Test(word, candidates, look));
    });
    return found;
}

// The beginning of a field that is too long for a message.
std::string_view Shorten(std::string_view field) {
    constexpr std::size_t c_longest = 200;
    auto end = std::min(field.size(), c_longest);
    while (end != field.size() && (static_cast<unsigned char>(field[end]) & 0xC0) == 0x80)
        --end;
    return field.substr(0, end);
}

// With the record's fields in place of their names in braces.
Kernel::String MakeMessage(WorkingRecords const& records, std::string_view message, std::uint32_t row) {
    if (message.empty())
        return "the rule is true of this record";
    std::string text;
    while (!message.empty()) {
        auto const open = message.find('{');
        text += message.substr(0, open);
        if (open == std::string_view::npos)
            break;
        message.remove_prefix(open);
        auto const close = message.find('}');
        auto const column = close == std::string_view::npos
                                ? std::nullopt
                                : records.GetTable().FindColumn(message.substr(1, close - 1));
        // Of braces in braces the inner ones may name a field.
        text += column ? Shorten(records.GetText(row, *column)) : message.substr(0, 1);
        message.remove_prefix(column ? close + 1 : 1);
    }
    return Kernel::String(text);
}

void WarnOfRows(WorkingRecords& records, RowSet const& rows, ProcessRecords const& step) {
    std::uint64_t left = rows.GetCount();
    AbortLook look(records.GetAbortFlag());
    auto const column = step.rule.clauses.empty() ? Kernel::String() : step.rule.clauses.front().field;
    auto const order = left == 0 || !records.HasRoomForWarnings() ? std::vector<std::uint32_t>() : records.ListRows();
    for (auto const row : order) {
        if (left == 0 || !records.HasRoomForWarnings())
            break;
        look.Spend(2);
        if (!rows.Contains(row))
            continue;
        records.Warn({row, column, MakeMessage(records, step.message.view(), row)});
        --left;
    }
    records.CountFurtherWarnings(left);
}

RowSet Subtract(RowSet from, RowSet const& rows) {
    for (std::size_t word = 0; word != from.GetWordCount(); ++word)
        from.SetWord(word, from.GetWord(word) & ~rows.GetWord(word));
    return from;
}

} // namespace

void TakeStep(WorkingRecords& records, SelectRecords const& step) {
    std::int64_t const rowCount = records.GetTable().GetRowCount();
    RowSet selected(records.GetTable().GetRowCount());
    AbortLook look(records.GetAbortFlag());
    for (auto const& range : step.rows.GetRanges()) {
        auto const first = std::clamp<std::int64_t>(range.first, 0, rowCount);
        auto const last = std::clamp<std::int64_t>(range.last, 0, rowCount);
        selected.AddRange(static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(last));
        look.Spend(10 + static_cast<std::size_t>(last - first) / 32);
    }
    for (std::size_t word = 0; word != selected.GetWordCount(); ++word)
        selected.SetWord(word, selected.GetWord(word) & records.GetRows().GetWord(word));
    records.SetRows(std::move(selected));
}

void TakeStep(WorkingRecords& records, MatchRecords const& step) {
    if (step.rules.empty())
        return;
    std::vector<RuleTest> rules;
    for (auto const& rule : step.rules)
        rules.push_back(MakeRuleTest(records, rule));
    records.SetRows(FindRows(records, CombinedTest<RuleTest>(std::move(rules), step.combine)));
}

void TakeStep(WorkingRecords& records, ProcessRecords const& step) {
    auto const column = step.action == ProcessRecords::Action::Replace ? records.FindColumn(step.field) : std::nullopt;
    auto const rows = FindRows(records, MakeRuleTest(records, step.rule));
    switch (step.action) {
    case ProcessRecords::Action::Warn:
        WarnOfRows(records, rows, step);
        break;
    case ProcessRecords::Action::Replace:
        if (column)
            records.Replace(rows, *column, step.value);
        break;
    case ProcessRecords::Action::Skip:
        records.SetRows(Subtract(records.GetRows(), rows));
        break;
    }
}

} // namespace Records
