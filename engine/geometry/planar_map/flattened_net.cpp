// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/flattened_net.h"

#include <algorithm>
#include <bit>

namespace Geometry::Planar {

namespace {

constexpr int c_mostRounds = 80;
constexpr std::size_t c_mostParts = std::size_t{1} << 25;
constexpr std::size_t c_mostCrossings = std::size_t{1} << 24;

PartList FlattenCoarsely(CurveNet const& net, Monitor& monitor) {
    PartList list;
    for (std::uint32_t i = 0; i != net.pieces.size(); ++i) {
        NetPiece const& piece = net.pieces[i];
        if (piece.same == i)
            list.AddFlattened(net.GetGridCurve(piece.curve), i, piece.t0, piece.t1, net.vertices[piece.from].at,
                              net.vertices[piece.to].at);
        monitor.Tick();
    }
    return list;
}

} // namespace

FlattenedNet::FlattenedNet(CurveNet const& net, Monitor& monitor, std::uint32_t mostCutsOfPair)
    : FlattenedNet(FlattenCoarsely(net, monitor), &net, mostCutsOfPair, monitor) {}

FlattenedNet::FlattenedNet(PartList lines, Monitor& monitor)
    : FlattenedNet(std::move(lines), nullptr, c_mostCutsOfPair, monitor) {}

FlattenedNet::FlattenedNet(PartList coarse, CurveNet const* net, std::uint32_t mostCutsOfPair, Monitor& monitor)
    : list(std::move(coarse)), grid(list.segments, monitor), m_net(net), m_mostCutsOfPair(mostCutsOfPair) {
    for (int round = 0; round != c_mostRounds; ++round) {
        m_marked.assign(list.parts.size(), false);
        m_toSplit.clear();
        m_lastRound = round + 1 == c_mostRounds;
        grid.VisitChanged([&](std::uint32_t cell, GridBox const& box) { RelateLeaf(cell, box, monitor); });
        m_tooComplex = list.parts.size() > c_mostParts || crossings.size() > c_mostCrossings;
        if (m_toSplit.empty() && net != nullptr && !m_tooComplex)
            CheckCrossings(monitor);
        if (m_toSplit.empty() || m_tooComplex)
            break;
        SplitMarked(monitor);
        monitor.Report(static_cast<float>(round) / c_mostRounds);
    }
}

void FlattenedNet::RelateLeaf(std::uint32_t cell, GridBox const& box, Monitor& monitor) {
    if (grid.IsCrowdedPoint(cell, box) || crossings.size() > c_mostCrossings)
        return;
    grid.Gather(cell, m_leaf);
    std::size_t const count = m_leaf.size();
    for (std::size_t i = count; i-- != 0;) {
        // In the order of their numbers: once the later one is old, so are all pairs that are left.
        if (m_leaf[i] < m_firstNew)
            break;
        for (std::size_t j = 0; j != i; ++j) {
            if ((j & 255) == 255)
                monitor.Check();
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
            if (alongside.outcome == Cut ? Refine(a, b, alongside) : Refine(a, b))
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
