// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cmath>
#include <compare>
#include <cstdint>

namespace Geometry::Planar {

// Integer coordinates of at most 51 bits, so that products of two differences stay exact in 128.
__extension__ using Wide = __int128;
__extension__ using UnsignedWide = unsigned __int128;

struct GridPoint {
    std::int64_t x = 0;
    std::int64_t y = 0;
    friend constexpr bool operator==(GridPoint const&, GridPoint const&) = default;
    friend constexpr auto operator<=>(GridPoint const&, GridPoint const&) = default;
};

inline Wide Cross(GridPoint a, GridPoint b, GridPoint c, GridPoint d) {
    return static_cast<Wide>(b.x - a.x) * (d.y - c.y) - static_cast<Wide>(b.y - a.y) * (d.x - c.x);
}

inline double ApproximateCross(GridPoint a, GridPoint b, GridPoint c, GridPoint d) {
    return static_cast<double>(b.x - a.x) * static_cast<double>(d.y - c.y) -
           static_cast<double>(b.y - a.y) * static_cast<double>(d.x - c.x);
}

// The side of c as seen from a towards b: 1 to the left where y grows upwards, -1 to the right, 0 on the line. Exact:
// doubles decide where their error bound allows it (J. R. Shewchuk, "Adaptive Precision Floating-Point Arithmetic and
// Fast Robust Geometric Predicates", 1997), 128 bits the rest.
inline int Orientation(GridPoint a, GridPoint b, GridPoint c) {
    double const left = static_cast<double>(b.x - a.x) * static_cast<double>(c.y - a.y);
    double const right = static_cast<double>(b.y - a.y) * static_cast<double>(c.x - a.x);
    double const bound = 4.5e-16 * (std::fabs(left) + std::fabs(right));
    if (left - right > bound)
        return 1;
    if (left - right < -bound)
        return -1;
    Wide const exact = Cross(a, b, a, c);
    return exact < 0 ? -1 : exact > 0 ? 1 : 0;
}

// factor * numerator / denominator, rounded half up, where the fraction lies in 0..1. The quotient is estimated in
// floating point; its remainder is small, so that 128 bits of it tell exactly by how much the estimate was off.
inline std::int64_t ScaleRounded(std::int64_t factor, Wide numerator, Wide denominator) {
    if (denominator < 0) {
        numerator = -numerator;
        denominator = -denominator;
    }
    auto result = static_cast<std::int64_t>(std::floor(
        static_cast<double>(factor) * (static_cast<double>(numerator) / static_cast<double>(denominator)) + 0.5));
    auto remainder = static_cast<Wide>(
        static_cast<UnsignedWide>(static_cast<Wide>(factor)) * static_cast<UnsignedWide>(numerator) -
        static_cast<UnsignedWide>(static_cast<Wide>(result)) * static_cast<UnsignedWide>(denominator));
    while (2 * remainder >= denominator) {
        remainder -= denominator;
        ++result;
    }
    while (2 * remainder < -denominator) {
        remainder += denominator;
        --result;
    }
    return result;
}

inline bool CrossProperly(GridPoint a, GridPoint b, GridPoint c, GridPoint d) {
    return Orientation(a, b, c) * Orientation(a, b, d) < 0 && Orientation(c, d, a) * Orientation(c, d, b) < 0;
}

// The grid point nearest to the crossing of two segments that cross properly; ties go up.
inline GridPoint RoundedCrossing(GridPoint a, GridPoint b, GridPoint c, GridPoint d) {
    Wide const denominator = Cross(a, b, c, d), numerator = Cross(a, c, c, d);
    return {a.x + ScaleRounded(b.x - a.x, numerator, denominator),
            a.y + ScaleRounded(b.y - a.y, numerator, denominator)};
}

} // namespace Geometry::Planar
