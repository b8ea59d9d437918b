// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/cell_rasteriser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <random>

namespace {

using namespace Renderer::Detail;
using Geometry::PointDbl;
using Geometry::WindingOrderMode;
using Polygon = std::vector<PointDbl>;
using Coverage = std::map<std::pair<int, int>, std::uint32_t>;

void Add(CellRasteriser& rasteriser, Polygon const& polygon) {
    for (std::size_t i = 0; i != polygon.size(); ++i)
        rasteriser.AddEdge(polygon[i], polygon[(i + 1) % polygon.size()]);
}

Coverage Rasterise(std::vector<Polygon> const& polygons, Kernel::RectT<int> const& clip,
                   WindingOrderMode mode = WindingOrderMode::NonZero) {
    CellRasteriser rasteriser;
    rasteriser.Reset(clip);
    for (Polygon const& polygon : polygons)
        Add(rasteriser, polygon);
    Coverage coverage;
    std::pair<int, int> last{-1000000, -1000000};
    rasteriser.Sweep(mode, [&](int y, int left, int right, std::uint32_t value) {
        EXPECT_LT(left, right);
        EXPECT_TRUE(last < std::pair(y, left));
        EXPECT_TRUE(clip.Contains({left, y}) && clip.Contains({right - 1, y}));
        last = {y, right - 1};
        for (int x = left; x != right; ++x)
            coverage[{x, y}] = value;
    });
    return coverage;
}

// The polygon's part in a pixel by clipping its area against four sides; doubles.
double GetExactArea(Polygon polygon, int x, int y) {
    auto const cut = [&](auto inside, auto cross) {
        Polygon kept;
        for (std::size_t i = 0; i != polygon.size(); ++i) {
            PointDbl const a = polygon[i], b = polygon[(i + 1) % polygon.size()];
            if (inside(a))
                kept.push_back(a);
            if (inside(a) != inside(b))
                kept.push_back(cross(a, b));
        }
        polygon = kept;
    };
    auto const atX = [](double at) {
        return [at](PointDbl a, PointDbl b) { return PointDbl{at, a.y + (b.y - a.y) * (at - a.x) / (b.x - a.x)}; };
    };
    auto const atY = [](double at) {
        return [at](PointDbl a, PointDbl b) { return PointDbl{a.x + (b.x - a.x) * (at - a.y) / (b.y - a.y), at}; };
    };
    cut([&](PointDbl p) { return p.x >= x; }, atX(x));
    cut([&](PointDbl p) { return p.x <= x + 1; }, atX(x + 1));
    cut([&](PointDbl p) { return p.y >= y; }, atY(y));
    cut([&](PointDbl p) { return p.y <= y + 1; }, atY(y + 1));
    double area = 0;
    for (std::size_t i = 0; i != polygon.size(); ++i) {
        PointDbl const a = polygon[i], b = polygon[(i + 1) % polygon.size()];
        area += (a.x * b.y - a.y * b.x) / 2;
    }
    return std::fabs(area);
}

TEST(CellRasteriser, CoversFractionalRectanglesToOnePartIn65535) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> place(0, 8);
    for (int i = 0; i != 2000; ++i) {
        auto const [left, right] = std::minmax({place(random), place(random)});
        auto const [top, bottom] = std::minmax({place(random), place(random)});
        auto const coverage = Rasterise({{{left, top}, {right, top}, {right, bottom}, {left, bottom}}}, {0, 0, 8, 8});
        for (int y = 0; y != 8; ++y) {
            for (int x = 0; x != 8; ++x) {
                double const width = std::max(0.0, std::min(right, x + 1.0) - std::max(left, x + 0.0));
                double const height = std::max(0.0, std::min(bottom, y + 1.0) - std::max(top, y + 0.0));
                auto const found = coverage.find({x, y});
                double const actual = found == coverage.end() ? 0 : found->second / 65536.0;
                // Four borders are rounded by at most half a step each, and the result once.
                ASSERT_NEAR(actual, width * height, 2.5 / 65535);
            }
        }
    }
}

TEST(CellRasteriser, FullAndEmptyPixelsAreExact) {
    auto const coverage = Rasterise({{{1, 1}, {3, 1}, {3, 4}, {1, 4}}}, {0, 0, 8, 8});
    EXPECT_EQ(coverage.size(), 6u);
    for (auto const& [place, value] : coverage)
        EXPECT_EQ(value, c_fullCoverage);
}

TEST(CellRasteriser, CoversTrianglesAsTheirExactAreasSay) {
    std::mt19937 random(2);
    std::uniform_real_distribution<double> place(-3, 11);
    for (int i = 0; i != 500; ++i) {
        Polygon const triangle{
            {place(random), place(random)}, {place(random), place(random)}, {place(random), place(random)}};
        auto const coverage = Rasterise({triangle}, {0, 0, 8, 8});
        for (int y = 0; y != 8; ++y) {
            for (int x = 0; x != 8; ++x) {
                auto const found = coverage.find({x, y});
                double const actual = found == coverage.end() ? 0 : found->second / 65536.0;
                ASSERT_NEAR(actual, GetExactArea(triangle, x, y), 6.0 / 65536);
            }
        }
    }
}

TEST(CellRasteriser, PartsAreCutFromTheWhole) {
    std::mt19937 random(3);
    std::uniform_real_distribution<double> near(-50, 150), far(-1e6, 1e6), farther(-1e12, 1e12);
    for (int i = 0; i != 200; ++i) {
        auto& place = i % 3 == 0 ? near : i % 3 == 1 ? far : farther;
        Polygon polygon;
        for (int k = 0; k != 7; ++k)
            polygon.push_back({place(random), place(random)});
        for (auto const mode : {WindingOrderMode::NonZero, WindingOrderMode::Alternating}) {
            auto const whole = Rasterise({polygon}, {0, 0, 100, 100}, mode);
            Kernel::RectT<int> const part{static_cast<int>(random() % 50), static_cast<int>(random() % 50),
                                          51 + static_cast<int>(random() % 49), 51 + static_cast<int>(random() % 49)};
            Coverage expected;
            for (auto const& [at, value] : whole) {
                if (part.Contains({at.first, at.second}))
                    expected[at] = value;
            }
            ASSERT_EQ(Rasterise({polygon}, part, mode), expected) << i;
        }
    }
}

TEST(CellRasteriser, TrianglesThatShareEdgesLeaveNoSeam) {
    std::mt19937 random(4);
    std::uniform_real_distribution<double> place(0, 16);
    for (int i = 0; i != 200; ++i) {
        // A fan around an inner point: the edges between the triangles cancel to the last bit.
        PointDbl const centre{place(random), place(random)};
        Polygon const outer{{-1, -1}, {17, -1}, {17, 17}, {-1, 17}};
        std::vector<Polygon> fan;
        for (std::size_t k = 0; k != 4; ++k)
            fan.push_back({centre, outer[k], outer[(k + 1) % 4]});
        auto const coverage = Rasterise(fan, {0, 0, 16, 16});
        ASSERT_EQ(coverage.size(), 256u);
        for (auto const& [at, value] : coverage)
            ASSERT_EQ(value, c_fullCoverage);
    }
}

TEST(CellRasteriser, TheTwoWindingRulesDifferWhereContoursOverlap) {
    Polygon const large{{0, 0}, {8, 0}, {8, 8}, {0, 8}}, small{{2, 2}, {6, 2}, {6, 6}, {2, 6}};
    auto const nonZero = Rasterise({large, small}, {0, 0, 8, 8});
    auto const alternating = Rasterise({large, small}, {0, 0, 8, 8}, WindingOrderMode::Alternating);
    EXPECT_EQ(nonZero.size(), 64u);
    EXPECT_EQ(alternating.size(), 48u);
    EXPECT_EQ(alternating.count({3, 3}), 0u);
    Polygon reversed(small.rbegin(), small.rend());
    EXPECT_EQ(Rasterise({large, reversed}, {0, 0, 8, 8}), alternating);
    // Three times round is as often as once under either rule.
    EXPECT_EQ(Rasterise({large, large, large}, {0, 0, 8, 8}, WindingOrderMode::Alternating).size(), 64u);
}

TEST(CellRasteriser, GiganticPolygonsCoverEverything) {
    for (double const size : {1e5, 1e9, 1e20, 1e300}) {
        auto const coverage = Rasterise({{{-size, -size}, {size, -size}, {size, size}, {-size, size}}}, {0, 0, 30, 30});
        ASSERT_EQ(coverage.size(), 900u) << size;
        for (auto const& [at, value] : coverage)
            ASSERT_EQ(value, c_fullCoverage);
        // A half plane above the diagonal, as far as doubles can tell where it lies.
        if (size > 1e12)
            continue;
        auto const half = Rasterise({{{-size, -size}, {size, -size}, {size, size}}}, {0, 0, 30, 30});
        double area = 0;
        for (auto const& [at, value] : half)
            area += value / 65536.0;
        EXPECT_NEAR(area, 450, 0.1) << size;
    }
}

TEST(CellRasteriser, ManyEdgesOverFewPixelsStayWithinMemory) {
    // Six million crossings of pixels; a cell for each would take 144 MB.
    CellRasteriser rasteriser;
    rasteriser.Reset({0, 0, 100, 4});
    for (int i = 0; i != 20000; ++i)
        Add(rasteriser, {{0, 0.5}, {100, 1.5 + i * 1e-4}, {100, 3}});
    double area = 0;
    rasteriser.Sweep(WindingOrderMode::Alternating, [&](int, int left, int right, std::uint32_t value) {
        area += (right - left) * (value / 65536.0);
    });
    EXPECT_GT(area, 0);
    EXPECT_LE(area, 400);
}

TEST(CellRasteriser, NothingIsLeftOfOneDrawingInTheNext) {
    CellRasteriser rasteriser;
    rasteriser.Reset({0, 0, 8, 8});
    Add(rasteriser, {{0, 0}, {8, 0}, {8, 8}});
    rasteriser.Reset({0, 0, 8, 8});
    rasteriser.Sweep(WindingOrderMode::NonZero, [](int, int, int, std::uint32_t) { FAIL(); });
}

} // namespace
