// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <limits>

namespace Kernel {

template <class T>
struct PointT {
    T x = 0;
    T y = 0;
    friend constexpr bool operator==(PointT const&, PointT const&) = default;
};

template <class T>
struct SizeT {
    T width = 0;
    T height = 0;
    friend constexpr bool operator==(SizeT const&, SizeT const&) = default;
};

// A rectangle of half-open extent: left and top belong to it, right and bottom do not. y grows downwards.
template <class T>
struct RectT {
    T left = 0;
    T top = 0;
    T right = 0;
    T bottom = 0;

    constexpr T GetWidth() const { return right - left; }
    constexpr T GetHeight() const { return bottom - top; }
    // True when the rectangle covers no area.
    constexpr bool IsEmpty() const { return !(left < right) || !(top < bottom); }
    constexpr bool Contains(PointT<T> p) const { return p.x >= left && p.x < right && p.y >= top && p.y < bottom; }

    // The smallest rectangle that holds both; an empty one adds nothing.
    constexpr RectT United(RectT const& other) const {
        if (IsEmpty())
            return other;
        if (other.IsEmpty())
            return *this;
        return {std::min(left, other.left), std::min(top, other.top), std::max(right, other.right),
                std::max(bottom, other.bottom)};
    }
    // The intersection; empty (0, 0, 0, 0) when the rectangles have no common area.
    constexpr RectT Intersected(RectT const& other) const {
        RectT const common{std::max(left, other.left), std::max(top, other.top), std::min(right, other.right),
                           std::min(bottom, other.bottom)};
        return common.IsEmpty() ? RectT{} : common;
    }
    friend constexpr bool operator==(RectT const&, RectT const&) = default;
};

} // namespace Kernel
