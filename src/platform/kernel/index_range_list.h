// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/kernel/tag.h"

#include <cstdint>
#include <span>
#include <vector>

namespace Kernel {

class InSerialiser;
class OutSerialiser;

// A set of indexes, kept as ranges that are sorted, disjoint and not adjacent.
class REDRAFT_ENGINE IndexRangeList {
public:
    // The indexes from first up to, not including, last. Never empty within a list.
    struct Range {
        std::int64_t first = 0;
        std::int64_t last = 0;
        friend constexpr bool operator==(Range const&, Range const&) = default;
    };

    bool IsEmpty() const { return m_ranges.empty(); }
    std::span<Range const> GetRanges() const { return m_ranges; }
    // The number of indexes; a list of the whole 64-bit range counts modulo 2^64.
    std::uint64_t GetCount() const;
    bool Contains(std::int64_t index) const;

    // Ranges with last <= first add and remove nothing.
    void Add(std::int64_t first, std::int64_t last);
    void AddIndex(std::int64_t index) { Add(index, index + 1); }
    void Remove(std::int64_t first, std::int64_t last);
    void Clear() { m_ranges.clear(); }
    // Keeps the indexes from lowest to highest, both included.
    void Clamp(std::int64_t lowest, std::int64_t highest);

    friend bool operator==(IndexRangeList const&, IndexRangeList const&) = default;

    static constexpr ClassUID GetClassUID() { return "IdRL"; }
    static constexpr unsigned short GetSchemaVersion() { return 1; }
    void Save(OutSerialiser& out) const;
    // False when the schema is newer. Throws DamagedDataException when the ranges are not in order.
    bool Load(InSerialiser const& in, ClassUID uid, unsigned short version);

private:
    std::vector<Range> m_ranges;
};

} // namespace Kernel
