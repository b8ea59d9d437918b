// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/planar_map/property/random_shapes.h"

#include "engine/geometry/planar_map/implementation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>

namespace Planar = Geometry::Planar;
using Planar::GridPoint;

namespace {

struct Line {
    GridPoint a, b;
    friend auto operator<=>(Line const&, Line const&) = default;
};

Planar::Noding NodeLines(std::vector<Line> const& lines) {
    Planar::Monitor monitor(nullptr, nullptr);
    Planar::PartList list;
    for (std::uint32_t i = 0; i != lines.size(); ++i)
        list.Add({}, i, 0, 1, lines[i].a, lines[i].b);
    return Planar::Node(Planar::FlattenedNet(std::move(list), monitor), monitor);
}

bool LiesInside(Line const& s, GridPoint p) {
    return !(p == s.a) && !(p == s.b) && Planar::Orientation(s.a, s.b, p) == 0 && p.x >= std::min(s.a.x, s.b.x) &&
           p.x <= std::max(s.a.x, s.b.x) && p.y >= std::min(s.a.y, s.b.y) && p.y <= std::max(s.a.y, s.b.y);
}

// Pairs of different lines that meet anywhere else than in an end of both.
std::size_t CountBadMeetings(std::vector<Line> lines) {
    for (Line& line : lines) {
        if (line.b < line.a)
            std::swap(line.a, line.b);
    }
    std::sort(lines.begin(), lines.end());
    lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
    std::size_t bad = 0;
    for (std::size_t i = 0; i != lines.size(); ++i) {
        for (std::size_t k = i + 1; k != lines.size() && lines[k].a.x <= lines[i].b.x; ++k) {
            Line const &p = lines[i], &q = lines[k];
            if (Planar::CrossProperly(p.a, p.b, q.a, q.b) || LiesInside(p, q.a) || LiesInside(p, q.b) ||
                LiesInside(q, p.a) || LiesInside(q, p.b))
                ++bad;
        }
    }
    return bad;
}

std::vector<Line> ToLines(Planar::Noding const& noding) {
    std::vector<Line> lines;
    for (auto const& sub : noding.subSegments)
        lines.push_back({noding.nodes[sub.from], noding.nodes[sub.to]});
    return lines;
}

// Lines whose pieces do not lead from one end to the other.
std::size_t CountBrokenChains(std::vector<Line> const& lines, Planar::Noding const& noding) {
    std::vector<GridPoint> reached;
    for (Line const& line : lines)
        reached.push_back(line.a);
    std::size_t broken = 0;
    for (auto const& sub : noding.subSegments) {
        if (!(reached[sub.piece] == noding.nodes[sub.from]))
            ++broken;
        reached[sub.piece] = noding.nodes[sub.to];
    }
    for (std::size_t i = 0; i != lines.size(); ++i)
        broken += reached[i] == lines[i].b ? 0 : 1;
    return broken;
}

// Random closed polygons on a small raster: ends on lines, overlaps, crossings in common points.
std::vector<Line> RandomLines(MapTests::RandomShapes& random, std::uint32_t raster) {
    std::vector<Line> lines;
    for (std::uint32_t shape = 2 + random.Below(4); shape-- != 0;) {
        std::vector<GridPoint> corners(3 + random.Below(8));
        for (GridPoint& p : corners)
            p = {random.Below(raster + 1), random.Below(raster + 1)};
        if (random.Below(3) == 0) {
            for (std::size_t i = 1; i < corners.size(); ++i)
                (i % 2 != 0 ? corners[i].x : corners[i].y) = i % 2 != 0 ? corners[i - 1].x : corners[i - 1].y;
        }
        for (std::size_t i = 0; i != corners.size(); ++i) {
            Line const line{corners[i], corners[(i + 1) % corners.size()]};
            if (!(line.a == line.b))
                lines.push_back(line);
        }
    }
    if (random.Below(4) == 0 && !lines.empty()) {
        for (std::size_t i = lines.size() / 2; i-- != 0;)
            lines.push_back({lines[i].b, lines[i].a});
    }
    return lines;
}

} // namespace

TEST(Noding, LinesMeetOnlyInNodes) {
    for (std::uint32_t const raster : {6u, 20u, 1000u, 2000000000u}) {
        for (std::uint32_t seed = 0; seed != 1500; ++seed) {
            MapTests::RandomShapes random(seed);
            auto const lines = RandomLines(random, raster);
            auto const noding = NodeLines(lines);
            ASSERT_EQ(CountBadMeetings(ToLines(noding)), 0u) << "raster " << raster << " seed " << seed;
            ASSERT_EQ(CountBrokenChains(lines, noding), 0u) << "raster " << raster << " seed " << seed;
        }
    }
}

TEST(Noding, SliversAlongALongLineMeetOnlyInNodes) {
    for (int const bits : {30, 40, 50}) {
        for (std::uint32_t seed = 0; seed != 200; ++seed) {
            MapTests::RandomShapes random(seed);
            double const size = std::ldexp(1.0, bits);
            double const x = random.Number(0, size), y = random.Number(0, size);
            std::vector<Line> lines;
            for (int i = 0; i != 12; ++i) {
                GridPoint corners[3];
                for (GridPoint& p : corners) {
                    double const t = random.Number(0, 1);
                    p = {static_cast<std::int64_t>(x * t) + random.Below(7),
                         static_cast<std::int64_t>(y * t) + random.Below(7)};
                }
                for (int k = 0; k != 3; ++k) {
                    if (!(corners[k] == corners[(k + 1) % 3]))
                        lines.push_back({corners[k], corners[(k + 1) % 3]});
                }
            }
            auto const noding = NodeLines(lines);
            ASSERT_EQ(CountBadMeetings(ToLines(noding)), 0u) << bits << " bits, seed " << seed;
            ASSERT_EQ(CountBrokenChains(lines, noding), 0u) << bits << " bits, seed " << seed;
        }
    }
}

TEST(Noding, NeitherOrderNorPlaceChangesTheResult) {
    for (std::uint32_t const raster : {20u, 1000u}) {
        for (std::uint32_t seed = 0; seed != 300; ++seed) {
            MapTests::RandomShapes random(seed);
            auto const lines = RandomLines(random, raster);
            auto const plain = ToLines(NodeLines(lines));
            auto shuffled = lines, moved = lines;
            for (std::size_t i = shuffled.size(); i > 1; --i)
                std::swap(shuffled[i - 1], shuffled[random.Below(static_cast<std::uint32_t>(i))]);
            for (Line& line : moved) {
                for (GridPoint* p : {&line.a, &line.b})
                    *p = {p->x + 12345, p->y + 777};
            }
            auto const sorted = [](std::vector<Line> result, std::int64_t x, std::int64_t y) {
                for (Line& line : result) {
                    for (GridPoint* p : {&line.a, &line.b})
                        *p = {p->x - x, p->y - y};
                }
                std::sort(result.begin(), result.end());
                return result;
            };
            EXPECT_EQ(sorted(ToLines(NodeLines(shuffled)), 0, 0), sorted(plain, 0, 0)) << "seed " << seed;
            EXPECT_EQ(sorted(ToLines(NodeLines(moved)), 12345, 777), sorted(plain, 0, 0)) << "seed " << seed;
        }
    }
}

TEST(Noding, CrowdsInOnePointAreNoded) {
    // So many lines through one point that their pairs are not looked at there.
    std::vector<Line> lines;
    for (std::int64_t i = 0; i != 600; ++i)
        lines.push_back({{i * 1000, 0}, {600000 - i * 1000, 600000}});
    auto const noding = NodeLines(lines);
    EXPECT_EQ(CountBadMeetings(ToLines(noding)), 0u);
    EXPECT_EQ(CountBrokenChains(lines, noding), 0u);
}

TEST(Noding, EdgesOfDrawingsMeetOnlyInNodes) {
    for (std::uint32_t seed = 0; seed != 150; ++seed) {
        auto const graph = MapTests::Build(MapTests::RandomShapes(seed).Drawing());
        for (auto const& map : graph->GetImplementation().maps) {
            std::vector<Line> lines;
            for (std::uint32_t e = 0; e != map->faces.GetEdgeCount(); ++e)
                lines.push_back(
                    {map->faces.nodes[map->faces.Origin(2 * e)], map->faces.nodes[map->faces.Target(2 * e)]});
            EXPECT_EQ(CountBadMeetings(lines), 0u) << "seed " << seed;
        }
    }
}

TEST(GridArithmetic, ScaledValuesAreRoundedHalfUpExactly) {
    using Planar::Wide;
    EXPECT_EQ(Planar::ScaleRounded(1, 1, 2), 1);
    EXPECT_EQ(Planar::ScaleRounded(-1, 1, 2), 0);
    EXPECT_EQ(Planar::ScaleRounded(3, 1, 2), 2);
    EXPECT_EQ(Planar::ScaleRounded(-3, 1, 2), -1);
    EXPECT_EQ(Planar::ScaleRounded(3, -1, -2), 2);
    // With values whose products take three times 50 bits: 2^50 * (2^100 + 2^49) / 2^101 = 2^49 + 1/4.
    std::int64_t const factor = std::int64_t{1} << 50;
    Wide const denominator = static_cast<Wide>(1) << 101;
    EXPECT_EQ(Planar::ScaleRounded(factor, (static_cast<Wide>(1) << 100) + (static_cast<Wide>(1) << 49), denominator),
              std::int64_t{1} << 49);
    EXPECT_EQ(Planar::ScaleRounded(factor, (static_cast<Wide>(1) << 100) + (static_cast<Wide>(1) << 50), denominator),
              (std::int64_t{1} << 49) + 1);
    EXPECT_EQ(
        Planar::ScaleRounded(factor, (static_cast<Wide>(1) << 100) + (static_cast<Wide>(1) << 50) - 1, denominator),
        std::int64_t{1} << 49);
}

TEST(GridArithmetic, OrientationIsExactNextToALine) {
    std::int64_t const big = std::int64_t{1} << 50;
    EXPECT_EQ(Planar::Orientation({0, 0}, {big, big - 1}, {big - 1, big - 2}), -1);
    EXPECT_EQ(Planar::Orientation({0, 0}, {big, big - 2}, {big / 2, big / 2 - 1}), 0);
    EXPECT_EQ(Planar::Orientation({0, 0}, {big - 1, big}, {big - 2, big - 1}), 1);
}
