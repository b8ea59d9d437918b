// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/fragments/text.h"

#include <cstdint>
#include <mutex>
#include <unordered_set>

namespace Raster::Fragments {

char const* Keep(std::string const& text) {
    static std::mutex mutex;
    // Never destroyed: threads may still look at texts while the process ends.
    static auto& texts = *new std::unordered_set<std::string>;
    std::lock_guard const lock(mutex);
    return texts.insert(text).first->c_str();
}

std::string Fill(std::string_view pattern, std::initializer_list<std::string_view> values) {
    std::string text;
    for (std::size_t i = 0; i != pattern.size(); ++i) {
        bool const isPlaceholder =
            pattern[i] == '%' && i + 1 != pattern.size() && pattern[i + 1] > '0' && pattern[i + 1] <= '9';
        std::size_t const index = isPlaceholder ? static_cast<std::size_t>(pattern[i + 1] - '1') : values.size();
        if (index < values.size()) {
            text += values.begin()[index];
            ++i;
        } else {
            text += pattern[i];
        }
    }
    return text;
}

// FNV-1a: http://www.isthe.com/chongo/tech/comp/fnv.
std::string GetName(std::string_view text) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (char const c : text)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    std::string name;
    for (; hash != 0; hash /= 36)
        name += "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"[hash % 36];
    return name;
}

} // namespace Raster::Fragments
