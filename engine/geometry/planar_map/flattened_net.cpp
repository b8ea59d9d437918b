// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/flattened_net.h"

namespace Geometry::Planar {

namespace {

constexpr int c_mostRounds = 80;
constexpr std::size_t c_mostParts = std::size_t{1} << 25;
constexpr std::size_t c_mostCrossings = std::size_t{1} << 24;

// Chords that refinement may add to what it started with.
std::size_t PartBudget(std::size_t coarse) { return std::min(c_mostParts, 24 * coarse + 200000); }

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

FlattenedNet::FlattenedNet(CurveNet const& net, Monitor& monitor)
    : FlattenedNet(FlattenCoarsely(net, monitor), &net, monitor) {}

FlattenedNet::FlattenedNet(PartList lines, Monitor& monitor) : FlattenedNet(std::move(lines), nullptr, monitor) {}

FlattenedNet::FlattenedNet(PartList coarse, CurveNet const* net, Monitor& monitor)
    : list(std::move(coarse)), grid(list.segments, monitor), m_net(net) {
    std::size_t const budget = PartBudget(list.parts.size());
    for (int round = 0; round != c_mostRounds; ++round) {
        m_marked.assign(list.parts.size(), false);
        m_toSplit.clear();
        m_budgetSpent = list.parts.size() > budget || round + 1 >= c_mostRounds / 2;
        m_reserveSpent = list.parts.size() > 2 * budget || round + 1 == c_mostRounds;
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
        bool const canA = CanSplit(a), canB = CanSplit(b);
        float const errorA = list.parts[a].error, errorB = list.parts[b].error;
        if (canA && (!canB || 4 * errorA >= errorB))
            MarkForSplit(a);
        if (canB && (!canA || 4 * errorB >= errorA))
            MarkForSplit(b);
        if (canA || canB)
            return;
        if (CrossProperly(s.a, s.b, q.a, q.b))
            relation = Relation::Cross;
    }
    if (relation != Relation::Cross)
        return;
    GridPoint const at = RoundedCrossing(s.a, s.b, q.a, q.b);
    // Both meet in other leaves, too, and only one of these holds the place.
    if (box.Contains(at))
        crossings.push_back({a, b, at, 0, 0});
}

void FlattenedNet::MarkForSplit(std::uint32_t part) {
    m_marked[part] = true;
    m_toSplit.push_back(part);
}

void FlattenedNet::SplitMarked(Monitor& monitor) {
    m_firstNew = static_cast<std::uint32_t>(list.parts.size());
    Sort(m_toSplit, std::less<>(), monitor);
    for (std::uint32_t const part : m_toSplit) {
        auto const before = static_cast<std::uint32_t>(list.parts.size());
        list.Halve(m_net->GetGridCurve(m_net->pieces[list.parts[part].owner].curve), part);
        for (std::uint32_t i = before; i != list.parts.size(); ++i)
            grid.Insert(i);
    }
}

} // namespace Geometry::Planar
