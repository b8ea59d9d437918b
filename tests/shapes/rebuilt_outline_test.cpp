// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/rebuilt_outline.h"

#include "tests/examples/scenes/shape_documents.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace Commands;
using namespace ExampleDocuments;

// A star with as many corners, drawn in one stroke past some of them.
Kernel::Counted<PolyCurveNode> MakeStar(int corners, int step, Geometry::WindingOrderMode mode, bool filled) {
    std::vector<Kernel::PointT<double>> points;
    for (int i = 0; i != corners; ++i) {
        double const angle = 2 * 3.141592653589793 * i * step / corners;
        points.push_back({100 * std::cos(angle), 100 * std::sin(angle)});
    }
    auto star = MakePath({points}, true);
    star->SetWindingOrderMode(mode);
    if (filled)
        SetFill(*star, 1, 0, 0);
    return star;
}

TEST(RebuiltOutline, EnclosedAreasCoverThePaintedOnesAndAreOneContour) {
    for (int const corners : {5, 7, 9}) {
        auto const star = MakeStar(corners, 2, Geometry::WindingOrderMode::Alternating, true);
        PlanarMaps maps(nullptr);
        auto const enclosed = RebuildOutline(*star, RebuiltAreas::Enclosed, maps);
        auto const painted = RebuildOutline(*star, RebuiltAreas::Painted, maps);
        ASSERT_TRUE(enclosed && painted);
        EXPECT_EQ(1u, enclosed->GetCurves().size());
        EXPECT_EQ(static_cast<std::size_t>(corners), painted->GetCurves().size());
        // The middle is left out where it is gone round twice.
        double const middle = enclosed->GetArea() - painted->GetArea();
        EXPECT_LT(0, middle);
        EXPECT_NEAR(std::abs(star->GetCurves()->GetArea()), enclosed->GetArea() + middle, 1e-6);
    }
}

TEST(RebuiltOutline, AllThatIsPaintedOfANonZeroShapeIsEnclosed) {
    auto const star = MakeStar(5, 2, Geometry::WindingOrderMode::NonZero, true);
    PlanarMaps maps(nullptr);
    EXPECT_DOUBLE_EQ(RebuildOutline(*star, RebuiltAreas::Enclosed, maps)->GetArea(),
                     RebuildOutline(*star, RebuiltAreas::Painted, maps)->GetArea());
}

TEST(RebuiltOutline, WithoutAFillAllAreasCountAndOpenEndsStay) {
    auto const loop = MakePath({{{0, 0}, {30, 0}, {30, 10}, {10, 10}, {10, -10}}}, false);
    PlanarMaps maps(nullptr);
    for (auto const areas : {RebuiltAreas::Enclosed, RebuiltAreas::Painted}) {
        auto const outline = RebuildOutline(*loop, areas, maps);
        ASSERT_TRUE(outline);
        std::size_t closed = 0;
        double openLength = 0;
        for (auto const& curve : outline->GetCurves()) {
            closed += curve->IsClosed() ? 1 : 0;
            openLength += curve->IsClosed() ? 0 : curve->GetLength();
        }
        EXPECT_EQ(1u, closed);
        EXPECT_DOUBLE_EQ(20, openLength);
    }
}

TEST(RebuiltOutline, NothingEnclosedGivesNothing) {
    PlanarMaps maps(nullptr);
    EXPECT_FALSE(RebuildOutline(*Kernel::MakeCounted<PolyCurveNode>(), RebuiltAreas::Enclosed, maps));
    EXPECT_FALSE(RebuildOutline(*MakePath({{{0, 0}, {30, 0}}}, false), RebuiltAreas::Enclosed, maps));
    EXPECT_FALSE(RebuildOutline(*MakePath({{{0, 0}, {1e200, 0}, {0, 1e200}}}, true), RebuiltAreas::Enclosed, maps));
}

// The outline goes back into the node, so it is not moved to where the node lies.
TEST(RebuiltOutline, StaysInTheTermsOfTheCurves) {
    auto const star = MakeStar(5, 2, Geometry::WindingOrderMode::NonZero, true);
    PlanarMaps maps(nullptr);
    auto const before = RebuildOutline(*star, RebuiltAreas::Enclosed, maps)->GetBounds();
    star->SetTransform({3, 0, 1000, 0, 3, 0}, false);
    EXPECT_EQ(before, RebuildOutline(*star, RebuiltAreas::Enclosed, maps)->GetBounds());
}

} // namespace
