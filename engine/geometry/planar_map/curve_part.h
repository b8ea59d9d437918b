// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/segment_grid.h"
#include "platform/geometry/curve.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace Geometry::Planar {

// The section of a curve that a grid segment stands for.
struct CurvePart {
    // Piece or curve, as the caller counts.
    std::uint32_t owner = 0;
    // How far the curve bends away from the chord, in grid units; 0 for a line.
    float error = 0;
    // Bound of the tangent of the angle between the curve and the chord.
    float slope = 0;
    double t0 = 0, t1 = 1;
};

// A part of a smooth curve this far from its chord is as good as straight.
inline constexpr float c_finestError = 8;
// Where parts are halved. Uneven halves: curves of drawings like to meet at simple fractions of their length, and a
// node of the flattening in such a place would have to be told from the crossing.
inline constexpr double c_firstHalf = 0.4721;

// Chords and what is known about the curves along them, side by side.
struct PartList {
    std::vector<GridSegment> segments;
    std::vector<CurvePart> parts;

    // Adds the part of `curve` (in grid coordinates) between two parameters, with the grid points that stand for its
    // ends.
    void Add(Segment const& curve, std::uint32_t owner, double t0, double t1, GridPoint from, GridPoint to);
    // Adds a section as a few parts, enough to tell where it runs.
    void AddFlattened(Segment const& curve, std::uint32_t owner, double t0, double t1, GridPoint from, GridPoint to);
    // The same with as few parts as tell little more than where it turns.
    void AddSketched(Segment const& curve, std::uint32_t owner, double t0, double t1, GridPoint from, GridPoint to);
    // Replaces a part by two or, where the grid has no room for a point between, by one that counts as straight. `t` is
    // where to cut if there is room, the usual place if not, and `at` the grid point that stands for it.
    void Halve(Segment const& curve, std::uint32_t part, std::optional<double> t = {},
               std::optional<GridPoint> at = {});

private:
    void AddInSteps(unsigned steps, Segment const& curve, std::uint32_t owner, double t0, double t1, GridPoint from,
                    GridPoint to);
};

// How two parts lie to each other.
enum class Relation {
    // The curves do not meet, but for an end that both share.
    Apart,
    // The curves cross exactly once, and so do the chords.
    Cross,
    // The chords are too coarse to tell.
    Unclear,
};

Relation Relate(GridSegment const& s, CurvePart const& sPart, GridSegment const& q, CurvePart const& qPart);

} // namespace Geometry::Planar
