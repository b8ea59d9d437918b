// SPDX-License-Identifier: Apache-2.0
#include "engine/records/table_builder.h"

#include "platform/kernel/exception.h"
#include "platform/records/read_table.h"

#include <algorithm>
#include <cstring>

namespace Records {

namespace {

// As many bytes of fields as a group gets when it is made field by field.
constexpr std::size_t c_groupBytes = 512 << 10;

} // namespace

GroupMaker::GroupMaker(std::uint32_t rowCount, std::span<std::size_t const> sizes) {
    auto const startBytes = (std::size_t(rowCount) + 1) * sizeof(std::uint32_t);
    auto const roundUp = [](std::size_t size) {
        return (size + sizeof(std::uint32_t) - 1) / sizeof(std::uint32_t) * 4;
    };
    m_group.rowCount = rowCount;
    m_group.size = c_slack;
    for (auto const size : sizes)
        m_group.size += startBytes + roundUp(size);
    m_group.memory = std::make_unique_for_overwrite<std::byte[]>(m_group.size);
    auto* place = m_group.memory.get();
    for (auto const size : sizes) {
        auto* const starts = reinterpret_cast<std::uint32_t*>(place);
        auto* const bytes = reinterpret_cast<char*>(place + startBytes);
        m_starts.push_back(starts);
        m_bytes.push_back(bytes);
        m_group.columns.push_back({starts, bytes});
        place += startBytes + roundUp(size);
    }
}

RowGroup GroupMaker::Finish() {
    for (auto* const starts : m_starts)
        starts[0] = 0;
    for (auto const& part : m_group.columns) {
        auto readings = c_allReadings;
        for (std::uint32_t row = 0; row != m_group.rowCount && readings != 0; ++row)
            readings = FindReadings({part.bytes + part.starts[row], part.starts[row + 1] - part.starts[row]}, readings);
        m_group.readings.push_back(readings);
        m_group.isEmpty.push_back(part.starts[m_group.rowCount] == 0);
    }
    return std::move(m_group);
}

std::size_t TableBuilder::AddColumn(Kernel::String name) {
    m_columns.push_back({{std::move(name), ColumnType::Text}, {}, {}});
    return m_columns.size() - 1;
}

bool TableBuilder::SetField(std::size_t column, std::string_view text) {
    auto& pending = m_columns[column];
    if (pending.ends.size() > m_pendingRows)
        return false;
    pending.ends.resize(m_pendingRows, static_cast<std::uint32_t>(pending.bytes.size()));
    pending.bytes.append(text);
    pending.ends.push_back(static_cast<std::uint32_t>(pending.bytes.size()));
    m_pendingBytes += text.size();
    return true;
}

void TableBuilder::EndRow() {
    ++m_pendingRows;
    m_pendingBytes += m_columns.size() * sizeof(std::uint32_t);
    if (m_pendingBytes >= c_groupBytes)
        FlushRows();
}

void TableBuilder::FlushRows() {
    if (m_pendingRows == 0)
        return;
    m_bytes += m_pendingBytes;
    if (m_bytes > m_maximumBytes)
        throw Kernel::Exception("the table would have more than " + std::to_string(m_maximumBytes >> 30) + " GiB");
    std::vector<std::size_t> sizes;
    for (auto const& column : m_columns)
        sizes.push_back(column.bytes.size());
    GroupMaker maker(m_pendingRows, sizes);
    for (std::size_t i = 0; i != m_columns.size(); ++i) {
        auto& column = m_columns[i];
        column.ends.resize(m_pendingRows, static_cast<std::uint32_t>(column.bytes.size()));
        std::copy(column.ends.begin(), column.ends.end(), maker.GetStarts(i) + 1);
        std::copy(column.bytes.begin(), column.bytes.end(), maker.GetBytes(i));
        column.bytes.clear();
        column.ends.clear();
    }
    m_pendingRows = 0;
    m_pendingBytes = 0;
    AddGroup(maker.Finish());
}

void TableBuilder::AddGroup(RowGroup group) {
    m_rowCount += group.rowCount;
    if (group.rowCount != 0)
        m_groups.push_back(std::move(group));
}

std::uint32_t TableBuilder::RemoveEmptyRowsAtEnd() {
    FlushRows();
    std::uint32_t removed = 0;
    while (!m_groups.empty()) {
        auto& group = m_groups.back();
        std::uint32_t kept = 0;
        for (auto const& part : group.columns) {
            // The last row that adds bytes.
            auto const* const end = part.starts + group.rowCount;
            kept = std::max(kept, static_cast<std::uint32_t>(std::lower_bound(part.starts, end, *end) - part.starts));
        }
        removed += group.rowCount - kept;
        group.rowCount = kept;
        if (kept != 0)
            break;
        m_groups.pop_back();
    }
    m_rowCount -= removed;
    return removed;
}

TableRef TableBuilder::Finish(char decimalMark, bool isSemicolonUsual) {
    FlushRows();
    auto content = std::make_unique<TableContent>();
    std::vector<Readings> all;
    int pointColumns = 0, commaColumns = 0;
    for (std::size_t i = 0; i != m_columns.size(); ++i) {
        auto readings = c_allReadings;
        bool isEmpty = true;
        for (auto const& group : m_groups) {
            if (i >= group.columns.size() || group.isEmpty[i])
                continue;
            isEmpty = false;
            readings &= group.readings[i];
        }
        all.push_back(isEmpty ? Readings(0) : readings);
        pointColumns += (all.back() & c_anyNumber) == c_numberWithPoint;
        commaColumns += (all.back() & c_anyNumber) == c_numberWithComma;
    }
    m_decimalMark = decimalMark;
    if (decimalMark == 0)
        m_decimalMark = commaColumns > pointColumns || (commaColumns == pointColumns && isSemicolonUsual) ? ',' : '.';
    for (std::size_t i = 0; i != m_columns.size(); ++i) {
        auto const reading = ChooseReading(all[i], m_decimalMark);
        content->readings.push_back(reading);
        content->columns.push_back({m_columns[i].column.name, GetType(reading)});
    }
    content->groups = std::move(m_groups);
    content->decimalMark = m_decimalMark;
    content->Index();
    return TableRef(new Table(std::move(content)));
}

} // namespace Records
