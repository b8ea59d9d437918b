// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

// Roots and the sRGB curve from operations that IEEE 754 rounds exactly, so that every machine gives the same samples.
// The C library's pow and cbrt do not promise that. Without branches, so that loops over them run on whole registers.
namespace Raster {

// About x^(1 / n) for positive, normal x: the exponent divided by n. `magic` makes the greatest error least.
inline float GuessRoot(float x, float inverse, std::int32_t magic) noexcept {
    // A float's product rather than a division, which registers of integers lack.
    auto const bits = static_cast<float>(std::bit_cast<std::int32_t>(x));
    return std::bit_cast<float>(static_cast<std::int32_t>(bits * inverse) + magic);
}

// The real cube root of a positive, normal x; error below 4e-7 of the result. Two of Halley's iterations take the
// guess's 3.2 % to what a float holds.
inline float CubeRoot(float x) noexcept {
    float y = GuessRoot(x, 1.0f / 3.0f, 0x2A50FB39);
    for (int i = 0; i != 2; ++i) {
        float const cube = y * y * y;
        y *= (cube + (x + x)) / (cube + cube + x);
    }
    return y;
}

// The fifth root of a positive, normal x; error below 4e-7 of the result. Two of Halley's iterations.
inline float FifthRoot(float x) noexcept {
    float y = GuessRoot(x, 1.0f / 5.0f, 0x32C81062);
    for (int i = 0; i != 2; ++i) {
        float const square = y * y;
        float const fifth = square * square * y;
        y *= (2 * fifth + 3 * x) / (3 * fifth + 2 * x);
    }
    return y;
}

// The transfer curve of IEC 61966-2-1, odd about zero and going on beyond one, up to 1e6. Not a number counts as 1e6.
inline float DecodeSrgb(float v) noexcept {
    float const magnitude = std::fabs(v);
    float const base = ((magnitude < 1e6f ? magnitude : 1e6f) + 0.055f) * (1 / 1.055f);
    float const root = FifthRoot(base);
    float const curved = base * base * (root * root);
    return std::copysign(magnitude <= 0.04045f ? magnitude * (1 / 12.92f) : curved, v);
}

inline float EncodeSrgb(float v) noexcept {
    float const magnitude = std::fabs(v);
    float const inside = magnitude < 1e6f ? magnitude : 1e6f;
    // x^(1 / 2.4) is the fifth power of the twelfth root. Below the straight part's end the root is not used.
    float const root = CubeRoot(std::sqrt(std::sqrt(inside > 1e-3f ? inside : 1e-3f)));
    float const square = root * root;
    float const curved = 1.055f * (square * square * root) - 0.055f;
    return std::copysign(magnitude <= 0.0031308f ? magnitude * 12.92f : curved, v);
}

} // namespace Raster
