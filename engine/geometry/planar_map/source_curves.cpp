// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/source_curves.h"

#include <cmath>
#include <functional>
#include <limits>
#include <numeric>

namespace Geometry::Planar {

namespace {

// Squares and cubes of what lies below stay finite.
constexpr double c_largestCoordinate = 0x1p500;

bool IsRepresentable(PointDbl p) {
    return std::fabs(p.x) <= c_largestCoordinate && std::fabs(p.y) <= c_largestCoordinate;
}

void Extend(RectDbl& box, PointDbl p) {
    box.left = std::min(box.left, p.x);
    box.top = std::min(box.top, p.y);
    box.right = std::max(box.right, p.x);
    box.bottom = std::max(box.bottom, p.y);
}

// The farthest that the transform moves a point whose coordinates both move by 1.
double GetStretch(Transform const& transform) {
    PointDbl const o = transform.Apply({0, 0}), x = transform.Apply({1, 0}), y = transform.Apply({0, 1});
    PointDbl const u{x.x - o.x, x.y - o.y}, v{y.x - o.x, y.y - o.y};
    return std::max(std::hypot(u.x + v.x, u.y + v.y), std::hypot(u.x - v.x, u.y - v.y));
}

// The number of decimals in which all coordinates so far are written.
class DecimalCounter {
public:
    void Add(PointDbl p) {
        Add(p.x);
        Add(p.y);
    }
    // Half a unit of the last place; 0 where there are too many, or too few coordinates to tell.
    double GetUncertainty() const {
        constexpr std::size_t c_leastCoordinates = 8;
        return m_decimals > c_mostDecimals || m_count < c_leastCoordinates ? 0 : 0.5 / c_powers[m_decimals];
    }

private:
    static constexpr std::size_t c_mostDecimals = 9;
    static constexpr double c_powers[c_mostDecimals + 1] = {1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};

    void Add(double value) {
        ++m_count;
        while (m_decimals <= c_mostDecimals) {
            double const scaled = value * c_powers[m_decimals], off = std::fabs(scaled - std::nearbyint(scaled));
            // Further out doubles are so coarse that all of them look like it.
            if (off <= std::fabs(scaled) * 0x1p-51 && std::fabs(scaled) < 0x1p44)
                break;
            ++m_decimals;
        }
    }

    std::size_t m_decimals = 0, m_count = 0;
};

class Reader {
public:
    Reader(SourceCurves& source, Monitor& monitor) : m_source(source), m_monitor(monitor) {}

    void Read(CurveDbl const& curve, Transform const& transform, std::uint32_t input, bool close) {
        SourceContour contour;
        contour.input = input;
        contour.firstSegment = static_cast<std::uint32_t>(m_source.segments.size());
        contour.closed = curve.IsClosed();
        constexpr double c_infinity = std::numeric_limits<double>::infinity();
        contour.box = {c_infinity, c_infinity, -c_infinity, -c_infinity};
        DecimalCounter decimals;
        for (Segment const& local : curve.GetSegments()) {
            m_monitor.Tick();
            for (PointDbl const p : {local.start, local.control1, local.control2, local.end})
                decimals.Add(p);
            Segment const segment = local.Transformed(transform);
            for (PointDbl const p : {segment.start, segment.control1, segment.control2, segment.end}) {
                if (!IsRepresentable(p)) {
                    m_source.leftSomeOut = true;
                    m_source.segments.resize(contour.firstSegment);
                    return;
                }
                Extend(contour.box, p);
            }
            m_source.segments.push_back(segment);
        }
        if (m_source.segments.size() == contour.firstSegment)
            return;
        PointDbl const start = m_source.segments[contour.firstSegment].start, end = m_source.segments.back().end;
        if (!contour.closed && close && !(start == end)) {
            m_source.segments.push_back(Segment::Line(end, start));
            contour.impliedClosing = true;
        }
        // Of a contour that is hardly larger than its rounding nothing can be told.
        double const uncertainty = decimals.GetUncertainty() * GetStretch(transform) * 1.01;
        if (1024 * uncertainty < std::max(contour.box.GetWidth(), contour.box.GetHeight()))
            contour.uncertainty = uncertainty;
        contour.segmentCount = static_cast<std::uint32_t>(m_source.segments.size()) - contour.firstSegment;
        m_source.contours.push_back(contour);
    }

private:
    SourceCurves& m_source;
    Monitor& m_monitor;
};

// Cuts a set of boxes at every gap along one axis.
class Separator {
public:
    Separator(SourceCurves const& source, Monitor& monitor) : m_source(source), m_monitor(monitor) {}

    // `depth` bounds the work where each cut takes off only one box; what is not cut apart is still right.
    void Separate(std::vector<std::uint32_t> group, bool horizontally, bool triedOther, int depth) {
        auto const low = [&](std::uint32_t c) {
            return horizontally ? m_source.contours[c].box.left : m_source.contours[c].box.top;
        };
        auto const high = [&](std::uint32_t c) {
            return horizontally ? m_source.contours[c].box.right : m_source.contours[c].box.bottom;
        };
        Sort(
            group,
            [&](std::uint32_t a, std::uint32_t b) {
                double const lowA = low(a), lowB = low(b);
                return lowA != lowB ? lowA < lowB : a < b;
            },
            m_monitor);
        std::vector<std::vector<std::uint32_t>> parts;
        double reached = 0;
        for (std::uint32_t const contour : group) {
            m_monitor.Tick();
            if (parts.empty() || low(contour) > reached) {
                parts.emplace_back();
                reached = high(contour);
            }
            parts.back().push_back(contour);
            reached = std::max(reached, high(contour));
        }
        group = {};
        for (auto& part : parts) {
            bool const uncut = parts.size() == 1;
            if (part.size() == 1 || depth == 0 || (uncut && triedOther)) {
                Sort(part, std::less<>(), m_monitor);
                groups.push_back(std::move(part));
            } else {
                Separate(std::move(part), !horizontally, uncut, depth - 1);
            }
        }
    }

    std::vector<std::vector<std::uint32_t>> groups;

private:
    SourceCurves const& m_source;
    Monitor& m_monitor;
};

} // namespace

SourceCurves ReadInputs(std::vector<CurveIntersectionGraph::Input> const& inputs,
                        CurveIntersectionGraph::BoolOpMethod method, bool closeOpenCurves, Monitor& monitor) {
    SourceCurves source;
    Reader reader(source, monitor);
    for (std::uint32_t i = 0; i != inputs.size(); ++i) {
        auto const& input = inputs[i];
        source.inputs.push_back({input.windingOrderMode, input.role == CurveIntersectionGraph::c_clipRole, input.filled,
                                 input.strokedFront, input.strokedBehind});
        if (!input.filled && method == CurveIntersectionGraph::BoolOpMethod::Outline)
            continue;
        for (auto const& [curves, transform] : input.curves) {
            if (!curves)
                continue;
            Transform const whole = input.transform * transform;
            for (auto const& curve : curves->GetCurves()) {
                if (curve && !curve->empty())
                    reader.Read(*curve, whole, i, input.filled || closeOpenCurves);
            }
        }
    }
    RestoreRoundedCopies(source, monitor);
    return source;
}

std::vector<std::vector<std::uint32_t>> SeparateContours(SourceCurves const& source, Monitor& monitor) {
    std::vector<std::uint32_t> all(source.contours.size());
    std::iota(all.begin(), all.end(), 0u);
    Separator separator(source, monitor);
    separator.Separate(std::move(all), true, false, 48);
    return std::move(separator.groups);
}

} // namespace Geometry::Planar
