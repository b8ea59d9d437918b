// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/polygons.h"
#include "engine/renderer/reused_vector.h"
#include "platform/renderer/line_style.h"

#include <functional>

namespace Renderer::Detail {

struct StrokeShape {
    double halfWidth = 0.5;
    LineCap cap = LineCap::Butt;
    LineJoin join = LineJoin::Mitre;
    double mitreLimit = 4;
    // How far round caps and joins may lie from the true arc, in the units of the points.
    double tolerance = 0.01;

    // How far the line reaches from its contour.
    double GetReach() const;
};

// Turns contours into the outline of a line along them.
//
// The outline is to be filled with the non-zero rule: it is the union of one strip for each segment, the outer wedges
// of joins, and caps, all of the same direction, so that nothing in it cancels. On the inner side of a turn the
// strips are joined where they cross, as long as both are long enough; otherwise they overlap. Contours without length
// give a dot when caps are round or square (SVG 2, 13.5.4).
//
// Joins and caps follow the directions of the curves where these begin and end, which the steps of a flattened curve
// show only about. The line turns from a step to such a direction as it turns along the curve: smoothly.
class Stroker {
public:
    Stroker(StrokeShape const& shape, Polygons& out)
        : m_shape(shape), m_out(out), m_vertices(TakeReusedVector<Vertex>()), m_turns(TakeReusedVector<Turn>()) {}
    ~Stroker() {
        GiveBack(std::move(m_vertices));
        GiveBack(std::move(m_turns));
    }
    Stroker(Stroker const&) = delete;
    Stroker& operator=(Stroker const&) = delete;
    void Stroke(Polyline const& line);

private:
    struct Vertex {
        PointDbl p;
        // Direction and length of the segment that follows.
        PointDbl direction;
        double length = 0;
        double halfWidth = 0;
        bool smooth = false;
        // Of a corner: the points of the line whose directions count here.
        LinePoint const* arriving = nullptr;
        LinePoint const* leaving = nullptr;
    };
    // The directions on both ways through a corner: of the segment before it, of the curve at its end there, of the
    // next curve at its start, and of the segment that follows.
    struct Corner {
        PointDbl before, arrival, departure, after;
        double lengthBefore, lengthAfter;
    };
    // One point on either side, at this offset and the opposite one, is all that most turns need.
    struct Turn {
        PointDbl offset;
        bool isPlain = false;
    };

    // Equal steps, each of which turns the normal by the angle of this sine and cosine.
    struct Arc {
        int steps = 0;
        double sine = 0;
        double cosine = 1;
    };

    void Prepare(Polyline const& line);
    void AddDot(LinePoint const& at);
    // The join at vertex i on one side of the line, forward, or on the other.
    void AddForward(std::size_t i, std::size_t before);
    void AddBackward(std::size_t i, std::size_t before);
    Turn MakeTurn(Vertex const& at, Vertex const& before);
    static bool HasTangents(Vertex const& at);
    static Corner GetCorner(Vertex const& at, Vertex const& before);
    void AddCorner(Vertex const& at, Corner const& corner);
    void AddJoin(Vertex const& at, PointDbl from, PointDbl to, double lengthFrom, double lengthTo);
    void AddOuterJoin(Vertex const& at, PointDbl from, PointDbl to, double cosine);
    void AddInnerJoin(Vertex const& at, PointDbl from, PointDbl to);
    // Turns from one direction to another as a curve does that is too small to see.
    void AddSwing(Vertex const& at, PointDbl from, PointDbl to);
    void AddStart(Vertex const& at);
    void AddEnd(Vertex const& at, Vertex const& before);
    void AddCap(Vertex const& at, PointDbl direction);
    double GetMostSteps() const;
    Arc MakeArc(double radius, double angle) const;
    // A half turn.
    Arc const& GetCap(double radius);
    void AddArc(PointDbl centre, double radius, PointDbl fromNormal, Arc const& arc);
    void AddTip(Vertex const& at, PointDbl from, PointDbl to, double cosine);
    // The tip of a mitre lies no farther from the true arc than the tolerance says.
    bool IsSlight(double halfWidth, double cosine);
    bool IsRoomForCrossing(double halfWidth, double cosine, double lengthFrom, double lengthTo) const;

    StrokeShape const& m_shape;
    Polygons& m_out;
    std::vector<Vertex> m_vertices;
    // Of the vertices, in the same order.
    std::vector<Turn> m_turns;
    // Of the last half width that IsSlight was asked about.
    double m_slightWidth = -1;
    double m_overshootSquared = 1;
    // The last cap, which dash after dash needs, and the numbers that it came from.
    Arc m_cap;
    double m_capRadius = 0;
    double m_capMost = 0;
};

// Dash lengths in the units of the points, an even count of them.
struct DashPattern {
    std::vector<double> lengths;
    double phase = 0;
    double period = 0;
};

// The pattern of a style for a line of this weight. Empty where the style has no usable one, or one with a period so
// small that it cannot be told from a solid line: below `smallestPeriod`.
DashPattern MakeDashPattern(LineStyle const& style, double weight, double smallestPeriod);

// Cuts a contour into dashes and calls emit(dash) for each. What lies outside `visible` may be left out. Returns false,
// at once, when `emit` does or when there are more than c_maximumDashes.
inline constexpr std::size_t c_maximumDashes = 1'000'000;
using DashSink = std::function<bool(Polyline const&)>;
bool ForEachDash(Polyline const& line, DashPattern const& pattern, RectDbl const& visible, DashSink const& emit);

} // namespace Renderer::Detail
