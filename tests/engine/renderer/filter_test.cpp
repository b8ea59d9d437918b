// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"
#include "platform/renderer/recorded_drawing.h"
#include "tests/engine/renderer/pictures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using namespace Pictures;

FilterPrimitive Primitive(FilterPrimitiveKind kind, std::vector<Kernel::String> inputs = {},
                          Kernel::String result = {}) {
    FilterPrimitive p;
    p.kind = kind;
    p.inputs = std::move(inputs);
    p.result = std::move(result);
    p.isLinear = false;
    return p;
}

FilterPrimitive Blur(double x, double y) {
    auto p = Primitive(FilterPrimitiveKind::GaussianBlur);
    p.deviationX = x;
    p.deviationY = y;
    return p;
}

FilterPrimitive Offset(double x, double y) {
    auto p = Primitive(FilterPrimitiveKind::Offset);
    p.offsetX = x;
    p.offsetY = y;
    return p;
}

FilterPrimitive Flood(Colour const& colour) {
    auto p = Primitive(FilterPrimitiveKind::Flood);
    p.colour = colour;
    return p;
}

FilterPrimitive Composite(CompositeOperator op, Kernel::String first, Kernel::String second) {
    auto p = Primitive(FilterPrimitiveKind::Composite, {first, second});
    p.compositeOperator = op;
    return p;
}

FilterSettings Settings(std::vector<FilterPrimitive> primitives, RectDbl const& region = {0, 0, 200, 200}) {
    FilterSettings settings;
    settings.isRegionOfBox = false;
    settings.left = region.left;
    settings.top = region.top;
    settings.width = region.GetWidth();
    settings.height = region.GetHeight();
    settings.primitives = std::move(primitives);
    return settings;
}

Counted<Filter const> Make(std::vector<FilterPrimitive> primitives, RectDbl const& region = {0, 0, 200, 200}) {
    return MakeCounted<Filter const>(Settings(std::move(primitives), region));
}

void DrawFiltered(RenderTarget& target, Counted<Filter const> const& filter, Counted<PolyCurveDbl> const& shape,
                  Colour const& colour = Colour::FromRGB(0.8f, 0.4f, 0.2f)) {
    target.PushFilter(filter);
    target.DrawCurves(shape, Filled(colour), WindingOrderMode::NonZero);
    target.PopFilter();
}

Pixels Draw(Counted<Filter const> const& filter, Counted<PolyCurveDbl> const& shape = Rectangle(60, 70, 100, 120),
            Raster::Format format = Raster::FormatRGBAF, Transform const& transform = {}) {
    auto options = Size(200, 200, format);
    options.documentToPixels = transform;
    RasterRenderTarget target(options);
    DrawFiltered(target, filter, shape);
    return Pixels(target);
}

// The share of a unit step that a Gaussian has let through at a distance.
double Step(double distance, double deviation) { return 0.5 * (1 + std::erf(distance / (deviation * std::sqrt(2.0)))); }

} // namespace

TEST(Filter, BlurIsAGaussian) {
    for (double const deviation : {0.5, 1.0, 1.9, 3.0, 8.0}) {
        auto const pixels = Draw(Make({Blur(deviation, 0)}));
        for (int x = 30; x != 80; ++x)
            EXPECT_NEAR(static_cast<double>(pixels.Alpha(x, 95)), Step(x + 0.5 - 60, deviation), 0.03) << deviation;
        // Colours go with their alpha.
        EXPECT_NEAR(pixels.Get(0, 59, 95), 0.8f, 1e-5f);
        EXPECT_NEAR(pixels.GetArea(), 40 * 50, 0.01);
    }
}

TEST(Filter, BlurGoesAlongBothAxesByItself) {
    auto const across = Draw(Make({Blur(5, 0)})), down = Draw(Make({Blur(0, 5)}));
    EXPECT_EQ(across.Alpha(80, 69), 0);
    EXPECT_NEAR(across.Alpha(59, 95), 0.46f, 0.02f);
    EXPECT_EQ(down.Alpha(59, 95), 0);
    EXPECT_NEAR(down.Alpha(80, 69), 0.46f, 0.02f);
}

TEST(Filter, PixelsAreThoseOfAnyPartOfThePicture) {
    auto shadow = Blur(13, 4);
    shadow.kind = FilterPrimitiveKind::DropShadow;
    shadow.offsetX = 7.3;
    shadow.offsetY = -2.6;
    shadow.colour = Colour::FromRGB(0, 0, 1, 0.7f);
    auto const draw = [&](RasterRenderTarget& target, Transform const& turn) {
        target.PushTransform(turn);
        DrawFiltered(target, Make({Blur(1.3, 2.7), shadow}, {0, 0, 3000, 200}), Rectangle(40, 60, 2600, 120.5));
        target.PopTransform();
    };
    for (Transform const& turn : {Transform(), Transform::Scale(0.5, -1.5) * Transform::Translation(3, -100.3),
                                  Transform::Rotation(0.3), Transform({0, 1, 0, 1, 0, 0})}) {
        RasterRenderTarget target(Size(1500, 200));
        draw(target, turn);
        auto const whole = target.Render({0, 0, 1500, 200});
        for (Kernel::RectT<int> const& part :
             {Kernel::RectT<int>{0, 0, 7, 200}, Kernel::RectT<int>{1020, 31, 1031, 150},
              Kernel::RectT<int>{700, 0, 1500, 1}}) {
            auto const tile = target.Render(part);
            for (int channel = 0; channel != 4; ++channel)
                for (int y = part.top; y != part.bottom; ++y)
                    for (int x = part.left; x != part.right; ++x)
                        ASSERT_EQ(static_cast<float const*>(
                                      std::as_const(*tile).GetRow(channel, y - part.top))[x - part.left],
                                  static_cast<float const*>(std::as_const(*whole).GetRow(channel, y))[x]);
        }
        Kernel::Dispatch::SetThreadCount(1);
        EXPECT_EQ(GetBytes(*target.Render({0, 0, 1500, 200})), GetBytes(*whole));
        Kernel::Dispatch::SetThreadCount(4);
        EXPECT_EQ(GetBytes(*target.Render({0, 0, 1500, 200})), GetBytes(*whole));
        Kernel::Dispatch::SetThreadCount(Kernel::Dispatch::GetNumberOfRealCPUs());
    }
}

TEST(Filter, OffsetMovesByPartsOfAPixel) {
    auto const whole = Draw(Make({Offset(10, -5)}));
    EXPECT_EQ(whole.Alpha(69, 80), 0);
    EXPECT_EQ(whole.Alpha(70, 80), 1);
    EXPECT_EQ(whole.Alpha(80, 64), 0);
    EXPECT_EQ(whole.Alpha(80, 65), 1);
    auto const part = Draw(Make({Offset(0.25, 0)}));
    EXPECT_FLOAT_EQ(part.Alpha(60, 80), 0.75f);
    EXPECT_FLOAT_EQ(part.Alpha(100, 80), 0.25f);
    // Turned by a quarter, to the right becomes downwards.
    auto const turned =
        Draw(Make({Offset(10, 0)}), Rectangle(60, -100, 100, -70), Raster::FormatRGBAF, Transform({0, -1, 0, 1, 0, 0}));
    EXPECT_EQ(turned.Alpha(80, 69), 0);
}

TEST(Filter, FloodFillsItsSubregion) {
    auto flood = Flood(Colour::FromRGB(0, 1, 0, 0.5f));
    flood.left = 20;
    flood.width = 30;
    flood.givenSides = 5;
    auto const pixels = Draw(Make({flood}, {10, 10, 150, 160}));
    EXPECT_EQ(pixels.Get(20, 10), (std::array<float, 4>{0, 1, 0, 0.5f}));
    EXPECT_EQ(pixels.GetArea(), 0.5 * 30 * 150);
}

TEST(Filter, CompositeFollowsPorterAndDuff) {
    auto flood = Flood(Colour::FromRGB(0, 0, 1, 0.5f));
    flood.result = "blue";
    flood.left = 80;
    flood.width = 100;
    flood.givenSides = 5;
    struct Expected {
        CompositeOperator op;
        // Of the source alone, of both, of the flood alone.
        float source, both, flood;
    };
    for (Expected const& e :
         {Expected{CompositeOperator::Over, 1, 1, 0.5f}, Expected{CompositeOperator::In, 0, 0.5f, 0},
          Expected{CompositeOperator::Out, 1, 0.5f, 0}, Expected{CompositeOperator::Atop, 0, 0.5f, 0.5f},
          Expected{CompositeOperator::Xor, 1, 0.5f, 0.5f}, Expected{CompositeOperator::Lighter, 1, 1, 0.5f}}) {
        auto const pixels = Draw(Make({flood, Composite(e.op, "SourceGraphic", "blue")}));
        EXPECT_FLOAT_EQ(pixels.Alpha(70, 90), e.source) << static_cast<int>(e.op);
        EXPECT_FLOAT_EQ(pixels.Alpha(90, 90), e.both) << static_cast<int>(e.op);
        EXPECT_FLOAT_EQ(pixels.Alpha(150, 90), e.flood) << static_cast<int>(e.op);
    }
    auto arithmetic = Composite(CompositeOperator::Arithmetic, "SourceGraphic", "blue");
    arithmetic.numbers = {0.5, 0.25, 0.5, 0.125};
    auto const pixels = Draw(Make({flood, arithmetic}));
    EXPECT_FLOAT_EQ(pixels.Alpha(70, 90), 0.375f);
    EXPECT_FLOAT_EQ(pixels.Alpha(90, 90), 0.5f * 0.5f + 0.25f + 0.25f + 0.125f);
    EXPECT_FLOAT_EQ(pixels.Alpha(150, 90), 0.375f);
    // The constant paints where nothing was.
    EXPECT_FLOAT_EQ(pixels.Alpha(10, 10), 0.125f);
}

TEST(Filter, MergeAndBlendLayTheLaterOverTheEarlier) {
    auto flood = Flood(Colour::FromRGB(0, 1, 1));
    flood.result = "cyan";
    auto const merged =
        Draw(Make({flood, Primitive(FilterPrimitiveKind::Merge, {"cyan", "SourceGraphic", "SourceAlpha"})}));
    EXPECT_EQ(merged.Get(80, 90), (std::array<float, 4>{0, 0, 0, 1}));
    EXPECT_EQ(merged.Get(10, 10), (std::array<float, 4>{0, 1, 1, 1}));
    auto multiply = Primitive(FilterPrimitiveKind::Blend, {"SourceGraphic", "cyan"});
    multiply.blendMode = BlendMode::Multiply;
    auto const blended = Draw(Make({flood, multiply}));
    EXPECT_NEAR(blended.Get(0, 80, 90), 0, 1e-6f);
    EXPECT_NEAR(blended.Get(1, 80, 90), 0.4f, 1e-6f);
}

TEST(Filter, ColourMatrixAndTransferMapColours) {
    auto matrix = Primitive(FilterPrimitiveKind::ColourMatrix);
    matrix.numbers = {0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0.1, 0, 0, 0, 0.5, 0};
    auto const mapped = Draw(Make({matrix}));
    EXPECT_NEAR(mapped.Get(0, 80, 90), 0.2f, 1e-6f);
    EXPECT_NEAR(mapped.Get(1, 80, 90), 0.8f, 1e-6f);
    EXPECT_NEAR(mapped.Get(2, 80, 90), 0.5f, 1e-6f);
    EXPECT_NEAR(mapped.Alpha(80, 90), 0.5f, 1e-6f);
    auto transfer = Primitive(FilterPrimitiveKind::ComponentTransfer);
    transfer.transfers = {{TransferKind::Table, {1, 0, 0.5}},
                          {TransferKind::Discrete, {0.1, 0.9, 0.3}},
                          {TransferKind::Gamma, {2, 2, 0.1}},
                          {TransferKind::Linear, {0.5, 0.25}}};
    auto const transferred = Draw(Make({transfer}));
    EXPECT_NEAR(transferred.Get(0, 80, 90), 0.3f, 1e-5f);
    EXPECT_NEAR(transferred.Get(1, 80, 90), 0.9f, 1e-5f);
    EXPECT_NEAR(transferred.Get(2, 80, 90), 0.18f, 1e-5f);
    EXPECT_NEAR(transferred.Alpha(80, 90), 0.75f, 1e-6f);
    EXPECT_NEAR(transferred.Alpha(10, 10), 0.25f, 1e-6f);
}

TEST(Filter, LinearPrimitivesMixLight) {
    auto blend = Composite(CompositeOperator::Arithmetic, "SourceGraphic", "white");
    blend.numbers = {0, 0.5, 0.5, 0};
    auto flood = Flood(Colour::FromRGB(1, 1, 1));
    flood.result = "white";
    auto const encoded = Draw(Make({flood, blend}));
    EXPECT_NEAR(encoded.Get(2, 80, 90), 0.6f, 1e-5f);
    blend.isLinear = flood.isLinear = true;
    auto const light = Draw(Make({flood, blend}));
    EXPECT_NEAR(static_cast<double>(light.Get(2, 80, 90)), Colour::FromLinear((1 + Colour::ToLinear(0.2)) / 2), 1e-5);
}

TEST(Filter, IsDrawnInEveryPixelFormat) {
    auto shadow = Blur(4, 4);
    shadow.kind = FilterPrimitiveKind::DropShadow;
    shadow.offsetX = 20;
    shadow.colour = Colour::FromRGB(0, 0, 0, 0.5f);
    auto matrix = Primitive(FilterPrimitiveKind::ColourMatrix);
    matrix.numbers = {1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0};
    auto const reference = Draw(Make({shadow, matrix}));
    for (int number = 0; number != 32; ++number) {
        auto const format = static_cast<Raster::Format>(number);
        if (!Raster::IsHandledFormat(format))
            continue;
        RasterRenderTarget target(Size(200, 200, format));
        DrawFiltered(target, Make({shadow, matrix}), Rectangle(60, 70, 100, 120));
        auto const buffer = target.Render({0, 0, 200, 200});
        auto const& info = buffer->GetInfo();
        auto const alpha = [&](int x, int y) {
            void const* const row = std::as_const(*buffer).GetRow(info.channelCount - 1, y);
            if (info.isFloat)
                return static_cast<double>(static_cast<float const*>(row)[x]);
            return info.sampleBytes == 1 ? static_cast<std::uint8_t const*>(row)[x] / 255.0
                                         : static_cast<std::uint16_t const*>(row)[x] / 65535.0;
        };
        for (int x = 30; x != 150; x += 3)
            EXPECT_NEAR(alpha(x, 95), static_cast<double>(reference.Alpha(x, 95)), 0.003) << "format " << number;
    }
}

TEST(Filter, OddValuesHaveDefinedResults) {
    double const nan = std::numeric_limits<double>::quiet_NaN(), infinity = std::numeric_limits<double>::infinity();
    auto const plain = GetBytes(Draw(nullptr).GetBuffer());
    for (double const value : {nan, infinity, -3.0})
        EXPECT_EQ(GetBytes(Draw(Make({Blur(value, value)})).GetBuffer()), plain);
    EXPECT_EQ(GetBytes(Draw(Make({Blur(0, 0)})).GetBuffer()), plain);
    for (RectDbl const& region : {RectDbl{0, 0, nan, 1}, RectDbl{-infinity, 0, infinity, 100}, RectDbl{9, 9, 9, 99}})
        EXPECT_EQ(Draw(Make({Offset(0, 0)}, region)).GetArea(), 0);
    EXPECT_EQ(Draw(Make({})).GetArea(), 0);
    // A reach that no picture has.
    for (double const far : {1e6, 1e30, 1e300}) {
        EXPECT_EQ(Draw(Make({Offset(far, far)})).GetArea(), 0);
        EXPECT_LT(Draw(Make({Blur(far, far)})).GetArea(), 2000);
    }
    EXPECT_EQ(Draw(Make({Flood(Colour())}, {-1e6, -1e6, 1e6, 1e6})).GetArea(), 200 * 200);
    EXPECT_EQ(Draw(Make({Flood(Colour())}, {-1e300, -1e300, 1e300, 1e300})).GetArea(), 200 * 200);
    for (Transform const& odd : {Transform::Scale(0, 1), Transform::Scale(1e-200, 1e-200), Transform::Scale(nan, 1),
                                 Transform({1, 1e200, 0, 1e-200, 1, 0})})
        EXPECT_LE(Draw(Make({Blur(3, 3)}), Rectangle(60, 70, 100, 120), Raster::FormatRGBAF, odd).GetArea(), 40000);
}

TEST(Filter, ManyPrimitivesAndDeepFiltersAreLimited) {
    FilterSettings const settings = Settings(std::vector<FilterPrimitive>(10000, Blur(1, 1)));
    EXPECT_EQ(Filter(settings).GetSettings().primitives.size(), Filter::c_maximumPrimitives);
    RasterRenderTarget target(Size(100, 100));
    auto const filter = Make({Offset(1, 0)});
    for (int i = 0; i != 100000; ++i)
        target.PushFilter(filter);
    target.DrawCurves(Rectangle(10, 10, 20, 20), Filled(Colour()), WindingOrderMode::NonZero);
    for (int i = 0; i != 100000; ++i)
        target.PopFilter();
    Pixels const pixels(target);
    // Eight move, those inside do not.
    EXPECT_EQ(pixels.Alpha(17, 15), 0);
    EXPECT_EQ(pixels.Alpha(18, 15), 1);
}

TEST(Filter, ManyResultsThatAreKeptTogetherAreCoarser) {
    std::vector<FilterPrimitive> primitives;
    auto merge = Primitive(FilterPrimitiveKind::Merge);
    for (int i = 0; i != 120; ++i) {
        auto flood = Flood(Colour::FromRGB(0, 1, 0));
        flood.result = Kernel::String("r" + std::to_string(i));
        merge.inputs.push_back(flood.result);
        primitives.push_back(flood);
    }
    primitives.push_back(merge);
    primitives.push_back(Blur(120, 120));
    RasterRenderTarget target(Size(3000, 64));
    DrawFiltered(target, Make(primitives, {-1e6, -1e6, 1e6, 1e6}), Rectangle(0, 0, 10, 10));
    EXPECT_EQ(Pixels(target).Get(1500, 30), (std::array<float, 4>{0, 1, 0, 1}));
}

TEST(Filter, ClipsMasksAndLayersWorkInsideAndAround) {
    RasterRenderTarget target(Size(200, 200));
    target.PushLayer({0.5, BlendMode::Normal, true});
    target.PushClip(Rectangle(0, 0, 200, 100), WindingOrderMode::NonZero);
    target.PushFilter(Make({Offset(0, 50)}));
    target.PushClip(Rectangle(0, 0, 200, 60), WindingOrderMode::NonZero);
    target.BeginMask(MaskKind::Alpha);
    target.DrawCurves(Rectangle(0, 0, 100, 200), Filled(Colour()), WindingOrderMode::NonZero);
    target.EndMask();
    target.DrawCurves(Rectangle(0, 0, 200, 200), Filled(Colour()), WindingOrderMode::NonZero);
    target.PopClip();
    target.PopClip();
    target.PopFilter();
    target.PopClip();
    target.PopLayer();
    Pixels const pixels(target);
    EXPECT_EQ(pixels.Alpha(50, 49), 0);
    EXPECT_EQ(pixels.Alpha(50, 51), 0.5f);
    EXPECT_EQ(pixels.Alpha(50, 101), 0);
    EXPECT_EQ(pixels.Alpha(150, 51), 0);
    EXPECT_THROW(target.PopFilter(), Kernel::Exception);
}

TEST(Filter, RecordedDrawingsHaveThem) {
    auto const recorder = MakeCounted<DrawingRecorder>();
    recorder->PushTransform(Transform::Scale(2, 2));
    DrawFiltered(*recorder, Make({Offset(10, 0)}), Rectangle(0, 0, 10, 10));
    recorder->PopTransform();
    RasterRenderTarget replayed(Size(100, 100)), direct(Size(100, 100));
    recorder->GetDrawing()->Replay(replayed);
    direct.PushTransform(Transform::Scale(2, 2));
    DrawFiltered(direct, Make({Offset(10, 0)}), Rectangle(0, 0, 10, 10));
    direct.PopTransform();
    EXPECT_EQ(GetBytes(Pixels(replayed).GetBuffer()), GetBytes(Pixels(direct).GetBuffer()));
    EXPECT_EQ(Pixels(replayed).Alpha(20, 5), 1);
}

TEST(Filter, BoundsHoldAllThatIsPainted) {
    auto shadow = Blur(3, 5);
    shadow.kind = FilterPrimitiveKind::DropShadow;
    shadow.offsetX = -20;
    shadow.colour = Colour();
    for (auto const& primitives : {std::vector{Blur(4, 9)}, std::vector{Offset(12.5, -3)}, std::vector{shadow},
                                   std::vector{Blur(0.7, 1), Blur(6, 2)}, std::vector{Flood(Colour())}}) {
        auto const filter = Make(primitives);
        auto const bounds = filter->GetBounds({60, 70, 100, 120});
        for (double const scale : {0.3, 1.0}) {
            auto const pixels =
                Draw(filter, Rectangle(60, 70, 100, 120), Raster::FormatRGBAF, Transform::Scale(scale, scale));
            auto const isInside = [&](int x, int y) {
                return x + 1 > bounds.left * scale && x < bounds.right * scale && y + 1 > bounds.top * scale &&
                       y < bounds.bottom * scale;
            };
            int outside = 0;
            for (int y = 0; y != 200; ++y)
                for (int x = 0; x != 200; ++x)
                    outside += pixels.Alpha(x, y) > 1e-4f && !isInside(x, y) ? 1 : 0;
            EXPECT_EQ(outside, 0);
        }
    }
}

TEST(Filter, UnitsOfTheBoxAreResolved) {
    FilterSettings settings;
    settings.arePrimitivesOfBox = true;
    settings.primitives = {Blur(0.1, 0.2)};
    Filter const filter(settings);
    EXPECT_TRUE(filter.NeedsBox());
    auto const resolved = filter.ResolveBox({100, 200, 300, 600});
    ASSERT_TRUE(resolved);
    EXPECT_FALSE(resolved->NeedsBox());
    EXPECT_DOUBLE_EQ(resolved->GetSettings().left, 80);
    EXPECT_DOUBLE_EQ(resolved->GetSettings().height, 480);
    EXPECT_DOUBLE_EQ(resolved->GetSettings().primitives[0].deviationX, 20);
    EXPECT_DOUBLE_EQ(resolved->GetSettings().primitives[0].deviationY, 80);
    EXPECT_FALSE(filter.ResolveBox({0, 0, 0, 5}));
}
