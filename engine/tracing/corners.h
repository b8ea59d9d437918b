// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/tracing/regions.h"

namespace Tracing {

// How the borders of regions pass one corner of pixels, in one byte.
class Corner {
public:
    Corner() = default;
    // Two borders touch in a corner on all four ways: falling where the pixels above left and below right are joined,
    // rising where the others are.
    Corner(unsigned ways, bool isFalling, bool isRising)
        : m_bits(static_cast<std::uint8_t>(ways | static_cast<unsigned>(isFalling) << 4 |
                                           static_cast<unsigned>(isRising) << 5)) {}

    // The ways on which a border leaves the corner, a bit each: right, down, left, up.
    unsigned GetWays() const { return m_bits & 15u; }
    bool IsFalling() const { return (m_bits & 16) != 0; }
    bool IsRising() const { return (m_bits & 32) != 0; }
    // Three regions meet, or four.
    bool IsMeeting() const {
        // A bit for each number below 16 of three bits or more.
        constexpr unsigned c_threeOrMore = 1u << 7 | 1u << 11 | 1u << 13 | 1u << 14 | 1u << 15;
        return (m_bits & 48) == 0 && (c_threeOrMore >> GetWays() & 1) != 0;
    }
    // Marks the side to the right, or with `down` that below, and tells whether it was not marked yet.
    bool Take(bool down) {
        auto const bit = static_cast<std::uint8_t>(down ? 128 : 64);
        bool const isNew = (m_bits & bit) == 0;
        m_bits = static_cast<std::uint8_t>(m_bits | bit);
        return isNew;
    }

private:
    std::uint8_t m_bits = 0;
};

// All corners of the pixels of a picture, those of its edge included.
struct Corners {
    struct Place {
        std::int32_t x = 0, y = 0;
    };
    // Row by row, one more than pixels both ways.
    std::vector<Corner> all;
    // Where three regions meet or more.
    std::vector<Place> meetings;
    // Other corners from which a border leads to the right and down. Each border that is a ring has one.
    std::vector<Place> upperLefts;
};

Corners FindCorners(Regions const& regions, Options const& options);

} // namespace Tracing
