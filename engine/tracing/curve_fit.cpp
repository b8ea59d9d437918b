// SPDX-License-Identifier: Apache-2.0
#include "engine/tracing/curve_fit.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <span>

namespace Tracing {

namespace {

using Geometry::Segment;

Point Add(Point a, Point b) { return {a.x + b.x, a.y + b.y}; }
Point Subtract(Point a, Point b) { return {a.x - b.x, a.y - b.y}; }
Point Scale(Point a, double factor) { return {a.x * factor, a.y * factor}; }
double Dot(Point a, Point b) { return a.x * b.x + a.y * b.y; }
double Cross(Point a, Point b) { return a.x * b.y - a.y * b.x; }
double Length(Point a) { return std::sqrt(Dot(a, a)); }
Point Unit(Point a) {
    double const length = Length(a);
    return length > 0 ? Scale(a, 1 / length) : Point{};
}

// The points of an arm on each side of a corner, and those that are left out beside it: pixels that a corner crosses
// lie inside of it.
constexpr int c_arm = 5;
constexpr int c_besideCorner = 1;
// No more points are fitted at once: each split costs a look at all of them.
constexpr std::size_t c_mostAtOnce = 256;

double AngleBetween(Point a, Point b) { return std::atan2(std::abs(Cross(a, b)), Dot(a, b)); }

// A chain with an index that goes round where it is closed.
class Chain {
public:
    Chain(std::vector<Point> const& points, bool isClosed) : m_points(points), m_isClosed(isClosed) {}
    int GetSize() const { return static_cast<int>(m_points.size()); }
    bool Has(int i) const { return m_isClosed || (i >= 0 && i < GetSize()); }
    Point const& operator[](int i) const {
        int const size = GetSize();
        return m_points[static_cast<std::size_t>(i < 0 ? i + size : i >= size ? i - size : i)];
    }

private:
    std::vector<Point> const& m_points;
    bool m_isClosed;
};

// A quarter of each neighbour, twice: takes the steps of pixels away, for finding corners only.
std::vector<Point> Smooth(std::vector<Point> points, bool isClosed) {
    for (int round = 0; round != 2; ++round) {
        auto const before = points;
        Chain const chain(before, isClosed);
        for (int i = 0; i != chain.GetSize(); ++i) {
            if (chain.Has(i - 1) && chain.Has(i + 1))
                points[static_cast<std::size_t>(i)] =
                    Add(Scale(chain[i], 0.5), Scale(Add(chain[i - 1], chain[i + 1]), 0.25));
        }
    }
    return points;
}

// The turn at a point beyond that which the curving of its two arms explains; negative for no corner.
double GetSharpness(Chain const& chain, int i) {
    if (!chain.Has(i - c_arm) || !chain.Has(i + c_arm))
        return -1;
    Point const before = Subtract(chain[i - 1], chain[i - c_arm]), behind = Subtract(chain[i + c_arm], chain[i + 1]);
    constexpr double c_leastTurn = 28 * std::numbers::pi / 180, c_leastExcess = 20 * std::numbers::pi / 180;
    // The tangent of the least turn tells nearly all points apart without an angle.
    constexpr double c_tangent = 0.5317;
    double const dot = Dot(before, behind);
    if (dot > 0 && std::abs(Cross(before, behind)) < c_tangent * dot)
        return -1;
    double const turn = AngleBetween(before, behind);
    double const curving =
        AngleBetween(Subtract(chain[i - 3], chain[i - c_arm]), Subtract(chain[i - 1], chain[i - 3])) +
        AngleBetween(Subtract(chain[i + 3], chain[i + 1]), Subtract(chain[i + c_arm], chain[i + 3]));
    // The middles of the arms are three halves of an arm's length apart, those of its halves half of it.
    double const excess = turn - 1.5 * curving;
    return turn >= c_leastTurn && excess >= c_leastExcess ? excess : -1;
}

std::vector<int> FindCorners(std::vector<Point> const& points, bool isClosed) {
    std::vector<int> corners;
    int const size = static_cast<int>(points.size());
    if (size < 2 * c_arm + 1)
        return corners;
    auto const smooth = Smooth(points, isClosed);
    Chain const chain(smooth, isClosed);
    std::vector<double> sharpness(points.size());
    for (int i = 0; i != size; ++i)
        sharpness[static_cast<std::size_t>(i)] = GetSharpness(chain, i);
    constexpr int c_apart = 3;
    for (int i = 0; i != size; ++i) {
        double const own = sharpness[static_cast<std::size_t>(i)];
        bool isSharpest = own > 0;
        for (int k = 1; k <= c_apart && isSharpest; ++k) {
            auto const at = [&](int index) {
                if (!isClosed && (index < 0 || index >= size))
                    return -1.0;
                return sharpness[static_cast<std::size_t>((index + size) % size)];
            };
            isSharpest = own > at(i - k) && own >= at(i + k);
        }
        if (isSharpest)
            corners.push_back(i);
    }
    return corners;
}

struct Line {
    Point middle, direction;
};

// The line with the least sum of squared distances.
Line FitLine(std::span<Point const> points) {
    Line line;
    for (auto const& point : points)
        line.middle = Add(line.middle, point);
    line.middle = Scale(line.middle, 1.0 / static_cast<double>(points.size()));
    double xx = 0, xy = 0, yy = 0;
    for (auto const& point : points) {
        Point const d = Subtract(point, line.middle);
        xx += d.x * d.x;
        xy += d.x * d.y;
        yy += d.y * d.y;
    }
    double const angle = 0.5 * std::atan2(2 * xy, xx - yy);
    line.direction = {std::cos(angle), std::sin(angle)};
    return line;
}

// Where the lines of both arms meet, if that is near: a corner of pixels is blunt.
Point SharpenCorner(Chain const& chain, int i) {
    std::array<Point, 4> before, behind;
    for (int k = 0; k != 4; ++k) {
        if (!chain.Has(i - k - 2) || !chain.Has(i + k + 2))
            return chain[i];
        before[static_cast<std::size_t>(k)] = chain[i - k - 2];
        behind[static_cast<std::size_t>(k)] = chain[i + k + 2];
    }
    auto const a = FitLine(before), b = FitLine(behind);
    double const cross = Cross(a.direction, b.direction);
    if (std::abs(cross) < 0.2)
        return chain[i];
    double const along = Cross(Subtract(b.middle, a.middle), b.direction) / cross;
    Point const meeting = Add(a.middle, Scale(a.direction, along));
    constexpr double c_farthest = 1.3;
    return Length(Subtract(meeting, chain[i])) <= c_farthest ? meeting : chain[i];
}

Point Evaluate(Segment const& s, double t) {
    double const u = 1 - t;
    double const b0 = u * u * u, b1 = 3 * u * u * t, b2 = 3 * u * t * t, b3 = t * t * t;
    return {b0 * s.start.x + b1 * s.control1.x + b2 * s.control2.x + b3 * s.end.x,
            b0 * s.start.y + b1 * s.control1.y + b2 * s.control2.y + b3 * s.end.y};
}

// Fits cubics to points as Philip J. Schneider describes, "An Algorithm for Automatically Fitting Digitized Curves",
// Graphics Gems, 1990: a cubic with given directions at its ends by least squares, better parameters by Newton's
// method, and a split at the worst point where that is not enough.
class CubicFitter {
public:
    CubicFitter(std::vector<Segment>& segments, double tolerance) : m_segments(segments), m_tolerance(tolerance) {}

    // The directions lead from the ends inwards; without them they are estimated.
    void Fit(std::span<Point const> points, std::optional<Point> direction1, std::optional<Point> direction2) {
        if (IsStraight(points)) {
            m_segments.push_back(Segment::Line(points.front(), points.back()));
            return;
        }
        Point const d1 = direction1 ? *direction1 : EstimateDirection(points, false);
        Point const d2 = direction2 ? *direction2 : EstimateDirection(points, true);
        std::size_t split = points.size() / 2;
        if (points.size() <= c_mostAtOnce) {
            if (points.size() <= 3) {
                AddByChord(points, d1, d2);
                return;
            }
            if (auto const cubic = FitOne(points, d1, d2, split)) {
                m_segments.push_back(*cubic);
                return;
            }
        }
        Point const direction = DirectionAt(points, split);
        Fit(points.first(split + 1), d1, Scale(direction, -1));
        Fit(points.subspan(split), direction, d2);
    }

private:
    bool IsStraight(std::span<Point const> points) const {
        Point const way = Subtract(points.back(), points.front());
        double const length = Length(way);
        if (points.size() <= 2)
            return true;
        if (length < 1e-9)
            return false;
        double const most = 0.6 * m_tolerance;
        double lowest = 0, highest = 0;
        for (auto const& point : points) {
            double const distance = Cross(way, Subtract(point, points.front())) / length;
            lowest = std::min(lowest, distance);
            highest = std::max(highest, distance);
            double const along = Dot(way, Subtract(point, points.front()));
            if (distance > most || distance < -most || along < -length || along > length * (length + 1))
                return false;
        }
        // Points that are all on one side are an arc.
        constexpr std::size_t c_short = 8;
        return points.size() <= c_short || std::max(highest, -lowest) <= 0.35 * m_tolerance ||
               std::min(highest, -lowest) >= 0.25 * std::max(highest, -lowest);
    }

    Point EstimateDirection(std::span<Point const> points, bool atEnd) const {
        std::size_t const reach = std::min<std::size_t>(points.size() - 1, 4);
        Point const direction = atEnd ? Subtract(points[points.size() - 1 - reach], points.back())
                                      : Subtract(points[reach], points.front());
        return Unit(direction);
    }

    static Point DirectionAt(std::span<Point const> points, std::size_t at) {
        std::size_t const reach = std::min<std::size_t>({at, points.size() - 1 - at, 4});
        return Unit(Subtract(points[at + reach], points[at - reach]));
    }

    void AddByChord(std::span<Point const> points, Point d1, Point d2) {
        double const third = Length(Subtract(points.back(), points.front())) / 3;
        m_segments.push_back(Segment::Cubic(points.front(), Add(points.front(), Scale(d1, third)),
                                            Add(points.back(), Scale(d2, third)), points.back()));
    }

    std::optional<Segment> FitOne(std::span<Point const> points, Point d1, Point d2, std::size_t& split) {
        SetParametersByLength(points);
        double const most = m_tolerance * m_tolerance;
        constexpr int c_rounds = 4;
        double last = 1e300;
        for (int round = 0; round != c_rounds; ++round) {
            Segment const cubic = FitToParameters(points, d1, d2);
            double const error = FindWorst(points, cubic, split);
            if (error <= most)
                return cubic;
            // Each round takes a part of the error away, and less than the round before.
            if (error > 16 * most || error - (last - error) * (c_rounds - 1 - round) > most)
                break;
            last = error;
            ImproveParameters(points, cubic);
        }
        split = std::clamp<std::size_t>(split, 1, points.size() - 2);
        return {};
    }

    void SetParametersByLength(std::span<Point const> points) {
        m_parameters.assign(points.size(), 0);
        for (std::size_t i = 1; i != points.size(); ++i)
            m_parameters[i] = m_parameters[i - 1] + Length(Subtract(points[i], points[i - 1]));
        double const length = m_parameters.back();
        for (auto& parameter : m_parameters)
            parameter /= length;
    }

    Segment FitToParameters(std::span<Point const> points, Point d1, Point d2) const {
        double c00 = 0, c01 = 0, c11 = 0, x0 = 0, x1 = 0;
        Point const first = points.front(), last = points.back();
        double const dots = Dot(d1, d2);
        for (std::size_t i = 0; i != points.size(); ++i) {
            double const t = m_parameters[i], u = 1 - t;
            double const b0 = u * u * u, b1 = 3 * u * u * t, b2 = 3 * u * t * t, b3 = t * t * t;
            Point const rest = Subtract(points[i], Add(Scale(first, b0 + b1), Scale(last, b2 + b3)));
            c00 += b1 * b1;
            c01 += b1 * b2 * dots;
            c11 += b2 * b2;
            x0 += b1 * Dot(d1, rest);
            x1 += b2 * Dot(d2, rest);
        }
        double const determinant = c00 * c11 - c01 * c01;
        double const length = Length(Subtract(last, first));
        double alpha1 = 0, alpha2 = 0;
        if (std::abs(determinant) > 1e-12 * c00 * c11) {
            alpha1 = (x0 * c11 - x1 * c01) / determinant;
            alpha2 = (c00 * x1 - c01 * x0) / determinant;
        }
        // Handles that point backwards, or reach far beyond the points, make loops.
        double const most = 3 * (length + static_cast<double>(points.size()));
        if (!(alpha1 > 1e-6 * length) || !(alpha2 > 1e-6 * length) || alpha1 > most || alpha2 > most)
            alpha1 = alpha2 = length / 3;
        return Segment::Cubic(first, Add(first, Scale(d1, alpha1)), Add(last, Scale(d2, alpha2)), last);
    }

    double FindWorst(std::span<Point const> points, Segment const& cubic, std::size_t& worst) const {
        double most = 0;
        worst = points.size() / 2;
        for (std::size_t i = 1; i + 1 < points.size(); ++i) {
            Point const d = Subtract(Evaluate(cubic, m_parameters[i]), points[i]);
            double const squared = Dot(d, d);
            if (squared > most) {
                most = squared;
                worst = i;
            }
        }
        return most;
    }

    void ImproveParameters(std::span<Point const> points, Segment const& s) {
        for (std::size_t i = 1; i + 1 < points.size(); ++i) {
            double const t = m_parameters[i], u = 1 - t;
            Point const p = Subtract(Evaluate(s, t), points[i]);
            Point const a = Subtract(s.control1, s.start), b = Subtract(s.control2, s.control1),
                        c = Subtract(s.end, s.control2);
            Point const first = Scale(Add(Add(Scale(a, u * u), Scale(b, 2 * u * t)), Scale(c, t * t)), 3);
            Point const second = Scale(Add(Scale(Subtract(b, a), u), Scale(Subtract(c, b), t)), 6);
            double const slope = Dot(first, first) + Dot(p, second);
            if (std::abs(slope) > 1e-12)
                m_parameters[i] = std::clamp(t - Dot(p, first) / slope, 0.0, 1.0);
        }
    }

    std::vector<Segment>& m_segments;
    double m_tolerance;
    std::vector<double> m_parameters;
};

// The points between two corners, without those beside them.
std::vector<Point> GetStretch(Chain const& chain, int from, int to, std::optional<Point> first,
                              std::optional<Point> last) {
    std::vector<Point> stretch;
    stretch.push_back(first ? *first : chain[from]);
    int const begin = from + 1 + (first ? c_besideCorner : 0), end = to - (last ? c_besideCorner : 0);
    for (int i = begin; i < end; ++i)
        stretch.push_back(chain[i]);
    stretch.push_back(last ? *last : chain[to]);
    return stretch;
}

} // namespace

std::vector<Segment> FitCurve(std::vector<Point> const& points, bool isClosed, double tolerance) {
    std::vector<Segment> segments;
    if (points.size() < 2)
        return segments;
    CubicFitter fitter(segments, tolerance);
    Chain const chain(points, isClosed);
    auto const corners = FindCorners(points, isClosed);
    int const size = chain.GetSize();
    if (isClosed && corners.empty()) {
        // Begins anywhere, with the direction there at both ends.
        int const reach = std::min(4, size / 4);
        Point const direction = Unit(Subtract(chain[reach], chain[-reach]));
        auto loop = points;
        loop.push_back(points.front());
        int const half = size / 2;
        Point const across = Unit(Subtract(chain[half + reach], chain[half - reach]));
        std::span<Point const> const all(loop);
        fitter.Fit(all.first(static_cast<std::size_t>(half) + 1), direction, Scale(across, -1));
        fitter.Fit(all.subspan(static_cast<std::size_t>(half)), across, Scale(direction, -1));
        return segments;
    }
    std::vector<Point> places;
    for (int const corner : corners)
        places.push_back(SharpenCorner(chain, corner));
    auto const fit = [&](int from, int to, std::optional<Point> first, std::optional<Point> last) {
        fitter.Fit(GetStretch(chain, from, to, first, last), {}, {});
    };
    if (isClosed) {
        for (std::size_t i = 0; i != corners.size(); ++i) {
            bool const isLast = i + 1 == corners.size();
            fit(corners[i], isLast ? corners.front() + size : corners[i + 1], places[i],
                isLast ? places.front() : places[i + 1]);
        }
        return segments;
    }
    int from = 0;
    std::optional<Point> first;
    for (std::size_t i = 0; i != corners.size(); ++i) {
        fit(from, corners[i], first, places[i]);
        from = corners[i];
        first = places[i];
    }
    fit(from, size - 1, first, {});
    return segments;
}

} // namespace Tracing
