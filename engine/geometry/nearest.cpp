// SPDX-License-Identifier: Apache-2.0
#include "platform/geometry/curve_operations.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace Geometry {

namespace {

// A polynomial of degree 5 on 0..1 by its Bernstein coefficients.
using Quintic = std::array<double, 6>;

int SignChanges(Quintic const& w) {
    int changes = 0;
    double last = 0;
    for (double const value : w) {
        changes += (value > 0 && last < 0) || (value < 0 && last > 0) ? 1 : 0;
        last = value != 0 ? value : last;
    }
    return changes;
}

std::pair<Quintic, Quintic> Halve(Quintic w) {
    Quintic left, right;
    for (std::size_t k = 0; k != 6; ++k) {
        left[k] = w[0];
        right[5 - k] = w[5 - k];
        for (std::size_t i = 0; i + 1 < 6 - k; ++i)
            w[i] = (w[i] + w[i + 1]) / 2;
    }
    return {left, right};
}

struct SquaredDistance {
    Segment const& segment;
    PointDbl p;
    double bestT = 0;
    double best = std::numeric_limits<double>::infinity();

    void Try(double t) {
        PointDbl const q = Evaluate(segment, t);
        double const x = q.x - p.x, y = q.y - p.y, squared = x * x + y * y;
        if (squared < best) {
            best = squared;
            bestT = t;
        }
    }
};

// Each halving keeps only intervals in which the polynomial can change its sign, at most 5 of them at any depth.
void TryRoots(Quintic const& w, double t0, double t1, int depth, SquaredDistance& nearest) {
    if (SignChanges(w) == 0 && w[0] != 0 && w[5] != 0)
        return;
    if (depth == 0) {
        nearest.Try((t0 + t1) / 2);
        return;
    }
    if (std::ranges::all_of(w, [](double value) { return value == 0; }))
        return;
    auto const [left, right] = Halve(w);
    double const middle = (t0 + t1) / 2;
    TryRoots(left, t0, middle, depth - 1, nearest);
    TryRoots(right, middle, t1, depth - 1, nearest);
}

double SquaredDistanceToHull(Segment const& s, PointDbl p) {
    auto const [left, right] = std::minmax({s.start.x, s.control1.x, s.control2.x, s.end.x});
    auto const [top, bottom] = std::minmax({s.start.y, s.control1.y, s.control2.y, s.end.y});
    double const x = std::max({left - p.x, p.x - right, 0.0}), y = std::max({top - p.y, p.y - bottom, 0.0});
    return x * x + y * y;
}

} // namespace

double GetNearestParameter(Segment const& segment, PointDbl p) {
    if (segment.kind == SegmentKind::Line) {
        double const dx = segment.end.x - segment.start.x, dy = segment.end.y - segment.start.y;
        double const squared = dx * dx + dy * dy;
        double const t = ((p.x - segment.start.x) * dx + (p.y - segment.start.y) * dy) / squared;
        return squared > 0 && t > 0 ? std::min(t, 1.0) : 0;
    }
    SquaredDistance nearest{segment, p};
    nearest.Try(0);
    nearest.Try(1);
    std::array<PointDbl, 4> const c = {{{segment.start.x - p.x, segment.start.y - p.y},
                                        {segment.control1.x - p.x, segment.control1.y - p.y},
                                        {segment.control2.x - p.x, segment.control2.y - p.y},
                                        {segment.end.x - p.x, segment.end.y - p.y}}};
    // Binomial(3, i) Binomial(2, j) / Binomial(5, i + j).
    static constexpr double c_weights[4][3] = {{1.0, 0.4, 0.1}, {0.6, 0.6, 0.3}, {0.3, 0.6, 0.6}, {0.1, 0.4, 1.0}};
    Quintic w{};
    for (std::size_t i = 0; i != 4; ++i) {
        for (std::size_t j = 0; j != 3; ++j)
            w[i + j] += c_weights[i][j] * (c[i].x * (c[j + 1].x - c[j].x) + c[i].y * (c[j + 1].y - c[j].y));
    }
    TryRoots(w, 0, 1, 50, nearest);
    return nearest.bestT;
}

std::optional<NearestPoint> GetNearestPoint(PolyCurveDbl const& curves, PointDbl p) {
    if (!std::isfinite(p.x) || !std::isfinite(p.y))
        return {};
    std::optional<NearestPoint> nearest;
    double best = std::numeric_limits<double>::infinity();
    auto const consider = [&](std::size_t curve, std::size_t index, Segment const& segment) {
        if (!(SquaredDistanceToHull(segment, p) < best))
            return;
        double const t = GetNearestParameter(segment, p);
        PointDbl const q = Evaluate(segment, t);
        double const x = q.x - p.x, y = q.y - p.y, squared = x * x + y * y;
        if (squared < best) {
            best = squared;
            nearest = NearestPoint{curve, index, t, q, std::sqrt(squared)};
        }
    };
    for (std::size_t i = 0; i != curves.GetCurves().size(); ++i) {
        CurveDbl const& curve = *curves.GetCurves()[i];
        std::size_t index = 0;
        for (Segment const& segment : curve.GetSegments())
            consider(i, index++, segment);
        if (index == 0 && !curve.empty())
            consider(i, 0, Segment::Line(curve.GetStart(), curve.GetStart()));
    }
    return nearest;
}

} // namespace Geometry
