// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/scanner.h"

#include <cstddef>
#include <string_view>

namespace Formats::Svg {

template <class Value>
struct Keyword {
    std::string_view text;
    Value value;
};

// Keywords of CSS are compared without regard to case.
template <class Value, std::size_t N, class Target>
bool SetKeyword(Keyword<Value> const (&keywords)[N], std::string_view text, Target& target) {
    for (Keyword<Value> const& keyword : keywords)
        if (EqualsIgnoringCase(keyword.text, text)) {
            target = keyword.value;
            return true;
        }
    return false;
}

} // namespace Formats::Svg
