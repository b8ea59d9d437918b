// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/planar_map/property/random_shapes.h"

#include "engine/geometry/planar_map/implementation.h"
#include "engine/geometry/planar_map/outlines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/polygon/polygon.hpp>
#include <boost/polygon/segment_utils.hpp>
#include <cmath>
#include <map>

// Faces found by another way: curves cut into many straight pieces, Boost.Polygon's sweep for the crossings, and a
// plain walk round the faces.
namespace {

namespace Planar = Geometry::Planar;
using MapTests::Graph;
using Point = std::pair<int, int>;

std::vector<double> FacesByBoost(std::vector<Graph::Input> const& inputs, Geometry::RectDbl const& bounds, int bits) {
    namespace bp = boost::polygon;
    constexpr unsigned c_steps = 400;
    // Positive coordinates of up to 29 bits, which its 32-bit arithmetic takes.
    double const scale = std::ldexp(1.0, bits) / std::max(bounds.GetWidth(), bounds.GetHeight());
    auto const toGrid = [&](Geometry::PointDbl p) {
        return bp::point_data<int>(static_cast<int>(std::lround((p.x - bounds.left) * scale)),
                                   static_cast<int>(std::lround((p.y - bounds.top) * scale)));
    };
    std::vector<bp::segment_data<int>> segments;
    for (auto const& input : inputs) {
        auto const outline = MapTests::InPlace(input);
        for (auto const& curve : outline->GetCurves()) {
            for (auto const& segment : curve->GetSegments()) {
                unsigned const steps = segment.kind == Geometry::SegmentKind::Line ? 1 : c_steps;
                for (unsigned i = 0; i != steps; ++i)
                    segments.emplace_back(toGrid(Geometry::Evaluate(segment, static_cast<double>(i) / steps)),
                                          toGrid(Geometry::Evaluate(segment, static_cast<double>(i + 1) / steps)));
            }
        }
    }
    std::vector<std::pair<std::size_t, bp::segment_data<int>>> cut;
    bp::intersect_segments(cut, segments.begin(), segments.end());
    std::map<Point, std::vector<Point>> neighbours;
    for (auto const& [source, segment] : cut) {
        Point const a{segment.low().x(), segment.low().y()}, b{segment.high().x(), segment.high().y()};
        if (a != b) {
            neighbours[a].push_back(b);
            neighbours[b].push_back(a);
        }
    }
    for (auto& [at, others] : neighbours) {
        std::sort(others.begin(), others.end(), [&centre = at](Point const& a, Point const& b) {
            auto const angle = [&](Point const& p) {
                return std::atan2(static_cast<long double>(p.second - centre.second),
                                  static_cast<long double>(p.first - centre.first));
            };
            return angle(a) < angle(b);
        });
        others.erase(std::unique(others.begin(), others.end()), others.end());
    }
    std::map<std::pair<Point, Point>, bool> done;
    std::vector<double> areas;
    for (auto const& [start, others] : neighbours) {
        for (Point const& first : others) {
            if (done[{start, first}])
                continue;
            Point a = start, b = first;
            long double twice = 0;
            do {
                done[{a, b}] = true;
                twice += static_cast<long double>(a.first) * b.second - static_cast<long double>(a.second) * b.first;
                // Of all that leave b the one before a in counterclockwise order keeps the face on the left.
                auto const& around = neighbours[b];
                auto const at = std::find(around.begin(), around.end(), a) - around.begin();
                Point const c =
                    around[static_cast<std::size_t>(at == 0 ? static_cast<std::ptrdiff_t>(around.size()) - 1 : at - 1)];
                a = b;
                b = c;
            } while (a != start || b != first);
            if (twice > 0)
                areas.push_back(static_cast<double>(twice) / 2 / scale / scale);
        }
    }
    return areas;
}

std::vector<double> FacesByMap(std::vector<Graph::Input> const& inputs) {
    std::vector<double> areas;
    auto const graph = MapTests::Build(inputs);
    Planar::Monitor monitor(nullptr, nullptr);
    for (auto const& map : graph->GetImplementation().maps) {
        std::vector<std::uint32_t> labels = map->coverage.absorbedBy;
        for (auto& label : labels)
            label = label == 0 ? Planar::c_noIndex : label;
        Planar::CurveAssembler const assembler(map->faces, map->net, map->positions);
        for (auto const& ring :
             Planar::OutlineTracer(map->faces, assembler, labels, true, false, false, monitor).Trace()) {
            if (ring.area > 0)
                areas.push_back(ring.curve->GetArea());
        }
    }
    return areas;
}

// Counts the values of `these`, all above a threshold, that have no counterpart in `those`.
std::size_t CountWithout(std::vector<double> these, std::vector<double> those, double threshold) {
    std::sort(these.begin(), these.end());
    std::sort(those.begin(), those.end());
    std::size_t missing = 0, k = 0;
    for (double const area : these) {
        if (area < 2 * threshold)
            continue;
        double const tolerance = 0.2 * threshold + 1e-4 * area;
        while (k != those.size() && those[k] < area - tolerance)
            ++k;
        if (k != those.size() && those[k] <= area + tolerance)
            ++k;
        else
            ++missing;
    }
    return missing;
}

} // namespace

TEST(SecondNoder, FindsTheSameFaces) {
    constexpr double c_threshold = 0.1;
    for (std::uint32_t seed = 0; seed != 80; ++seed) {
        auto const inputs = MapTests::RandomShapes(1000 + seed).Drawing(false);
        Geometry::RectDbl bounds{};
        for (auto const& input : inputs)
            bounds = bounds.United(*MapTests::InPlace(input)->GetBounds());
        // Rounded crossings can turn a face of the other way's inside out; another grid rounds them elsewhere.
        auto const byMap = FacesByMap(inputs);
        std::string differences;
        for (int const bits : {29, 28, 24}) {
            auto const byBoost = FacesByBoost(inputs, bounds, bits);
            auto const more = CountWithout(byMap, byBoost, c_threshold),
                       less = CountWithout(byBoost, byMap, c_threshold);
            if (more == 0 && less == 0) {
                differences.clear();
                break;
            }
            differences += std::to_string(more) + " more and " + std::to_string(less) + " less; ";
        }
        EXPECT_EQ(differences, "") << "seed " << seed;
    }
}
