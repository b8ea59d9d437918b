// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/geometry_values.h"
#include "platform/raster/affine_transform.h"

#include <algorithm>
#include <cmath>

namespace Raster {

// Where a pixel of the target is read from in the source: stages that a pixel accessor applies to the pixel's centre.

struct IdentityTransform {
    constexpr Kernel::PointT<double> Apply(Kernel::PointT<double> p) const { return p; }
};

struct TranslationTransform {
    double x = 0, y = 0;
    constexpr Kernel::PointT<double> Apply(Kernel::PointT<double> p) const { return {p.x + x, p.y + y}; }
};

// Reading a mipmap level in place of the full size is a scale of 1 / 2^level.
struct ScaleTransform {
    double x = 1, y = 1;
    constexpr Kernel::PointT<double> Apply(Kernel::PointT<double> p) const { return {p.x * x, p.y * y}; }
};

struct AffineStage {
    AffineTransform::Params params;
    constexpr Kernel::PointT<double> Apply(Kernel::PointT<double> p) const { return params.Apply(p); }
};

// First Left, then Right.
template <class Left, class Right>
struct ChainTransform {
    Left left;
    Right right;
    constexpr Kernel::PointT<double> Apply(Kernel::PointT<double> p) const { return right.Apply(left.Apply(p)); }
};

// The pixel that holds the transformed centre of pixel (x, y). What lies beyond ints, or nowhere, comes to rest at a
// place that no bitmap reaches.
template <class Transform>
Kernel::PointT<int> TransformPixelCentre(Transform const& transform, int x, int y) {
    auto const toInt = [](double v) {
        constexpr double c_far = 1 << 30;
        v = std::floor(v);
        return v > -c_far ? static_cast<int>(std::min(v, c_far)) : -(1 << 30);
    };
    auto const p = transform.Apply({x + 0.5, y + 0.5});
    return {toInt(p.x), toInt(p.y)};
}

// The meaning of a location outside the bitmap. Resolve moves the location inside, or answers false: the pixel is zero.

// For locations that the caller keeps inside; the padding of a span may go beyond the edge and is zero.
struct Safe {
    static constexpr bool Resolve(int& x, int& y, int width, int height) {
        return x >= 0 && y >= 0 && x < width && y < height;
    }
};

// Zero outside: for masks and for images that are laid over others.
struct Zero {
    static constexpr bool Resolve(int& x, int& y, int width, int height) { return Safe::Resolve(x, y, width, height); }
};

// The nearest pixel of the edge.
struct Repeat {
    static constexpr bool Resolve(int& x, int& y, int width, int height) {
        x = std::clamp(x, 0, width - 1);
        y = std::clamp(y, 0, height - 1);
        return true;
    }
};

} // namespace Raster
