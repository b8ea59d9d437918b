// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/poly_curve.h"

#include <array>
#include <cstdint>
#include <vector>

// Makes drawings of pictures: areas of one colour become curves.
namespace Tracing {

// Pixels row by row: red, green, blue and alpha, not multiplied, in sRGB.
struct Picture {
    using Pixel = std::array<std::uint8_t, 4>;
    int width = 0;
    int height = 0;
    std::vector<Pixel> pixels;

    Pixel const& At(int x, int y) const { return pixels[static_cast<std::size_t>(y) * width + x]; }
};

struct Options {
    // At most; from 1.
    int colours = 64;
    // Pixels.
    double tolerance = 0.4;
    int smallestArea = 8;
    // Polled when it is not null.
    bool const* abort = nullptr;
};

struct Shape {
    Picture::Pixel colour{};
    // In pixels; filled by the non-zero rule.
    Kernel::Counted<Geometry::PolyCurveDbl> outline;
};

// Whether `count` values in a row are all equal to `value`: a loop that is done several values at a time.
template <std::size_t count, class T>
bool AreAll(T const* values, T value) {
    T difference = 0;
    for (std::size_t i = 0; i != count; ++i)
        difference = static_cast<T>(difference | (values[i] ^ value));
    return difference == 0;
}

// The most pixels of a picture.
inline constexpr std::int64_t c_mostPixels = std::int64_t{1} << 28;

// The shapes from the undermost to the uppermost. A shape reaches a little under those above it, so that no ground
// shines through between them. The same for any number of threads. See docs/tracing.md. Throws Kernel::Exception for a
// picture of more than c_mostPixels, and Kernel::AbortException.
std::vector<Shape> TracePicture(Picture const& picture, Options const& options);

} // namespace Tracing
