// SPDX-License-Identifier: Apache-2.0
#include "engine/records/spreadsheet_reader.h"

#include "engine/records/column_names.h"
#include "engine/records/sniffer.h"
#include "engine/records/spreadsheet_parts.h"
#include "engine/records/table_builder.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <charconv>

namespace Records {

namespace {

constexpr std::uint32_t c_mostSheetRows = 1 << 20;
// By as many rows it is decided whether the first one is a header.
constexpr std::size_t c_sampleRows = 100;

std::string_view const c_noDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

// One row of a sheet. The texts of cells that are not there are empty.
struct SheetRow {
    std::uint32_t number = 0;
    std::vector<std::string> cells;
};

class SheetReading {
public:
    SheetReading(Workbook const& workbook, ReadOptions const& options)
        : m_workbook(workbook), m_options(options), m_builder(c_mostTableBytes) {}

    void Run(ZipPackage const& package, std::string const& part) {
        ElementRuns runs(part, "sheetData", "row", [&](pugi::xml_node row) { ReadRow(row); });
        package.ReadPart(part, [&](std::string_view piece) { runs.Take(piece); });
        runs.Finish();
        if (!m_isBegun)
            Begin();
        if (m_builder.GetColumnCount() == 0)
            m_warnings.Add("there are no data");
        if (auto const removed = m_builder.RemoveEmptyRowsAtEnd(); removed != 0)
            m_warnings.Add(removed == 1 ? "an empty record at the end was left out"
                                        : std::to_string(removed) + " empty records at the end were left out");
    }

    ReadResult Finish() {
        ReadResult result;
        result.used = m_options;
        result.used.header = m_hasHeader ? HeaderRow::Present : HeaderRow::Absent;
        result.table = m_builder.Finish(m_options.decimalMark, false);
        result.used.decimalMark = m_builder.GetDecimalMark();
        result.warnings = std::move(m_warnings.GetWarnings());
        result.furtherWarnings = m_warnings.GetFurther();
        return result;
    }

private:
    void ReadRow(pugi::xml_node row) {
        auto const number = row.attribute("r").as_ullong(m_lastRow + 1ull);
        if (number <= m_lastRow || number > c_mostSheetRows)
            throw Kernel::Exception("row " + std::to_string(number) + " of the sheet is not where a row can be");
        m_lastRow = static_cast<std::uint32_t>(number);
        SheetRow cells{m_lastRow, {}};
        for (auto const cell : row.children()) {
            if (GetLocalName(cell) != "c")
                continue;
            auto const column = FindColumn(cell.attribute("r").value(), cells.cells.size());
            if (column >= c_maximumColumns)
                throw Kernel::Exception("row " + std::to_string(number) + " of the sheet has more than " +
                                        std::to_string(c_maximumColumns) + " columns");
            if (cells.cells.size() <= column)
                cells.cells.resize(column + 1);
            ReadCell(cell, column, cells);
        }
        while (!cells.cells.empty() && cells.cells.back().empty())
            cells.cells.pop_back();
        // Rows that are only formatted.
        if (cells.cells.empty())
            return;
        if (m_isBegun)
            return AddRow(cells);
        m_sample.push_back(std::move(cells));
        if (m_sample.size() == c_sampleRows)
            Begin();
    }

    // From 0, by a reference such as AB12; the next one where there is none.
    static std::size_t FindColumn(std::string_view reference, std::size_t next) {
        auto const letters = std::min(reference.find_first_not_of(c_noDigits), reference.size());
        if (letters == 0)
            return next;
        std::size_t column = 0;
        for (auto const c : reference.substr(0, letters)) {
            column = column * 26 + static_cast<std::size_t>((c & 0x1f));
            if (column > c_maximumColumns)
                break;
        }
        return column - 1;
    }

    void ReadCell(pugi::xml_node cell, std::size_t column, SheetRow& row) {
        auto& text = row.cells[column];
        std::string_view const type = cell.attribute("t").as_string("n");
        if (type == "inlineStr") {
            AppendStringText(cell.find_child([](auto child) { return GetLocalName(child) == "is"; }), text);
        } else {
            auto const value =
                std::string_view(cell.find_child([](auto child) { return GetLocalName(child) == "v"; }).text().get());
            if (!value.empty())
                text = ReadValue(type, value, cell.attribute("s").as_uint(), column, row.number);
        }
        if (text.size() > c_maximumFieldSize)
            throw Kernel::Exception("row " + std::to_string(row.number) + " of the sheet has a cell of more than " +
                                    DescribeSize(c_maximumFieldSize));
    }

    std::string ReadValue(std::string_view type, std::string_view value, unsigned style, std::size_t column,
                          std::uint32_t row) {
        if (type == "s") {
            std::size_t index = 0;
            auto const result = std::from_chars(value.data(), value.data() + value.size(), index);
            if (result.ec != std::errc() || index >= m_workbook.GetSharedStringCount())
                throw Kernel::Exception("row " + std::to_string(row) + " of the sheet has a text that is not there");
            return std::string(m_workbook.GetSharedString(index));
        }
        if (type == "b")
            return value == "0" || value == "false" ? "FALSE" : "TRUE";
        if (type == "e") {
            m_errors.push_back({row, column, std::string(value)});
            return std::string(value);
        }
        if (type != "n")
            return std::string(value);
        double number = 0;
        auto const result = std::from_chars(value.data(), value.data() + value.size(), number);
        if (result.ec != std::errc() || result.ptr != value.data() + value.size())
            return std::string(value);
        auto const kind = style < m_workbook.styles.size() ? m_workbook.styles[style] : CellKind::Number;
        return kind == CellKind::Number ? WriteNumber(number) : WriteDate(number, kind, m_workbook.isFrom1904);
    }

    // Decides about the header, when enough rows are there or all.
    void Begin() {
        m_isBegun = true;
        std::vector<std::vector<std::string>> records;
        std::size_t columns = 0;
        for (auto const& row : m_sample) {
            records.push_back(row.cells);
            columns = std::max(columns, row.cells.size());
        }
        m_hasHeader = m_options.header == HeaderRow::Automatic ? LooksLikeHeader(records, columns)
                                                               : m_options.header == HeaderRow::Present;
        if (m_sample.empty())
            return;
        auto const& first = m_sample[0].cells;
        if (m_hasHeader) {
            // A table may begin anywhere in its sheet.
            auto const begin = std::find_if_not(first.begin(), first.end(), std::mem_fn(&std::string::empty));
            for (auto at = begin; at != first.end(); ++at)
                AddColumn(static_cast<std::size_t>(at - first.begin()), &*at);
        }
        m_nextRow = m_sample[0].number + (m_hasHeader ? 1 : 0);
        for (std::size_t i = m_hasHeader ? 1 : 0; i != m_sample.size(); ++i)
            AddRow(m_sample[i]);
        m_sample.clear();
    }

    std::size_t AddColumn(std::size_t position, std::string const* name) {
        if (m_columns.size() <= position)
            m_columns.resize(position + 1, c_none);
        auto const column =
            m_builder.AddColumn(name != nullptr ? m_names.Add(*name, m_warnings) : m_names.AddNumbered());
        m_columns[position] = column;
        return column;
    }

    void AddRow(SheetRow const& row) {
        // Rows that are missing are empty records, as they are in the same table as text.
        for (; m_nextRow < row.number; ++m_nextRow)
            m_builder.EndRow();
        for (std::size_t position = 0; position != row.cells.size(); ++position) {
            if (row.cells[position].empty() && m_hasHeader)
                continue;
            bool const isKnown = position < m_columns.size() && m_columns[position] != c_none;
            auto const column = isKnown ? m_columns[position] : AddColumn(position, nullptr);
            m_builder.SetField(column, row.cells[position]);
        }
        WarnOfErrors();
        m_builder.EndRow();
        ++m_nextRow;
    }

    // Of all rows up to the one that is being added.
    void WarnOfErrors() {
        auto const isReached = [&](Error const& error) { return error.row <= m_nextRow; };
        for (auto at = m_errors.begin(); at != m_errors.end() && isReached(*at); ++at) {
            if (at->row != m_nextRow || at->position >= m_columns.size() || m_columns[at->position] == c_none)
                continue;
            m_warnings.Add(m_builder.GetRowCount(), m_builder.GetColumn(m_columns[at->position]).name,
                           "the cell's formula failed: " + at->text);
        }
        std::erase_if(m_errors, isReached);
    }

    struct Error {
        std::uint32_t row;
        std::size_t position;
        std::string text;
    };
    static constexpr std::size_t c_none = ~std::size_t(0);

    Workbook const& m_workbook;
    ReadOptions const& m_options;
    TableBuilder m_builder;
    ColumnNames m_names;
    WarningList m_warnings;
    std::vector<SheetRow> m_sample;
    std::vector<Error> m_errors;
    // Columns of the table by their position in the sheet.
    std::vector<std::size_t> m_columns;
    std::uint32_t m_lastRow = 0, m_nextRow = 0;
    bool m_isBegun = false, m_hasHeader = true;
};

Workbook::Sheet const& FindSheet(Workbook const& workbook, Kernel::String const& name) {
    if (name.empty())
        return workbook.sheets[0];
    for (auto const& sheet : workbook.sheets) {
        if (sheet.name == name.view())
            return sheet;
    }
    std::string known;
    for (auto const& sheet : workbook.sheets)
        known += (known.empty() ? "\"" : ", \"") + sheet.name + "\"";
    throw Kernel::Exception("the spreadsheet has no sheet \"" + name.ToStdString() + "\"; there are " + known);
}

} // namespace

ReadResult ReadSpreadsheet(DataSource const& source, ReadOptions const& options, bool const* abort) {
    ZipPackage const package(source, abort);
    auto const workbook = Workbook::Load(package);
    auto const& sheet = FindSheet(workbook, options.sheet);
    SheetReading reading(workbook, options);
    reading.Run(package, sheet.part);
    source.CheckUnchanged();
    auto result = reading.Finish();
    result.used.format = FileFormat::Spreadsheet;
    result.used.sheet = Kernel::String(sheet.name);
    return result;
}

} // namespace Records
