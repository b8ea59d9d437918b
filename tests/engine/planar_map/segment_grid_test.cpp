// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/segment_grid.h"
#include "tests/engine/planar_map/shapes_for_maps.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

using Geometry::Planar::GridPoint;
using Geometry::Planar::GridSegment;

std::vector<GridSegment> StarOnGrid(int points, int step) {
    double const radius = std::ldexp(1.0, 37);
    auto const corner = [&](int i) {
        double const angle = 2 * std::numbers::pi * i * step / points;
        return GridPoint{std::llround(radius * (1 + std::sin(angle))), std::llround(radius * (1 + std::cos(angle)))};
    };
    std::vector<GridSegment> segments;
    for (int i = 0; i != points; ++i)
        segments.push_back({corner(i), corner(i + 1)});
    return segments;
}

TEST(SegmentGrid, LongLinesAreListedOnlyWhereTheyPass) {
    Geometry::Planar::Monitor monitor(nullptr, nullptr);
    auto const segments = StarOnGrid(74, 31);
    Geometry::Planar::SegmentGrid const grid(segments, monitor);
    EXPECT_LT(grid.GetCellCount(), 5000u);
}

TEST(SegmentGrid, ALeafListsEverySegmentThatPassesThroughIt) {
    Geometry::Planar::Monitor monitor(nullptr, nullptr);
    auto const segments = StarOnGrid(301, 143);
    Geometry::Planar::SegmentGrid const grid(segments, monitor);
    std::vector<std::uint32_t> listed;
    for (std::uint32_t i = 0; i != segments.size(); ++i) {
        auto const& [a, b, reach, dead] = segments[i];
        for (int k = 0; k <= 1000; ++k) {
            GridPoint const p{a.x + (b.x - a.x) / 1000 * k, a.y + (b.y - a.y) / 1000 * k};
            grid.Gather(grid.Locate(p), listed);
            // The truncated steps stray by up to 1000 units; places within them of the segment do not count.
            auto const box = grid.LocateWithBox(p).second;
            bool const isClear = p.x > box.left + 2000 && p.y > box.top + 2000 && p.x < box.left + box.size - 2000 &&
                                 p.y < box.top + box.size - 2000;
            if (isClear) {
                ASSERT_NE(std::find(listed.begin(), listed.end(), i), listed.end()) << "segment " << i << " at " << k;
            }
        }
    }
}

} // namespace

TEST(PlanarMap, AStarOfManyPointsHasItsFacesAndEdges) {
    auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
    constexpr int c_points = 74, c_step = 31;
    for (int i = 0; i != c_points; ++i) {
        double const angle = 2 * std::numbers::pi * (i * c_step % c_points) / c_points;
        Geometry::PointDbl const p{50 + 40 * std::sin(angle), 50 + 40 * std::cos(angle)};
        i == 0 ? curve->MoveTo(p) : curve->LineTo(p);
    }
    curve->Close();
    auto input = MapTests::MakeInput(curve);
    input.strokedFront = true;
    // Each line is crossed by 2 (step - 1) others; Euler's formula gives the faces.
    auto const division = MapTests::Divide({input});
    EXPECT_EQ(division.TotalPieces(), static_cast<std::size_t>(c_points * (c_step - 1) + 1));
    auto open = MapTests::MakeInput(curve, false);
    EXPECT_EQ(MapTests::Divide({open}).LineCount(0), static_cast<std::size_t>(c_points * 2 * (c_step - 1)));
}
