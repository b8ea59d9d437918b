// SPDX-License-Identifier: Apache-2.0
#include "engine/records/working_records.h"

#include "platform/records/read_table.h"

#include <algorithm>

namespace Records {

WorkingRecords::WorkingRecords(TableRef table, Options const& options, bool const* abort)
    : m_table(std::move(table)), m_options(options), m_abort(abort), m_rows(m_table->GetRowCount(), true) {}

std::vector<std::uint32_t> WorkingRecords::ListRows() const {
    std::vector<std::uint32_t> rows;
    rows.reserve(m_rows.GetCount());
    AbortLook look(m_abort);
    if (m_order) {
        for (auto const row : *m_order) {
            if (m_rows.Contains(row))
                rows.push_back(row);
            look.Spend(2);
        }
        return rows;
    }
    for (std::size_t word = 0; word != m_rows.GetWordCount(); ++word) {
        ForRows(word, m_rows.GetWord(word), [&](std::uint32_t row) { rows.push_back(row); });
        look.Spend(64);
    }
    return rows;
}

void WorkingRecords::SetOrder(std::vector<std::uint32_t> rows) { m_order = std::move(rows); }

ReplacedColumn const* WorkingRecords::FindReplaced(std::size_t column) const {
    auto const found = std::find_if(m_replaced.begin(), m_replaced.end(),
                                    [&](auto const& replaced) { return replaced.column == column; });
    return found == m_replaced.end() ? nullptr : &*found;
}

void WorkingRecords::Replace(RowSet const& rows, std::size_t column, Kernel::String const& value) {
    if (FindReplaced(column) == nullptr)
        m_replaced.push_back({column, std::vector<std::uint32_t>(m_table->GetRowCount()), {}});
    auto& replaced = const_cast<ReplacedColumn&>(*FindReplaced(column));
    replaced.values.push_back(value);
    auto const code = static_cast<std::uint32_t>(replaced.values.size());
    ForWords(64, [&](std::size_t word, AbortLook&) {
        ForRows(word, rows.GetWord(word), [&](std::uint32_t row) { replaced.codes[row] = code; });
    });
}

std::string_view WorkingRecords::GetText(std::uint32_t row, std::size_t column) const {
    auto const* const replaced = FindReplaced(column);
    if (replaced != nullptr && replaced->codes[row] != 0)
        return replaced->values[replaced->codes[row] - 1].view();
    return m_table->GetText(row, column);
}

std::optional<std::size_t> WorkingRecords::FindColumn(Kernel::String const& name) {
    auto const column = m_table->FindColumn(name.view());
    if (!column && m_unknown.insert(name).second)
        Warn({Warning::c_noRow, name, "there is no field of this name"});
    return column;
}

bool WorkingRecords::HasRoomForWarnings() const { return m_warnings.size() < c_maximumWarnings; }

void WorkingRecords::Warn(Warning warning) {
    if (HasRoomForWarnings())
        m_warnings.push_back(std::move(warning));
    else
        ++m_furtherWarnings;
}

void WorkingRecords::ForWords(std::size_t work, std::function<void(std::size_t, AbortLook&)> const& visit) const {
    constexpr std::size_t c_wordsPerShare = 256;
    ForShares(m_rows.GetWordCount(), c_wordsPerShare, m_abort,
              [&](std::size_t, std::size_t first, std::size_t last, AbortLook& look) {
                  for (auto word = first; word != last; ++word) {
                      visit(word, look);
                      look.Spend(work);
                  }
              });
}

Kernel::Counted<Result const> WorkingRecords::Finish() {
    auto const result = Kernel::MakeCounted<Result>();
    result->table = m_table;
    result->rows = ListRows();
    result->replacements = std::move(m_replaced);
    result->warnings = std::move(m_warnings);
    result->furtherWarnings = m_furtherWarnings;
    return result;
}

} // namespace Records
