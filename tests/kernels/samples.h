// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/buffer.h"

#include <cmath>
#include <limits>
#include <random>

namespace Tests {

// The samples that rules turn at, and beyond the range of what floats ought to hold.
template <class Sample>
std::vector<Sample> GetSpecialSamples() {
    constexpr auto c_infinite = std::numeric_limits<float>::infinity();
    constexpr auto c_nothing = std::numeric_limits<float>::quiet_NaN();
    if constexpr (std::is_same_v<Sample, std::uint8_t>)
        return {0, 1, 127, 128, 129, 254, 255, 255};
    else if constexpr (std::is_same_v<Sample, std::uint16_t>)
        return {0, 1, 127, 128, 255, 256, 257, 32767, 32768, 32769, 65279, 65534, 65535, 65535};
    else
        return {0.0f,        -0.0f,      1.0f,     1.0f,   0.5f,   0.50001f, 0.25f, std::nextafter(1.0f, 0.0f),
                1.25f,       300.0f,     -0.75f,   1e-30f, 1e-21f, 1e-18f,   1e-5f, 1.0f / 255,
                -c_infinite, c_infinite, c_nothing};
}

// Every other sample is special, the rest are all others in turn or anything. Integers of 8 bits come all.
template <class Traits>
Buffers MakePicture(int width, int height, unsigned seed) {
    using Sample = typename Traits::Sample;
    auto const picture = Raster::BufferBase::Create(width, height, Traits::c_format);
    auto const special = GetSpecialSamples<Sample>();
    std::mt19937 random(seed);
    for (int c = 0; c != Traits::c_channelCount; ++c) {
        for (int y = 0; y != height; ++y) {
            auto* const row = static_cast<Sample*>(picture->GetRow(c, y));
            for (int x = 0; x != width; ++x) {
                auto const any = static_cast<unsigned>(random());
                if (any & 1)
                    row[x] = special[(any >> 1) % special.size()];
                else if constexpr (Traits::c_isFloat)
                    row[x] = static_cast<float>(any >> 8) / static_cast<float>(1 << 24);
                else
                    row[x] = static_cast<Sample>(sizeof(Sample) == 1 ? unsigned(x + y * c) : any >> 1);
            }
        }
    }
    return picture;
}

template <class Sample>
bool IsSame(Sample a, Sample b) {
    if constexpr (std::is_floating_point_v<Sample>)
        return a == b || (std::isnan(a) && std::isnan(b));
    else
        return a == b;
}

template <class Sample>
Sample GetSample(Raster::BufferBase const& picture, int channel, int x, int y) {
    return static_cast<Sample const*>(picture.GetRow(channel, y))[x];
}

} // namespace Tests
