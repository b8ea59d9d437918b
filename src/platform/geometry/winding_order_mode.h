// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace Geometry {

// Which points lie inside a set of contours. The numbers are part of the stored format.
enum class WindingOrderMode : std::uint32_t {
    // Points that the contours go round a number of times other than zero.
    NonZero = 0,
    // Points that a ray from outside reaches after an odd number of crossings.
    Alternating = 1,
};

} // namespace Geometry
