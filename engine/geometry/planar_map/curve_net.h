// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/grid_point.h"
#include "engine/geometry/planar_map/source_curves.h"

#include <cstdint>
#include <span>
#include <vector>

namespace Geometry::Planar {

// Lengths in grid units. Curve ends that are no farther from each other, or from another curve, than the first are
// taken to meet; two curves between the same ends that stay within the second of each other are taken to be one.
inline constexpr double c_weldDistance = 12;
inline constexpr double c_coincidence = 24;

// The integer grid of one map: where it lies and how fine it is. Scales are powers of two, and the origin is a
// coordinate of the input, so that a shift by an exact amount changes nothing.
struct Frame {
    PointDbl origin;
    double unitsPerLength = 1;

    PointDbl ToGrid(PointDbl p) const { return {(p.x - origin.x) * unitsPerLength, (p.y - origin.y) * unitsPerLength}; }
    PointDbl FromGrid(PointDbl p) const { return {origin.x + p.x / unitsPerLength, origin.y + p.y / unitsPerLength}; }
    Segment ToGrid(Segment const& s) const {
        return {s.kind, ToGrid(s.start), ToGrid(s.control1), ToGrid(s.control2), ToGrid(s.end)};
    }
};

inline GridPoint Rounded(PointDbl p) { return {std::llround(p.x), std::llround(p.y)}; }

// A place where curves end. `position` is the input's own point.
struct NetVertex {
    GridPoint at;
    PointDbl position;
};

// One of the different curves that the contours run along, from the lower vertex to the higher.
struct NetCurve {
    std::uint32_t segment = 0;
    bool reversed = false;
    // A straight cubic that never turns back.
    bool straight = false;
    std::uint32_t from = 0, to = 0;
    std::uint32_t firstPiece = 0, pieceCount = 0;
};

// A section of a curve between two vertices. Pieces that coincide have one `same` among them, the first one; for that
// one it is the piece itself.
struct NetPiece {
    std::uint32_t curve = 0;
    std::uint32_t from = 0, to = 0;
    std::uint32_t same = 0;
    bool reversed = false;
    double t0 = 0, t1 = 1;
};

struct CurveUse {
    std::uint32_t curve = 0;
    bool reversed = false;
    bool implied = false;
};

// A contour as walked: segments without length are not in it.
struct NetContour {
    std::uint32_t input = 0;
    bool closed = false;
    std::uint32_t firstUse = 0, useCount = 0;
};

// How often, all directions counted, an input's contours go along a piece.
struct PieceUse {
    std::uint32_t input = 0;
    std::int32_t winding = 0;
    std::uint32_t count = 0;
    bool line = false;
};

// The curves of a group of contours, cut wherever one ends on another, each section once.
class CurveNet {
public:
    CurveNet(SourceCurves const& source, std::span<std::uint32_t const> contours, Monitor& monitor);

    SourceCurves const& source;
    Frame frame;
    std::vector<NetContour> contours;
    std::vector<CurveUse> uses;
    std::vector<NetVertex> vertices;
    std::vector<NetCurve> curves;
    std::vector<NetPiece> pieces;
    // Of the pieces that are their own `same`; empty ranges for others.
    std::vector<std::uint32_t> firstPieceUse;
    std::vector<PieceUse> pieceUses;

    // The whole curve in grid coordinates, along its own direction.
    Segment GetGridCurve(std::uint32_t curve) const;
    // The same in the input's coordinates.
    Segment GetSourceCurve(std::uint32_t curve) const;
    std::span<PieceUse const> GetPieceUses(std::uint32_t piece) const {
        return std::span(pieceUses).subspan(firstPieceUse[piece], firstPieceUse[piece + 1] - firstPieceUse[piece]);
    }

private:
    void ChooseFrame(std::span<std::uint32_t const> chosen);
    void CollectVertices(std::span<std::uint32_t const> chosen, Monitor& monitor);
    void CollectCurves(std::span<std::uint32_t const> chosen, Monitor& monitor);
    std::uint32_t FindVertex(GridPoint p) const;
    // In touching_ends.cpp.
    void CutAtTouchingEnds(Monitor& monitor);
    void UniteCoincidingPieces(Monitor& monitor);
    void CountUses(Monitor& monitor);
    bool Coincide(NetPiece const& a, NetPiece const& b, bool& reversed) const;

    // All rounded ends in order, and the vertex of each.
    std::vector<GridPoint> m_ends;
    std::vector<std::uint32_t> m_vertexOfEnd;
};

// The parameter in [t0, t1] where the curve comes nearest to p, looked for from `t` by Newton's method; enough where
// the section is nearly straight.
double RefineNearest(Segment const& curve, PointDbl p, double t, double t0, double t1);
// The same for any section, in some microseconds.
double FindNearest(Segment const& curve, PointDbl p, double t0, double t1);

} // namespace Geometry::Planar
