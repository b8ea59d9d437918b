// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/field_value.h"

#include <cstdint>
#include <map>
#include <vector>

namespace Commands {

// Of each article's number, the old sequence numbers of its members with the new ones. Stored as one list of numbers:
// how many articles there are; then of each its number, how many pairs it has, and the pairs, the old number first.
struct SequenceMaps {
    std::map<int, std::map<int, int>> maps;
};

} // namespace Commands

namespace Kernel {

inline void SaveValue(OutSerialiser& out, IDTag tag, Commands::SequenceMaps const& value) {
    std::vector<std::int32_t> flat{static_cast<std::int32_t>(value.maps.size())};
    for (auto const& [article, map] : value.maps) {
        flat.push_back(article);
        flat.push_back(static_cast<std::int32_t>(map.size()));
        for (auto const& [before, after] : map) {
            flat.push_back(before);
            flat.push_back(after);
        }
    }
    SaveValue(out, tag, flat);
}

// A list that ends too early is read as far as it goes.
inline bool LoadValue(InSerialiser const& in, IDTag tag, Commands::SequenceMaps& value) {
    std::vector<std::int32_t> flat;
    if (!LoadValue(in, tag, flat))
        return false;
    value.maps.clear();
    std::size_t next = 0;
    auto const has = [&](std::size_t count) { return flat.size() - next >= count; };
    std::int32_t articles = has(1) ? flat[next++] : 0;
    for (; articles > 0 && has(2); --articles) {
        auto& map = value.maps[flat[next]];
        std::int32_t pairs = flat[next + 1];
        for (next += 2; pairs > 0 && has(2); --pairs, next += 2)
            map[flat[next]] = flat[next + 1];
    }
    return true;
}

} // namespace Kernel
