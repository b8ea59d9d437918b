// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace Renderer {

// An enumeration whose number is not known is taken for its first value.
template <class T>
void Limit(T& value, T last) {
    if (static_cast<std::uint32_t>(value) > static_cast<std::uint32_t>(last))
        value = T{};
}

} // namespace Renderer
