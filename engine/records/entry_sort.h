// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/abort_look.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace Records {

// Something to sort by digits: `key` holds those that are looked at, `at` says where the next ones begin.
struct SortEntry {
    std::uint64_t key;
    // Of what is sorted; the order of those whose digits are equal.
    std::uint32_t item;
    std::uint32_t at;
};

// Sorts entries by their digits, most significant first, and then by their items: in parallel, into buckets around a
// sample of keys, each of which is sorted by comparing keys; only entries of equal keys have further digits looked at.
// `Digits` has void Next(SortEntry&, AbortLook&) const, which puts the next digits into the key, and bool
// Continues(std::uint64_t key) const, whether there may be more after that key.
template <class Digits>
class EntrySorter {
public:
    EntrySorter(Digits const& digits, bool const* abort) : m_digits(digits), m_abort(abort) {}

    // The order of the items below `count`.
    std::vector<std::uint32_t> Sort(std::size_t count) {
        // Their memory is first used where they are first written, in parallel.
        auto const entries = std::make_unique_for_overwrite<SortEntry[]>(count);
        m_entries = entries.get();
        auto const buffer = std::make_unique_for_overwrite<SortEntry[]>(count);
        m_buffer = buffer.get();
        ForShares(count, c_share, m_abort, [&](std::size_t, std::size_t first, std::size_t last, AbortLook&) {
            for (auto i = first; i != last; ++i)
                m_entries[i] = {0, static_cast<std::uint32_t>(i), 0};
        });
        SortEntries({m_entries, count});
        std::vector<std::uint32_t> items(count);
        ForShares(count, c_share, m_abort, [&](std::size_t, std::size_t first, std::size_t last, AbortLook&) {
            for (auto i = first; i != last; ++i)
                items[i] = m_entries[i].item;
        });
        return items;
    }

private:
    void SortEntries(std::span<SortEntry> entries) {
        std::vector<Range> large;
        Settle(entries, true, large);
        while (!large.empty()) {
            auto const range = large.back();
            large.pop_back();
            Divide(range, large);
        }
        ForShares(m_small.size(), 1, m_abort, [&](std::size_t index, std::size_t, std::size_t, AbortLook& look) {
            SortSmall(m_small[index], look);
        });
    }

    static constexpr std::size_t c_small = 8192, c_share = 8192, c_splitters = 127;
    // `needsKeys`: the next digits have yet to be put in.
    struct Range {
        std::span<SortEntry> entries;
        bool needsKeys = false;
    };

    static bool IsBefore(SortEntry const& a, SortEntry const& b) {
        return a.key != b.key ? a.key < b.key : a.item < b.item;
    }

    void Settle(std::span<SortEntry> entries, bool needsKeys, std::vector<Range>& large) {
        if (entries.size() < 2)
            return;
        if (entries.size() <= c_small)
            m_small.push_back({entries, needsKeys});
        else
            large.push_back({entries, needsKeys});
    }

    // Some keys of the range, sorted, each once.
    static std::vector<std::uint64_t> ChooseSplitters(std::span<SortEntry const> entries) {
        std::vector<std::uint64_t> keys;
        constexpr std::size_t c_sample = c_splitters * 8;
        for (std::size_t i = 0; i != c_sample; ++i)
            keys.push_back(entries[entries.size() * i / c_sample].key);
        std::sort(keys.begin(), keys.end());
        std::vector<std::uint64_t> splitters;
        for (std::size_t i = 4; i < c_sample; i += 8) {
            if (splitters.empty() || splitters.back() != keys[i])
                splitters.push_back(keys[i]);
        }
        return splitters;
    }

    // Buckets are, in turn, of the keys below a splitter and of those equal to it; the last one is of those above all.
    void Divide(Range const& range, std::vector<Range>& large) {
        auto const entries = range.entries;
        if (range.needsKeys)
            ForShares(entries.size(), c_share, m_abort,
                      [&](std::size_t, std::size_t first, std::size_t last, AbortLook& look) {
                          for (auto i = first; i != last; ++i)
                              m_digits.Next(entries[i], look);
                      });
        auto const splitters = ChooseSplitters(entries);
        auto const findBucket = [&](std::uint64_t key) {
            auto const at =
                static_cast<std::size_t>(std::lower_bound(splitters.begin(), splitters.end(), key) - splitters.begin());
            return 2 * at + (at != splitters.size() && splitters[at] == key ? 1u : 0u);
        };
        auto const bucketCount = 2 * splitters.size() + 1;
        auto const shareCount = (entries.size() + c_share - 1) / c_share;
        std::vector<std::uint32_t> places(shareCount * bucketCount);
        auto const buckets = std::make_unique_for_overwrite<std::uint8_t[]>(entries.size());
        ForShares(entries.size(), c_share, m_abort,
                  [&](std::size_t share, std::size_t first, std::size_t last, AbortLook& look) {
                      for (auto i = first; i != last; ++i) {
                          buckets[i] = static_cast<std::uint8_t>(findBucket(entries[i].key));
                          ++places[share * bucketCount + buckets[i]];
                      }
                      look.Now();
                  });
        std::vector<std::uint32_t> begins;
        std::uint32_t sum = 0;
        for (std::size_t bucket = 0; bucket != bucketCount; ++bucket) {
            begins.push_back(sum);
            for (std::size_t share = 0; share != shareCount; ++share)
                sum += std::exchange(places[share * bucketCount + bucket], sum);
        }
        begins.push_back(sum);
        ForShares(entries.size(), c_share, m_abort,
                  [&](std::size_t share, std::size_t first, std::size_t last, AbortLook& look) {
                      for (auto i = first; i != last; ++i)
                          m_buffer[places[share * bucketCount + buckets[i]]++] = entries[i];
                      look.Now();
                  });
        ForShares(entries.size(), c_share, m_abort, [&](std::size_t, std::size_t first, std::size_t last, AbortLook&) {
            std::copy(m_buffer + first, m_buffer + last, entries.data() + first);
        });
        for (std::size_t bucket = 0; bucket != bucketCount; ++bucket) {
            auto const part = entries.subspan(begins[bucket], begins[bucket + 1] - begins[bucket]);
            bool const isOneKey = bucket % 2 == 1;
            if (!isOneKey || m_digits.Continues(splitters[bucket / 2]))
                Settle(part, isOneKey, large);
        }
    }

    void SortSmall(Range const& whole, AbortLook& look) const {
        std::vector<Range> open{whole};
        while (!open.empty()) {
            auto const [entries, needsKeys] = open.back();
            open.pop_back();
            if (needsKeys) {
                for (auto& entry : entries)
                    m_digits.Next(entry, look);
            }
            look.Spend(entries.size() * 4);
            if (!std::is_sorted(entries.begin(), entries.end(), &IsBefore)) {
                std::sort(entries.begin(), entries.end(), &IsBefore);
                look.Spend(entries.size() * 40);
            }
            for (std::size_t first = 0, last = 0; first != entries.size(); first = last) {
                while (last != entries.size() && entries[last].key == entries[first].key)
                    ++last;
                if (last - first > 1 && m_digits.Continues(entries[first].key))
                    open.push_back({entries.subspan(first, last - first), true});
            }
        }
    }

    Digits const& m_digits;
    bool const* m_abort;
    SortEntry *m_entries = nullptr, *m_buffer = nullptr;
    std::vector<Range> m_small;
};

} // namespace Records
