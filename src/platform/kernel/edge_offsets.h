// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/prop_type.h"

namespace Kernel {

// Distances from the four edges of a rectangle to its inside.
template <class T>
struct EdgeOffsetsT {
    T left = 0;
    T top = 0;
    T right = 0;
    T bottom = 0;

    // The offsets of a rectangle that was never given any.
    static constexpr EdgeOffsetsT Unset() {
        constexpr T c_lowest = std::numeric_limits<T>::lowest();
        return {c_lowest, c_lowest, c_lowest, c_lowest};
    }
    constexpr bool IsUnset() const { return *this == Unset(); }
    friend constexpr bool operator==(EdgeOffsetsT const&, EdgeOffsetsT const&) = default;
};

template <>
struct PropTraits<EdgeOffsetsT<double>> {
    static constexpr PropType c_type = PropType::Rect;
};

} // namespace Kernel
