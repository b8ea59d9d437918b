// SPDX-License-Identifier: Apache-2.0
#include "engine/records/entry_sort.h"
#include "engine/records/table_content.h"

#include <algorithm>
#include <xxhash.h>

namespace Records {

namespace {

// Adds elements up to so many, in steps: first use of much memory takes milliseconds.
template <class T>
void Extend(std::vector<T>& elements, std::size_t size, T const& value, AbortLook& look) {
    constexpr std::size_t c_elementsPerLook = 32768;
    elements.reserve(size);
    while (elements.size() != size) {
        elements.resize(std::min(size, elements.size() + c_elementsPerLook), value);
        look.Now();
    }
}

// Texts that were seen, numbered in the order in which they came.
class TextNumbers {
public:
    // At most so many; memory is used as they come.
    explicit TextNumbers(std::size_t mostTexts) : m_slots(1024, c_free) {
        m_texts.reserve(mostTexts);
        m_hashes.reserve(mostTexts);
    }
    std::uint32_t Add(std::string_view text, AbortLook& look) {
        look.Spend(20 + text.size() / 4);
        auto const hash = static_cast<std::uint32_t>(XXH3_64bits(text.data(), text.size()));
        for (auto slot = hash & (m_slots.size() - 1);; slot = (slot + 1) & (m_slots.size() - 1)) {
            auto const number = m_slots[slot];
            if (number == c_free) {
                m_slots[slot] = static_cast<std::uint32_t>(m_texts.size());
                m_texts.push_back(text);
                m_hashes.push_back(hash);
                if (m_texts.size() * 2 > m_slots.size())
                    Grow(look);
                return static_cast<std::uint32_t>(m_texts.size() - 1);
            }
            if (m_hashes[number] == hash && m_texts[number] == text)
                return number;
        }
    }
    std::vector<std::string_view> const& GetTexts() const { return m_texts; }

private:
    static constexpr std::uint32_t c_free = ~std::uint32_t(0);
    void Grow(AbortLook& look) {
        auto const size = m_slots.size() * 2;
        m_slots.clear();
        Extend(m_slots, size, c_free, look);
        for (std::uint32_t number = 0; number != m_texts.size(); ++number) {
            auto slot = m_hashes[number] & (m_slots.size() - 1);
            while (m_slots[slot] != c_free)
                slot = (slot + 1) & (m_slots.size() - 1);
            m_slots[slot] = number;
            look.Spend(10);
        }
    }
    std::vector<std::uint32_t> m_slots;
    std::vector<std::string_view> m_texts;
    std::vector<std::uint32_t> m_hashes;
};

// Eight bytes of a text at a time. No field of a table has a zero byte.
class ByteDigits {
public:
    explicit ByteDigits(std::vector<std::string_view> const& texts) : m_texts(texts) {}
    void Next(SortEntry& entry, AbortLook& look) const {
        auto const& text = m_texts[entry.item];
        entry.key = 0;
        for (std::size_t i = 0; i != 8; ++i, ++entry.at)
            entry.key = entry.key << 8 | (entry.at < text.size() ? static_cast<unsigned char>(text[entry.at]) : 0u);
        look.Spend(10);
    }
    bool Continues(std::uint64_t key) const { return (key & 0xff) != 0; }

private:
    std::vector<std::string_view> const& m_texts;
};

} // namespace

std::unique_ptr<Dictionary> MakeDictionary(Table const& table, std::size_t column, bool const* abort) {
    auto dictionary = std::make_unique<Dictionary>();
    auto& codes = dictionary->codes;
    AbortLook look(abort);
    Extend(codes, table.GetRowCount(), 0u, look);
    // Each share of the rows numbers its texts by itself, then the shares' texts are numbered together.
    auto const shareCount = std::min<std::size_t>(Kernel::Dispatch::GetThreadCount(), codes.size() / 65536 + 1);
    auto const rowsPerShare = std::max<std::size_t>(1, (codes.size() + shareCount - 1) / shareCount);
    std::vector<TextNumbers> shares(shareCount, TextNumbers(0));
    ForShares(codes.size(), rowsPerShare, abort,
              [&](std::size_t share, std::size_t first, std::size_t last, AbortLook& shareLook) {
                  ColumnRun run;
                  shares[share] = TextNumbers(last - first);
                  for (auto row = static_cast<std::uint32_t>(first); row != last; ++row) {
                      if (row - run.firstRow >= run.rowCount)
                          run = table.GetRun(row, column);
                      codes[row] = shares[share].Add(run.Get(row), shareLook);
                  }
              });
    std::size_t textCount = 0;
    for (auto const& share : shares)
        textCount += share.GetTexts().size();
    TextNumbers all(textCount);
    std::vector<std::vector<std::uint32_t>> numbers(shareCount);
    for (std::size_t share = 0; share != shareCount; ++share) {
        numbers[share].reserve(shares[share].GetTexts().size());
        for (auto const text : shares[share].GetTexts())
            numbers[share].push_back(all.Add(text, look));
    }
    auto const& texts = all.GetTexts();
    ByteDigits const digits(texts);
    auto const order = EntrySorter(digits, abort).Sort(texts.size());
    std::vector<std::uint32_t> places;
    Extend(places, order.size(), 0u, look);
    Extend(dictionary->values, order.size(), std::string_view(), look);
    constexpr std::size_t c_share = 16384;
    ForShares(order.size(), c_share, abort, [&](std::size_t, std::size_t first, std::size_t last, AbortLook&) {
        for (auto place = first; place != last; ++place) {
            places[order[place]] = static_cast<std::uint32_t>(place);
            dictionary->values[place] = texts[order[place]];
        }
    });
    ForShares(codes.size(), c_share, abort, [&](std::size_t, std::size_t first, std::size_t last, AbortLook&) {
        for (auto row = first; row != last; ++row)
            codes[row] = places[numbers[row / rowsPerShare][codes[row]]];
    });
    return dictionary;
}

} // namespace Records
