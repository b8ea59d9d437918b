// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/field_types.h"

#include <atomic>

namespace Records {

// Rows of a table that were read together: each column's fields stand one behind the other. Rows are many enough that a
// group is some hundred thousand bytes, and few enough that making one is quick.
struct RowGroup {
    struct Part {
        std::uint32_t const* starts = nullptr;
        char const* bytes = nullptr;
    };
    std::uint32_t firstRow = 0, rowCount = 0;
    // Columns that were not known when the group was made are missing; their fields are empty.
    std::vector<Part> columns;
    // The types that all fields of a column can be read as.
    std::vector<Readings> readings;
    // Columns of which no field has a character, by then read as anything.
    std::vector<bool> isEmpty;
    std::unique_ptr<std::byte[]> memory;
    std::size_t size = 0;
};

// Sizes known, the memory of a group is one block.
class GroupMaker {
public:
    // `sizes`: for each column the bytes of all its fields.
    GroupMaker(std::uint32_t rowCount, std::span<std::size_t const> sizes);
    // Where each field begins, and where the last one ends; the first is put in by Finish.
    std::uint32_t* GetStarts(std::size_t column) { return m_starts[column]; }
    // Up to c_slack bytes may be written behind the last field of a column before starts and bytes of the next column
    // are.
    char* GetBytes(std::size_t column) { return m_bytes[column]; }
    // Finds out the readings of the columns.
    RowGroup Finish();

    static constexpr std::size_t c_slack = 16;

private:
    RowGroup m_group;
    std::vector<std::uint32_t*> m_starts;
    std::vector<char*> m_bytes;
};

// Something that is made when it is first asked for. Two threads that ask at once may both make it; one of them is
// kept. Nobody waits, so that a thread that takes up other work while it makes something cannot wait for itself.
template <class T>
class Lazy {
public:
    Lazy() = default;
    Lazy(Lazy const&) = delete;
    Lazy& operator=(Lazy const&) = delete;
    ~Lazy() { delete m_value.load(std::memory_order_relaxed); }
    T const* Find() const { return m_value.load(std::memory_order_acquire); }
    T const& Keep(std::unique_ptr<T> made) const {
        T* expected = nullptr;
        if (m_value.compare_exchange_strong(expected, made.get(), std::memory_order_acq_rel))
            return *made.release();
        return *expected;
    }

private:
    mutable std::atomic<T*> m_value{nullptr};
};

struct TableContent {
    std::vector<Column> columns;
    // Of each column; 0 for text.
    std::vector<Readings> readings;
    std::vector<RowGroup> groups;
    std::uint32_t rowCount = 0;
    char decimalMark = '.';
    // For rows that agree in all but the lowest bits the first group that holds one of them.
    std::vector<std::uint32_t> groupOfRows;
    unsigned rowShift = 0;
    // By name.
    std::vector<std::uint32_t> sortedColumns;
    std::unique_ptr<Lazy<std::vector<double>>[]> numbers;
    std::unique_ptr<Lazy<Dictionary>[]> dictionaries;

    RowGroup const& FindGroup(std::uint32_t row) const {
        auto const* group = &groups[groupOfRows[row >> rowShift]];
        while (row - group->firstRow >= group->rowCount)
            ++group;
        return *group;
    }
    // Makes the indexes from columns and groups, whose first rows are put in.
    void Index();
};

// In dictionary.cpp.
std::unique_ptr<Dictionary> MakeDictionary(Table const& table, std::size_t column, bool const* abort);

} // namespace Records
