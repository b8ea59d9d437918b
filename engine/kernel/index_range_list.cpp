// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/index_range_list.h"

#include "platform/kernel/exception.h"
#include "platform/kernel/in_serialiser.h"
#include "platform/kernel/out_serialiser.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace Kernel {

std::uint64_t IndexRangeList::GetCount() const {
    std::uint64_t count = 0;
    for (auto const& range : m_ranges)
        count += static_cast<std::uint64_t>(range.last) - static_cast<std::uint64_t>(range.first);
    return count;
}

bool IndexRangeList::Contains(std::int64_t index) const {
    auto const after = std::ranges::upper_bound(m_ranges, index, {}, &Range::first);
    return after != m_ranges.begin() && index < std::prev(after)->last;
}

void IndexRangeList::Add(std::int64_t first, std::int64_t last) {
    if (last <= first)
        return;
    // All ranges that overlap or touch the new one melt into it.
    auto const begin = std::ranges::lower_bound(m_ranges, first, {}, &Range::last);
    auto const end = std::ranges::upper_bound(m_ranges, last, {}, &Range::first);
    if (begin < end) {
        first = std::min(first, begin->first);
        last = std::max(last, std::prev(end)->last);
    }
    m_ranges.insert(m_ranges.erase(begin, std::max(begin, end)), Range{first, last});
}

void IndexRangeList::Remove(std::int64_t first, std::int64_t last) {
    if (last <= first)
        return;
    auto const begin = std::ranges::upper_bound(m_ranges, first, {}, &Range::last);
    auto const end = std::ranges::lower_bound(m_ranges, last, {}, &Range::first);
    if (!(begin < end))
        return;
    Range const left{begin->first, first};
    Range const right{last, std::prev(end)->last};
    auto place = m_ranges.erase(begin, end);
    if (right.first < right.last)
        place = m_ranges.insert(place, right);
    if (left.first < left.last)
        m_ranges.insert(place, left);
}

void IndexRangeList::Clamp(std::int64_t lowest, std::int64_t highest) {
    if (highest < lowest) {
        Clear();
        return;
    }
    Remove(std::numeric_limits<std::int64_t>::min(), lowest);
    if (highest < std::numeric_limits<std::int64_t>::max())
        Remove(highest + 1, std::numeric_limits<std::int64_t>::max());
}

void IndexRangeList::Save(OutSerialiser& out) const {
    static_assert(sizeof(Range) == 2 * sizeof(std::int64_t));
    out.SaveTypeArrayI("Rngs", PropType::Int64, m_ranges.data(), sizeof(std::int64_t), 2 * m_ranges.size());
}

bool IndexRangeList::Load(InSerialiser const& in, ClassUID, unsigned short version) {
    if (version > GetSchemaVersion())
        return false;
    std::size_t count = 0;
    auto const* bytes = static_cast<std::byte const*>(in.LoadTypeArrayI("Rngs", PropType::Int64, 8, count));
    if (bytes == nullptr)
        return true;
    std::vector<Range> ranges(count / 2);
    if (!ranges.empty())
        std::memcpy(ranges.data(), bytes, ranges.size() * sizeof(Range));
    for (std::size_t i = 0; i != ranges.size(); ++i) {
        if (ranges[i].last <= ranges[i].first || (i != 0 && ranges[i].first <= ranges[i - 1].last))
            throw DamagedDataException("ranges of indexes are out of order");
    }
    m_ranges = std::move(ranges);
    return true;
}

} // namespace Kernel
