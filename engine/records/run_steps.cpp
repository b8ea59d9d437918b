// SPDX-License-Identifier: Apache-2.0
#include "engine/records/steps.h"

namespace Records {

Result::~Result() = default;

std::string_view Result::GetText(std::size_t place, std::size_t column) const {
    if (!table || place >= rows.size() || column >= table->GetColumnCount())
        return {};
    auto const row = rows[place];
    for (auto const& replaced : replacements) {
        if (replaced.column == column && replaced.codes[row] != 0)
            return replaced.values[replaced.codes[row] - 1].view();
    }
    return table->GetText(row, column);
}

std::string_view Result::GetText(std::size_t place, std::string_view column) const {
    auto const found = table ? table->FindColumn(column) : std::nullopt;
    return found ? GetText(place, *found) : std::string_view();
}

Kernel::Counted<Result const> RunSteps(TableRef table, std::vector<Step> const& steps, Options const& options,
                                       bool const* abort) {
    AbortLook(abort).Now();
    if (!table)
        return Kernel::MakeCounted<Result>();
    WorkingRecords records(std::move(table), options, abort);
    for (auto const& step : steps) {
        AbortLook(abort).Now();
        std::visit([&](auto const& known) { TakeStep(records, known); }, step);
    }
    return records.Finish();
}

} // namespace Records
