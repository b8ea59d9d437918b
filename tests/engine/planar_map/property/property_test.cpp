// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/planar_map/property/random_shapes.h"

#include "engine/geometry/planar_map/implementation.h"
#include "engine/geometry/planar_map/outlines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

using namespace MapTests;
using Geometry::WindingOrderMode;
namespace Planar = Geometry::Planar;

namespace {

constexpr double c_relative = 1e-7;

constexpr std::uint32_t c_drawings = 300;

Geometry::RectDbl BoundsOf(std::vector<Graph::Input> const& inputs) {
    Geometry::RectDbl bounds{};
    for (auto const& input : inputs) {
        if (auto const own = InPlace(input)->GetBounds())
            bounds = bounds.United(*own);
    }
    return bounds;
}

// Distance from p to the nearest outline.
double Clearance(std::vector<Kernel::Counted<Geometry::PolyCurveDbl>> const& outlines, PointDbl p) {
    double best = 1e300;
    for (auto const& outline : outlines) {
        if (auto const nearest = Geometry::GetNearestPoint(*outline, p))
            best = std::min(best, nearest->distance);
    }
    return best;
}

// The owner of the point p by the rule, told from each outline by itself.
int OwnerByRule(std::vector<Graph::Input> const& inputs,
                std::vector<Kernel::Counted<Geometry::PolyCurveDbl>> const& outlines, PointDbl p) {
    for (std::size_t i = inputs.size(); i-- != 0;) {
        if (inputs[i].filled && Geometry::Contains(*outlines[i], p, inputs[i].windingOrderMode))
            return static_cast<int>(i);
    }
    return -1;
}

struct PieceRef {
    unsigned owner;
    Kernel::Counted<Geometry::PolyCurveDbl> area;
};

std::vector<PieceRef> AllPieces(Division const& division) {
    std::vector<PieceRef> pieces;
    for (auto const& [input, result] : division.pieces) {
        for (auto const& area : result.areas)
            pieces.push_back({input, area});
    }
    return pieces;
}

} // namespace

TEST(PlanarMapProperties, AreasOfThePiecesSumToTheAreaOfTheUnion) {
    for (std::uint32_t seed = 0; seed != c_drawings; ++seed) {
        auto const inputs = RandomShapes(seed).Drawing();
        auto const division = Divide(inputs);
        auto const outline = Outline(inputs);
        double const area = outline ? outline->GetArea() : 0;
        EXPECT_NEAR(division.TotalArea(), area, c_relative * area) << "seed " << seed;
    }
}

TEST(PlanarMapProperties, AreasWeightedWithWindingsGiveTheAreaOfEachOutline) {
    // The signed area of a contour is the sum over the faces of their area times the winding number; Green's theorem on
    // the input's own curves tells it without any map.
    for (std::uint32_t seed = 0; seed != c_drawings; ++seed) {
        auto const inputs = RandomShapes(seed).Drawing();
        auto const graph = Build(inputs);
        std::vector<double> sums(inputs.size(), 0);
        double sizes = 0;
        Planar::Monitor monitor(nullptr, nullptr);
        for (auto const& map : graph->GetImplementation().maps) {
            std::vector<std::uint32_t> labels(map->faces.GetFaceCount());
            std::iota(labels.begin(), labels.end(), 0u);
            labels[0] = Planar::c_noIndex;
            Planar::CurveAssembler const assembler(map->faces, map->net, map->positions);
            std::vector<double> areas(labels.size(), 0);
            for (auto const& ring :
                 Planar::OutlineTracer(map->faces, assembler, labels, true, false, true, monitor).Trace())
                areas[ring.label] += ring.curve->GetArea();
            for (std::uint32_t i = 0; i != inputs.size(); ++i) {
                auto const windings = Planar::GetWindings(i, map->faces, map->net, monitor);
                for (std::size_t f = 1; f != areas.size(); ++f)
                    sums[i] += windings[f] * areas[f];
            }
            for (double const area : areas)
                sizes += std::fabs(area);
        }
        for (std::size_t i = 0; i != inputs.size(); ++i)
            EXPECT_NEAR(sums[i], InPlace(inputs[i])->GetArea(), 1e-9 * sizes) << "seed " << seed << " input " << i;
    }
}

TEST(PlanarMapProperties, EachPointLiesInOnePieceAndThatOneIsTheOwners) {
    for (std::uint32_t seed = 0; seed != c_drawings; ++seed) {
        RandomShapes random(seed);
        auto const inputs = random.Drawing();
        auto const division = Divide(inputs);
        auto const pieces = AllPieces(division);
        std::vector<Kernel::Counted<Geometry::PolyCurveDbl>> outlines;
        for (auto const& input : inputs)
            outlines.push_back(InPlace(input));
        Geometry::RectDbl const bounds = BoundsOf(inputs);
        for (int i = 0; i != 60; ++i) {
            PointDbl const p{random.Number(bounds.left, bounds.right), random.Number(bounds.top, bounds.bottom)};
            if (Clearance(outlines, p) < 1e-7)
                continue;
            int const owner = OwnerByRule(inputs, outlines, p);
            int covering = 0;
            for (auto const& piece : pieces) {
                if (!Geometry::Contains(*piece.area, p, WindingOrderMode::NonZero))
                    continue;
                ++covering;
                EXPECT_EQ(static_cast<int>(piece.owner), owner) << "seed " << seed << " at " << p.x << ", " << p.y;
                EXPECT_TRUE(Geometry::Contains(*piece.area, p, WindingOrderMode::Alternating));
            }
            EXPECT_EQ(covering, owner < 0 ? 0 : 1) << "seed " << seed << " at " << p.x << ", " << p.y << "\n";
        }
    }
}

TEST(PlanarMapProperties, PiecesUnitedGiveTheAreaBack) {
    for (std::uint32_t seed = 0; seed != c_drawings; ++seed) {
        auto const inputs = RandomShapes(seed).Drawing();
        auto const division = Divide(inputs);
        auto const united = Outline(PiecesAsInputs(division));
        double const area = division.TotalArea();
        EXPECT_NEAR(united ? united->GetArea() : 0, area, c_relative * area) << "seed " << seed;
    }
}

TEST(PlanarMapProperties, DividingAgainChangesNothing) {
    for (std::uint32_t seed = 0; seed != c_drawings; ++seed) {
        auto const inputs = RandomShapes(seed).Drawing();
        auto const once = Divide(inputs);
        auto const again = Divide(PiecesAsInputs(once));
        double const area = once.TotalArea();
        EXPECT_NEAR(again.TotalArea(), area, c_relative * area) << "seed " << seed;
        // Pieces as thin as the grid may join their neighbours or come apart.
        auto const pieces = AllPieces(once);
        for (unsigned i = 0; i != pieces.size(); ++i)
            EXPECT_NEAR(again.AreaOf(i), pieces[i].area->GetArea(), c_relative * area) << "seed " << seed;
    }
}

TEST(PlanarMapProperties, ScaleAndPlaceDoNotMatter) {
    for (std::uint32_t seed = 0; seed != c_drawings / 3; ++seed) {
        auto const inputs = RandomShapes(seed).Drawing();
        auto const division = Divide(inputs);
        double const area = division.TotalArea();
        for (double const scale : {1e-6, 1e-3, 1e3, 1e6}) {
            auto const scaled = Divide(Transformed(inputs, Geometry::Transform::Scale(scale, scale)));
            EXPECT_NEAR(scaled.TotalArea() / (scale * scale), area, c_relative * area) << "seed " << seed;
        }
        for (double const offset : {1e3, -1e5, 1e7}) {
            auto const moved = Divide(Transformed(inputs, Geometry::Transform::Translation(offset, 0.7 * offset)));
            // Coordinates so far out have lost digits already.
            EXPECT_NEAR(moved.TotalArea(), area, 1e-6 * area) << "seed " << seed << " at " << offset;
        }
    }
}

TEST(PlanarMapProperties, AnExactShiftMovesTheMapAndNothingElse) {
    for (std::uint32_t seed = 0; seed != 100; ++seed) {
        RandomShapes random(seed);
        std::vector<Graph::Input> inputs, moved;
        // Coordinates that stay exact under the shift.
        for (int i = 0; i != 4; ++i) {
            auto curve = Kernel::MakeCounted<Geometry::CurveDbl>(), shifted = Kernel::MakeCounted<Geometry::CurveDbl>();
            auto const point = [&] { return PointDbl{random.Below(4096) / 32.0, random.Below(4096) / 32.0}; };
            auto const shift = [](PointDbl p) { return PointDbl{p.x + 4194304, p.y - 2097152}; };
            PointDbl const start = point();
            curve->MoveTo(start);
            shifted->MoveTo(shift(start));
            for (int k = 0; k != 3; ++k) {
                PointDbl const a = point(), b = point(), c = point();
                curve->CubicTo(a, b, c);
                shifted->CubicTo(shift(a), shift(b), shift(c));
            }
            curve->Close();
            shifted->Close();
            inputs.push_back(MakeInput(curve));
            moved.push_back(MakeInput(shifted));
        }
        auto const a = Divide(inputs), b = Divide(moved);
        ASSERT_EQ(a.TotalPieces(), b.TotalPieces()) << "seed " << seed;
        for (auto const& [input, result] : a.pieces) {
            auto const& other = b.pieces.at(input).areas;
            ASSERT_EQ(result.areas.size(), other.size());
            for (std::size_t i = 0; i != other.size(); ++i)
                EXPECT_EQ(result.areas[i]->GetSegmentCount(), other[i]->GetSegmentCount());
        }
    }
}

TEST(PlanarMapProperties, TheOrderOfContoursInAShapeDoesNotMatter) {
    for (std::uint32_t seed = 0; seed != 100; ++seed) {
        RandomShapes random(seed);
        Graph::Input shape = random.RandomScribble();
        for (int i = 0; i != 6; ++i)
            shape.curves.push_back(i % 2 != 0 ? random.RandomScribble(3).curves[0] : random.RandomPolygon().curves[0]);
        Graph::Input shuffled = shape;
        std::reverse(shuffled.curves.begin(), shuffled.curves.end());
        std::swap(shuffled.curves[1], shuffled.curves[4]);
        auto const a = Divide({shape}), b = Divide({shuffled});
        ASSERT_EQ(a.TotalPieces(), b.TotalPieces()) << "seed " << seed;
        for (std::size_t i = 0; i != a.TotalPieces(); ++i)
            EXPECT_EQ(*a.pieces.at(0).areas[i], *b.pieces.at(0).areas[i]) << "seed " << seed;
    }
}
