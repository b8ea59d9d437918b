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
class Stroker {
public:
    Stroker(StrokeShape const& shape, Polygons& out)
        : m_shape(shape), m_out(out), m_vertices(TakeReusedVector<Vertex>()) {}
    ~Stroker() { GiveBack(std::move(m_vertices)); }
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
    };

    void Prepare(Polyline const& line);
    void AddDot(LinePoint const& at);
    void AddJoin(Vertex const& at, PointDbl from, PointDbl to, double lengthFrom, double lengthTo);
    void AddOuterJoin(Vertex const& at, PointDbl from, PointDbl to, double cosine);
    void AddCap(Vertex const& at, PointDbl direction);
    void AddArc(PointDbl centre, double radius, PointDbl fromNormal, double angle);

    StrokeShape const& m_shape;
    Polygons& m_out;
    std::vector<Vertex> m_vertices;
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
