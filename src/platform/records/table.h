// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/countable.h"
#include "platform/kernel/counted.h"
#include "platform/kernel/string.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

// Tables of records, as a data merge reads them: where they come from (read_table.h) and how their records are chosen,
// sorted and changed (pipeline.h).
namespace Records {

// How the fields of a column are taken, found by looking at all of them. ImagePath: paths of picture files.
enum class ColumnType : std::uint8_t { Text, Number, Date, ImagePath };

struct Column {
    // Of the header, without spaces around it; never empty, and no two columns have one name.
    Kernel::String name;
    ColumnType type = ColumnType::Text;
};

// Something about the data that the user should know.
struct Warning {
    static constexpr std::int64_t c_noRow = -1;
    // Of the table, counted from 0.
    std::int64_t row = c_noRow;
    // Empty: none.
    Kernel::String column;
    Kernel::String text;
    friend bool operator==(Warning const&, Warning const&) = default;
};

// The distinct fields of a column.
struct Dictionary {
    // In the order of their bytes.
    std::vector<std::string_view> values;
    // For each row the place of its field among the values.
    std::vector<std::uint32_t> codes;
};

// The fields of one column in a run of rows, one behind the other in memory: the quick way to read many of them. Valid
// as long as the table.
struct ColumnRun {
    std::uint32_t firstRow = 0, rowCount = 0;
    // Where the fields begin in the bytes, and behind the last one where it ends. Null: all fields are empty.
    std::uint32_t const* starts = nullptr;
    char const* bytes = nullptr;

    // `row` of the table, within the run.
    std::string_view Get(std::uint32_t row) const {
        if (starts == nullptr)
            return {};
        auto const* const at = starts + (row - firstRow);
        return {bytes + at[0], at[1] - at[0]};
    }
};

struct TableContent;

// Records of equal columns. Immutable; may be read on any thread. What is worked out from the fields is made when it is
// first asked for, and kept; making it looks at the abort flag, where there is one, every millisecond or so, and throws
// Kernel::AbortException.
class REDRAFT_ENGINE Table : public virtual Kernel::Countable {
public:
    ~Table() override;
    std::uint32_t GetRowCount() const;
    std::size_t GetColumnCount() const;
    Column const& GetColumn(std::size_t column) const;
    // By its name, exactly.
    std::optional<std::size_t> FindColumn(std::string_view name) const;
    // The field as users read it, in UTF-8, without quotes; empty where the record has none. Valid as long as the
    // table.
    std::string_view GetText(std::uint32_t row, std::size_t column) const;
    // The run of rows that holds this one, which must be one of the table.
    ColumnRun GetRun(std::uint32_t row, std::size_t column) const;
    // A field of every row as a number; of a column of dates the milliseconds since 1970 in UTC. NaN where the field
    // is none. May be asked of a column of any type.
    std::span<double const> GetNumbers(std::size_t column, bool const* abort = nullptr) const;
    Dictionary const& GetDictionary(std::size_t column, bool const* abort = nullptr) const;
    // The number that a text stands for, as GetNumbers gives it; NaN for none. Numbers are written with the table's
    // decimal mark, dates in any form of which day and month are certain.
    double ParseField(std::string_view text, ColumnType type) const;
    // The same for a field of a column, whose dates may be such that only the column tells day from month.
    double ParseField(std::string_view text, std::size_t column) const;
    // The bytes that the table holds now.
    std::size_t GetSize() const;

private:
    friend class TableBuilder;
    explicit Table(std::unique_ptr<TableContent> content);
    std::unique_ptr<TableContent> m_content;
};
using TableRef = Kernel::Counted<Table const>;

} // namespace Records
