// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/alongside.h"
#include "engine/geometry/planar_map/curve_net.h"
#include "engine/geometry/planar_map/curve_part.h"

#include <cstdint>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

namespace Geometry::Planar {

// Whether straight lines between the ends of pieces cross, told from a few of them: a sketch is not worth trying then.
bool LooksCrossed(CurveNet const& net, Monitor& monitor);

// The pieces of a net as chords that cross each other just as the curves do.
//
// Chords start coarse. Each carries the curve's distance from it, and a pair of chords that is too near, beside that
// distance, to tell whether the curves meet is halved and looked at again, down to curves that are within a few grid
// units of each other. Curves side by side are cut in the same places, so that their chords lie as they do however long
// they are. So only tangent curves cost many chords. Then the true crossings are computed, and chords on which they
// follow each other in another order than those of the chords are halved, too. Where this costs too many chords for two
// curves, these two stay as coarse as they are: the map is then still a map, of curves that far from the true ones.
class FlattenedNet {
public:
    // Cuts that two curves may cost. Two that touch take some dozens, and some hundreds where they do it in many
    // places.
    static constexpr std::uint32_t c_mostCutsOfPair = 1 << 14;
    // So many of these where both count as one and are as fine as they get. Each makes ends of chords that are rounded,
    // and where many curves run together the chords of others cross those of the new ones again.
    static constexpr std::uint32_t c_mostRoundingCutsOfPair = 256;

    FlattenedNet(CurveNet const& net, Monitor& monitor, std::uint32_t mostCutsOfPair = c_mostCutsOfPair);
    // Few chords, for nets on which no curves meet but in their ends, as in maps and mosaics. They are good for
    // nothing where MayCross says that this is not so, or could not be seen.
    struct Sketch {};
    FlattenedNet(CurveNet const& net, Monitor& monitor, Sketch);
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
    // Of a sketch: whether curves cross, touch, or come too near to each other to be told apart by few chords.
    bool MayCross() const { return m_mayCross; }
    // Pairs of curves that were not looked at as closely as it takes, since that would have cost too many cuts.
    std::size_t GetSpentPairs() const { return m_spentPairs; }

private:
    FlattenedNet(PartList coarse, CurveNet const* net, std::uint32_t mostCutsOfPair, bool isSketch, Monitor& monitor);
    void RelateLeaf(std::uint32_t cell, GridBox const& box, Monitor& monitor);
    void RelatePair(std::uint32_t a, std::uint32_t b, GridBox const& box);
    void RelateSketched(std::uint32_t a, std::uint32_t b);
    void SplitMarked(Monitor& monitor);
    // Cuts chords of an unclear pair, at given places or in halves; false where they are as fine as they get.
    bool Refine(std::uint32_t a, std::uint32_t b);
    bool Refine(std::uint32_t a, std::uint32_t b, Alongside const& cuts);
    void MarkForSplit(std::uint32_t part, std::optional<double> t = {}, std::optional<GridPoint> at = {});
    // Takes one cut from what the curves of two parts have; false when there is none left.
    bool Spend(std::uint32_t a, std::uint32_t b);
    // The same for a cut where only rounding lies between the curves.
    bool SpendOnRounding(std::uint32_t a, std::uint32_t b);
    void RefineCrossing(Crossing const& crossing);
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
    bool IsCoarse(std::uint32_t part) const { return list.parts[part].error > c_finestError; }
    Segment GetCurveOf(std::uint32_t part) const {
        return m_net->GetGridCurve(m_net->pieces[list.parts[part].owner].curve);
    }

    // None where the chords stand for themselves.
    CurveNet const* m_net = nullptr;
    std::uint32_t m_mostCutsOfPair;
    bool m_isSketch;
    bool m_mayCross = false;
    std::size_t m_hullsLeft = 0;
    // Parts below are related to each other already.
    std::uint32_t m_firstNew = 0;
    struct Cut {
        std::uint32_t part = 0;
        std::optional<double> t;
        std::optional<GridPoint> at;
    };
    std::vector<Cut> m_toSplit;
    std::vector<bool> m_marked;
    std::vector<std::uint32_t> m_leaf;
    std::size_t m_metCrossings = 0;
    std::vector<std::uint32_t> m_firstStop;
    std::vector<Stop> m_stops;
    // Two parts meet in several leaves of the grid. Curves side by side are told apart once and remembered, until
    // another pair takes their entry in this table of limited size.
    bool IsKnownApart(std::uint64_t pair) const { return !m_knownApart.empty() && m_knownApart[PlaceOf(pair)] == pair; }
    void SetKnownApart(std::uint64_t pair);
    std::size_t PlaceOf(std::uint64_t pair) const {
        return (pair * 0x9E3779B97F4A7C15u >> 32) & (m_knownApart.size() - 1);
    }
    std::vector<std::uint64_t> m_knownApart;
    // Cuts made for each two pieces that were unclear.
    std::unordered_map<std::uint64_t, std::uint32_t> m_cuts;
    std::unordered_map<std::uint64_t, std::uint32_t> m_roundingCuts;
    std::size_t m_spentPairs = 0;
    bool m_lastRound = false;
    bool m_tooComplex = false;
};

} // namespace Geometry::Planar
