// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/record_reader.h"
#include "platform/records/read_table.h"

#include <string>
#include <vector>

namespace RecordTests {

using Rows = std::vector<std::vector<std::string>>;

// The names of the columns, then the records.
inline Rows GetRows(Records::Table const& table) {
    Rows rows(1);
    for (std::size_t column = 0; column != table.GetColumnCount(); ++column)
        rows[0].push_back(table.GetColumn(column).name.ToStdString());
    for (std::uint32_t row = 0; row != table.GetRowCount(); ++row) {
        auto& fields = rows.emplace_back();
        for (std::size_t column = 0; column != table.GetColumnCount(); ++column)
            fields.emplace_back(table.GetText(row, column));
    }
    return rows;
}

} // namespace RecordTests
