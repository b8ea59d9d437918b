// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/blend.h"
#include "platform/raster/dynamic_bitmap.h"
#include "tests/engine/renderer/pictures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

using namespace Pictures;

std::vector<GradientStop> RedToClearBlue() {
    return {{0.25, 1, Colour::FromRGB(1, 0, 0)}, {0.75, 0.5, Colour::FromRGB(0, 0, 1, 0.5f)}};
}

// The stops above at t, not multiplied by alpha.
std::array<double, 4> RampAt(double t) {
    double const f = std::clamp((t - 0.25) / 0.5, 0.0, 1.0);
    return {1 - f, 0, f, 1 - 0.75 * f};
}

void ExpectRamp(Pixels const& pixels, int x, int y, double t, double tolerance = 2e-6) {
    auto const expected = RampAt(t);
    for (int c = 0; c != 4; ++c)
        EXPECT_NEAR(pixels.Get(c, x, y), expected[static_cast<std::size_t>(c)], tolerance) << x << ' ' << y << ' ' << t;
}

double SpreadOf(double t, GradientSpread spread) {
    if (spread == GradientSpread::Repeat)
        return t - std::floor(t);
    if (spread == GradientSpread::Reflect)
        return std::fabs(t - 2 * std::round(t / 2));
    return t;
}

TEST(Gradient, LinearFollowsItsFormulaUnderATransform) {
    for (auto const spread : {GradientSpread::Pad, GradientSpread::Reflect, GradientSpread::Repeat}) {
        RasterRenderTarget target(Size(100, 80));
        Transform const transform({0.8, -0.3, 20, 0.5, 1.2, 7});
        PointDbl const s{10, 20}, e{45, 32};
        Paint paint;
        paint.mainFill = FillDescriptorConst(MakeFill<LinearGradientFill>(s, e, RedToClearBlue(), spread), true,
                                             transform.GetParams());
        target.DrawCurves(Rectangle(0, 0, 100, 80), paint, WindingOrderMode::NonZero);
        Pixels const pixels(target);
        for (int y = 0; y < 80; y += 7) {
            for (int x = 0; x < 100; x += 7) {
                PointDbl const p = transform.GetInverse().Apply({x + 0.5, y + 0.5});
                double const dx = e.x - s.x, dy = e.y - s.y;
                double const t = ((p.x - s.x) * dx + (p.y - s.y) * dy) / (dx * dx + dy * dy);
                double const wanted = SpreadOf(t, spread);
                // At the jump of a repeat rounding decides.
                if (spread != GradientSpread::Repeat || (wanted > 1e-6 && wanted < 1 - 1e-6))
                    ExpectRamp(pixels, x, y, wanted);
            }
        }
    }
}

TEST(Gradient, EllipticalCentredIsTheDistanceInItsEllipse) {
    RasterRenderTarget target(Size(100, 100));
    target.DrawCurves(Rectangle(0, 0, 100, 100),
                      Filled(MakeFill<EllipticalGradientFill>(PointDbl{50, 50}, PointDbl{90, 50}, PointDbl{50, 70},
                                                              PointDbl{50, 50}, 0.0, RedToClearBlue())),
                      WindingOrderMode::NonZero);
    Pixels const pixels(target);
    for (int y = 0; y < 100; y += 9) {
        for (int x = 0; x < 100; x += 9)
            ExpectRamp(pixels, x, y, std::hypot((x + 0.5 - 50) / 40, (y + 0.5 - 50) / 20));
    }
}

TEST(Gradient, FocalCirclesGoThroughEachPoint) {
    RasterRenderTarget target(Size(100, 100));
    PointDbl const centre{50, 50}, focus{62, 44};
    double const radius = 40, focalRadius = 0.2;
    target.DrawCurves(Rectangle(0, 0, 100, 100),
                      Filled(MakeFill<EllipticalGradientFill>(centre, PointDbl{90, 50}, PointDbl{50, 90}, focus,
                                                              focalRadius, RedToClearBlue())),
                      WindingOrderMode::NonZero);
    Pixels const pixels(target);
    for (int y = 2; y < 100; y += 11) {
        for (int x = 2; x < 100; x += 11) {
            // Bisection for the t whose circle runs through the pixel: they grow around each other.
            double low = -0.25, high = 50;
            for (int i = 0; i != 100; ++i) {
                double const t = (low + high) / 2;
                double const cx = focus.x + (centre.x - focus.x) * t, cy = focus.y + (centre.y - focus.y) * t;
                double const r = radius * (focalRadius + (1 - focalRadius) * t);
                (std::hypot(x + 0.5 - cx, y + 0.5 - cy) > r ? low : high) = t;
            }
            ExpectRamp(pixels, x, y, low, 1e-5);
        }
    }
}

TEST(Gradient, BeyondTheConeOfAFocusOutsideItIsClear) {
    RasterRenderTarget target(Size(100, 100));
    target.DrawCurves(Rectangle(0, 0, 100, 100),
                      Filled(MakeFill<EllipticalGradientFill>(PointDbl{70, 50}, PointDbl{80, 50}, PointDbl{70, 60},
                                                              PointDbl{20, 50}, 0.0, RedToClearBlue())),
                      WindingOrderMode::NonZero);
    Pixels const pixels(target);
    EXPECT_EQ(pixels.Alpha(10, 50), 0);
    EXPECT_EQ(pixels.Alpha(30, 80), 0);
    EXPECT_GT(pixels.Alpha(50, 50), 0);
}

TEST(Gradient, WithoutExtentIsItsLastColour) {
    for (auto const spread : {GradientSpread::Pad, GradientSpread::Reflect, GradientSpread::Repeat}) {
        for (auto const& fill : {MakeFill<LinearGradientFill>(PointDbl{5, 5}, PointDbl{5, 5}, RedToClearBlue(), spread),
                                 MakeFill<EllipticalGradientFill>(PointDbl{5, 5}, 0.0, RedToClearBlue(), spread)}) {
            RasterRenderTarget target(Size(4, 4));
            target.DrawCurves(Rectangle(0, 0, 4, 4), Filled(fill), WindingOrderMode::NonZero);
            ExpectRamp(Pixels(target), 2, 2, 1);
        }
    }
}

TEST(Gradient, OfSeveralStopsAtOnePlaceTheLastRulesFromThere) {
    RasterRenderTarget target(Size(10, 1));
    std::vector<GradientStop> const stops{{0, 1, Colour::FromGrey(0)},
                                          {0.5, 1, Colour::FromGrey(0)},
                                          {0.5, 1, Colour::FromRGB(0, 1, 0)},
                                          {0.5, 1, Colour::FromGrey(1)},
                                          // Out of order: taken for 0.5.
                                          {0.2, 1, Colour::FromRGB(1, 0, 0)}};
    target.DrawCurves(Rectangle(0, 0, 10, 1),
                      Filled(MakeFill<LinearGradientFill>(PointDbl{0, 0}, PointDbl{10, 0}, stops)),
                      WindingOrderMode::NonZero);
    Pixels const pixels(target);
    EXPECT_EQ(pixels.Get(4, 0), (std::array<float, 4>{0, 0, 0, 1}));
    EXPECT_EQ(pixels.Get(5, 0), (std::array<float, 4>{1, 0, 0, 1}));
}

TEST(Gradient, PaddingBeforeSeveralFirstStopsIsTheFirstAndBehindSeveralLastTheLast) {
    RasterRenderTarget target(Size(30, 1));
    std::vector<GradientStop> const stops{{0, 1, Colour::FromRGB(1, 0, 0)},
                                          {0, 1, Colour::FromGrey(0)},
                                          {1, 1, Colour::FromGrey(0)},
                                          {1, 1, Colour::FromRGB(0, 0, 1)}};
    target.DrawCurves(Rectangle(0, 0, 30, 1),
                      Filled(MakeFill<LinearGradientFill>(PointDbl{10, 0}, PointDbl{20, 0}, stops)),
                      WindingOrderMode::NonZero);
    Pixels const pixels(target);
    EXPECT_EQ(pixels.Get(9, 0), (std::array<float, 4>{1, 0, 0, 1}));
    EXPECT_EQ(pixels.Get(10, 0), (std::array<float, 4>{0, 0, 0, 1}));
    EXPECT_EQ(pixels.Get(19, 0), (std::array<float, 4>{0, 0, 0, 1}));
    EXPECT_EQ(pixels.Get(20, 0), (std::array<float, 4>{0, 0, 1, 1}));
}

// The formulas of W3C Compositing and Blending Level 1, written out once more in doubles.
double Reference(BlendMode mode, double b, double s) {
    auto const dodge = [](double x, double y) { return x == 0 ? 0 : y == 1 ? 1 : std::min(1.0, x / (1 - y)); };
    auto const burn = [](double x, double y) { return x == 1 ? 1 : y == 0 ? 0 : 1 - std::min(1.0, (1 - x) / y); };
    auto const screen = [](double x, double y) { return x + y - x * y; };
    auto const hard = [&](double x, double y) { return y <= 0.5 ? x * (2 * y) : screen(x, 2 * y - 1); };
    switch (mode) {
    case BlendMode::Multiply:
        return b * s;
    case BlendMode::Screen:
        return screen(b, s);
    case BlendMode::Overlay:
        return hard(s, b);
    case BlendMode::Darken:
        return std::min(b, s);
    case BlendMode::Lighten:
        return std::max(b, s);
    case BlendMode::ColourDodge:
        return dodge(b, s);
    case BlendMode::ColourBurn:
        return burn(b, s);
    case BlendMode::HardLight:
        return hard(b, s);
    case BlendMode::SoftLight: {
        double const d = b <= 0.25 ? ((16 * b - 12) * b + 4) * b : std::sqrt(b);
        return s <= 0.5 ? b - (1 - 2 * s) * b * (1 - b) : b + (2 * s - 1) * (d - b);
    }
    case BlendMode::Difference:
        return std::fabs(b - s);
    case BlendMode::Exclusion:
        return b + s - 2 * b * s;
    case BlendMode::Add:
        return std::min(1.0, b + s);
    case BlendMode::Subtract:
        return std::max(0.0, b - s);
    case BlendMode::LinearBurn:
        return std::max(0.0, b + s - 1);
    case BlendMode::VividLight:
        return s <= 0.5 ? burn(b, 2 * s) : dodge(b, 2 * s - 1);
    case BlendMode::LinearLight:
        return std::clamp(b + 2 * s - 1, 0.0, 1.0);
    case BlendMode::PinLight:
        return s <= 0.5 ? std::min(b, 2 * s) : std::max(b, 2 * s - 1);
    case BlendMode::HardMix:
        return b + s >= 1 ? 1 : 0;
    case BlendMode::Divide:
        return b == 0 ? 0 : s <= b ? 1 : b / s;
    default:
        return s;
    }
}

bool IsSeparable(BlendMode mode) {
    return mode != BlendMode::Hue && mode != BlendMode::Saturation && mode != BlendMode::Colour &&
           mode != BlendMode::Luminosity && mode != BlendMode::DarkerColour && mode != BlendMode::LighterColour &&
           mode != BlendMode::Erase;
}

TEST(Blend, CompositesEverySeparableModeAsTheReferenceDoes) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> unit(0, 1);
    for (unsigned m = 0; m != c_blendModeCount; ++m) {
        auto const mode = static_cast<BlendMode>(m);
        if (!IsSeparable(mode))
            continue;
        for (int i = 0; i != 300; ++i) {
            // Whole numbers among them reach the formulas' corners.
            auto const value = [&] { return i % 5 == 0 ? std::round(unit(random) * 2) / 2 : unit(random); };
            Colour const below = Colour::FromRGB(value(), value(), value(), value());
            Colour const above = Colour::FromRGB(value(), value(), value(), value());
            RasterRenderTarget target(Size(1, 1));
            target.DrawCurves(Rectangle(0, 0, 1, 1), Filled(below), WindingOrderMode::NonZero);
            Paint paint = Filled(above);
            paint.blendMode = mode;
            target.DrawCurves(Rectangle(0, 0, 1, 1), paint, WindingOrderMode::NonZero);
            Pixels const pixels(target);
            double const ab = below.GetAlpha(), as = above.GetAlpha(), ao = as + ab - as * ab;
            ASSERT_NEAR(pixels.Alpha(0, 0), ao, 1e-6);
            for (std::size_t c = 0; ao > 1e-3 && c != 3; ++c) {
                double const cb = below.GetComponents()[c], cs = above.GetComponents()[c];
                double const co = cs * as * (1 - ab) + Reference(mode, cb, cs) * as * ab + cb * ab * (1 - as);
                // Hard mix jumps where the two add up to 1; rounding decides there.
                if (mode == BlendMode::HardMix && std::fabs(cb + cs - 1) < 1e-6)
                    continue;
                ASSERT_NEAR(pixels.Get(static_cast<int>(c), 0, 0), co / ao, 2e-5)
                    << "mode " << m << " of " << cb << " and " << cs;
            }
        }
    }
}

TEST(Blend, ModesOfWholeColoursKeepWhatTheyPromise) {
    std::mt19937 random(2);
    std::uniform_real_distribution<float> unit(0, 1);
    auto const lum = [](float const* c) { return 0.3f * c[0] + 0.59f * c[1] + 0.11f * c[2]; };
    auto const sat = [](float const* c) { return std::max({c[0], c[1], c[2]}) - std::min({c[0], c[1], c[2]}); };
    using Detail::BlendPixel;
    for (int i = 0; i != 2000; ++i) {
        float const b[4] = {unit(random), unit(random), unit(random), unit(random)};
        float const s[4] = {unit(random), unit(random), unit(random), unit(random)};
        float r[4]{};
        for (auto const mode : {BlendMode::Hue, BlendMode::Saturation, BlendMode::Colour}) {
            BlendPixel(mode, Raster::ColourModel::CMYK, b, s, r);
            EXPECT_NEAR(lum(r), lum(b), 1e-5);
            EXPECT_EQ(r[3], b[3]);
        }
        BlendPixel(BlendMode::Luminosity, Raster::ColourModel::CMYK, b, s, r);
        EXPECT_NEAR(lum(r), lum(s), 1e-5);
        EXPECT_EQ(r[3], s[3]);
        for (float const component : {r[0], r[1], r[2]})
            EXPECT_TRUE(component >= -1e-6f && component <= 1 + 1e-6f);
        BlendPixel(BlendMode::DarkerColour, Raster::ColourModel::RGB, b, s, r);
        EXPECT_EQ(lum(r), std::min(lum(b), lum(s)));
    }
    // Where nothing is clipped, the saturation is the source's.
    float const b[3] = {0.4f, 0.5f, 0.6f}, s[3] = {0.5f, 0.6f, 0.55f};
    float r[3];
    BlendPixel(BlendMode::Saturation, Raster::ColourModel::RGB, b, s, r);
    EXPECT_NEAR(sat(r), sat(s), 1e-6);
}

TEST(Blend, EraseTakesAwayByAlpha) {
    RasterRenderTarget target(Size(2, 1));
    target.DrawCurves(Rectangle(0, 0, 2, 1), Filled(Colour::FromRGB(1, 0.5f, 0)), WindingOrderMode::NonZero);
    Paint paint = Filled(Colour::FromRGB(0, 0, 1, 0.75f));
    paint.blendMode = BlendMode::Erase;
    target.DrawCurves(Rectangle(0, 0, 1, 1), paint, WindingOrderMode::NonZero);
    Pixels const pixels(target);
    EXPECT_EQ(pixels.Get(0, 0), (std::array<float, 4>{1, 0.5f, 0, 0.25f}));
    EXPECT_EQ(pixels.Alpha(1, 0), 1);
}

Counted<Raster::DynamicBitmap> MakeBitmap(int width, int height, std::vector<std::array<unsigned char, 4>> const& px) {
    auto const bitmap = MakeCounted<Raster::DynamicBitmap>(width, height, Raster::FormatRGBA8);
    bitmap->WritePixels(bitmap->GetBounds(), px.data(), static_cast<std::size_t>(width) * 4);
    return bitmap;
}

Counted<Raster::DynamicBitmap> MakeNoise(int width, int height) {
    std::mt19937 random(5);
    std::vector<std::array<unsigned char, 4>> px(static_cast<std::size_t>(width * height));
    for (auto& p : px)
        p = {static_cast<unsigned char>(random()), static_cast<unsigned char>(random()),
             static_cast<unsigned char>(random()), static_cast<unsigned char>(random())};
    return MakeBitmap(width, height, px);
}

TEST(BitmapFillPixels, OneToOneIsTheBitmap) {
    for (auto const resampling : {Resampling::Nearest, Resampling::Bilinear, Resampling::Bicubic}) {
        auto const bitmap = MakeNoise(300, 270);
        RasterRenderTarget target(Size(320, 280, Raster::FormatRGBA8));
        target.DrawBitmap(bitmap, Transform::Translation(7, 5), 1, BlendMode::Normal, resampling);
        auto const buffer = target.Render({7, 5, 307, 275});
        auto const drawn = GetBytes(*buffer);
        std::vector<unsigned char> original(drawn.size());
        bitmap->ReadPixels(bitmap->GetBounds(), original.data(), 1200);
        for (std::size_t i = 0; i != drawn.size(); ++i) {
            // The colour of a clear pixel is lost.
            if (original[i | 3] == 0)
                continue;
            ASSERT_EQ(drawn[i], original[i]) << i;
        }
    }
}

TEST(BitmapFillPixels, HalvedIsTheMeanOfFour) {
    auto const bitmap = MakeNoise(64, 64);
    RasterRenderTarget target(Size(32, 32));
    target.DrawBitmap(bitmap, Transform::Scale(0.5, 0.5));
    Pixels const pixels(target);
    for (int y = 0; y != 32; ++y) {
        for (int x = 0; x != 32; ++x) {
            double red = 0, alpha = 0;
            for (auto const& [dx, dy] : {std::pair{0, 0}, {1, 0}, {0, 1}, {1, 1}}) {
                auto const p = bitmap->GetBase()->GetPixel(2 * x + dx, 2 * y + dy);
                red += p.GetSample(0) / 255 * p.GetSample(3) / 255 / 4;
                alpha += p.GetSample(3) / 255 / 4;
            }
            // The level is held in the bitmap's own 8 bits.
            ASSERT_NEAR(pixels.Alpha(x, y), alpha, 0.6 / 255);
            ASSERT_NEAR(pixels.Get(0, x, y), red / alpha, 2.0 / 255);
        }
    }
}

TEST(BitmapFillPixels, BilinearIsExactBetweenPixels) {
    auto const bitmap = MakeBitmap(2, 2, {{0, 0, 0, 255}, {255, 0, 0, 255}, {0, 255, 0, 255}, {255, 255, 255, 255}});
    RasterRenderTarget target(Size(80, 80));
    target.DrawBitmap(bitmap, Transform::Scale(40, 40));
    Pixels const pixels(target);
    for (int y = 20; y < 60; y += 3) {
        for (int x = 20; x < 60; x += 3) {
            double const fx = (x + 0.5) / 40 - 0.5, fy = (y + 0.5) / 40 - 0.5;
            ASSERT_NEAR(pixels.Get(0, x, y), fx, 1e-6);
            ASSERT_NEAR(pixels.Get(1, x, y), fy, 1e-6);
            ASSERT_NEAR(pixels.Get(2, x, y), fx * fy, 1e-6);
        }
    }
    // Beyond the centres of the outer pixels the edge goes on.
    EXPECT_EQ(pixels.Get(3, 3), (std::array<float, 4>{0, 0, 0, 1}));
}

TEST(BitmapFillPixels, TileModesGoOnBeyondTheEdges) {
    auto const bitmap = MakeBitmap(3, 1, {{255, 0, 0, 255}, {0, 255, 0, 255}, {0, 0, 255, 255}});
    auto const draw = [&](TileMode mode) {
        RasterRenderTarget target(Size(9, 1));
        Paint paint;
        paint.mainFill = FillDescriptorConst(MakeFill<BitmapFill>(bitmap, mode, mode), true,
                                             Transform::Translation(3, 0).GetParams());
        target.DrawCurves(Rectangle(0, 0, 9, 1), paint, WindingOrderMode::NonZero);
        Pixels const pixels(target);
        std::string text;
        for (int x = 0; x != 9; ++x)
            text += pixels.Alpha(x, 0) == 0 ? '.' : pixels.Get(0, x, 0) > 0 ? 'r' : pixels.Get(1, x, 0) > 0 ? 'g' : 'b';
        return text;
    };
    EXPECT_EQ(draw(TileMode::Clear), "...rgb...");
    EXPECT_EQ(draw(TileMode::Clamp), "rrrrgbbbb");
    EXPECT_EQ(draw(TileMode::Repeat), "rgbrgbrgb");
    EXPECT_EQ(draw(TileMode::Mirror), "bgrrgbbgr");
}

TEST(BitmapFillPixels, DrawnVeryFarAwayOrVerySmallItIsStillItsMean) {
    auto const bitmap = MakeBitmap(2, 1, {{255, 255, 255, 255}, {0, 0, 0, 255}});
    for (double const scale : {0.1, 1e-3, 1e-6}) {
        RasterRenderTarget target(Size(70, 70));
        Paint paint;
        paint.mainFill = FillDescriptorConst(MakeFill<BitmapFill>(bitmap, TileMode::Repeat, TileMode::Repeat), true,
                                             Transform::Scale(scale, scale).GetParams());
        target.DrawCurves(Rectangle(0, 0, 70, 70), paint, WindingOrderMode::NonZero);
        EXPECT_NEAR(Pixels(target).Get(0, 35, 35), 0.5, 0.3) << scale;
        EXPECT_EQ(Pixels(target).Alpha(69, 69), 1);
    }
}

TEST(BitmapFillPixels, ChangesAfterDrawingAreNotSeen) {
    auto const bitmap = MakeBitmap(1, 1, {{255, 0, 0, 255}});
    RasterRenderTarget target(Size(1, 1));
    target.DrawBitmap(bitmap, {});
    unsigned char const green[4] = {0, 255, 0, 255};
    bitmap->WritePixels({0, 0, 1, 1}, green, 4);
    EXPECT_EQ(Pixels(target).Get(0, 0), (std::array<float, 4>{1, 0, 0, 1}));
}

TEST(BitmapFillPixels, TurnedBitmapsReadOnlyWhatTheyShow) {
    // A large bitmap under a turn; without blocks each band would read most of it.
    auto const bitmap = MakeCounted<Raster::DynamicBitmap>(6000, 6000, Raster::FormatRGBA8);
    bitmap->GetMutableBase().Fill({0, 0, 6000, 6000}, Raster::DynamicPixel(Raster::FormatRGBA8));
    Raster::DynamicPixel red(Raster::FormatRGBA8);
    red.SetSample(0, 255);
    red.SetSample(3, 255);
    bitmap->GetMutableBase().Fill({2990, 2990, 3010, 3010}, red);
    RasterRenderTarget target(Size(200, 200));
    target.DrawBitmap(bitmap, Transform::Translation(100, 100) * Transform::Rotation(0.7) *
                                  Transform::Translation(-3000, -3000));
    EXPECT_NEAR(Pixels(target).GetArea(), 400, 1);
}

} // namespace
