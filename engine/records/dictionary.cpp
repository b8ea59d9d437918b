// SPDX-License-Identifier: Apache-2.0
#include "engine/records/table_content.h"

#include "platform/kernel/abort_flag.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <numeric>
#include <xxhash.h>

namespace Records {

namespace {

constexpr std::uint32_t c_rowsPerLook = 4096;

// Texts that were seen, numbered in the order in which they came.
class TextNumbers {
public:
    TextNumbers() : m_slots(1024, c_free) {}
    std::uint32_t Add(std::string_view text) {
        auto const hash = static_cast<std::uint32_t>(XXH3_64bits(text.data(), text.size()));
        for (auto slot = hash & (m_slots.size() - 1);; slot = (slot + 1) & (m_slots.size() - 1)) {
            auto const number = m_slots[slot];
            if (number == c_free) {
                m_slots[slot] = static_cast<std::uint32_t>(m_texts.size());
                m_texts.push_back(text);
                m_hashes.push_back(hash);
                if (m_texts.size() * 2 > m_slots.size())
                    Grow();
                return static_cast<std::uint32_t>(m_texts.size() - 1);
            }
            if (m_hashes[number] == hash && m_texts[number] == text)
                return number;
        }
    }
    std::vector<std::string_view> const& GetTexts() const { return m_texts; }

private:
    static constexpr std::uint32_t c_free = ~std::uint32_t(0);
    void Grow() {
        m_slots.assign(m_slots.size() * 2, c_free);
        for (std::uint32_t number = 0; number != m_texts.size(); ++number) {
            auto slot = m_hashes[number] & (m_slots.size() - 1);
            while (m_slots[slot] != c_free)
                slot = (slot + 1) & (m_slots.size() - 1);
            m_slots[slot] = number;
        }
    }
    std::vector<std::uint32_t> m_slots;
    std::vector<std::string_view> m_texts;
    std::vector<std::uint32_t> m_hashes;
};

void ThrowIfAborted(bool const* abort) {
    if (Kernel::IsAbortSet(abort))
        throw Kernel::AbortException();
}

// The order of the texts' bytes.
std::vector<std::uint32_t> Sort(std::vector<std::string_view> const& texts, bool const* abort) {
    // The first eight bytes as a number decide most comparisons without a look at the text.
    struct Entry {
        std::uint64_t prefix;
        std::uint32_t number;
    };
    std::vector<Entry> entries(texts.size());
    for (std::uint32_t i = 0; i != texts.size(); ++i) {
        std::uint64_t prefix = 0;
        for (std::size_t at = 0; at != 8; ++at)
            prefix = prefix << 8 | (at < texts[i].size() ? static_cast<unsigned char>(texts[i][at]) : 0u);
        entries[i] = {prefix, i};
    }
    auto const isLess = [&](Entry const& a, Entry const& b) {
        return a.prefix != b.prefix ? a.prefix < b.prefix : texts[a.number] < texts[b.number];
    };
    // Runs small enough that one of them is sorted in about a millisecond, then merged in pairs.
    constexpr std::size_t c_run = 8192;
    auto const runs = (entries.size() + c_run - 1) / c_run;
    Kernel::ParallelFor(runs, [&](std::size_t run) {
        ThrowIfAborted(abort);
        auto const begin = entries.begin() + static_cast<std::ptrdiff_t>(run * c_run);
        std::sort(begin, begin + static_cast<std::ptrdiff_t>(std::min(c_run, entries.size() - run * c_run)), isLess);
    });
    std::vector<Entry> merged(entries.size());
    for (auto width = c_run; width < entries.size(); width *= 2) {
        Kernel::ParallelFor((entries.size() + 2 * width - 1) / (2 * width), [&](std::size_t pair) {
            auto a = pair * 2 * width, b = std::min(a + width, entries.size());
            auto const endA = b, endB = std::min(a + 2 * width, entries.size());
            for (auto out = a; out != endB; ++out) {
                if (out % c_run == 0)
                    ThrowIfAborted(abort);
                merged[out] = b == endB || (a != endA && !isLess(entries[b], entries[a])) ? entries[a++] : entries[b++];
            }
        });
        entries.swap(merged);
    }
    std::vector<std::uint32_t> order(entries.size());
    for (std::size_t i = 0; i != order.size(); ++i)
        order[i] = entries[i].number;
    return order;
}

} // namespace

std::unique_ptr<Dictionary> MakeDictionary(Table const& table, std::size_t column, bool const* abort) {
    auto dictionary = std::make_unique<Dictionary>();
    auto& codes = dictionary->codes;
    codes.resize(table.GetRowCount());
    // Each share of the rows numbers its texts by itself, then the shares' texts are numbered together.
    auto const shareCount = std::min<std::size_t>(Kernel::Dispatch::GetThreadCount(), codes.size() / 65536 + 1);
    auto const rowsPerShare = (codes.size() + shareCount - 1) / shareCount;
    auto const forRows = [&](std::size_t share, auto const& visit) {
        auto const end = std::min(codes.size(), (share + 1) * rowsPerShare);
        for (auto row = share * rowsPerShare; row < end; ++row) {
            if (row % c_rowsPerLook == 0)
                ThrowIfAborted(abort);
            visit(static_cast<std::uint32_t>(row));
        }
    };
    std::vector<TextNumbers> shares(shareCount);
    Kernel::ParallelFor(shareCount, [&](std::size_t share) {
        ColumnRun run;
        forRows(share, [&](std::uint32_t row) {
            if (row - run.firstRow >= run.rowCount)
                run = table.GetRun(row, column);
            codes[row] = shares[share].Add(run.Get(row));
        });
    });
    TextNumbers all;
    std::vector<std::vector<std::uint32_t>> numbers(shareCount);
    for (std::size_t share = 0; share != shareCount; ++share) {
        auto const& texts = shares[share].GetTexts();
        for (std::size_t i = 0; i != texts.size(); ++i) {
            if (i % c_rowsPerLook == 0)
                ThrowIfAborted(abort);
            numbers[share].push_back(all.Add(texts[i]));
        }
    }
    auto const order = Sort(all.GetTexts(), abort);
    std::vector<std::uint32_t> places(order.size());
    dictionary->values.reserve(order.size());
    for (std::uint32_t place = 0; place != order.size(); ++place) {
        places[order[place]] = place;
        dictionary->values.push_back(all.GetTexts()[order[place]]);
    }
    Kernel::ParallelFor(shareCount, [&](std::size_t share) {
        forRows(share, [&](std::uint32_t row) { codes[row] = places[numbers[share][codes[row]]]; });
    });
    return dictionary;
}

} // namespace Records
