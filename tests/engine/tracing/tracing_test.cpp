// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/tracing/drawings.h"

#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"

#include <gtest/gtest.h>
#include <set>

using namespace Tracing;
using namespace TracedDrawings;

namespace {

constexpr Options c_defaults;

std::set<Picture::Pixel> GetColours(std::vector<Shape> const& shapes) {
    std::set<Picture::Pixel> colours;
    for (auto const& shape : shapes)
        colours.insert(shape.colour);
    return colours;
}

} // namespace

TEST(Tracing, DrawingsComeOutAsTheyWere) {
    for (auto const& drawing : GetDrawings()) {
        SCOPED_TRACE(drawing.name);
        auto const picture = Draw(drawing.shapes, 200, 200);
        auto const shapes = TracePicture(picture, c_defaults);
        double const likeness = GetLikeness(picture, Draw(shapes, 200, 200));
        RecordProperty(drawing.name, std::to_string(likeness));
        EXPECT_GE(likeness, drawing.likeness) << drawing.name;
    }
}

TEST(Tracing, PlainColoursStayToTheBit) {
    auto const drawn = GetDrawing("nested rings");
    auto const shapes = TracePicture(Draw(drawn, 200, 200), c_defaults);
    EXPECT_EQ(GetColours(shapes), GetColours(drawn));
}

// Painted on green and on magenta the pictures must be the same.
TEST(Tracing, NoGroundShinesThroughBetweenAreas) {
    for (auto const& drawing : GetDrawings()) {
        auto const shapes = TracePicture(Draw(drawing.shapes, 200, 200), c_defaults);
        auto const onGreen = Draw(shapes, 200, 200, {0, 255, 0, 255}),
                   onMagenta = Draw(shapes, 200, 200, {255, 0, 255, 255});
        int most = 0;
        for (std::size_t i = 0; i != onGreen.pixels.size(); ++i) {
            for (std::size_t c = 0; c != 3; ++c)
                most = std::max(most, std::abs(onGreen.pixels[i][c] - onMagenta.pixels[i][c]));
        }
        EXPECT_LE(most, 3) << drawing.name;
    }
}

// Where clear parts keep the undermost shape from being under everything, shapes reach under each other.
TEST(Tracing, NoGroundShinesThroughBesideClearParts) {
    auto const picture = Draw(GetDrawing("patchwork"), 240, 240, {0, 0, 0, 0});
    auto const shapes = TracePicture(picture, c_defaults);
    auto const onGreen = Draw(shapes, 240, 240, {0, 255, 0, 255}),
               onMagenta = Draw(shapes, 240, 240, {255, 0, 255, 255});
    int most = 0;
    for (int y = 2; y != 198; ++y) {
        for (int x = 2; x != 198; ++x) {
            for (std::size_t c = 0; c != 3; ++c)
                most = std::max(most, std::abs(onGreen.At(x, y)[c] - onMagenta.At(x, y)[c]));
        }
    }
    // A little does where three areas meet.
    EXPECT_LE(most, 14);
}

TEST(Tracing, ARectangleIsFourLinesAtItsPlace) {
    std::vector<Shape> const drawn{MakeRect({0, 0, 60, 50}, {255, 255, 255, 255}),
                                   MakeRect({10.25, 12.5, 44.75, 33.25}, {200, 10, 30, 255})};
    auto const shapes = TracePicture(Draw(drawn, 60, 50), c_defaults);
    ASSERT_EQ(shapes.size(), 2u);
    auto const& curves = shapes[1].outline->GetCurves();
    ASSERT_EQ(curves.size(), 1u);
    EXPECT_EQ(curves[0]->GetSegmentCount(), 4u);
    auto const box = shapes[1].outline->GetBounds();
    EXPECT_NEAR(box->left, 10.25, 0.02);
    EXPECT_NEAR(box->top, 12.5, 0.02);
    EXPECT_NEAR(box->right, 44.75, 0.02);
    EXPECT_NEAR(box->bottom, 33.25, 0.02);
    EXPECT_NEAR(std::abs(shapes[1].outline->GetArea()), 34.5 * 20.75, 1);
}

TEST(Tracing, ADiscIsRoundAndOfFewPieces) {
    std::vector<Shape> const drawn{MakeRect({0, 0, 100, 100}, {255, 255, 255, 255}),
                                   MakeDisc({50.3, 49.6}, 33.3, {0, 0, 0, 255})};
    auto const shapes = TracePicture(Draw(drawn, 100, 100), c_defaults);
    ASSERT_EQ(shapes.size(), 2u);
    EXPECT_NEAR(std::abs(shapes[1].outline->GetArea()), 33.3 * 33.3 * 3.14159265, 12);
    EXPECT_LE(shapes[1].outline->GetSegmentCount(), 12u);
}

TEST(Tracing, ClearPixelsAreNoShapeAndOpacitiesStay) {
    std::vector<Shape> const drawn{MakeDisc({50, 50}, 30, {0, 90, 200, 255}),
                                   MakeRect({5, 5, 20, 95}, {200, 0, 0, 128})};
    auto const picture = Draw(drawn, 100, 100, {0, 0, 0, 0});
    auto const shapes = TracePicture(picture, c_defaults);
    ASSERT_EQ(shapes.size(), 2u);
    std::set<int> opacities;
    for (auto const& shape : shapes)
        opacities.insert(shape.colour[3]);
    EXPECT_EQ(opacities, (std::set<int>{128, 255}));
    auto const again = Draw(shapes, 100, 100, {0, 0, 0, 0});
    EXPECT_GE(GetLikeness(picture, again), 30);
    Picture const clear{40, 40, std::vector<Picture::Pixel>(1600)};
    EXPECT_TRUE(TracePicture(clear, c_defaults).empty());
}

TEST(Tracing, SpecklesGoToANeighbour) {
    std::vector<Shape> drawn{MakeRect({0, 0, 100, 100}, {255, 255, 255, 255})};
    for (int i = 0; i != 9; ++i)
        drawn.push_back(MakeRect({i * 10.0 + 3, 40, i * 10.0 + 5, 42}, {0, 0, 0, 255}));
    drawn.push_back(MakeRect({20, 60, 60, 80}, {0, 0, 0, 255}));
    auto const picture = Draw(drawn, 100, 100);
    EXPECT_EQ(TracePicture(picture, c_defaults).size(), 2u);
    Options all;
    all.smallestArea = 1;
    EXPECT_EQ(TracePicture(picture, all).size(), 11u);
}

TEST(Tracing, ColoursAreNoMoreThanAskedFor) {
    for (int const most : {1, 2, 3, 7}) {
        Options options;
        options.colours = most;
        auto const colours = GetColours(TracePicture(Draw(GetDrawing("gradient"), 200, 200), options));
        EXPECT_LE(colours.size(), static_cast<std::size_t>(most));
        EXPECT_GE(colours.size(), 1u);
    }
}

TEST(Tracing, TheNumberOfThreadsMakesNoDifference) {
    auto const picture = Draw(GetDrawing("gradient"), 200, 200);
    auto const threads = Kernel::Dispatch::GetThreadCount();
    Kernel::Dispatch::SetThreadCount(1);
    auto const alone = TracePicture(picture, c_defaults);
    Kernel::Dispatch::SetThreadCount(4);
    auto const together = TracePicture(picture, c_defaults);
    Kernel::Dispatch::SetThreadCount(threads);
    ASSERT_EQ(alone.size(), together.size());
    for (std::size_t i = 0; i != alone.size(); ++i) {
        EXPECT_EQ(alone[i].colour, together[i].colour);
        EXPECT_TRUE(*alone[i].outline == *together[i].outline);
    }
}

TEST(Tracing, PicturesOfAnySizeAndNoise) {
    std::uint32_t seed = 1;
    auto const next = [&] { return seed = seed * 1664525u + 1013904223u, seed >> 24; };
    for (auto const& [width, height] :
         std::vector<std::pair<int, int>>{{1, 1}, {1, 9}, {9, 1}, {2, 2}, {3, 5}, {64, 64}, {300, 200}}) {
        for (int const levels : {2, 3, 256}) {
            Picture picture{width, height, {}};
            for (int i = 0; i != width * height; ++i) {
                auto const value = static_cast<std::uint8_t>(next() % static_cast<unsigned>(levels) * 255 /
                                                             static_cast<unsigned>(levels - 1));
                picture.pixels.push_back({value, static_cast<std::uint8_t>(levels == 256 ? next() : value), 0,
                                          static_cast<std::uint8_t>(next() < 200 ? 255 : 0)});
            }
            for (int const area : {1, 8}) {
                Options options;
                options.smallestArea = area;
                for (auto const& shape : TracePicture(picture, options)) {
                    auto const box = shape.outline->GetBounds();
                    ASSERT_TRUE(box);
                    EXPECT_GE(box->left, 0);
                    EXPECT_GE(box->top, 0);
                    EXPECT_LE(box->bottom, height);
                    EXPECT_LE(box->right, width);
                }
            }
        }
    }
}

TEST(Tracing, NoiseHasABoundOfShapes) {
    std::uint32_t seed = 1;
    Picture picture{900, 900, {}};
    for (int i = 0; i != 900 * 900; ++i) {
        seed = seed * 1664525u + 1013904223u;
        picture.pixels.push_back({static_cast<std::uint8_t>(seed >> 24), static_cast<std::uint8_t>(seed >> 16),
                                  static_cast<std::uint8_t>(seed >> 8), 255});
    }
    Options options;
    options.smallestArea = 1;
    auto const count = TracePicture(picture, options).size();
    EXPECT_LE(count, 100'000u);
    EXPECT_GE(count, 10'000u);
}

TEST(Tracing, AnAbortEndsIt) {
    bool abort = true;
    Options options;
    options.abort = &abort;
    EXPECT_THROW(TracePicture(Draw(GetDrawing("star"), 200, 200), options), Kernel::AbortException);
}

TEST(Tracing, ARingOfAnotherColourAroundAClearHoleStaysOne) {
    std::vector<Shape> const drawn{MakeRing({50, 50}, 40, 20, {10, 120, 40, 255}),
                                   MakeDisc({50, 50}, 8, {200, 0, 0, 255})};
    auto const picture = Draw(drawn, 100, 100, {0, 0, 0, 0});
    auto const again = Draw(TracePicture(picture, c_defaults), 100, 100, {0, 0, 0, 0});
    EXPECT_EQ(again.At(50, 64)[3], 0);
    EXPECT_EQ(again.At(50, 50), (Picture::Pixel{200, 0, 0, 255}));
    EXPECT_EQ(again.At(50, 20), (Picture::Pixel{10, 120, 40, 255}));
}
