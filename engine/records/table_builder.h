// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/table_content.h"

namespace Records {

// As much as tables take that are made field by field.
inline constexpr std::uint64_t c_mostTableBytes = std::uint64_t(2) << 30;

// Makes a table, field by field or of groups of rows.
class TableBuilder {
public:
    // Fields that are set and rows of columns beyond `maximumBytes` in memory are refused with Kernel::Exception: a few
    // bytes of a file can ask for many rows of many columns.
    explicit TableBuilder(std::uint64_t maximumBytes = ~std::uint64_t(0)) : m_maximumBytes(maximumBytes) {}
    // A name that no other column has, never empty. Columns may be added after rows.
    std::size_t AddColumn(Kernel::String name);
    std::size_t GetColumnCount() const { return m_columns.size(); }
    Column const& GetColumn(std::size_t column) const { return m_columns[column].column; }
    std::uint32_t GetRowCount() const { return m_rowCount + m_pendingRows; }

    // A field of the row that is being made. Fields that are not set are empty; of one that is set twice the first
    // stays and false is the answer.
    bool SetField(std::size_t column, std::string_view text);
    void EndRow();
    void AddGroup(RowGroup group);
    // Takes rows at the end of which no field has a character away, and says how many.
    std::uint32_t RemoveEmptyRowsAtEnd();
    // The whole table. The mark is found by looking at the fields where it is 0; `isSemicolonUsual`: fields are divided
    // by semicolons, as where the comma is the decimal mark.
    TableRef Finish(char decimalMark, bool isSemicolonUsual);
    // The one that was given or found.
    char GetDecimalMark() const { return m_decimalMark; }

private:
    struct Pending {
        Column column;
        std::string bytes;
        // Ends of the fields of the pending rows; those of later rows are empty.
        std::vector<std::uint32_t> ends;
    };
    void FlushRows();

    std::uint64_t m_maximumBytes, m_bytes = 0;
    std::vector<Pending> m_columns;
    std::vector<RowGroup> m_groups;
    std::uint32_t m_rowCount = 0, m_pendingRows = 0;
    std::size_t m_pendingBytes = 0;
    char m_decimalMark = '.';
};

} // namespace Records
