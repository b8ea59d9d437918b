// SPDX-License-Identifier: Apache-2.0
#include "platform/renderer/recorded_drawing.h"
#include "tests/engine/renderer/pictures.h"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>

using namespace Pictures;

namespace {

Counted<RecordedDrawing const> Record(std::function<void(RenderTarget&)> const& draw) {
    auto const recorder = MakeCounted<DrawingRecorder>();
    draw(*recorder);
    return recorder->GetDrawing();
}

Counted<RecordedDrawing const> RecordRectangle(RectDbl const& box, Colour const& colour = Colour::FromRGB(1, 0, 0)) {
    return Record([&](RenderTarget& target) {
        target.DrawCurves(Rectangle(box.left, box.top, box.right, box.bottom), Filled(colour),
                          WindingOrderMode::NonZero);
    });
}

Paint Patterned(Counted<RecordedDrawing const> const& drawing, double width, double height,
                Transform const& transform = {}, double opacity = 1) {
    Paint paint;
    paint.mainFill = FillDescriptorConst(MakeFill<PatternFill>(drawing, Kernel::SizeT<double>{width, height}, opacity),
                                         true, transform.GetParams());
    return paint;
}

// A picture of 100 x 100 pixels that is filled all over.
Pixels DrawAll(Paint const& paint, Transform const& documentToPixels = {}) {
    auto options = Size(100, 100);
    options.documentToPixels = documentToPixels;
    RasterRenderTarget target(options);
    auto const corners = documentToPixels.GetInverse().GetParams().Apply(RectDbl{0, 0, 100, 100});
    target.DrawCurves(Rectangle(corners.left, corners.top, corners.right, corners.bottom), paint,
                      WindingOrderMode::NonZero);
    return Pixels(target);
}

} // namespace

TEST(Pattern, RepeatsItsTileFromTheOriginOfFillSpace) {
    Pixels const pixels = DrawAll(Patterned(RecordRectangle({0, 0, 5, 4}), 10, 8, Transform::Translation(3, 2), 0.5));
    for (int y = 0; y != 100; ++y) {
        for (int x = 0; x != 100; ++x) {
            bool const isInside = (x + 7) % 10 < 5 && (y + 6) % 8 < 4;
            ASSERT_EQ(pixels.Get(x, y), (isInside ? std::array<float, 4>{1, 0, 0, 0.5f} : std::array<float, 4>{}))
                << x << ' ' << y;
        }
    }
}

TEST(Pattern, NothingShowsOutsideOfTheTile) {
    Pixels const pixels = DrawAll(Patterned(RecordRectangle({-20, 2, 30, 6}), 10, 8));
    EXPECT_NEAR(pixels.GetArea(), 100 * 50, 1e-3) << "a row shows half of the tile, however far the outline reaches";
    EXPECT_EQ(pixels.Alpha(50, 1), 0);
    EXPECT_EQ(pixels.Alpha(50, 3), 1);
}

TEST(Pattern, TilesLeaveNoSeamsWhateverTheirSizeAndTurn) {
    for (double const size : {3.7, 7.3, 33.3, 1.3, 0.3, 1500.7, 2700.1}) {
        for (double const angle : {0.0, 0.5}) {
            if (size > 1000 && angle != 0)
                continue;
            Transform const place = Transform::Translation(0.4, 0.7) * Transform::Rotation(angle);
            Pixels const pixels = DrawAll(Patterned(RecordRectangle({0, 0, size, size}), size, size, place));
            for (int y = 0; y != 100; ++y)
                for (int x = 0; x != 100; ++x)
                    ASSERT_NEAR(pixels.Alpha(x, y), 1, 1e-5) << size << ' ' << angle << " at " << x << ' ' << y;
        }
    }
}

TEST(Pattern, IsNearTheRepeatsThemselves) {
    auto const drawing = Record([](RenderTarget& target) {
        target.DrawCurves(Path(Geometry::MakeStar({6, 5}, 4, 2, 5, 0.3)), Filled(Colour::FromRGB(0, 0, 1)),
                          WindingOrderMode::NonZero);
    });
    Transform const place = Transform::Rotation(0.3);
    Pixels const pattern = DrawAll(Patterned(drawing, 12.3, 10.7, place));
    RasterRenderTarget target(Size(100, 100));
    for (int row = -10; row != 20; ++row) {
        for (int column = -10; column != 20; ++column) {
            target.PushTransform(place * Transform::Translation(column * 12.3, row * 10.7));
            drawing->Replay(target);
            target.PopTransform();
        }
    }
    Pixels const repeats(target);
    double squares = 0;
    for (int y = 0; y != 100; ++y)
        for (int x = 0; x != 100; ++x)
            squares += std::pow(double{pattern.Alpha(x, y) - repeats.Alpha(x, y)}, 2);
    EXPECT_LT(std::sqrt(squares / 10000), 0.05);
    EXPECT_NEAR(pattern.GetArea(), repeats.GetArea(), 0.005 * repeats.GetArea());
}

TEST(Pattern, StaysSharpHoweverMuchItIsEnlarged) {
    // A tile of 10 units of which 20,000 pixels are seen: the edge at 5 units lies within a pixel.
    Transform const toPixels = Transform::Translation(-9950.5, 0) * Transform::Scale(2000, 2000);
    Pixels const pixels = DrawAll(Patterned(RecordRectangle({0, 0, 5, 10}), 10, 10), toPixels);
    EXPECT_NEAR(pixels.Alpha(48, 50), 1, 1e-6);
    EXPECT_NEAR(pixels.Alpha(50, 50), 0, 1e-6);
}

TEST(Pattern, FarTooSmallTilesAreTheirMean) {
    for (double const size : {1e-3, 1e-9, 1e-200}) {
        Pixels const pixels = DrawAll(Patterned(RecordRectangle({0, 0, size / 2, size}), size, size));
        EXPECT_NEAR(pixels.Alpha(3, 4), 0.5, 0.01) << size;
        EXPECT_NEAR(pixels.Alpha(97, 60), 0.5, 0.01) << size;
    }
    // Thin, and longer than any picture.
    Pixels const strips = DrawAll(Patterned(RecordRectangle({0, 0, 1e7, 1e-4}), 1e7, 1e-3));
    EXPECT_NEAR(strips.Alpha(50, 50), 0.1, 0.07);
}

TEST(Pattern, SizesThatAreNoneAndEmptyDrawingsPaintNothing) {
    constexpr double c_infinity = std::numeric_limits<double>::infinity();
    for (double const size : {0.0, -1.0, c_infinity, std::nan("")}) {
        for (auto const& [width, height] : {std::pair{size, 5.0}, std::pair{5.0, size}})
            EXPECT_EQ(DrawAll(Patterned(RecordRectangle({0, 0, 5, 5}), width, height)).GetArea(), 0);
    }
    EXPECT_EQ(DrawAll(Patterned(Record([](RenderTarget&) {}), 5, 5)).GetArea(), 0);
    EXPECT_EQ(DrawAll(Patterned(nullptr, 5, 5)).GetArea(), 0);
    EXPECT_EQ(DrawAll(Patterned(RecordRectangle({0, 0, 5, 5}), 5, 5, Transform::Scale(0, 1))).GetArea(), 0);
}

TEST(Pattern, HoldsPatternsClipsMasksAndLayers) {
    auto const dots = Patterned(RecordRectangle({0, 0, 1, 2}), 2, 2);
    auto const drawing = Record([&](RenderTarget& target) {
        target.PushLayer({0.5, BlendMode::Normal, true});
        target.PushClip(Rectangle(0, 0, 10, 6), WindingOrderMode::NonZero);
        target.BeginMask(MaskKind::Alpha);
        target.DrawCurves(Rectangle(0, 0, 4, 10), Filled(Colour()), WindingOrderMode::NonZero);
        target.DrawCurves(Rectangle(6, 0, 8, 10), Filled(Colour()), WindingOrderMode::NonZero);
        target.EndMask();
        target.DrawCurves(Rectangle(0, 0, 10, 10), dots, WindingOrderMode::NonZero);
        target.PopClip();
        target.PopClip();
        target.PopLayer();
    });
    Pixels const pixels = DrawAll(Patterned(drawing, 10, 10));
    for (int y = 0; y != 100; ++y) {
        for (int x = 0; x != 100; ++x) {
            bool const isInside = y % 10 < 6 && (x % 10 < 4 || (x % 10 >= 6 && x % 10 < 8)) && x % 2 == 0;
            ASSERT_EQ(pixels.Alpha(x, y), isInside ? 0.5f : 0.0f) << x << ' ' << y;
        }
    }
}

TEST(Pattern, ChainsOfAnyLengthComeToAnEnd) {
    // More patterns within each other than are drawn, and than a stack could end one in another.
    auto drawing = RecordRectangle({0, 0, 1, 1});
    for (int i = 0; i != 200'000; ++i)
        drawing = Record([&](RenderTarget& target) {
            target.DrawCurves(Rectangle(0, 0, 9, 9), Patterned(drawing, 9, 9), WindingOrderMode::NonZero);
        });
    EXPECT_EQ(DrawAll(Patterned(drawing, 9, 9)).GetArea(), 0);
}

TEST(Pattern, ManyDifferentTilesTakeNoMoreThanTheirShare) {
    // Each of 100 outlines has a tile of a million samples of its own. The left half is painted, and the picture shows
    // the edge; drawn with 32 samples a tile, pixels beside it are neither clear nor opaque.
    auto const drawing = RecordRectangle({0, 0, 350, 700});
    auto const draw = [&](int count) {
        RasterRenderTarget target(Size(100, 100));
        for (int i = 0; i != count; ++i) {
            target.PushClip(i + 1 == count ? Rectangle(0, 0, 100, 100) : Rectangle(0, 0, 1, 1),
                            WindingOrderMode::NonZero);
            target.DrawCurves(Rectangle(0, 0, 100, 100),
                              Patterned(drawing, 700 + i * 0.01, 700, Transform::Translation(-300, 0)),
                              WindingOrderMode::NonZero);
            target.PopClip();
        }
        return Pixels(target).Alpha(46, 50);
    };
    EXPECT_EQ(draw(1), 1);
    EXPECT_LT(draw(100), 0.9f);
    EXPECT_GT(draw(100), 0.1f);
}

TEST(RecordedDrawing, StepsThatDoNotNestAreNone) {
    DrawingStep pop;
    pop.kind = DrawingStepKind::PopClip;
    EXPECT_TRUE(RecordedDrawing({pop}).GetSteps().empty());
    DrawingStep push;
    push.kind = DrawingStepKind::PushLayer;
    EXPECT_TRUE(RecordedDrawing({push}).GetSteps().empty());
    EXPECT_TRUE(RecordedDrawing({push, pop}).GetSteps().empty());
    DrawingStep begin;
    begin.kind = DrawingStepKind::BeginMask;
    DrawingStep end;
    end.kind = DrawingStepKind::EndMask;
    EXPECT_EQ(RecordedDrawing({begin, end, pop}).GetSteps().size(), 3u);
    EXPECT_TRUE(RecordedDrawing({begin, end}).GetSteps().empty());
}
