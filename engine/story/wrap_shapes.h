// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/composition.h"

namespace Story {

struct Interval {
    double begin = 0, end = 0;
    double GetWidth() const { return end > begin ? end - begin : 0; }
};

// The parts of an interval of x that no shape reaches into between two heights, distances kept, from left to right.
std::vector<Interval> FindRooms(std::vector<WrapShape> const& shapes, Interval const& column, double top,
                                double bottom);

} // namespace Story
