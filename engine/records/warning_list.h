// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/records/read_table.h"

#include <string>

namespace Records {

// The first c_maximumWarnings warnings of a reading, and how many more there were.
class WarningList {
public:
    void Add(std::int64_t row, Kernel::String column, std::string text) {
        if (m_warnings.size() < c_maximumWarnings)
            m_warnings.push_back({row, std::move(column), Kernel::String(text)});
        else
            ++m_further;
    }
    void Add(std::string text) { Add(Warning::c_noRow, Kernel::String(), std::move(text)); }
    // Those of rows that were counted from `firstRow`.
    void Append(WarningList const& other, std::int64_t firstRow) {
        for (auto const& warning : other.m_warnings)
            Add(warning.row == Warning::c_noRow ? warning.row : warning.row + firstRow, warning.column,
                warning.text.ToStdString());
        m_further += other.m_further;
    }
    void Clear() { *this = {}; }
    std::vector<Warning>& GetWarnings() { return m_warnings; }
    std::uint64_t GetFurther() const { return m_further; }

private:
    std::vector<Warning> m_warnings;
    std::uint64_t m_further = 0;
};

} // namespace Records
