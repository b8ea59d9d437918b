// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Records {

// Rows of a table, as one bit each, 64 in a word.
class RowSet {
public:
    static constexpr std::uint32_t c_rowsPerWord = 64;

    explicit RowSet(std::uint32_t rowCount, bool hasAll = false)
        : m_words((std::size_t(rowCount) + 63) / 64, hasAll ? ~std::uint64_t(0) : 0) {
        if (hasAll && rowCount % 64 != 0)
            m_words.back() = (std::uint64_t(1) << rowCount % 64) - 1;
    }

    std::size_t GetWordCount() const { return m_words.size(); }
    std::uint64_t GetWord(std::size_t word) const { return m_words[word]; }
    void SetWord(std::size_t word, std::uint64_t rows) { m_words[word] = rows; }
    bool Contains(std::uint32_t row) const { return (m_words[row / 64] >> row % 64 & 1) != 0; }
    void Remove(std::uint32_t row) { m_words[row / 64] &= ~(std::uint64_t(1) << row % 64); }
    // From first up to, not including, last; both at most the count of rows.
    void AddRange(std::uint32_t first, std::uint32_t last) {
        while (first < last) {
            auto const end = last - first / 64 * 64 >= 64 ? 64u : last % 64;
            auto const upTo = end == 64 ? ~std::uint64_t(0) : (std::uint64_t(1) << end) - 1;
            m_words[first / 64] |= upTo & ~((std::uint64_t(1) << first % 64) - 1);
            first = first / 64 * 64 + end;
        }
    }
    std::uint32_t GetCount() const {
        std::uint32_t count = 0;
        for (auto const word : m_words)
            count += static_cast<std::uint32_t>(std::popcount(word));
        return count;
    }

private:
    std::vector<std::uint64_t> m_words;
};

// Calls visit(row) for each row of a word of a set.
template <class Visit>
void ForRows(std::size_t word, std::uint64_t rows, Visit const& visit) {
    for (; rows != 0; rows &= rows - 1)
        visit(static_cast<std::uint32_t>(word * 64 + static_cast<unsigned>(std::countr_zero(rows))));
}

} // namespace Records
