// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

// How text runs round an object. The values are stored; other values than these mean Around.
namespace Story::WrapStyle {
enum Type : std::uint32_t {
    // It runs through the object.
    None = 0,
    // It keeps clear of the object's wrap shape, on both sides.
    Around = 1
};
} // namespace Story::WrapStyle
