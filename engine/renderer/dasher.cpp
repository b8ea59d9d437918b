// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/stroker.h"

#include <algorithm>
#include <cmath>

namespace Renderer::Detail {

namespace {

// The part of a segment, as parameters, that lies inside a rectangle; false where none does (Y.-D. Liang and B. A.
// Barsky, "A new concept and method for line clipping", 1984).
bool ClipSegment(PointDbl a, PointDbl b, RectDbl const& r, double& t0, double& t1) {
    t0 = 0;
    t1 = 1;
    auto const cut = [&](double from, double step, double low, double high) {
        if (step == 0)
            return from >= low && from <= high;
        double enter = (low - from) / step, leave = (high - from) / step;
        if (enter > leave)
            std::swap(enter, leave);
        t0 = std::max(t0, enter);
        t1 = std::min(t1, leave);
        return t0 <= t1;
    };
    return cut(a.x, b.x - a.x, r.left, r.right) && cut(a.y, b.y - a.y, r.top, r.bottom);
}

bool IsInside(PointDbl p, RectDbl const& r) {
    return p.x >= r.left && p.x <= r.right && p.y >= r.top && p.y <= r.bottom;
}

// Walks along a contour and switches between dash and gap.
class DashWalk {
public:
    DashWalk(DashPattern const& pattern, RectDbl const& visible, DashSink const& emit)
        : m_pattern(pattern), m_visible(visible), m_emit(emit) {
        double phase = std::fmod(pattern.phase, pattern.period);
        if (phase < 0)
            phase += pattern.period;
        while (phase > 0 && phase >= m_pattern.lengths[m_index]) {
            phase -= m_pattern.lengths[m_index];
            m_index = (m_index + 1) % m_pattern.lengths.size();
        }
        m_left = m_pattern.lengths[m_index] - phase;
        m_startsOn = IsOn();
        m_dash.points = TakeReusedVector<LinePoint>();
        m_dash.points.reserve(c_pointsOfMostDashes);
    }
    ~DashWalk() { GiveBack(std::move(m_dash.points)); }
    DashWalk(DashWalk const&) = delete;
    DashWalk& operator=(DashWalk const&) = delete;

    void Start(LinePoint const& at) {
        if (IsOn())
            Add(at, false);
    }

    // False when there have been too many dashes.
    bool Go(LinePoint const& a, LinePoint const& b) {
        double const x = b.p.x - a.p.x, y = b.p.y - a.p.y, length = std::sqrt(x * x + y * y);
        if (!(length > 0) || !std::isfinite(length))
            return true;
        auto const at = [&](double distance) {
            double const t = distance / length;
            return LinePoint{{a.p.x + x * t, a.p.y + y * t}, a.width + (b.width - a.width) * t, false};
        };
        double t0 = 0, t1 = 1;
        bool const seen =
            (IsInside(a.p, m_visible) && IsInside(b.p, m_visible)) || ClipSegment(a.p, b.p, m_visible, t0, t1);
        double const enter = seen ? t0 * length : length, leave = seen ? t1 * length : 0;
        double done = Skip(0, enter, at);
        while (length - done >= m_left) {
            done += m_left;
            if (!Switch(at(done)))
                return false;
            if (done > leave)
                done = Skip(done, length, at);
        }
        m_left -= length - done;
        if (IsOn())
            Add(b, b.smooth);
        return true;
    }

    bool Finish(bool closed) {
        if (closed && m_startsOn && m_count == 0) {
            // One dash all the way round has no ends.
            if (m_dash.points.size() > 1)
                m_dash.points.pop_back();
            m_dash.closed = true;
        } else if (closed && m_startsOn && IsOn()) {
            // A dash that runs over the start is one dash.
            m_dash.points.insert(m_dash.points.end(), m_first.points.begin() + 1, m_first.points.end());
            m_first.points.clear();
        }
        if (!m_first.points.empty() && !m_emit(m_first))
            return false;
        // A dash that would begin at the very end has no room.
        bool const isDash = m_dash.points.size() > 1 || (m_count == 0 && !m_dash.points.empty());
        return !isDash || m_emit(m_dash);
    }

private:
    bool IsOn() const { return m_index % 2 == 0; }

    void Add(LinePoint at, bool smooth) {
        at.smooth = smooth;
        m_dash.points.push_back(at);
    }

    // Leaves out whole periods that cannot be seen. Returns the new distance.
    template <class At>
    double Skip(double from, double to, At const& at) {
        // Most steps are shorter than a period.
        if (to - from < 2 * m_pattern.period)
            return from;
        double const periods = std::floor((to - from) / m_pattern.period) - 2;
        if (!(periods > 0))
            return from;
        double const target = std::min(from + periods * m_pattern.period, to);
        if (IsOn()) {
            m_dash.points.clear();
            Add(at(target), false);
        }
        return target;
    }

    bool Switch(LinePoint const& at) {
        if (IsOn()) {
            Add(at, false);
            if (m_count == 0 && m_startsOn)
                std::swap(m_first, m_dash);
            else if (!m_emit(m_dash))
                return false;
            m_dash.points.clear();
            if (++m_count > c_maximumDashes)
                return false;
        }
        m_index = (m_index + 1) % m_pattern.lengths.size();
        m_left = m_pattern.lengths[m_index];
        if (IsOn())
            Add(at, false);
        return true;
    }

    static constexpr std::size_t c_pointsOfMostDashes = 32;

    DashPattern const& m_pattern;
    RectDbl const& m_visible;
    DashSink const& m_emit;
    std::size_t m_index = 0;
    double m_left = 0;
    bool m_startsOn = false;
    std::size_t m_count = 0;
    // The dash at the start of the contour, kept until it is known whether the last one runs into it.
    Polyline m_first;
    Polyline m_dash;
};

} // namespace

DashPattern MakeDashPattern(LineStyle const& style, double weight, double smallestPeriod) {
    DashPattern pattern;
    if (style.GetType() != LineType::Dashed)
        return {};
    for (double const length : style.GetDashPattern()) {
        if (!(length >= 0) || !std::isfinite(length * weight))
            return {};
        pattern.lengths.push_back(length * weight);
    }
    if (pattern.lengths.size() % 2 != 0) {
        auto const once = pattern.lengths;
        pattern.lengths.insert(pattern.lengths.end(), once.begin(), once.end());
    }
    for (double const length : pattern.lengths)
        pattern.period += length;
    // Dashes without gaps between them are still dashes: each has its caps, and corners between two are not joined
    // (SVG 2, 13.5.7).
    if (!(pattern.period >= smallestPeriod) || !std::isfinite(pattern.period))
        return {};
    pattern.phase = std::isfinite(style.GetDashPhase() * weight) ? style.GetDashPhase() * weight : 0;
    return pattern;
}

bool ForEachDash(Polyline const& line, DashPattern const& pattern, RectDbl const& visible, DashSink const& emit) {
    if (line.points.empty())
        return true;
    DashWalk walk(pattern, visible, emit);
    walk.Start(line.points.front());
    for (std::size_t i = 1; i < line.points.size(); ++i) {
        if (!walk.Go(line.points[i - 1], line.points[i]))
            return false;
    }
    if (line.closed && !walk.Go(line.points.back(), line.points.front()))
        return false;
    return walk.Finish(line.closed);
}

} // namespace Renderer::Detail
