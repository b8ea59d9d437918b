// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

// Roots and the sRGB curve from operations that IEEE 754 rounds exactly, so that every machine gives the same samples.
// The C library's pow and cbrt do not promise that.
namespace Raster {

// The real cube root of x, x > 0 and normal; error below 2e-15 of the result. Halley's iteration.
inline double CubeRoot(double x) noexcept {
    // A third of the exponent, with the constant that makes the guess's greatest error least, about 3.2 %.
    double y = std::bit_cast<double>(std::bit_cast<std::uint64_t>(x) / 3 + 0x2A9F7AE147AE167Bull);
    for (int i = 0; i != 3; ++i) {
        double const cube = y * y * y;
        y *= (cube + x + x) / (cube + cube + x);
    }
    return y;
}

// The fifth root of x, x > 0 and normal; error below 2e-15 of the result. Newton's iteration.
inline double FifthRoot(double x) noexcept {
    double y = std::bit_cast<double>(std::bit_cast<std::uint64_t>(x) / 5 + 0x3325CCCCCCCCCE67ull);
    for (int i = 0; i != 5; ++i) {
        double const square = y * y;
        y = 0.2 * (4 * y + x / (square * square));
    }
    return y;
}

// Infinities, and what would become one, pass.
inline constexpr double c_endlessSample = 1e100;

// The transfer curve of IEC 61966-2-1, odd about zero and going on beyond one.
inline double DecodeSrgb(double v) noexcept {
    double const magnitude = std::fabs(v);
    if (!(magnitude > 0.04045))
        return v / 12.92;
    if (!(magnitude < c_endlessSample))
        return v;
    double const base = (magnitude + 0.055) / 1.055;
    double const root = FifthRoot(base);
    return std::copysign(base * base * root * root, v);
}

inline double EncodeSrgb(double v) noexcept {
    double const magnitude = std::fabs(v);
    if (!(magnitude > 0.0031308))
        return v * 12.92;
    if (!(magnitude < c_endlessSample))
        return v;
    // x^(1 / 2.4) is the fifth power of the twelfth root.
    double const root = CubeRoot(std::sqrt(std::sqrt(magnitude)));
    double const square = root * root;
    return std::copysign(1.055 * (square * square * root) - 0.055, v);
}

} // namespace Raster
