// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace Learning {

// The most pixels of a picture whose background is removed.
inline constexpr std::int64_t c_maximumSentPixels = std::int64_t{1} << 27;
// The most pixels of all pictures of one answer together.
inline constexpr std::uint64_t c_maximumAnsweredPixels = std::uint64_t{1} << 27;

} // namespace Learning
