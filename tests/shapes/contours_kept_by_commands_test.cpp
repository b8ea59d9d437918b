// SPDX-License-Identifier: Apache-2.0
// Dashes and pressure follow the walk of a contour: the commands keep it where a shape stays the same.
#include "shapes/divide_shapes_command.h"
#include "shapes/fill_holes_command.h"
#include "tests/shapes/scene.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace Commands;
using namespace Support;
using namespace ExampleDocuments;

using Corners = std::vector<Kernel::PointT<double>>;

// A pentagon from each of its corners, in both directions, as the only filled object.
template <class Try>
void ForEachWalk(Try const& tryWalk) {
    Corners corners{{10.3, 7}, {90.1, 12.7}, {77, 80.25}, {41.4, 55.5}, {13, 91}};
    for (int direction = 0; direction != 2; ++direction) {
        for (std::size_t i = 0; i != corners.size(); ++i) {
            Scene scene;
            auto const node = MakePath({corners}, true);
            SetFill(*node, 1, 0, 0);
            node->SetWindingOrderMode(Geometry::WindingOrderMode::Alternating);
            scene.PutAndSelect({node});
            tryWalk(scene, *node->GetCurves()->GetCurves()[0]->Clone());
            std::rotate(corners.begin(), corners.begin() + 1, corners.end());
        }
        std::reverse(corners.begin(), corners.end());
    }
}

void ExpectSameWalk(Geometry::CurveDbl const& expected, PolyCurveNode const& node) {
    ASSERT_EQ(1u, node.GetCurves()->GetCurves().size());
    auto const points = expected.GetPoints(), others = node.GetCurves()->GetCurves()[0]->GetPoints();
    ASSERT_EQ(points.size(), others.size());
    for (std::size_t i = 0; i != points.size(); ++i) {
        EXPECT_NEAR(points[i].x, others[i].x, 1e-9) << i;
        EXPECT_NEAR(points[i].y, others[i].y, 1e-9) << i;
    }
}

TEST(ContoursKeptByCommands, AShapeThatFillHolesLeavesAloneIsWalkedAsBefore) {
    for (bool const lines : {false, true}) {
        ForEachWalk([lines](Scene& scene, Geometry::CurveDbl const& contour) {
            scene.controller->Run(Kernel::MakeCounted<FillHolesCommand>(lines));
            ExpectSameWalk(contour, *PiecesIn(*scene.spread).at(0));
        });
    }
}

TEST(ContoursKeptByCommands, AShapeThatADivideLeavesWholeIsWalkedAsBefore) {
    for (bool const overlaps : {false, true}) {
        ForEachWalk([overlaps](Scene& scene, Geometry::CurveDbl const& contour) {
            scene.Put(*scene.spread,
                      {Box(1000, 0, 1050, 50), overlaps ? Box(1020, 20, 1070, 70) : Box(1200, 0, 1250, 50)});
            scene.Select(ChildrenOf(*scene.spread));
            scene.controller->Run(Kernel::MakeCounted<DivideShapesCommand>(false, scene.Selected()));
            ASSERT_LE(3u, PiecesIn(*scene.spread).size());
            ExpectSameWalk(contour, *PiecesIn(*scene.spread)[0]);
        });
    }
}

} // namespace
