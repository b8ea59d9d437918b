// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>

namespace Raster {

// A sample in another width, full scale to full scale; integers are rounded to the nearest, floats are clamped on their
// way to integers, where not a number is 0. Equal to the plain rules, which go through floats.
template <class From, class To>
To Rescale(From sample) {
    if constexpr (std::is_same_v<From, To>) {
        return sample;
    } else if constexpr (std::is_floating_point_v<From>) {
        float const clamped = sample > 0 ? (sample < 1 ? sample : 1.0f) : 0.0f;
        return static_cast<To>(static_cast<int>(clamped * static_cast<float>(std::numeric_limits<To>::max()) + 0.5f));
    } else if constexpr (std::is_floating_point_v<To>) {
        return static_cast<float>(sample) / static_cast<float>(std::numeric_limits<From>::max());
    } else if constexpr (sizeof(From) < sizeof(To)) {
        return static_cast<To>(sample * 257u);
    } else {
        // 65535 is 255 times 257. There are no halves: 257 is odd.
        return static_cast<To>((sample + 128u) / 257u);
    }
}

} // namespace Raster
