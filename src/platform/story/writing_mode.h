// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace Story {

// How the lines of a story run. Values are part of the stored form.
enum class WritingMode : std::uint32_t {
    Horizontal = 0,
    // From top to bottom, the next line on the left of the one before it: as in Chinese and Japanese books.
    Vertical = 1
};

} // namespace Story
