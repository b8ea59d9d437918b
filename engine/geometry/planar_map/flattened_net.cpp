// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/flattened_net.h"

#include "engine/geometry/planar_map/hulls.h"

#include <algorithm>
#include <bit>

namespace Geometry::Planar {

namespace {

constexpr int c_mostRounds = 80;
// A sketch that needs more rounds, or parts or comparisons of hulls beside those that it begins with, is none.
constexpr int c_mostSketchRounds = 8;
constexpr std::size_t c_mostGrowthOfSketch = 4, c_mostHullsOfPart = 8;
// Parts that bend more from their chords may cross themselves.
constexpr float c_mostSlopeOfSketch = 1;
constexpr std::size_t c_mostParts = std::size_t{1} << 25;
constexpr std::size_t c_mostCrossings = std::size_t{1} << 24;

PartList FlattenCoarsely(CurveNet const& net, bool asSketch, Monitor& monitor) {
    PartList list;
    auto const add = asSketch ? &PartList::AddSketched : &PartList::AddFlattened;
    for (std::uint32_t i = 0; i != net.pieces.size(); ++i) {
        NetPiece const& piece = net.pieces[i];
        if (piece.same == i)
            (list.*add)(net.GetGridCurve(piece.curve), i, piece.t0, piece.t1, net.vertices[piece.from].at,
                        net.vertices[piece.to].at);
        monitor.Tick();
    }
    return list;
}

} // namespace

bool LooksCrossed(CurveNet const& net, Monitor& monitor) {
    constexpr std::size_t c_samples = 64;
    for (std::size_t i = 0; i < net.pieces.size(); i += net.pieces.size() / c_samples + 1) {
        GridPoint const a = net.vertices[net.pieces[i].from].at, b = net.vertices[net.pieces[i].to].at;
        for (NetPiece const& other : net.pieces) {
            GridPoint const c = net.vertices[other.from].at, d = net.vertices[other.to].at;
            monitor.Tick();
            if (std::max(a.x, b.x) > std::min(c.x, d.x) && std::max(c.x, d.x) > std::min(a.x, b.x) &&
                std::max(a.y, b.y) > std::min(c.y, d.y) && std::max(c.y, d.y) > std::min(a.y, b.y) &&
                CrossProperly(a, b, c, d))
                return true;
        }
    }
    return false;
}

FlattenedNet::FlattenedNet(CurveNet const& net, Monitor& monitor, std::uint32_t mostCutsOfPair)
    : FlattenedNet(FlattenCoarsely(net, false, monitor), &net, mostCutsOfPair, false, monitor) {}

FlattenedNet::FlattenedNet(CurveNet const& net, Monitor& monitor, Sketch)
    : FlattenedNet(FlattenCoarsely(net, true, monitor), &net, c_mostCutsOfPair, true, monitor) {}

FlattenedNet::FlattenedNet(PartList lines, Monitor& monitor)
    : FlattenedNet(std::move(lines), nullptr, c_mostCutsOfPair, false, monitor) {}

FlattenedNet::FlattenedNet(PartList coarse, CurveNet const* net, std::uint32_t mostCutsOfPair, bool isSketch,
                           Monitor& monitor)
    : list(std::move(coarse)),
      grid(list.segments, monitor),
      m_net(net),
      m_mostCutsOfPair(mostCutsOfPair),
      m_isSketch(isSketch) {
    // As for the grid: room that is not used costs nothing, and vectors that grow copy all at once.
    constexpr std::size_t c_mostSpare = std::size_t{1} << 19;
    std::size_t const room = list.parts.size() + std::min(8 * list.parts.size(), c_mostSpare);
    list.parts.reserve(room);
    list.segments.reserve(room);
    std::size_t const mostParts = isSketch ? c_mostGrowthOfSketch * list.parts.size() : c_mostParts;
    m_hullsLeft = c_mostHullsOfPart * list.parts.size();
    int const mostRounds = isSketch ? c_mostSketchRounds : c_mostRounds;
    for (int round = 0; round != mostRounds; ++round) {
        m_marked.assign(list.parts.size(), false);
        m_toSplit.clear();
        m_lastRound = round + 1 == mostRounds;
        for (std::uint32_t part = m_firstNew; isSketch && part != list.parts.size(); ++part) {
            if (!(list.parts[part].slope <= c_mostSlopeOfSketch))
                MarkForSplit(part);
        }
        grid.VisitChanged([&](std::uint32_t cell, GridBox const& box) { RelateLeaf(cell, box, monitor); });
        m_tooComplex = list.parts.size() > mostParts || crossings.size() > c_mostCrossings;
        m_mayCross = m_mayCross || (isSketch && (m_tooComplex || (m_lastRound && !m_toSplit.empty())));
        if (m_toSplit.empty() && net != nullptr && !m_tooComplex && !isSketch)
            CheckCrossings(monitor);
        if (m_toSplit.empty() || m_tooComplex || m_mayCross)
            break;
        SplitMarked(monitor);
        monitor.Report(static_cast<float>(round) / c_mostRounds);
    }
}

void FlattenedNet::RelateLeaf(std::uint32_t cell, GridBox const& box, Monitor& monitor) {
    if (grid.IsCrowdedPoint(cell, box) || crossings.size() > c_mostCrossings || m_mayCross) {
        m_mayCross = m_isSketch;
        return;
    }
    grid.Gather(cell, m_leaf);
    std::size_t const count = m_leaf.size();
    for (std::size_t i = count; i-- != 0;) {
        // In the order of their numbers: once the later one is old, so are all pairs that are left.
        if (m_leaf[i] < m_firstNew)
            break;
        for (std::size_t j = 0; j != i; ++j) {
            if ((j & 255) == 255)
                monitor.Check();
            if (m_isSketch)
                RelateSketched(m_leaf[j], m_leaf[i]);
            else
                RelatePair(m_leaf[j], m_leaf[i], box);
        }
        monitor.Tick();
    }
}

void FlattenedNet::RelatePair(std::uint32_t a, std::uint32_t b, GridBox const& box) {
    if (m_marked[a] || m_marked[b])
        return;
    GridSegment const &s = list.segments[a], &q = list.segments[b];
    Relation relation = Relate(s, list.parts[a], q, list.parts[b]);
    if (relation == Relation::Unclear) {
        using enum Alongside::Outcome;
        std::uint64_t const pair = std::uint64_t{a} << 32 | b;
        if (IsKnownApart(pair))
            return;
        Alongside const alongside = RelateAlongside(GetCurveOf(a), s, list.parts[a], GetCurveOf(b), q, list.parts[b]);
        if (alongside.outcome == Apart) {
            SetKnownApart(pair);
            relation = Relation::Apart;
        } else if (alongside.outcome == Cross) {
            relation = Relation::Cross;
        } else {
            bool const isSettled = alongside.isRounding && !SpendOnRounding(a, b);
            if (!isSettled && (alongside.outcome == Cut ? Refine(a, b, alongside) : Refine(a, b)))
                return;
            relation = CrossProperly(s.a, s.b, q.a, q.b) ? Relation::Cross : Relation::Apart;
        }
    }
    if (relation != Relation::Cross)
        return;
    GridPoint const at = RoundedCrossing(s.a, s.b, q.a, q.b);
    // Both meet in other leaves, too, and only one of these holds the place.
    if (box.Contains(at))
        crossings.push_back({a, b, at, 0, 0});
}

void FlattenedNet::RelateSketched(std::uint32_t a, std::uint32_t b) {
    if (m_mayCross)
        return;
    GridSegment const &s = list.segments[a], &q = list.segments[b];
    Relation const relation = Relate(s, list.parts[a], q, list.parts[b]);
    if (relation == Relation::Apart)
        return;
    // Where chords cross curves mostly do, and a sketch that fails had better fail soon.
    if (CrossProperly(s.a, s.b, q.a, q.b)) {
        m_mayCross = true;
        return;
    }
    if (m_marked[a] || m_marked[b])
        return;
    if (m_hullsLeft == 0) {
        m_mayCross = true;
        return;
    }
    --m_hullsLeft;
    if (AreHullsApart(GetCurveOf(a), s, list.parts[a], GetCurveOf(b), q, list.parts[b]))
        return;
    m_mayCross = !Refine(a, b);
}

void FlattenedNet::SetKnownApart(std::uint64_t pair) {
    if (m_knownApart.empty())
        m_knownApart.assign(std::clamp(std::bit_ceil(8 * list.parts.size()), std::size_t{256}, std::size_t{65536}), 0);
    m_knownApart[PlaceOf(pair)] = pair;
}

bool FlattenedNet::Refine(std::uint32_t a, std::uint32_t b) {
    bool const canA = IsCoarse(a), canB = IsCoarse(b);
    if (!(canA || canB) || !Spend(a, b))
        return false;
    float const errorA = list.parts[a].error, errorB = list.parts[b].error;
    if (canA && (!canB || 4 * errorA >= errorB))
        MarkForSplit(a);
    if (canB && (!canA || 4 * errorB >= errorA))
        MarkForSplit(b);
    return true;
}

bool FlattenedNet::Refine(std::uint32_t a, std::uint32_t b, Alongside const& cuts) {
    if (!(cuts.cutFirst || cuts.cutSecond) || !Spend(a, b))
        return false;
    if (cuts.cutFirst)
        MarkForSplit(a, cuts.cutFirst, cuts.meeting);
    if (cuts.cutSecond)
        MarkForSplit(b, cuts.cutSecond, cuts.meeting);
    return true;
}

bool FlattenedNet::Spend(std::uint32_t a, std::uint32_t b) {
    auto const [low, high] = std::minmax(list.parts[a].owner, list.parts[b].owner);
    std::uint32_t& cuts = m_cuts[std::uint64_t{low} << 32 | high];
    if (cuts > m_mostCutsOfPair)
        return false;
    if (cuts == m_mostCutsOfPair || m_lastRound) {
        cuts = m_mostCutsOfPair + 1;
        ++m_spentPairs;
        return false;
    }
    ++cuts;
    return true;
}

bool FlattenedNet::SpendOnRounding(std::uint32_t a, std::uint32_t b) {
    auto const [low, high] = std::minmax(list.parts[a].owner, list.parts[b].owner);
    std::uint32_t& cuts = m_roundingCuts[std::uint64_t{low} << 32 | high];
    return cuts < c_mostRoundingCutsOfPair && ++cuts != 0;
}

void FlattenedNet::MarkForSplit(std::uint32_t part, std::optional<double> t, std::optional<GridPoint> at) {
    m_marked[part] = true;
    m_toSplit.push_back({part, t, at});
}

void FlattenedNet::SplitMarked(Monitor& monitor) {
    m_firstNew = static_cast<std::uint32_t>(list.parts.size());
    Sort(
        m_toSplit, [](Cut const& a, Cut const& b) { return a.part < b.part; }, monitor);
    for (Cut const& cut : m_toSplit) {
        auto const before = static_cast<std::uint32_t>(list.parts.size());
        list.Halve(GetCurveOf(cut.part), cut.part, cut.t, cut.at);
        for (std::uint32_t i = before; i != list.parts.size(); ++i)
            grid.Insert(i);
    }
}

} // namespace Geometry::Planar
