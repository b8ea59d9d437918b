// SPDX-License-Identifier: Apache-2.0
#include "engine/document/tree/line_bounds.h"
#include "platform/document/nodes.h"
#include "tests/engine/renderer/pictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace {

using namespace Pictures;
using Rect = Kernel::RectT<double>;
using Params = Raster::AffineTransform::Params;

Rect BoundsOf(std::initializer_list<PointDbl> points, bool closed, LineStyle const& style, Params const& toSpread = {},
              bool scales = true) {
    auto const curve = MakeCounted<Geometry::CurveDbl>();
    curve->MoveTo(*points.begin());
    for (auto p = points.begin() + 1; p != points.end(); ++p)
        curve->LineTo(*p);
    if (closed)
        curve->Close();
    LineStyleDescriptor line(Consolidate(style));
    line.SetScaleWithObject(scales);
    return GetLineBounds(*Path(curve), line, toSpread);
}

constexpr int c_side = 120;

Kernel::RectT<int> GetPainted(Counted<Geometry::CurveDbl> const& curve, Paint const& paint) {
    RasterRenderTarget target(Size(c_side, c_side));
    target.DrawCurves(Path(curve), paint, WindingOrderMode::NonZero);
    Pixels const pixels(target);
    Kernel::RectT<int> painted{c_side, c_side, 0, 0};
    for (int y = 0; y != c_side; ++y) {
        for (int x = 0; x != c_side; ++x) {
            if (pixels.Alpha(x, y) > 0.02f)
                painted = painted.United({x, y, x + 1, y + 1});
        }
    }
    return painted;
}

void ExpectInside(Kernel::RectT<int> const& painted, Rect const& bounds, int i) {
    constexpr double c_slack = 0.1;
    EXPECT_GE(painted.left, std::max(0, static_cast<int>(std::floor(bounds.left - c_slack)))) << i;
    EXPECT_GE(painted.top, std::max(0, static_cast<int>(std::floor(bounds.top - c_slack)))) << i;
    EXPECT_LE(painted.right, std::min(c_side, static_cast<int>(std::ceil(bounds.right + c_slack)))) << i;
    EXPECT_LE(painted.bottom, std::min(c_side, static_cast<int>(std::ceil(bounds.bottom + c_slack)))) << i;
}

} // namespace

TEST(LineBounds, RightAnglesReachHalfTheWidth) {
    EXPECT_EQ(BoundsOf({{0, 0}, {10, 0}, {10, 20}, {0, 20}}, true, LineStyle(2)), (Rect{-1, -1, 11, 21}));
}

TEST(LineBounds, EllipsesReachHalfTheWidthWhateverTheMitreLimit) {
    auto const ellipse = MakeCounted<EllipseShape>();
    ellipse->box = {42, 32, 58, 48};
    LineStyle style(2);
    style.SetMitreLimit(40);
    auto const bounds = GetLineBounds(*ellipse->ComputeCurves(), LineStyleDescriptor(Consolidate(style)), {});
    EXPECT_NEAR(bounds.left, 41, 1e-9);
    EXPECT_NEAR(bounds.bottom, 49, 1e-9);
}

TEST(LineBounds, SharpCornersReachAsFarAsTheirMitre) {
    LineStyle style(2);
    style.SetMitreLimit(10);
    // The half angle at the tip has the sine 1 / sqrt(17): the mitre is sqrt(17) half widths long.
    auto const bounds = BoundsOf({{0, 0}, {40, 10}, {0, 20}}, false, style);
    EXPECT_NEAR(bounds.right, 40 + std::sqrt(17.0), 1e-9);
    style.SetMitreLimit(4);
    EXPECT_LT(BoundsOf({{0, 0}, {40, 10}, {0, 20}}, false, style).right, 40.5);
}

TEST(LineBounds, EndsReachAsFarAsTheirCaps) {
    LineStyle style(4);
    EXPECT_EQ(BoundsOf({{0, 0}, {10, 0}}, false, style), (Rect{0, -2, 10, 2}));
    style.SetCap(LineCap::Square);
    EXPECT_EQ(BoundsOf({{0, 0}, {10, 0}}, false, style), (Rect{-2, -2, 12, 2}));
    style.SetCap(LineCap::Round);
    EXPECT_EQ(BoundsOf({{0, 0}, {10, 0}}, false, style), (Rect{-2, -2, 12, 2}));
}

TEST(LineBounds, LinesAreStretchedWithTheirObjectOrNot) {
    Params const wide{3, 0, 0, 0, 1, 0};
    EXPECT_EQ(BoundsOf({{0, 0}, {0, 10}}, false, LineStyle(2), wide), (Rect{-3, 0, 3, 10}));
    EXPECT_EQ(BoundsOf({{0, 0}, {0, 10}}, false, LineStyle(2), wide, false), (Rect{-1, 0, 1, 10}));
}

TEST(LineBounds, NothingIsPaintedOutsideAndStraightLinesFillThem) {
    std::mt19937 random(5);
    auto const number = [&](double low, double high) { return low + (high - low) * (random() % 10007) / 10006.0; };
    for (int i = 0; i != 300; ++i) {
        auto const curve = MakeCounted<Geometry::CurveDbl>();
        auto const point = [&] { return PointDbl{number(30, 90), number(30, 90)}; };
        bool isStraight = true;
        curve->MoveTo(point());
        for (std::size_t k = 1 + random() % 4; k != 0; --k) {
            if (random() % 3 != 0) {
                curve->LineTo(point());
                continue;
            }
            curve->CubicTo(point(), point(), point());
            isStraight = false;
        }
        if (random() % 2 == 0)
            curve->Close();
        LineStyle style(number(1, 9));
        style.SetMitreLimit(number(1, 5));
        style.SetCap(static_cast<LineCap>(random() % 3));
        style.SetJoin(static_cast<LineJoin>(random() % 3));
        if (i % 3 == 0)
            style.SetBrush({0.05 + i % 29 / 30.0, i % 17 / 4.0 - 2});
        Paint const paint = Lined(style);
        auto const bounds = GetLineBounds(*Path(curve), paint.lineStyle, {});
        auto const painted = GetPainted(curve, paint);
        ExpectInside(painted, bounds, i);
        // A thin tip need not show.
        if (isStraight && bounds.left > 0 && bounds.right < 120 && bounds.top > 0 && bounds.bottom < 120) {
            EXPECT_LE(painted.left, bounds.left + 2) << i;
            EXPECT_LE(painted.top, bounds.top + 2) << i;
            EXPECT_GE(painted.right, bounds.right - 2) << i;
            EXPECT_GE(painted.bottom, bounds.bottom - 2) << i;
        }
    }
}

// Curves that turn within a pixel of their ends, by handles of 1e-6 to 1 unit: mitres and caps follow the handles.
TEST(LineBounds, NothingIsPaintedOutsideWhereCurvesHaveHooksAtTheirEnds) {
    std::mt19937 random(7);
    auto const number = [&](double low, double high) { return low + (high - low) * (random() % 10007) / 10006.0; };
    auto const near = [&](PointDbl p) {
        double const reach = std::pow(10, number(-6, 0)), angle = number(-3.15, 3.15);
        return PointDbl{p.x + reach * std::cos(angle), p.y + reach * std::sin(angle)};
    };
    for (int i = 0; i != 2000; ++i) {
        auto const curve = MakeCounted<Geometry::CurveDbl>();
        auto const point = [&] { return PointDbl{number(40, 80), number(40, 80)}; };
        PointDbl at = point();
        curve->MoveTo(at);
        for (std::size_t k = 1 + random() % 4; k != 0; --k) {
            PointDbl const end = point();
            PointDbl const first = random() % 3 != 0 ? near(at) : point(),
                           second = random() % 3 != 0 ? near(end) : point();
            if (random() % 4 == 0)
                curve->LineTo(end);
            else
                curve->CubicTo(first, second, end);
            at = end;
        }
        if (random() % 2 == 0)
            curve->Close();
        LineStyle style(number(1, 9));
        style.SetMitreLimit(number(1, 12));
        style.SetCap(static_cast<LineCap>(random() % 3));
        style.SetJoin(static_cast<LineJoin>(random() % 3));
        if (i % 4 == 0)
            style.SetBrush({0.05 + i % 29 / 30.0, i % 17 / 4.0 - 2});
        Paint const paint = Lined(style);
        ExpectInside(GetPainted(curve, paint), GetLineBounds(*Path(curve), paint.lineStyle, {}), i);
    }
}
