// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"
#include "platform/raster/dynamic_bitmap.h"
#include "platform/renderer/recorded_drawing.h"
#include "tests/engine/renderer/pictures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace {

using namespace Pictures;

// Some of everything, the same for the same seed.
void DrawScene(RasterRenderTarget& target, unsigned seed, double size) {
    std::mt19937 random(seed);
    auto const number = [&](double low, double high) { return low + (high - low) * (random() % 10007) / 10006.0; };
    auto const colour = [&] {
        return Colour::FromRGB(static_cast<float>(number(0, 1)), static_cast<float>(number(0, 1)),
                               static_cast<float>(number(0, 1)), static_cast<float>(number(0.2, 1)));
    };
    int open = 0;
    for (int i = 0; i != 60; ++i) {
        auto const shape = Path(Geometry::MakeStar({number(0, size), number(0, size)}, number(5, size / 2),
                                                   number(2, size / 4), 3 + random() % 9, number(0, 6)));
        Paint paint = Filled(colour());
        if (i % 4 == 0)
            paint.mainFill = FillDescriptorConst(MakeFill<EllipticalGradientFill>(
                PointDbl{number(0, size), number(0, size)}, number(1, size),
                std::vector<GradientStop>{{0, 1, colour()}, {1, 1, colour()}}, GradientSpread::Reflect));
        LineStyle style(number(0.2, 20));
        style.SetCap(static_cast<LineCap>(random() % 3));
        style.SetJoin(static_cast<LineJoin>(random() % 3));
        if (i % 3 == 0) {
            style.SetType(LineType::Dashed);
            style.SetDashPattern({number(0, 3), number(0.1, 3)});
        }
        paint.lineStyle = LineStyleDescriptorConst(Consolidate(style));
        paint.lineFill = FillDescriptorConst(colour());
        if (i % 5 == 0)
            paint.blendMode = static_cast<BlendMode>(random() % c_blendModeCount);
        if (i % 7 == 0) {
            LineStyleDescriptor line(paint.lineStyle);
            line.SetStrokeAlignment(static_cast<StrokeAlignment>(random() % 3));
            paint.lineStyle = line;
        }
        target.DrawCurves(shape, paint, static_cast<WindingOrderMode>(random() % 2));
        if (i % 11 == 3 && open == 0) {
            target.PushLayer({number(0.3, 1), static_cast<BlendMode>(random() % 16), random() % 2 == 0});
            target.PushClip(Path(Geometry::MakeEllipse({0, size / 4, size, size * 0.9})), WindingOrderMode::NonZero);
            open = 4;
        } else if (open != 0 && --open == 0) {
            target.PopClip();
            target.PopLayer();
        }
    }
    if (open != 0) {
        target.PopClip();
        target.PopLayer();
    }
}

class ThreadCount {
public:
    explicit ThreadCount(unsigned count) : m_before(Kernel::Dispatch::GetThreadCount()) {
        Kernel::Dispatch::SetThreadCount(count);
    }
    ~ThreadCount() { Kernel::Dispatch::SetThreadCount(m_before); }

private:
    unsigned m_before;
};

TEST(Picture, IsTheSameForEveryNumberOfThreads) {
    std::vector<unsigned char> first;
    for (unsigned const threads : {1u, 2u, 5u}) {
        ThreadCount const scope(threads);
        RasterRenderTarget target(Size(700, 900, Raster::FormatRGBA16));
        DrawScene(target, 1, 900);
        auto const bytes = GetBytes(*target.Render({0, 0, 700, 900}));
        if (first.empty())
            first = bytes;
        EXPECT_EQ(bytes, first) << threads;
    }
}

TEST(Picture, PartsAreCutFromTheWhole) {
    RasterRenderTarget target(Size(300, 300, Raster::FormatRGBAF));
    DrawScene(target, 2, 300);
    Pixels const whole(target);
    for (Kernel::RectT<int> const part :
         {Kernel::RectT<int>{0, 0, 1, 1}, {17, 33, 150, 34}, {100, 0, 101, 300}, {128, 128, 256, 256}}) {
        auto const buffer = target.Render(part);
        for (int c = 0; c != 4; ++c) {
            for (int y = part.top; y != part.bottom; ++y) {
                auto const* const row = static_cast<float const*>(std::as_const(*buffer).GetRow(c, y - part.top));
                for (int x = part.left; x != part.right; ++x)
                    ASSERT_EQ(row[x - part.left], whole.Get(c, x, y)) << c << ' ' << x << ' ' << y;
            }
        }
    }
}

TEST(Picture, RowsComeInOrderAndAreTheWhole) {
    RasterRenderTarget target(Size(2000, 1500, Raster::FormatRGBA8));
    DrawScene(target, 3, 1500);
    auto const whole = GetBytes(*target.Render({0, 0, 2000, 1500}));
    std::vector<unsigned char> rows;
    int next = 0, calls = 0;
    target.Render([&](Raster::BufferBase const& buffer, int first) {
        EXPECT_EQ(first, next);
        EXPECT_EQ(buffer.GetWidth(), 2000);
        next += buffer.GetHeight();
        auto const bytes = GetBytes(buffer);
        rows.insert(rows.end(), bytes.begin(), bytes.end());
        ++calls;
    });
    EXPECT_EQ(next, 1500);
    EXPECT_GT(calls, 1);
    EXPECT_EQ(rows, whole);
}

TEST(Picture, EightAndSixteenBitsAreTheFloatsRounded) {
    auto const draw = [](Raster::Format format) {
        auto const target = MakeCounted<RasterRenderTarget>(Size(100, 100, format));
        DrawScene(*target, 4, 100);
        return target->Render({0, 0, 100, 100});
    };
    auto const exact = draw(Raster::FormatRGBAF), wide = draw(Raster::FormatRGBA16), narrow = draw(Raster::FormatRGBA8);
    for (int c = 0; c != 4; ++c) {
        for (int y = 0; y != 100; ++y) {
            for (int x = 0; x != 100; ++x) {
                double const v = std::clamp(exact->GetPixel(x, y).GetSample(c), 0.0, 1.0);
                ASSERT_NEAR(wide->GetPixel(x, y).GetSample(c), v * 65535, 0.51);
                ASSERT_NEAR(narrow->GetPixel(x, y).GetSample(c), v * 255, 0.51);
            }
        }
    }
}

TEST(Picture, EveryFormatShowsAColourAsItself) {
    struct Case {
        Raster::Format format;
        Colour colour;
        std::vector<double> samples;
    };
    for (Case const& c :
         {Case{Raster::FormatRGBA8, Colour::FromRGB(0.2f, 0.4f, 0.6f), {51, 102, 153, 255}},
          Case{Raster::FormatRGBA16, Colour::FromRGB(0.2f, 0.4f, 0.6f), {13107, 26214, 39321, 65535}},
          Case{Raster::FormatIA8, Colour::FromGrey(0.8f), {204, 255}},
          Case{Raster::FormatIA16, Colour::FromRGB(1, 0, 0), {19595, 65535}},
          Case{Raster::FormatCMYKA8, Colour::FromCMYK(0.2f, 0.4f, 0.6f, 0.8f), {51, 102, 153, 204, 255}},
          Case{Raster::FormatCMYKA8, Colour::FromRGB(0, 0, 0), {0, 0, 0, 255, 255}},
          Case{Raster::FormatLABA16, Colour::FromLab(50, 0, 0), {32768, 32896, 32896, 65535}},
          Case{Raster::FormatA8, Colour::FromRGB(1, 0, 0, 0.2f), {51}},
          Case{Raster::FormatRGBA8, Colour::FromCMYK(0, 1, 1, 0), {255, 0, 0, 255}}}) {
        RasterRenderTarget target(Size(3, 3, c.format));
        target.DrawCurves(Rectangle(0, 0, 3, 3), Filled(c.colour), WindingOrderMode::NonZero);
        auto const buffer = target.Render({0, 0, 3, 3});
        for (std::size_t i = 0; i != c.samples.size(); ++i)
            EXPECT_NEAR(buffer->GetPixel(1, 1).GetSample(static_cast<int>(i)), c.samples[i], 0.5)
                << Raster::GetFormatName(c.format) << " channel " << i;
        EXPECT_EQ(static_cast<int>(c.samples.size()), buffer->GetInfo().channelCount);
    }
}

TEST(Picture, ProfilesOfDocumentAndTargetAreConvertedBetween) {
    // Equal profiles on both sides leave colours alone; without a profile of its own ink follows the plain rules.
    RasterRenderTarget target(Size(1, 1, Raster::FormatRGBA16));
    target.SetColourFormatAndProfiles(Raster::FormatCMYKA8, Raster::ICCProfileSet());
    target.DrawCurves(Rectangle(0, 0, 1, 1), Filled(Colour::FromCMYK(0.5f, 0, 0, 0.5f)), WindingOrderMode::NonZero);
    auto const pixel = target.Render({0, 0, 1, 1})->GetPixel(0, 0);
    EXPECT_NEAR(pixel.GetSample(0), 65535 * 0.25, 1);
    EXPECT_NEAR(pixel.GetSample(1), 65535 * 0.5, 1);
}

TEST(Picture, BackgroundLiesBelowEverything) {
    auto options = Size(2, 1);
    options.background = Colour::FromRGB(0, 0, 1, 0.5f);
    RasterRenderTarget target(options);
    target.DrawCurves(Rectangle(0, 0, 1, 1), Filled(Colour::FromRGB(1, 0, 0, 0.5f)), WindingOrderMode::NonZero);
    Pixels const pixels(target);
    EXPECT_EQ(pixels.Get(1, 0), (std::array<float, 4>{0, 0, 1, 0.5f}));
    EXPECT_EQ(pixels.Alpha(0, 0), 0.75f);
    EXPECT_NEAR(pixels.Get(0, 0, 0), 0.5 / 0.75, 1e-6);
}

TEST(Picture, LinearBlendingMixesLight) {
    auto options = Size(1, 1);
    options.blendSpace = BlendSpace::Linear;
    options.background = Colour::FromRGB(0, 0, 0);
    RasterRenderTarget target(options);
    target.DrawCurves(Rectangle(0, 0, 1, 1), Filled(Colour::FromRGB(1, 1, 1, 0.5f)), WindingOrderMode::NonZero);
    // Half the light of white.
    EXPECT_NEAR(Pixels(target).Get(0, 0, 0), 0.735357, 1e-5);
    RasterRenderTarget same(options);
    same.DrawCurves(Rectangle(0, 0, 1, 1), Filled(Colour::FromRGB(0.3f, 0.6f, 0.9f)), WindingOrderMode::NonZero);
    EXPECT_NEAR(Pixels(same).Get(1, 0, 0), 0.6, 1e-6);
}

TEST(Clip, NestedClipsMultiplyTheirCoverages) {
    RasterRenderTarget target(Size(20, 20));
    target.PushClipRectangle({2.25, 2, 12, 12});
    target.PushClipRectangle({0, 4.5, 10.5, 20});
    target.DrawCurves(Rectangle(0, 0, 20, 20), Filled(Colour()), WindingOrderMode::NonZero);
    target.PopClip();
    target.PopClip();
    target.DrawCurves(Rectangle(15, 15, 16, 16), Filled(Colour()), WindingOrderMode::NonZero);
    Pixels const pixels(target);
    EXPECT_FLOAT_EQ(pixels.Alpha(2, 4), 0.75f * 0.5f);
    EXPECT_FLOAT_EQ(pixels.Alpha(10, 8), 0.5f);
    EXPECT_EQ(pixels.Alpha(5, 5), 1);
    EXPECT_NEAR(pixels.GetArea(), 8.25 * 7.5 + 1, 1e-4);
}

TEST(Clip, CutsToItsOutlineUnderItsWindingRule) {
    RasterRenderTarget target(Size(20, 20));
    auto const outline = Rectangle(2, 2, 18, 18);
    outline->AddCurve(Geometry::MakeRectangle({6, 6, 14, 14}));
    target.PushClip(outline, WindingOrderMode::Alternating);
    target.DrawCurves(Rectangle(0, 0, 20, 20), Filled(Colour()), WindingOrderMode::NonZero);
    target.PopClip();
    EXPECT_NEAR(Pixels(target).GetArea(), 256 - 64, 1e-4);
}

TEST(Clip, NothingShowsInAnEmptyOne) {
    for (auto const& clip : {Counted<PolyCurveDbl>(), MakeCounted<PolyCurveDbl>(), Rectangle(5, 5, 5, 9),
                             Rectangle(NAN, 0, 9, 9), Rectangle(30, 30, 40, 40)}) {
        RasterRenderTarget target(Size(20, 20));
        target.PushClip(clip, WindingOrderMode::NonZero);
        target.PushLayer({});
        target.DrawCurves(Rectangle(0, 0, 20, 20), Filled(Colour()), WindingOrderMode::NonZero);
        target.PopLayer();
        target.PopClip();
        EXPECT_EQ(Pixels(target).GetArea(), 0);
    }
}

TEST(Mask, AlphaAndLuminanceLetThrough) {
    for (auto const kind : {MaskKind::Alpha, MaskKind::Luminance}) {
        RasterRenderTarget target(Size(30, 10));
        target.BeginMask(kind);
        target.DrawCurves(Rectangle(0, 0, 10, 10), Filled(Colour::FromGrey(1, 0.5f)), WindingOrderMode::NonZero);
        target.DrawCurves(Rectangle(10, 0, 20, 10), Filled(Colour::FromRGB(0, 1, 0)), WindingOrderMode::NonZero);
        target.EndMask();
        target.DrawCurves(Rectangle(0, 0, 30, 10), Filled(Colour::FromRGB(1, 0, 0)), WindingOrderMode::NonZero);
        target.PopClip();
        Pixels const pixels(target);
        EXPECT_FLOAT_EQ(pixels.Alpha(5, 5), 0.5f);
        EXPECT_FLOAT_EQ(pixels.Alpha(15, 5), kind == MaskKind::Alpha ? 1 : 0.7152f);
        EXPECT_EQ(pixels.Alpha(25, 5), 0);
        EXPECT_EQ(pixels.Get(0, 15, 5), 1);
    }
}

TEST(Layer, OpacityHoldsForTheGroupAsOne) {
    RasterRenderTarget target(Size(30, 10));
    target.PushLayer({0.5, BlendMode::Normal, true});
    target.DrawCurves(Rectangle(0, 0, 20, 10), Filled(Colour::FromRGB(1, 0, 0)), WindingOrderMode::NonZero);
    target.DrawCurves(Rectangle(10, 0, 30, 10), Filled(Colour::FromRGB(0, 1, 0)), WindingOrderMode::NonZero);
    target.PopLayer();
    Pixels const pixels(target);
    EXPECT_EQ(pixels.Get(5, 5), (std::array<float, 4>{1, 0, 0, 0.5f}));
    EXPECT_EQ(pixels.Get(15, 5), (std::array<float, 4>{0, 1, 0, 0.5f}));
}

TEST(Layer, IsolationDecidesWhatBlendModesSee) {
    auto const draw = [](bool isolated, double opacity) {
        auto options = Size(1, 1);
        options.background = Colour::FromRGB(0.5f, 0.5f, 0.5f);
        RasterRenderTarget target(options);
        target.PushLayer({opacity, BlendMode::Normal, isolated});
        Paint paint = Filled(Colour::FromRGB(0.5f, 1, 0));
        paint.blendMode = BlendMode::Multiply;
        target.DrawCurves(Rectangle(0, 0, 1, 1), paint, WindingOrderMode::NonZero);
        target.PopLayer();
        return Pixels(target).Get(0, 0, 0);
    };
    EXPECT_FLOAT_EQ(draw(true, 1), 0.5f);
    EXPECT_FLOAT_EQ(draw(false, 1), 0.25f);
    EXPECT_FLOAT_EQ(draw(false, 0.5), 0.375f);
}

TEST(Layer, BlendModeOfAnObjectTakesFillAndLineTogether) {
    auto options = Size(20, 20);
    options.background = Colour::FromRGB(0.5f, 0.5f, 0.5f);
    RasterRenderTarget target(options);
    Paint paint = Filled(Colour::FromRGB(0.5f, 0.5f, 0.5f));
    paint.lineFill = FillDescriptorConst(Colour::FromRGB(1, 1, 1));
    paint.lineStyle = LineStyleDescriptorConst(Consolidate(LineStyle(4)));
    paint.blendMode = BlendMode::Multiply;
    target.DrawCurves(Rectangle(5, 5, 15, 15), paint, WindingOrderMode::NonZero);
    Pixels const pixels(target);
    EXPECT_FLOAT_EQ(pixels.Get(0, 10, 10), 0.25f);
    // The white line covers the fill below it before the two meet the background.
    EXPECT_FLOAT_EQ(pixels.Get(0, 6, 10), 0.5f);
}

TEST(Layer, ClipsInsideEndWithTheirLayer) {
    RasterRenderTarget target(Size(10, 10));
    target.PushLayer({0.5, BlendMode::Normal, true});
    target.PushClipRectangle({0.5, 0, 5, 10});
    target.DrawCurves(Rectangle(0, 0, 10, 10), Filled(Colour()), WindingOrderMode::NonZero);
    // Still open: what has been drawn shows all the same.
    EXPECT_NEAR(Pixels(target).GetArea(), 22.5, 1e-4);
    target.PopClip();
    target.PopLayer();
    EXPECT_NEAR(Pixels(target).GetArea(), 22.5, 1e-4);
}

TEST(Target, SecondFillMultipliesAlpha) {
    RasterRenderTarget target(Size(10, 1));
    Paint paint = Filled(Colour::FromRGB(1, 0, 0));
    paint.secondFill = FillDescriptorConst(MakeFill<LinearGradientFill>(
        PointDbl{0, 0}, PointDbl{10, 0}, std::vector<GradientStop>{{0, 0, Colour()}, {1, 1, Colour()}}));
    target.DrawCurves(Rectangle(0, 0, 10, 1), paint, WindingOrderMode::NonZero);
    Pixels const pixels(target);
    for (int x = 0; x != 10; ++x) {
        EXPECT_NEAR(pixels.Alpha(x, 0), (x + 0.5) / 10, 1e-6);
        EXPECT_NEAR(pixels.Get(0, x, 0), 1, 1e-6);
    }
}

TEST(Target, WithoutSmoothEdgesPixelsAreAllOrNothing) {
    RasterRenderTarget target(Size(50, 50));
    Paint paint = Filled(Colour());
    paint.blendOptions.antialias = false;
    target.DrawCurves(Path(Geometry::MakeEllipse({5, 5, 45, 45})), paint, WindingOrderMode::NonZero);
    Pixels const pixels(target);
    for (int y = 0; y != 50; ++y) {
        for (int x = 0; x != 50; ++x)
            EXPECT_TRUE(pixels.Alpha(x, y) == 0 || pixels.Alpha(x, y) == 1);
    }
    EXPECT_NEAR(pixels.GetArea(), M_PI * 400, 15);
}

TEST(Target, OrderOfFillAndLineFollowsTheFlag) {
    Paint paint = Filled(Colour::FromRGB(1, 0, 0));
    paint.lineFill = FillDescriptorConst(Colour::FromRGB(0, 0, 1));
    LineStyleDescriptor line(Consolidate(LineStyle(4)));
    for (bool const behind : {false, true}) {
        line.SetDrawBehindFill(behind);
        paint.lineStyle = line;
        RasterRenderTarget target(Size(20, 20));
        target.DrawCurves(Rectangle(5, 5, 15, 15), paint, WindingOrderMode::NonZero);
        EXPECT_EQ(Pixels(target).Get(0, 6, 10), behind ? 1 : 0);
        EXPECT_EQ(Pixels(target).Get(2, 4, 10), 1);
    }
}

TEST(Target, PopsWithoutTheirPushAreRefused) {
    RasterRenderTarget target(Size(10, 10));
    EXPECT_THROW(target.PopTransform(), Kernel::Exception);
    EXPECT_THROW(target.PopClip(), Kernel::Exception);
    EXPECT_THROW(target.PopLayer(), Kernel::Exception);
    EXPECT_THROW(target.EndMask(), Kernel::Exception);
    target.PushLayer({});
    EXPECT_THROW(target.PopClip(), Kernel::Exception);
    target.PopLayer();
}

TEST(Target, ImpossiblePicturesAreRefused) {
    EXPECT_THROW(RasterRenderTarget(Size(0, 10)), Kernel::Exception);
    EXPECT_THROW(RasterRenderTarget(Size(10, 1 << 21)), Kernel::Exception);
    EXPECT_THROW(RasterRenderTarget(Size(10, 10, Raster::FormatNone)), Kernel::Exception);
    RasterRenderTarget const target(Size(10, 10));
    EXPECT_THROW(target.Render({0, 0, 11, 10}), Kernel::Exception);
    EXPECT_THROW(target.Render({5, 5, 5, 6}), Kernel::Exception);
}

TEST(Target, StopsWhenItIsTold) {
    bool abort = false;
    auto options = Size(100, 100);
    options.abort = &abort;
    RasterRenderTarget target(options);
    DrawScene(target, 5, 100);
    EXPECT_NO_THROW(target.Render({0, 0, 100, 100}));
    abort = true;
    EXPECT_THROW(target.Render({0, 0, 100, 100}), Kernel::AbortException);
}

TEST(Target, HostileNumbersNeitherCrashNorHang) {
    double const infinity = std::numeric_limits<double>::infinity(), largest = std::numeric_limits<double>::max();
    std::vector<double> const values{0,    -0.0, 1,     -1,      1e-300,   1e-9,     1e9,         -1e9,
                                     1e18, 1e40, 1e300, largest, -largest, infinity, std::nan("")};
    std::mt19937 random(7);
    auto const any = [&] { return random() % 3 == 0 ? values[random() % values.size()] : (random() % 1000) / 10.0; };
    auto const point = [&] { return PointDbl{any(), any()}; };
    RasterRenderTarget target(Size(60, 60, Raster::FormatRGBA8));
    for (int i = 0; i != 1500; ++i) {
        auto const curve = MakeCounted<Geometry::CurveDbl>();
        curve->MoveTo(point());
        for (std::size_t k = random() % 6; k != 0; --k) {
            if (random() % 2 == 0)
                curve->LineTo(point());
            else
                curve->CubicTo(point(), point(), point());
        }
        if (random() % 2 == 0)
            curve->Close();
        Paint paint = Filled(Colour::FromRGB(static_cast<float>(any()), 0, 1, static_cast<float>(any())));
        std::vector<GradientStop> const stops{{any(), any(), Colour()}, {any(), any(), Colour::FromGrey(1)}};
        Raster::AffineTransform::Params const transform{any(), any(), any(), any(), any(), any()};
        if (i % 3 == 1)
            paint.mainFill =
                FillDescriptorConst(MakeFill<LinearGradientFill>(point(), point(), stops), true, transform);
        if (i % 4 == 3) {
            DrawingStep step;
            step.curves = Path(curve);
            step.fill = MakeCounted<FillDescriptor const>(Colour());
            step.transform = {any(), any(), any(), any(), any(), any()};
            paint.mainFill =
                FillDescriptorConst(MakeFill<PatternFill>(MakeCounted<RecordedDrawing const>(std::vector{step}),
                                                          Kernel::SizeT<double>{any(), any()}, any()),
                                    true, transform);
        } else if (i % 3 == 2)
            paint.mainFill = FillDescriptorConst(
                MakeFill<EllipticalGradientFill>(point(), point(), point(), point(), any(), stops), true, transform);
        LineStyle style(any());
        style.SetMitreLimit(any());
        style.SetCap(static_cast<LineCap>(random() % 3));
        style.SetJoin(static_cast<LineJoin>(random() % 3));
        if (random() % 2 == 0) {
            style.SetType(LineType::Dashed);
            style.SetDashPattern({any(), any(), any()});
            style.SetDashPhase(any());
        }
        LineStyleDescriptor line(Consolidate(style));
        line.SetStrokeAlignment(static_cast<StrokeAlignment>(random() % 3));
        line.SetScaleWithObject(random() % 2 == 0);
        if (random() % 4 == 0)
            line.SetPressure(curve);
        paint.lineStyle = line;
        paint.lineFill = FillDescriptorConst(Colour::FromRGB(0, 1, 0));
        paint.opacity = {any(), any()};
        bool const moved = random() % 4 == 0;
        if (moved)
            target.PushTransform(Transform({any(), any(), any(), any(), any(), any()}));
        if (i % 50 == 49) {
            target.PushClip(Path(curve), WindingOrderMode::NonZero);
            target.PushLayer({any(), BlendMode::SoftLight, false});
        }
        target.DrawCurves(Path(curve), paint, WindingOrderMode::NonZero);
        if (i % 50 == 49) {
            target.PopLayer();
            target.PopClip();
        }
        if (moved)
            target.PopTransform();
    }
    EXPECT_NO_THROW(target.Render({0, 0, 60, 60}));
}

TEST(Target, APathOfAMillionSegmentsIsDrawn) {
    auto const curve = MakeCounted<Geometry::CurveDbl>();
    curve->MoveTo({10, 10});
    for (int i = 1; i <= 1'000'000; ++i)
        curve->LineTo({10 + 0.00018 * i, 10 + (i % 2) * 20.0});
    RasterRenderTarget target(Size(200, 40));
    target.DrawCurves(Path(curve), Lined(LineStyle(0.01)), WindingOrderMode::NonZero);
    Pixels const pixels(target);
    EXPECT_GT(pixels.Alpha(100, 20), 0.99f);
    EXPECT_EQ(pixels.Alpha(195, 20), 0);
}

TEST(Target, FractionalRectanglesAreExactInSixteenBits) {
    RasterRenderTarget target(Size(4, 4, Raster::FormatRGBA16));
    target.DrawCurves(Rectangle(0.3, 0.6, 2.9, 3.1), Filled(Colour()), WindingOrderMode::NonZero);
    auto const buffer = target.Render({0, 0, 4, 4});
    double const across[4] = {0.7, 1, 0.9, 0}, down[4] = {0.4, 1, 1, 0.1};
    for (int y = 0; y != 4; ++y) {
        for (int x = 0; x != 4; ++x)
            EXPECT_NEAR(buffer->GetPixel(x, y).GetSample(3), 65535 * across[x] * down[y], 1.5);
    }
}

} // namespace
