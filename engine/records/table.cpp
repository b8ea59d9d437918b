// SPDX-License-Identifier: Apache-2.0
#include "engine/records/table_content.h"

#include "platform/kernel/abort_flag.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace Records {

void TableContent::Index() {
    rowCount = 0;
    for (auto& group : groups) {
        group.firstRow = rowCount;
        rowCount += group.rowCount;
    }
    // About as many entries as four times the groups, so that few groups are passed over.
    rowShift = 0;
    while (rowCount >> rowShift > 4 * groups.size() + 16)
        ++rowShift;
    groupOfRows.assign(rowCount == 0 ? 0 : ((rowCount - 1) >> rowShift) + 1, 0);
    for (std::size_t i = 0, group = 0; i != groupOfRows.size(); ++i) {
        auto const row = static_cast<std::uint32_t>(i << rowShift);
        while (row - groups[group].firstRow >= groups[group].rowCount)
            ++group;
        groupOfRows[i] = static_cast<std::uint32_t>(group);
    }
    sortedColumns.resize(columns.size());
    std::iota(sortedColumns.begin(), sortedColumns.end(), 0u);
    std::sort(sortedColumns.begin(), sortedColumns.end(),
              [&](auto a, auto b) { return columns[a].name.view() < columns[b].name.view(); });
    numbers = std::make_unique<Lazy<std::vector<double>>[]>(columns.size());
    dictionaries = std::make_unique<Lazy<Dictionary>[]>(columns.size());
}

Table::Table(std::unique_ptr<TableContent> content) : m_content(std::move(content)) {}
Table::~Table() = default;

std::uint32_t Table::GetRowCount() const { return m_content->rowCount; }
std::size_t Table::GetColumnCount() const { return m_content->columns.size(); }
Column const& Table::GetColumn(std::size_t column) const { return m_content->columns.at(column); }

std::optional<std::size_t> Table::FindColumn(std::string_view name) const {
    auto const& columns = m_content->columns;
    auto const& sorted = m_content->sortedColumns;
    auto const at = std::lower_bound(sorted.begin(), sorted.end(), name,
                                     [&](auto column, auto wanted) { return columns[column].name.view() < wanted; });
    if (at == sorted.end() || columns[*at].name.view() != name)
        return std::nullopt;
    return *at;
}

ColumnRun Table::GetRun(std::uint32_t row, std::size_t column) const {
    auto const& group = m_content->FindGroup(row);
    ColumnRun run{group.firstRow, group.rowCount, nullptr, nullptr};
    if (column < group.columns.size()) {
        run.starts = group.columns[column].starts;
        run.bytes = group.columns[column].bytes;
    }
    return run;
}

std::string_view Table::GetText(std::uint32_t row, std::size_t column) const {
    if (row >= m_content->rowCount)
        return {};
    auto const& group = m_content->FindGroup(row);
    if (column >= group.columns.size())
        return {};
    auto const& part = group.columns[column];
    auto const* const at = part.starts + (row - group.firstRow);
    return {part.bytes + at[0], at[1] - at[0]};
}

std::span<double const> Table::GetNumbers(std::size_t column, bool const* abort) const {
    auto const& kept = m_content->numbers[column];
    if (auto const* const found = kept.Find())
        return *found;
    auto const reading = m_content->readings[column];
    auto const isNumber = reading != 0 && reading != c_imagePath;
    auto const used = isNumber ? reading : m_content->decimalMark == ',' ? c_numberWithComma : c_numberWithPoint;
    auto numbers = std::make_unique<std::vector<double>>(m_content->rowCount, std::numeric_limits<double>::quiet_NaN());
    Kernel::ParallelFor(m_content->groups.size(), [&](std::size_t index) {
        auto const& group = m_content->groups[index];
        if (column >= group.columns.size())
            return;
        auto const& part = group.columns[column];
        auto* const values = numbers->data() + group.firstRow;
        for (std::uint32_t row = 0; row != group.rowCount; ++row) {
            if (row % 4096 == 0 && Kernel::IsAbortSet(abort))
                throw Kernel::AbortException();
            auto const begin = part.starts[row], end = part.starts[row + 1];
            if (begin != end)
                values[row] = ReadField({part.bytes + begin, end - begin}, used);
        }
    });
    return kept.Keep(std::move(numbers));
}

Dictionary const& Table::GetDictionary(std::size_t column, bool const* abort) const {
    auto const& kept = m_content->dictionaries[column];
    if (auto const* const found = kept.Find())
        return *found;
    return kept.Keep(MakeDictionary(*this, column, abort));
}

double Table::ParseField(std::string_view text, ColumnType type) const {
    if (type == ColumnType::Number)
        return ReadField(text, m_content->decimalMark == ',' ? c_numberWithComma : c_numberWithPoint);
    if (type != ColumnType::Date)
        return std::numeric_limits<double>::quiet_NaN();
    auto const reading = ChooseReading(FindReadings(text, c_anyDate), m_content->decimalMark);
    return reading == 0 ? std::numeric_limits<double>::quiet_NaN() : ReadField(text, reading);
}

double Table::ParseField(std::string_view text, std::size_t column) const {
    auto const type = m_content->columns[column].type;
    if (type != ColumnType::Date)
        return ParseField(text, type);
    auto const value = ReadField(text, m_content->readings[column]);
    return value == value ? value : ParseField(text, type);
}

std::size_t Table::GetSize() const {
    std::size_t size = sizeof *this + sizeof *m_content;
    for (auto const& group : m_content->groups)
        size += group.size + sizeof group + group.columns.size() * (sizeof(RowGroup::Part) + sizeof(Readings));
    for (std::size_t column = 0; column != m_content->columns.size(); ++column) {
        if (auto const* const numbers = m_content->numbers[column].Find())
            size += numbers->size() * sizeof(double);
        if (auto const* const dictionary = m_content->dictionaries[column].Find())
            size +=
                dictionary->codes.size() * sizeof(std::uint32_t) + dictionary->values.size() * sizeof(std::string_view);
        size += m_content->columns[column].name.size();
    }
    return size + m_content->groupOfRows.size() * sizeof(std::uint32_t) +
           m_content->columns.size() * (sizeof(Column) + sizeof(Readings) + 2 * sizeof(void*) + sizeof(std::uint32_t));
}

} // namespace Records
