// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/curve_net.h"
#include "engine/geometry/planar_map/curve_part.h"

#include <cstdint>
#include <span>
#include <vector>

namespace Geometry::Planar {

// The pieces of a net as chords that cross each other just as the curves do.
//
// Chords start coarse. Each carries the curve's distance from it, and a pair of chords that is too near, beside that
// distance, to tell whether the curves meet is halved and looked at again, down to curves that are within a few grid
// units of each other. So only tangent and nearly coinciding curves cost many chords. Then the true crossings are
// computed, and chords on which they follow each other in another order than those of the chords are halved, too. Where
// all this costs too many chords the rest stays as coarse as it is: the map is then still a map, of curves that far
// from the true ones.
class FlattenedNet {
public:
    FlattenedNet(CurveNet const& net, Monitor& monitor);
    // Straight chords that stand for nothing but themselves.
    FlattenedNet(PartList lines, Monitor& monitor);

    // Two chords that cross in their inside, the grid point nearest to the crossing, and where the curves cross.
    struct Crossing {
        std::uint32_t a = 0, b = 0;
        GridPoint at;
        double t = 0, u = 0;
    };
    // A crossing on one chord, with the true parameter of the chord's curve there.
    struct Stop {
        GridPoint at;
        double t = 0;
        std::uint32_t crossing = 0;
    };

    PartList list;
    // Crossings of live chords, each once; others may be among them.
    std::vector<Crossing> crossings;
    SegmentGrid grid;
    // The crossings on a chord; none where there are no curves.
    std::span<Stop const> GetStops(std::uint32_t part) const {
        if (m_firstStop.empty())
            return {};
        return std::span(m_stops).subspan(m_firstStop[part], m_firstStop[part + 1] - m_firstStop[part]);
    }

    // The parameter at which a part's curve passes a grid point that its chord passes. `stop` may tell where the curve
    // meets another. Of curves at a small angle that can be far from where their chords do, which may have become one
    // edge there; the curve is to be cut where the chord is, then.
    double GetParameterNear(std::uint32_t part, GridPoint p, Stop const* stop = nullptr) const;

    // More crossings, or chords, than memory should be spent on; the crossings are not complete then.
    bool IsTooComplex() const { return m_tooComplex; }

private:
    FlattenedNet(PartList coarse, CurveNet const* net, Monitor& monitor);
    void RelateLeaf(std::uint32_t cell, GridBox const& box, Monitor& monitor);
    void RelatePair(std::uint32_t a, std::uint32_t b, GridBox const& box);
    void SplitMarked(Monitor& monitor);
    void MarkForSplit(std::uint32_t part);
    void MarkIfCoarse(std::uint32_t part) {
        if (!m_reserveSpent && list.parts[part].error > c_finestError && !m_marked[part])
            MarkForSplit(part);
    }
    // In crossing_orders.cpp.
    void CheckCrossings(Monitor& monitor);
    // Finds where the curves of a crossing cross. False where their chords are too long to tell.
    bool Meet(Crossing& crossing) const;
    // How far a crossing may lie from that of the chords.
    double GetUsualReach(Crossing const& crossing) const;
    void CollectStops(Monitor& monitor);
    void CheckOrder(std::uint32_t part, std::span<Stop> stops, Monitor& monitor);
    bool IsAlive(Crossing const& crossing) const {
        return !list.segments[crossing.a].dead && !list.segments[crossing.b].dead;
    }
    bool CanSplit(std::uint32_t part) const { return !m_budgetSpent && list.parts[part].error > c_finestError; }

    // None where the chords stand for themselves.
    CurveNet const* m_net = nullptr;
    // Parts below are related to each other already.
    std::uint32_t m_firstNew = 0;
    std::vector<std::uint32_t> m_toSplit;
    std::vector<bool> m_marked;
    std::vector<std::uint32_t> m_leaf;
    std::size_t m_metCrossings = 0;
    std::vector<std::uint32_t> m_firstStop;
    std::vector<Stop> m_stops;
    // Unclear pairs may use up the budget; crossings in the wrong order have a reserve of their own.
    bool m_budgetSpent = false, m_reserveSpent = false;
    bool m_tooComplex = false;
};

} // namespace Geometry::Planar
