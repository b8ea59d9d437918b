// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/coverage.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <numeric>

namespace Geometry::Planar {

namespace {

// Widths in grid units below which a face is no more than rounding: crossings that should be one, and, for faces along
// curves, chords of two that run side by side and cross each other where the curves do not.
constexpr double c_thinnestFace = 8, c_thinnestCurvedFace = 64;

// A set of small numbers that tells its largest, in a few steps.
class TopMost {
public:
    explicit TopMost(std::size_t size) {
        do {
            size = (size + 63) / 64;
            m_levels.emplace_back(std::max<std::size_t>(1, size), 0);
        } while (size > 1);
    }
    void Set(std::uint32_t value, bool present) {
        for (auto& level : m_levels) {
            std::uint64_t& word = level[value / 64];
            std::uint64_t const bit = std::uint64_t{1} << value % 64;
            word = present ? word | bit : word & ~bit;
            present = word != 0;
            value /= 64;
        }
    }
    std::uint32_t Get() const {
        if (m_levels.back()[0] == 0)
            return c_noIndex;
        std::size_t at = 0;
        for (auto level = m_levels.rbegin(); level != m_levels.rend(); ++level)
            at = at * 64 + 63 - static_cast<std::size_t>(std::countl_zero((*level)[at]));
        return static_cast<std::uint32_t>(at);
    }

private:
    std::vector<std::vector<std::uint64_t>> m_levels;
};

// A mixed 64-bit value for each number (G. L. Steele, D. Lea and C. H. Flood, "Fast splittable pseudorandom number
// generators", 2014).
std::uint64_t WeightOf(std::uint64_t i) {
    i = (i + 1) * 0x9E3779B97F4A7C15u;
    i = (i ^ i >> 30) * 0xBF58476D1CE4E5B9u;
    i = (i ^ i >> 27) * 0x94D049BB133111EBu;
    return i ^ i >> 31;
}

std::uint64_t Weighted(EdgeUse const& use) {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(use.winding)) * WeightOf(use.input);
}

std::uint32_t FindRoot(std::vector<std::uint32_t>& parents, std::uint32_t i) {
    while (parents[i] != i)
        i = parents[i] = parents[parents[i]];
    return i;
}

} // namespace

// Where the walk is, and what it has seen.
class Coverage::Walk {
public:
    Walk(Coverage& coverage, FaceMap const& map, CurveNet const& net, CoverageRules const& rules, Monitor& monitor)
        : m_coverage(coverage),
          m_map(map),
          m_net(net),
          m_rules(rules),
          m_monitor(monitor),
          m_uses(map, net, monitor),
          m_windings(m_uses.inputs.size(), 0),
          m_covering(m_uses.inputs.size()),
          m_sums(map.GetFaceCount(), 0),
          m_touched(m_uses.inputs.size(), false),
          m_covers(m_uses.inputs.size(), false),
          m_hollow(m_uses.inputs.size(), false),
          m_topCut(map.GetEdgeCount(), c_noIndex) {}

    void Run(FaceBoundaries const& boundaries) {
        WalkFaces(
            m_map, boundaries, m_monitor, [&](std::uint32_t h) { Step(h); },
            [&](std::uint32_t f) {
                Visit(f);
                for (std::uint32_t const h : boundaries.Of(f)) {
                    if (h % 2 == 0)
                        Judge(h / 2);
                    m_monitor.Tick();
                }
            });
        for (std::uint32_t e = 0; e != m_map.GetEdgeCount(); ++e) {
            Finish(e);
            m_monitor.Tick();
        }
        for (std::size_t i = 0; i != m_uses.inputs.size(); ++i) {
            if (m_touched[i])
                m_coverage.touchedInputs.push_back(m_uses.inputs[i]);
            if (m_covers[i])
                m_coverage.coveringInputs.push_back(m_uses.inputs[i]);
            if (m_hollow[i])
                m_coverage.hollowInputs.push_back(m_uses.inputs[i]);
        }
    }

private:
    InputTraits const& TraitsOf(std::uint32_t input) const { return m_net.source.inputs[m_uses.inputs[input]]; }

    // From the left of a half-edge to its right, which lacks the winding of what runs along it.
    void Step(std::uint32_t h) {
        for (EdgeUse const& use : m_uses.Of(h / 2)) {
            InputTraits const& input = TraitsOf(use.input);
            if (!input.filled || use.winding == 0)
                continue;
            std::int32_t& winding = m_windings[use.input];
            bool const before = IsInside(input.mode, winding);
            winding += h % 2 == 0 ? -use.winding : use.winding;
            m_sum += h % 2 == 0 ? 0 - Weighted(use) : Weighted(use);
            bool const after = IsInside(input.mode, winding);
            if (before == after)
                continue;
            if (input.clip)
                m_clips += after ? 1u : ~0u;
            if (input.clip != m_rules.hasOrdinary)
                m_covering.Set(use.input, after);
        }
    }

    void Visit(std::uint32_t f) {
        m_sums[f] = m_sum;
        m_coverage.insideClips[f] = m_clips == m_rules.clipCount;
        std::uint32_t const top = m_covering.Get();
        if (top != c_noIndex && m_coverage.insideClips[f])
            m_coverage.owners[f] = m_uses.inputs[top];
    }

    // The effect of an edge, told in the face on its left.
    void Judge(std::uint32_t e) {
        std::uint32_t count = 0;
        for (EdgeUse const& use : m_uses.Of(e))
            count += use.count;
        bool const alone = count == 1 && m_map.Leaving(m_map.Origin(2 * e)).size() == 2 &&
                           m_map.Leaving(m_map.Target(2 * e)).size() == 2;
        std::uint32_t lineOwner = c_noIndex;
        bool lineOwnerStroked = false;
        for (EdgeUse const& use : m_uses.Of(e)) {
            InputTraits const& input = TraitsOf(use.input);
            bool const stroked = input.strokedFront || input.strokedBehind;
            bool const left = input.filled && IsInside(input.mode, m_windings[use.input]);
            bool const right = input.filled && IsInside(input.mode, m_windings[use.input] - use.winding);
            bool line = !input.filled;
            if (left != right) {
                m_coverage.cuts[e] = true;
                m_covers[use.input] = true;
                m_touched[use.input] = m_touched[use.input] || !alone;
            } else if (input.filled && left) {
                // Seen in front of the fill that lies on both sides.
                if (input.strokedFront && use.line)
                    SetTopCut(e, use.input);
            } else if (input.filled) {
                line = stroked && use.line;
                m_hollow[use.input] = m_hollow[use.input] || use.winding != 0;
            }
            if (!line || input.clip)
                continue;
            SetTopCut(e, use.input);
            // A later line lies on top, and a line that nobody sees below all others.
            if (use.line && (stroked || !lineOwnerStroked)) {
                lineOwner = m_uses.inputs[use.input];
                lineOwnerStroked = stroked;
            }
        }
        m_coverage.lineOwners[e] = lineOwner;
    }

    void SetTopCut(std::uint32_t e, std::uint32_t input) {
        m_coverage.cuts[e] = true;
        m_topCut[e] = m_uses.inputs[input];
    }

    void Finish(std::uint32_t e) {
        std::uint64_t difference = 0;
        for (EdgeUse const& use : m_uses.Of(e)) {
            if (TraitsOf(use.input).filled)
                difference += Weighted(use);
        }
        std::uint32_t const left = m_map.LeftFace(e), right = m_map.RightFace(e);
        if (m_sums[left] - m_sums[right] != difference)
            m_coverage.consistent = false;
        if (!m_coverage.insideClips[left] && !m_coverage.insideClips[right])
            m_coverage.lineOwners[e] = c_noIndex;
        std::uint32_t const owner = m_coverage.owners[left];
        if (m_rules.keepHiddenTogether && owner != c_noIndex && owner == m_coverage.owners[right] &&
            (m_topCut[e] == c_noIndex || m_topCut[e] < owner))
            m_coverage.cuts[e] = false;
    }

    Coverage& m_coverage;
    FaceMap const& m_map;
    CurveNet const& m_net;
    CoverageRules const& m_rules;
    Monitor& m_monitor;
    EdgeUses m_uses;
    std::vector<std::int32_t> m_windings;
    TopMost m_covering;
    std::uint32_t m_clips = 0;
    std::uint64_t m_sum = 0;
    std::vector<std::uint64_t> m_sums;
    std::vector<bool> m_touched, m_covers, m_hollow;
    // Per edge: the top-most input whose line cuts there.
    std::vector<std::uint32_t> m_topCut;
};

Coverage::Coverage(FaceMap const& map, CurveNet const& net, CoverageRules const& rules, Monitor& monitor)
    : owners(map.GetFaceCount(), c_noIndex),
      insideClips(map.GetFaceCount(), false),
      absorbedBy(map.GetFaceCount()),
      cuts(map.GetEdgeCount(), false),
      lineOwners(map.GetEdgeCount(), c_noIndex) {
    FaceBoundaries const boundaries(map, monitor);
    Walk(*this, map, net, rules, monitor).Run(boundaries);
    Absorb(map, net, boundaries, monitor);
    JoinRegions(map, monitor);
}

void Coverage::Absorb(FaceMap const& map, CurveNet const& net, FaceBoundaries const& boundaries, Monitor& monitor) {
    std::iota(absorbedBy.begin(), absorbedBy.end(), 0u);
    std::vector<bool> thin(map.GetFaceCount(), false);
    std::vector<std::uint32_t> left;
    auto const isCurved = [&](std::uint32_t f) {
        return std::ranges::any_of(boundaries.Of(f), [&](std::uint32_t h) {
            return std::ranges::any_of(map.SubSegmentsOf(h / 2), [&](std::uint32_t s) {
                return !net.curves[net.pieces[map.subSegments[s].piece].curve].straight;
            });
        });
    };
    for (std::uint32_t f = 1; f < map.GetFaceCount(); ++f) {
        double const width = 2 * map.faceAreas[f] / map.facePerimeters[f];
        if (width < c_thinnestFace || (width < c_thinnestCurvedFace && isCurved(f))) {
            thin[f] = true;
            left.push_back(f);
        }
        monitor.Tick();
    }
    // Thin faces that only touch thin ones wait until these have found their own.
    std::size_t before = left.size() + 1;
    while (left.size() < before) {
        before = left.size();
        std::vector<std::uint32_t> done;
        std::erase_if(left, [&](std::uint32_t f) {
            monitor.Tick();
            bool const absorbed = AbsorbOne(f, map, boundaries, thin);
            if (absorbed)
                done.push_back(f);
            return absorbed;
        });
        for (std::uint32_t const f : done)
            thin[f] = false;
    }
}

bool Coverage::AbsorbOne(std::uint32_t face, FaceMap const& map, FaceBoundaries const& boundaries,
                         std::vector<bool> const& thin) {
    std::vector<std::pair<std::uint32_t, double>> borders;
    for (std::uint32_t const h : boundaries.Of(face)) {
        std::uint32_t const beyond = map.face[h ^ 1];
        if (beyond == face || thin[beyond])
            continue;
        GridPoint const a = map.nodes[map.Origin(h)], b = map.nodes[map.Target(h)];
        double const length = std::hypot(static_cast<double>(b.x - a.x), static_cast<double>(b.y - a.y));
        borders.emplace_back(absorbedBy[beyond], length);
    }
    if (borders.empty())
        return false;
    std::sort(borders.begin(), borders.end());
    double best = -1;
    for (std::size_t i = 0; i != borders.size();) {
        double sum = 0;
        std::size_t const first = i;
        for (; i != borders.size() && borders[i].first == borders[first].first; ++i)
            sum += borders[i].second;
        if (sum > best) {
            best = sum;
            absorbedBy[face] = borders[first].first;
        }
    }
    owners[face] = owners[absorbedBy[face]];
    insideClips[face] = insideClips[absorbedBy[face]];
    return true;
}

void Coverage::JoinRegions(FaceMap const& map, Monitor& monitor) {
    regions = absorbedBy;
    for (std::uint32_t e = 0; e != map.GetEdgeCount(); ++e) {
        monitor.Tick();
        if (cuts[e])
            continue;
        // The lower face stands for both, so that the unbounded one always stands for its own region.
        std::uint32_t a = FindRoot(regions, absorbedBy[map.LeftFace(e)]);
        std::uint32_t b = FindRoot(regions, absorbedBy[map.RightFace(e)]);
        if (a > b)
            std::swap(a, b);
        if (owners[a] == owners[b])
            regions[b] = a;
    }
    for (std::uint32_t f = 0; f != map.GetFaceCount(); ++f)
        regions[f] = FindRoot(regions, f);
}

std::vector<std::int32_t> GetWindings(std::uint32_t input, FaceMap const& map, CurveNet const& net, Monitor& monitor) {
    auto const alongEdge = [&](std::uint32_t h) {
        std::int32_t winding = 0;
        for (std::uint32_t const s : map.SubSegmentsOf(h / 2)) {
            SubSegment const& sub = map.subSegments[s];
            for (PieceUse const& use : net.GetPieceUses(sub.piece)) {
                if (use.input == input)
                    winding += map.RunsUp(sub) == (h % 2 == 0) ? use.winding : -use.winding;
            }
        }
        return winding;
    };
    std::vector<std::int32_t> windings(map.GetFaceCount(), 0);
    FaceBoundaries const boundaries(map, monitor);
    std::int32_t winding = 0;
    WalkFaces(
        map, boundaries, monitor, [&](std::uint32_t h) { winding -= alongEdge(h); },
        [&](std::uint32_t f) { windings[f] = winding; });
    return windings;
}

} // namespace Geometry::Planar
