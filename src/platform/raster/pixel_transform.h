// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/kernel/geometry_values.h"
#include "platform/raster/affine_transform.h"

#include <algorithm>
#include <cmath>

namespace Raster {

// Where a pixel of the target is read from in the source: stages that a pixel accessor applies to the pixel's centre.
// The hardware fragments say the same in the languages of kernels; null for a language that does not exist.

struct REDRAFT_ENGINE IdentityTransform {
    constexpr Kernel::PointT<double> Apply(Kernel::PointT<double> p) const { return p; }
    static char const* GetHardwareFragment(int language);
};

struct REDRAFT_ENGINE TranslationTransform {
    double x = 0, y = 0;
    constexpr Kernel::PointT<double> Apply(Kernel::PointT<double> p) const { return {p.x + x, p.y + y}; }
    static char const* GetHardwareFragment(int language);
};

// Reading a mipmap level in place of the full size is a scale of 1 / 2^level.
struct REDRAFT_ENGINE ScaleTransform {
    double x = 1, y = 1;
    constexpr Kernel::PointT<double> Apply(Kernel::PointT<double> p) const { return {p.x * x, p.y * y}; }
    static char const* GetHardwareFragment(int language);
};

struct REDRAFT_ENGINE AffineStage {
    AffineTransform::Params params;
    constexpr Kernel::PointT<double> Apply(Kernel::PointT<double> p) const { return params.Apply(p); }
    static char const* GetHardwareFragment(int language);
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
struct REDRAFT_ENGINE Safe {
    static constexpr bool Resolve(int& x, int& y, int width, int height) {
        return x >= 0 && y >= 0 && x < width && y < height;
    }
    static char const* GetHardwareFragment(int language);
};

// Zero outside: for masks and for images that are laid over others.
struct REDRAFT_ENGINE Zero {
    static constexpr bool Resolve(int& x, int& y, int width, int height) { return Safe::Resolve(x, y, width, height); }
    static char const* GetHardwareFragment(int language);
};

// The nearest pixel of the edge.
struct REDRAFT_ENGINE Repeat {
    static constexpr bool Resolve(int& x, int& y, int width, int height) {
        x = std::clamp(x, 0, width - 1);
        y = std::clamp(y, 0, height - 1);
        return true;
    }
    static char const* GetHardwareFragment(int language);
};

} // namespace Raster
