// SPDX-License-Identifier: Apache-2.0
#include "engine/records/collation.h"
#include "engine/records/entry_sort.h"

#include <numeric>

namespace Records {

namespace {

constexpr std::size_t c_itemsPerShare = 1024;

bool IsAscii(std::string_view text) {
    return std::none_of(text.begin(), text.end(), [](char byte) { return static_cast<unsigned char>(byte) >= 128; });
}

// Texts of ASCII characters: nine ranks to a key until the text ends, then, from its beginning again, 63 cases. Texts
// whose ranks are equal have as many characters that count, so that their cases stand in the same places.
class AsciiDigits {
public:
    AsciiDigits(std::vector<std::string_view> const& texts, std::vector<std::uint32_t> const& items,
                AsciiOrder const& order)
        : m_texts(texts), m_items(items), m_order(order) {}

    void Next(SortEntry& entry, AbortLook& look) const {
        auto const text = CutToSortedLength(m_texts[m_items[entry.item]]);
        bool const isOfCases = (entry.at & c_ofCases) != 0;
        std::size_t at = entry.at & ~c_ofCases;
        auto const begin = at;
        unsigned const bits = isOfCases ? 1 : 7, room = 63 / bits;
        auto const& digits = isOfCases ? m_order.cases : m_order.ranks;
        std::uint64_t key = 0;
        unsigned count = 0;
        for (; count != room && at != text.size(); ++at) {
            auto const character = static_cast<unsigned char>(text[at]);
            if (m_order.ranks[character] == 0)
                continue;
            key = key << bits | digits[character];
            ++count;
        }
        look.Spend(at - begin + 5);
        bool const hasEnded = count != room;
        // Behind the ranks come the cases.
        bool const continues = !hasEnded || !isOfCases;
        key <<= bits * (room - count);
        entry.key = key << 1 | (continues ? 1 : 0);
        entry.at = hasEnded && !isOfCases ? c_ofCases : static_cast<std::uint32_t>(at) | (entry.at & c_ofCases);
    }
    static bool Continues(std::uint64_t key) { return (key & 1) != 0; }

private:
    static constexpr std::uint32_t c_ofCases = std::uint32_t(1) << 31;
    std::vector<std::string_view> const& m_texts;
    std::vector<std::uint32_t> const& m_items;
    AsciiOrder const& m_order;
};

// Keys of a collation, seven bytes at a time. They hold no zeros.
class KeyDigits {
public:
    explicit KeyDigits(std::string_view const* keys) : m_keys(keys) {}

    void Next(SortEntry& entry, AbortLook& look) const {
        auto const text = m_keys[entry.item];
        std::uint64_t key = 0;
        for (std::size_t i = 0; i != 7; ++i)
            key = key << 8 | (entry.at + i < text.size() ? static_cast<unsigned char>(text[entry.at + i]) : 0u);
        look.Spend(10);
        entry.at += 7;
        entry.key = key << 8 | (entry.at <= text.size() ? 1 : 0);
    }
    static bool Continues(std::uint64_t key) { return (key & 1) != 0; }

private:
    std::string_view const* m_keys;
};

// The items in the order that their digits give. The digits number them by their places.
template <class Digits>
std::vector<std::uint32_t> SortItems(std::vector<std::uint32_t> const& items, Digits const& digits, bool const* abort) {
    auto sorted = EntrySorter<Digits>(digits, abort).Sort(items.size());
    ForShares(items.size(), c_itemsPerShare, abort, [&](std::size_t, std::size_t first, std::size_t last, AbortLook&) {
        for (auto i = first; i != last; ++i)
            sorted[i] = items[sorted[i]];
    });
    return sorted;
}

std::vector<std::uint32_t> SortByKeys(std::vector<std::string_view> const& texts,
                                      std::vector<std::uint32_t> const& items, Collation const& collation,
                                      bool const* abort) {
    std::vector<std::string> bytes((items.size() + c_itemsPerShare - 1) / c_itemsPerShare);
    auto const keys = std::make_unique_for_overwrite<std::string_view[]>(items.size());
    ForShares(items.size(), c_itemsPerShare, abort,
              [&](std::size_t share, std::size_t first, std::size_t last, AbortLook& look) {
                  std::vector<std::size_t> ends;
                  for (auto i = first; i != last; ++i) {
                      auto const text = CutToSortedLength(texts[items[i]]);
                      collation.AppendKey(text, bytes[share]);
                      ends.push_back(bytes[share].size());
                      look.Spend(300 + 20 * text.size());
                  }
                  for (auto i = first; i != last; ++i) {
                      auto const begin = i == first ? 0 : ends[i - first - 1];
                      keys[i] = std::string_view(bytes[share]).substr(begin, ends[i - first] - begin);
                  }
              });
    return SortItems(items, KeyDigits(keys.get()), abort);
}

// Puts some sorted items among many.
std::vector<std::uint32_t> Merge(std::vector<std::uint32_t> const& many, std::vector<std::uint32_t> const& few,
                                 std::vector<std::string_view> const& texts, Collation const& collation,
                                 bool const* abort) {
    std::vector<std::size_t> places(few.size());
    auto const findPlace = [&](std::size_t i, AbortLook& look) {
        auto const place = std::lower_bound(many.begin(), many.end(), few[i], [&](std::uint32_t a, std::uint32_t b) {
            auto const textA = CutToSortedLength(texts[a]), textB = CutToSortedLength(texts[b]);
            look.Spend(200 + 10 * std::min(textA.size(), textB.size()));
            auto const compared = collation.Compare(textA, textB);
            return compared != 0 ? compared < 0 : a < b;
        });
        places[i] = static_cast<std::size_t>(place - many.begin());
    };
    ForShares(few.size(), 64, abort, [&](std::size_t, std::size_t first, std::size_t last, AbortLook& look) {
        for (auto i = first; i != last; ++i)
            findPlace(i, look);
    });
    std::vector<std::uint32_t> merged;
    merged.reserve(many.size() + few.size());
    std::size_t from = 0;
    AbortLook copying(abort);
    for (std::size_t i = 0; i != few.size(); ++i) {
        copying.Spend(places[i] - from + 5);
        merged.insert(merged.end(), many.begin() + static_cast<std::ptrdiff_t>(from),
                      many.begin() + static_cast<std::ptrdiff_t>(places[i]));
        merged.push_back(few[i]);
        from = places[i];
    }
    merged.insert(merged.end(), many.begin() + static_cast<std::ptrdiff_t>(from), many.end());
    return merged;
}

} // namespace

std::string_view CutToSortedLength(std::string_view text) {
    constexpr std::size_t c_sortedLength = 16'384;
    if (text.size() <= c_sortedLength)
        return text;
    auto end = c_sortedLength;
    while (end != 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        --end;
    return text.substr(0, end);
}

std::vector<std::uint32_t> SortTexts(std::vector<std::string_view> const& texts, Collation const& collation,
                                     bool const* abort) {
    std::vector<std::uint8_t> isAscii(texts.size());
    auto const& order = collation.GetAsciiOrder();
    if (order)
        ForShares(texts.size(), c_itemsPerShare, abort,
                  [&](std::size_t, std::size_t first, std::size_t last, AbortLook& look) {
                      for (auto i = first; i != last; ++i) {
                          auto const text = CutToSortedLength(texts[i]);
                          isAscii[i] = IsAscii(text);
                          look.Spend(text.size() + 5);
                      }
                  });
    std::vector<std::uint32_t> plain, others;
    plain.reserve(order ? texts.size() : 0);
    AbortLook look(abort);
    for (std::uint32_t i = 0; i != texts.size(); ++i) {
        (isAscii[i] != 0 ? plain : others).push_back(i);
        look.Spend(3);
    }
    // Each of the others costs a search by comparing; beyond that share keys of all texts are quicker.
    if (others.size() > texts.size() / 32) {
        std::vector<std::uint32_t> all(texts.size());
        std::iota(all.begin(), all.end(), 0u);
        return SortByKeys(texts, all, collation, abort);
    }
    auto sorted = plain.empty() ? plain : SortItems(plain, AsciiDigits(texts, plain, *order), abort);
    return others.empty() ? sorted
                          : Merge(sorted, SortByKeys(texts, others, collation, abort), texts, collation, abort);
}

} // namespace Records
