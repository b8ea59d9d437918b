// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/planar_map/property/scanline_areas.h"

#include "tests/engine/planar_map/property/random_shapes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace MapTests {

namespace {

// A stretch of an outline on which y grows or falls all the way.
struct Strand {
    std::uint32_t input = 0;
    int direction = 1;
    // Power form about the start of the segment, so that nothing cancels near it.
    std::array<double, 4> x{}, y{};
    double t0 = 0, t1 = 1;
    double low = 0, high = 0;

    double YAt(double t) const { return y[0] + t * (y[1] + t * (y[2] + t * y[3])); }
    double SpeedAt(double t) const { return y[1] + t * (2 * y[2] + t * 3 * y[3]); }
    double XAt(double t) const { return x[0] + t * (x[1] + t * (x[2] + t * x[3])); }
};

std::array<double, 4> ToPowers(double a, double b, double c, double d) {
    return {a, 3 * (b - a), 3 * ((c - b) - (b - a)), (d - a) - 3 * (c - b)};
}

// Where a strand meets a height strictly between its ends: Newton's method kept inside a shrinking bracket.
double Solve(Strand const& strand, double height) {
    double low = strand.t0, high = strand.t1;
    bool const rising = strand.YAt(strand.t0) < strand.YAt(strand.t1);
    double t = low + (high - low) * (height - strand.low) / (strand.high - strand.low);
    if (!rising)
        t = low + (high - t);
    for (int i = 0; i != 100; ++i) {
        double const off = strand.YAt(t) - height;
        if (off == 0)
            break;
        ((off < 0) == rising ? low : high) = t;
        double const speed = strand.SpeedAt(t);
        double next = speed != 0 ? t - off / speed : low;
        if (!(next > low && next < high) || i > 40)
            next = low + (high - low) / 2;
        if (next == t || !(low < next && next < high) || std::fabs(next - t) < 1e-16)
            break;
        t = next;
    }
    return strand.XAt(t);
}

class Integrator {
public:
    Integrator(std::vector<Graph::Input> const& inputs, double tolerance) : m_inputs(inputs) {
        m_areas.byOwner.assign(inputs.size(), 0);
        m_windings.assign(inputs.size(), 0);
        m_clipCount = std::count_if(inputs.begin(), inputs.end(), [](auto const& input) { return IsClip(input); });
        m_onlyClips = m_clipCount == static_cast<std::ptrdiff_t>(inputs.size());
        CollectStrands();
        std::sort(m_heights.begin(), m_heights.end());
        m_heights.erase(std::unique(m_heights.begin(), m_heights.end()), m_heights.end());
        if (m_heights.size() < 2)
            return;
        double const whole = m_heights.back() - m_heights.front();
        for (std::size_t i = 0; i + 1 < m_heights.size(); ++i) {
            m_from = m_heights[i];
            m_size = m_heights[i + 1] - m_from;
            m_active.clear();
            for (Strand const& strand : m_strands) {
                if (strand.low <= m_heights[i] && strand.high >= m_heights[i + 1])
                    m_active.push_back(&strand);
            }
            if (m_active.empty())
                continue;
            // Steps so short that no lens between two of the places looked at has an area that counts: one of height h
            // on curves of radius r has about h^3 / 6r.
            double const steps = std::ceil(m_size / whole * 80);
            for (double step = 0; step != steps; ++step)
                Integrate(step / steps, (step + 1) / steps,
                          std::max(tolerance * m_size / whole / steps, tolerance * 1e-4), 0);
        }
        m_areas.total = std::accumulate(m_areas.byOwner.begin(), m_areas.byOwner.end(), 0.0);
    }
    OwnedAreas Take() { return std::move(m_areas); }

private:
    static bool IsClip(Graph::Input const& input) { return input.role == Graph::c_clipRole; }

    void CollectStrands() {
        bool first = true;
        for (std::uint32_t i = 0; i != m_inputs.size(); ++i) {
            if (!m_inputs[i].filled)
                continue;
            auto const outline = InPlace(m_inputs[i]);
            for (auto const& curve : outline->GetCurves()) {
                if (curve->empty())
                    continue;
                if (first)
                    m_origin = curve->GetStart();
                first = false;
                for (auto const& segment : curve->GetSegments())
                    AddSegment(segment, i);
                if (!curve->IsClosed())
                    AddSegment(Geometry::Segment::Line(curve->GetEnd(), curve->GetStart()), i);
            }
        }
    }

    void AddSegment(Geometry::Segment const& s, std::uint32_t input) {
        Strand strand;
        strand.input = input;
        auto const x = [&](PointDbl p) { return p.x - m_origin.x; };
        auto const y = [&](PointDbl p) { return p.y - m_origin.y; };
        std::vector<double> turns = {0, 1};
        // Heights are those of the ends themselves, so that neighbours end at the very same one.
        double const startY = y(s.start), endY = y(s.end);
        if (s.kind == Geometry::SegmentKind::Line) {
            strand.x = {x(s.start), x(s.end) - x(s.start), 0, 0};
            strand.y = {startY, endY - startY, 0, 0};
        } else {
            strand.x = ToPowers(x(s.start), x(s.control1), x(s.control2), x(s.end));
            strand.y = ToPowers(startY, y(s.control1), y(s.control2), endY);
            double const a = 3 * strand.y[3], b = 2 * strand.y[2], c = strand.y[1];
            double const inRoot = b * b - 4 * a * c;
            if (inRoot >= 0) {
                double const q = -(b + std::copysign(std::sqrt(inRoot), b)) / 2;
                for (double const t : {q / a, c / q}) {
                    if (t > 0 && t < 1)
                        turns.push_back(t);
                }
            }
            std::sort(turns.begin(), turns.end());
        }
        double last = startY;
        for (std::size_t i = 0; i + 1 < turns.size(); ++i) {
            double const next = i + 2 == turns.size() ? endY : strand.YAt(turns[i + 1]);
            strand.t0 = turns[i];
            strand.t1 = turns[i + 1];
            strand.low = std::min(last, next);
            strand.high = std::max(last, next);
            strand.direction = next > last ? 1 : -1;
            if (next != last && strand.t0 < strand.t1) {
                m_strands.push_back(strand);
                m_heights.push_back(last);
                m_heights.push_back(next);
            }
            last = next;
        }
    }

    // Adds weight times the length that each input owns at the height of a parameter.
    void AddLengths(double s, double weight, std::vector<double>& lengths) {
        double const height = m_from + m_size * s * s * (3 - 2 * s);
        double const scaled = weight * m_size * 6 * s * (1 - s);
        m_crossings.clear();
        for (Strand const* strand : m_active)
            m_crossings.push_back({Solve(*strand, height), strand});
        std::sort(m_crossings.begin(), m_crossings.end(),
                  [](Crossing const& a, Crossing const& b) { return a.x < b.x; });
        std::fill(m_windings.begin(), m_windings.end(), 0);
        for (std::size_t i = 0; i + 1 < m_crossings.size(); ++i) {
            m_windings[m_crossings[i].strand->input] += m_crossings[i].strand->direction;
            double const length = m_crossings[i + 1].x - m_crossings[i].x;
            if (length > 0) {
                if (std::size_t const owner = FindOwner(); owner != m_inputs.size())
                    lengths[owner] += scaled * length;
            }
        }
    }

    std::size_t FindOwner() const {
        std::size_t owner = m_inputs.size();
        std::ptrdiff_t clips = 0;
        for (std::size_t i = 0; i != m_inputs.size(); ++i) {
            bool const inside = m_inputs[i].windingOrderMode == Geometry::WindingOrderMode::Alternating
                                    ? m_windings[i] % 2 != 0
                                    : m_windings[i] != 0;
            if (!inside)
                continue;
            clips += IsClip(m_inputs[i]) ? 1 : 0;
            if (!IsClip(m_inputs[i]) || m_onlyClips)
                owner = i;
        }
        return clips == m_clipCount ? owner : m_inputs.size();
    }

    // Three strands that all cross each other between two heights may do it between two of the places that are looked
    // at, and enclose a small area there. About how large it could be.
    double GetHiddenArea(double from, double to) {
        auto const heightAt = [&](double s) { return m_from + m_size * s * s * (3 - 2 * s); };
        double const low = heightAt(from), high = heightAt(to);
        m_ends.clear();
        for (Strand const* strand : m_active)
            m_ends.push_back({Solve(*strand, low), Solve(*strand, high)});
        std::sort(m_ends.begin(), m_ends.end());
        auto const cross = [&](std::size_t i, std::size_t k) { return m_ends[k].second < m_ends[i].second; };
        double area = 0;
        for (std::size_t i = 0; i != m_ends.size(); ++i) {
            for (std::size_t k = i + 2; k < m_ends.size(); ++k) {
                for (std::size_t middle = i + 1; cross(i, k) && middle != k; ++middle) {
                    if (cross(i, middle) && cross(middle, k))
                        area += std::min(
                            {m_ends[middle].first - m_ends[i].first, m_ends[k].first - m_ends[middle].first,
                             m_ends[i].second - m_ends[middle].second, m_ends[middle].second - m_ends[k].second});
                }
            }
        }
        return area * (high - low);
    }

    void Integrate(double from, double to, double tolerance, int depth) {
        // Abscissas and weights of the rules, as R. Piessens et al. give them in "QUADPACK", 1983; Gauss's are every
        // second of Kronrod's.
        static constexpr std::array<double, 8> c_abscissas = {
            0.991455371120812639206854697526329, 0.949107912342758524526189684047851,
            0.864864423359769072789712788640926, 0.741531185599394439863864773280788,
            0.586087235467691130294144691693013, 0.405845151377397166906606412076961,
            0.207784955007898467600689403773245, 0.0};
        static constexpr std::array<double, 8> c_kronrod = {
            0.022935322010529224963732008058970, 0.063092092629978553290700663189204,
            0.104790010322250183839876322541518, 0.140653259715525918745189590510238,
            0.169004726639267902826583426598550, 0.190350578064785409913256402421014,
            0.204432940075298892414161999234649, 0.209482141084727828012999174891714};
        static constexpr std::array<double, 4> c_gauss = {
            0.129484966168869693270611432679082, 0.279705391489276667901467771423780,
            0.381830050505118944950369775488975, 0.417959183673469387755102040816327};
        std::vector<double> fine(m_inputs.size(), 0), coarse(m_inputs.size(), 0);
        double const middle = (from + to) / 2, half = (to - from) / 2;
        for (std::size_t i = 0; i != 8; ++i) {
            for (double const side : {-1.0, 1.0}) {
                double const s = middle + side * half * c_abscissas[i];
                std::vector<double> lengths(m_inputs.size(), 0);
                AddLengths(s, half, lengths);
                for (std::size_t k = 0; k != lengths.size(); ++k) {
                    fine[k] += c_kronrod[i] * lengths[k];
                    if (i % 2 == 1)
                        coarse[k] += c_gauss[i / 2] * lengths[k];
                }
                if (i == 7)
                    break;
            }
        }
        double error = GetHiddenArea(from, to);
        for (std::size_t k = 0; k != fine.size(); ++k)
            error += std::fabs(fine[k] - coarse[k]);
        if (error > tolerance && depth < 40) {
            Integrate(from, middle, tolerance / 1.5, depth + 1);
            Integrate(middle, to, tolerance / 1.5, depth + 1);
            return;
        }
        m_areas.uncertainty += error;
        for (std::size_t k = 0; k != fine.size(); ++k)
            m_areas.byOwner[k] += fine[k];
    }

    struct Crossing {
        double x;
        Strand const* strand;
    };

    std::vector<Graph::Input> const& m_inputs;
    std::ptrdiff_t m_clipCount = 0;
    bool m_onlyClips = false;
    PointDbl m_origin;
    std::vector<Strand> m_strands;
    std::vector<double> m_heights;
    std::vector<Strand const*> m_active;
    double m_from = 0, m_size = 0;
    std::vector<Crossing> m_crossings;
    std::vector<std::pair<double, double>> m_ends;
    std::vector<int> m_windings;
    OwnedAreas m_areas;
};

} // namespace

OwnedAreas GetAreasByScanlines(std::vector<Graph::Input> const& inputs, double tolerance) {
    return Integrator(inputs, tolerance).Take();
}

} // namespace MapTests
