// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/abort_look.h"
#include "engine/records/row_set.h"
#include "platform/records/pipeline.h"

#include <functional>

namespace Records {

// The records of a table on their way through the steps.
class WorkingRecords {
public:
    WorkingRecords(TableRef table, Options const& options, bool const* abort);

    Table const& GetTable() const { return *m_table; }
    Options const& GetOptions() const { return m_options; }
    bool const* GetAbortFlag() const { return m_abort; }

    // The rows that are left, without their order.
    RowSet const& GetRows() const { return m_rows; }
    void SetRows(RowSet rows) { m_rows = std::move(rows); }
    // The rows that are left, in their order.
    std::vector<std::uint32_t> ListRows() const;
    // The same rows in another order.
    void SetOrder(std::vector<std::uint32_t> rows);

    // Null: no field of the column has been replaced.
    ReplacedColumn const* FindReplaced(std::size_t column) const;
    // Gives the fields of a column another value.
    void Replace(RowSet const& rows, std::size_t column, Kernel::String const& value);
    // With what replaces it.
    std::string_view GetText(std::uint32_t row, std::size_t column) const;

    // With a warning, once for each name, where there is none.
    std::optional<std::size_t> FindColumn(Kernel::String const& name);
    void Warn(Warning warning);
    void CountFurtherWarnings(std::uint64_t count) { m_furtherWarnings += count; }
    bool HasRoomForWarnings() const;

    // Calls visit(word, look) for the words of the set of rows in parallel, each once, and looks at the abort flag.
    // `work`: what Spend is told for each word beside what visit spends.
    void ForWords(std::size_t work, std::function<void(std::size_t word, AbortLook& look)> const& visit) const;

    Kernel::Counted<Result const> Finish();

private:
    TableRef m_table;
    Options const& m_options;
    bool const* m_abort;
    RowSet m_rows;
    // Where the records have another order than the table. May hold rows that have gone since.
    std::optional<std::vector<std::uint32_t>> m_order;
    std::vector<ReplacedColumn> m_replaced;
    std::set<Kernel::String> m_unknown;
    std::vector<Warning> m_warnings;
    std::uint64_t m_furtherWarnings = 0;
};

// Reads fields of one column, with what replaces them, one after the other.
class FieldReader {
public:
    FieldReader(WorkingRecords const& records, std::size_t column)
        : m_table(records.GetTable()), m_column(column), m_replaced(records.FindReplaced(column)) {}
    std::string_view Get(std::uint32_t row) {
        if (m_replaced != nullptr && m_replaced->codes[row] != 0)
            return m_replaced->values[m_replaced->codes[row] - 1].view();
        if (row - m_run.firstRow >= m_run.rowCount)
            m_run = m_table.GetRun(row, m_column);
        return m_run.Get(row);
    }
    bool IsReplaced(std::uint32_t row) const { return m_replaced != nullptr && m_replaced->codes[row] != 0; }

private:
    Table const& m_table;
    std::size_t m_column;
    ReplacedColumn const* m_replaced;
    ColumnRun m_run;
};

} // namespace Records
