// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/curve_net.h"
#include "engine/geometry/planar_map/curve_part.h"

#include <cstdint>
#include <vector>

namespace Geometry::Planar {

// The pieces of a net as chords that cross each other just as the curves do.
//
// Chords start coarse. Each carries the curve's distance from it, and a pair of chords that is too near, beside that
// distance, to tell whether the curves meet is halved and looked at again, down to curves that are within a few grid
// units of each other. So only tangent and nearly coinciding curves cost many chords. Where they cost too many the rest
// stays as coarse as it is: the map is then still a map, of curves that far from the true ones.
class FlattenedNet {
public:
    FlattenedNet(CurveNet const& net, Monitor& monitor);
    // Straight chords that stand for nothing but themselves.
    FlattenedNet(PartList lines, Monitor& monitor);

    // Two chords that cross in their inside, and the grid point nearest to the crossing.
    struct Crossing {
        std::uint32_t a = 0, b = 0;
        GridPoint at;
    };

    PartList list;
    // Crossings of live chords, each once; others may be among them.
    std::vector<Crossing> crossings;
    SegmentGrid grid;

    // More crossings, or chords, than memory should be spent on; the crossings are not complete then.
    bool IsTooComplex() const { return m_tooComplex; }

private:
    FlattenedNet(PartList coarse, CurveNet const* net, Monitor& monitor);
    void RelateLeaf(std::uint32_t cell, GridBox const& box, Monitor& monitor);
    void RelatePair(std::uint32_t a, std::uint32_t b, GridBox const& box);
    void SplitMarked(CurveNet const& net, Monitor& monitor);
    void MarkForSplit(std::uint32_t part);
    bool CanSplit(std::uint32_t part) const { return !m_budgetSpent && list.parts[part].error > c_finestError; }

    // Parts below are related to each other already.
    std::uint32_t m_firstNew = 0;
    std::vector<std::uint32_t> m_toSplit;
    std::vector<bool> m_marked;
    std::vector<std::uint32_t> m_leaf;
    bool m_budgetSpent = false;
    bool m_tooComplex = false;
};

} // namespace Geometry::Planar
