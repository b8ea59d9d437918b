// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/index_range_list.h"

#include <algorithm>
#include <limits>

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

} // namespace Kernel
