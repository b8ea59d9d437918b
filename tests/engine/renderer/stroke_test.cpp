// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/renderer/pictures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

using namespace Pictures;
using std::numbers::pi;

LineStyle Style(double weight, LineCap cap = LineCap::Butt, LineJoin join = LineJoin::Mitre, double mitreLimit = 4) {
    LineStyle style(weight);
    style.SetCap(cap);
    style.SetJoin(join);
    style.SetMitreLimit(mitreLimit);
    return style;
}

LineStyle Dashed(double weight, std::vector<double> pattern, double phase = 0, LineCap cap = LineCap::Butt) {
    LineStyle style = Style(weight, cap);
    style.SetType(LineType::Dashed);
    style.SetDashPattern(std::move(pattern));
    style.SetDashPhase(phase);
    return style;
}

TEST(Stroke, CapsHaveTheirAreas) {
    auto const line = Path("M40.3 50.7L150.3 90.2");
    double const length = std::hypot(110, 39.5);
    EXPECT_NEAR(GetDrawnArea(line, Lined(Style(12))), length * 12, 0.02);
    EXPECT_NEAR(GetDrawnArea(line, Lined(Style(12, LineCap::Square))), (length + 12) * 12, 0.02);
    EXPECT_NEAR(GetDrawnArea(line, Lined(Style(12, LineCap::Round))), length * 12 + pi * 36, 1);
}

LineStyle Nibbed(double weight, double roundness, double angle) {
    // Neither cap nor join shows.
    LineStyle style = Style(weight, LineCap::Square, LineJoin::Bevel);
    style.SetBrush({roundness, angle});
    return style;
}

TEST(Stroke, ANibGivesLinesItsExtentAcrossThem) {
    double const nib = pi * 10 * 2; // of 20 units at 0.2
    EXPECT_NEAR(GetDrawnArea(Path("M40 60H150"), Lined(Nibbed(20, 0.2, 0))), 110 * 4 + nib, 1);
    EXPECT_NEAR(GetDrawnArea(Path("M40 60H150"), Lined(Nibbed(20, 0.2, pi / 2))), 110 * 20 + nib, 1);
    EXPECT_NEAR(GetDrawnArea(Path("M60 40V150"), Lined(Nibbed(20, 0.2, 0))), 110 * 20 + nib, 1);
    // Along an axis of the nib's own at 30 degrees it is as narrow as the nib.
    double const x = 110 * std::cos(pi / 6), y = 110 * std::sin(pi / 6);
    auto const curve = MakeCounted<Geometry::CurveDbl>();
    curve->MoveTo({40, 40});
    curve->LineTo({40 + x, 40 + y});
    EXPECT_NEAR(GetDrawnArea(Path(curve), Lined(Nibbed(20, 0.2, pi / 6))), 110 * 4 + nib, 1);
    // A ring: twice the mean extent across it, by the perimeter of the ellipse over pi.
    double const ring = GetDrawnArea(Path(Geometry::MakeEllipse({40, 40, 140, 140})), Lined(Nibbed(12, 0.5, 1)));
    double perimeter = 0;
    for (int i = 0; i != 1000; ++i) {
        double const t = 2 * pi * (i + 0.5) / 1000;
        perimeter += std::hypot(6 * std::sin(t), 3 * std::cos(t)) * 2 * pi / 1000;
    }
    EXPECT_NEAR(ring, 2 * pi * 50 * perimeter / pi, 3);
}

TEST(Stroke, ANibTurnsAndStretchesWithAnObjectThatItsLineScalesWith) {
    auto const area = [](LineStyle const& style, Geometry::Transform const& transform, bool scales) {
        Paint paint = Lined(style);
        LineStyleDescriptor line(paint.lineStyle);
        line.SetScaleWithObject(scales);
        paint.lineStyle = line;
        RasterRenderTarget target(Size(200, 200));
        target.PushTransform(transform);
        target.DrawCurves(Path("M0 0H50"), paint, WindingOrderMode::NonZero);
        target.PopTransform();
        return Pixels(target).GetArea();
    };
    double const nib = pi * 10 * 2;
    Geometry::Transform const turned({0, -1, 100, 1, 0, 40}), mirrored({-1, 0, 150, 0, 1, 60}),
        doubled({2, 0, 40, 0, 2, 60}), wide({2, 0, 40, 0, 1, 60});
    LineStyle const flat = Nibbed(20, 0.2, 0), slanted = Nibbed(20, 0.2, pi / 4);
    EXPECT_NEAR(area(flat, turned, true), 50 * 4 + nib, 1);
    EXPECT_NEAR(area(flat, turned, false), 50 * 20 + nib, 1);
    EXPECT_NEAR(area(flat, doubled, true), 4 * (50 * 4 + nib), 2);
    EXPECT_NEAR(area(flat, wide, true), 2 * (50 * 4 + nib), 2);
    EXPECT_NEAR(area(slanted, mirrored, true), area(slanted, {{1, 0, 50, 0, 1, 60}}, true), 0.5);
}

TEST(Stroke, NibsThatAreNoneAreRound) {
    double const plain = GetDrawnArea(Path("M40 60H150"), Lined(Style(20)));
    for (double const roundness : {1.0, 7.0, 0.0, -3.0, std::nan(""), HUGE_VAL})
        EXPECT_EQ(GetDrawnArea(Path("M40 60H150"), Lined([&] {
                                   LineStyle style = Style(20);
                                   style.SetBrush({roundness, 1});
                                   return style;
                               }())),
                  plain)
            << roundness;
    LineStyle lost = Style(20);
    lost.SetBrush({0.5, std::nan("")});
    EXPECT_EQ(GetDrawnArea(Path("M40 60H150"), Lined(lost)), plain);
    EXPECT_GT(GetDrawnArea(Path("M40 60H150"), Lined(Nibbed(20, 1e-300, 0))), 0);
}

TEST(Stroke, JoinsHaveTheirAreas) {
    // A right angle: two strips of 80, less the square they share a half of, and the outer corner.
    auto const corner = Path("M40 40H120V120");
    double const strips = 2 * 80 * 20 - 10 * 10;
    EXPECT_NEAR(GetDrawnArea(corner, Lined(Style(20, LineCap::Butt, LineJoin::Mitre))), strips + 100, 0.02);
    EXPECT_NEAR(GetDrawnArea(corner, Lined(Style(20, LineCap::Butt, LineJoin::Bevel))), strips + 50, 0.02);
    EXPECT_NEAR(GetDrawnArea(corner, Lined(Style(20, LineCap::Butt, LineJoin::Round))), strips + pi * 25, 0.5);
}

TEST(Stroke, MitresEndAtTheirLimit) {
    // At a turn by 90 degrees the mitre is sqrt(2) weights long.
    auto const corner = Path("M40 40H120V120");
    double const mitred = GetDrawnArea(corner, Lined(Style(20, LineCap::Butt, LineJoin::Mitre, 1.4143)));
    double const bevelled = GetDrawnArea(corner, Lined(Style(20, LineCap::Butt, LineJoin::Mitre, 1.4142)));
    EXPECT_NEAR(mitred - bevelled, 50, 0.02);
}

// Handles of 0.01 to 0.1 units turn a curve at its very end, by up to a right angle.
TEST(Stroke, JoinsAndCapsFollowTheHandlesOfCurvesHoweverShort) {
    auto const draw = [](char const* path, LineStyle const& style) {
        RasterRenderTarget target(Size(200, 200));
        target.DrawCurves(Path(path), Lined(style), WindingOrderMode::NonZero);
        return Pixels(target);
    };
    for (char const* const path :
         {"M40 150C40 110 99.9 100 100 100C100.1 100 160 110 160 150", "M40 150C40 110 99.99 100 100 100L160 100"}) {
        // Smooth: nothing stands out above half the weight.
        auto const pixels = draw(path, Style(10, LineCap::Butt, LineJoin::Mitre, 20));
        EXPECT_EQ(pixels.Alpha(100, 94), 0) << path;
        EXPECT_EQ(pixels.Alpha(97, 99), 1) << path;
    }
    // The handles meet in a right angle, though both curves come from below: the mitre's tip lies sqrt(2) half weights
    // away.
    char const* const corner = "M90 150C90 120 99.95 100.05 100 100C100.05 100.05 110 120 110 150";
    EXPECT_GT(draw(corner, Style(20, LineCap::Butt, LineJoin::Mitre, 20)).Alpha(99, 87), 0.2f);
    EXPECT_EQ(draw(corner, Style(20, LineCap::Butt, LineJoin::Mitre, 20)).Alpha(99, 84), 0);
    // The line comes from the left and ends downwards: its square cap lies below, its butt cap is level.
    char const* const end = "M40 100C80 100 100 99.98 100 100";
    EXPECT_EQ(draw(end, Style(20, LineCap::Square)).Alpha(95, 109), 1);
    EXPECT_EQ(draw(end, Style(20, LineCap::Square)).Alpha(108, 108), 1);
    EXPECT_EQ(draw(end, Style(20, LineCap::Square)).Alpha(112, 100), 0);
    EXPECT_EQ(draw(end, Style(20)).Alpha(105, 96), 1);
    EXPECT_EQ(draw(end, Style(20)).Alpha(105, 102), 0);
}

TEST(Stroke, ClosedContoursHaveNoEnds) {
    EXPECT_NEAR(GetDrawnArea(Rectangle(50, 50, 150, 130), Lined(Style(10))), 110 * 90 - 90 * 70, 0.02);
    auto const circle = Path(Geometry::MakeEllipse({50, 50, 150, 150}));
    EXPECT_NEAR(GetDrawnArea(circle, Lined(Style(8))), pi * (54 * 54 - 46 * 46), 2);
}

TEST(Stroke, OneClosedLineThereAndBackIsOneStrip) {
    EXPECT_NEAR(GetDrawnArea(Path("M40 40L140 40Z"), Lined(Style(10, LineCap::Round, LineJoin::Bevel))), 1000, 0.02);
}

TEST(Stroke, LinesThatTurnBackAreStripsInEveryDirection) {
    for (int i = 0; i != 90; ++i) {
        double const angle = i * 0.0701, x = 90 + 60 * std::cos(angle), y = 90 + 60 * std::sin(angle);
        auto const curve = MakeCounted<Geometry::CurveDbl>();
        curve->MoveTo({90, 90});
        curve->LineTo({x, y});
        curve->Close();
        EXPECT_NEAR(GetDrawnArea(Path(curve), Lined(Style(3))), 60 * 3, 0.05) << i;
    }
}

TEST(Stroke, DotsAppearForRoundAndSquareCapsOnly) {
    for (char const* const dot : {"M50 50Z", "M50 50L50 50", "M50 50C50 50 50 50 50 50"}) {
        EXPECT_EQ(GetDrawnArea(Path(dot), Lined(Style(10))), 0) << dot;
        EXPECT_NEAR(GetDrawnArea(Path(dot), Lined(Style(10, LineCap::Square))), 100, 0.01) << dot;
        EXPECT_NEAR(GetDrawnArea(Path(dot), Lined(Style(10, LineCap::Round))), pi * 25, 0.5) << dot;
    }
    auto const start = MakeCounted<PolyCurveDbl>();
    auto const alone = MakeCounted<Geometry::CurveDbl>();
    alone->MoveTo({50, 50});
    start->AddCurve(alone);
    EXPECT_EQ(GetDrawnArea(start, Lined(Style(10, LineCap::Round))), 0);
}

TEST(Stroke, WideLinesAroundTightCurvesHaveNoHoles) {
    // The radius of the bend is below half the weight.
    Paint const paint = Lined(Style(40));
    RasterRenderTarget target(Size(200, 200));
    target.DrawCurves(Path("M60 150L60 100C60 85 80 85 80 100L80 150"), paint, WindingOrderMode::NonZero);
    Pixels const pixels(target);
    for (int y = 100; y != 149; ++y) {
        for (int x = 41; x != 99; ++x)
            EXPECT_EQ(pixels.Alpha(x, y), 1) << x << ' ' << y;
    }
}

TEST(Stroke, DashesHaveTheirLengthsAndPhase) {
    auto const line = Path("M10 50H190");
    EXPECT_NEAR(GetDrawnArea(line, Lined(Dashed(4, {5, 4}))), 4 * 100, 0.01);
    EXPECT_NEAR(GetDrawnArea(line, Lined(Dashed(4, {5}))), 4 * 100, 0.01);
    EXPECT_NEAR(GetDrawnArea(line, Lined(Dashed(4, {2, 1, 3, 1.5}))), 4 * 120, 0.01);
    RasterRenderTarget target(Size(200, 100));
    target.DrawCurves(line, Lined(Dashed(4, {5, 4}, 2.5)), WindingOrderMode::NonZero);
    target.DrawCurves(Path("M10 80H190"), Lined(Dashed(4, {5, 4}, -2)), WindingOrderMode::NonZero);
    Pixels const pixels(target);
    // 10 of the first dash's 20 units have been used up; a negative phase begins in a gap.
    EXPECT_EQ(pixels.Alpha(19, 50), 1);
    EXPECT_EQ(pixels.Alpha(20, 50), 0);
    EXPECT_EQ(pixels.Alpha(17, 80), 0);
    EXPECT_EQ(pixels.Alpha(18, 80), 1);
}

TEST(Stroke, ADashAcrossTheStartOfAClosedContourIsOne) {
    // 80 long, dashes of 20 and gaps of 20 from 10 into a dash: the corner at the start gets its mitre.
    Paint const paint = Lined(Dashed(4, {5, 5}, 2.5));
    RasterRenderTarget target(Size(60, 60));
    target.DrawCurves(Rectangle(20, 20, 40, 40), paint, WindingOrderMode::NonZero);
    Pixels const pixels(target);
    EXPECT_EQ(pixels.Alpha(18, 18), 1);
    EXPECT_NEAR(pixels.GetArea(), 4 * 40, 0.01);
    // All dash and no gap that is reached: closed as it was.
    EXPECT_NEAR(GetDrawnArea(Rectangle(20, 20, 40, 40), Lined(Dashed(4, {100, 5}))), 24 * 24 - 16 * 16, 0.01);
}

TEST(Stroke, DashesWithoutGapsHaveTheirOwnEnds) {
    // Each side is one dash, so that no corner is joined.
    Paint const paint = Lined(Dashed(10, {4, 0}));
    RasterRenderTarget target(Size(80, 80));
    target.DrawCurves(Rectangle(20, 20, 60, 60), paint, WindingOrderMode::NonZero);
    Pixels const pixels(target);
    EXPECT_EQ(pixels.Alpha(17, 17), 0);
    EXPECT_EQ(pixels.Alpha(22, 17), 1);
    EXPECT_NEAR(pixels.GetArea(), 4 * 400 - 4 * 25, 0.01);
    // A corner inside a dash has its mitre.
    EXPECT_NEAR(GetDrawnArea(Path("M20 20H50V60"), Lined(Dashed(10, {4, 0}))), 10 * 70, 0.01);
    EXPECT_NEAR(GetDrawnArea(Path("M20 50H60"), Lined(Dashed(10, {2, 0}, 0, LineCap::Square))), 10 * 50, 0.01);
}

TEST(Stroke, DotsOfNoLengthAreDashesToo) {
    EXPECT_NEAR(GetDrawnArea(Path("M10 50H190"), Lined(Dashed(10, {0, 2}, 0, LineCap::Round))), 10 * pi * 25, 5);
    EXPECT_EQ(GetDrawnArea(Path("M10 50H190"), Lined(Dashed(10, {0, 2}))), 0);
}

TEST(Stroke, PatternsThatSayNothingAreSolid) {
    double const solid = GetDrawnArea(Path("M10 50H190"), Lined(Style(4)));
    for (auto const& pattern : {std::vector<double>{}, {0, 0}, {-1, 2}, {NAN, 1}, {INFINITY, 1}, {5, 0}, {1e-9, 1e-9}})
        EXPECT_NEAR(GetDrawnArea(Path("M10 50H190"), Lined(Dashed(4, pattern))), solid, 1e-3);
}

TEST(Stroke, FarTooManyDashesBecomeSolidOrAreCutToWhatIsSeen) {
    // A hundred million dashes, of which 18 are in the picture.
    EXPECT_NEAR(GetDrawnArea(Path("M-1000000000 50H1000000000"), Lined(Dashed(4, {1, 1.5}))), 200 * 4 * 0.4, 12);
    EXPECT_GT(GetDrawnArea(Path("M-1e15 50H1e15"), Lined(Dashed(4, {1, 1.5}))), 100);
}

TEST(Stroke, AlignedLinesStayOnTheirSide) {
    Paint paint = Lined(Style(10));
    LineStyleDescriptor line(paint.lineStyle);
    line.SetStrokeAlignment(StrokeAlignment::Inside);
    paint.lineStyle = line;
    EXPECT_NEAR(GetDrawnArea(Rectangle(50, 50, 150, 130), paint), 100 * 80 - 80 * 60, 0.02);
    line.SetStrokeAlignment(StrokeAlignment::Outside);
    paint.lineStyle = line;
    EXPECT_NEAR(GetDrawnArea(Rectangle(50, 50, 150, 130), paint), 120 * 100 - 100 * 80, 0.02);
    // Open contours have no sides.
    EXPECT_NEAR(GetDrawnArea(Path("M50 50H150"), paint), 1000, 0.02);
    // Each contour of a shape for itself.
    EXPECT_NEAR(GetDrawnArea(Path("M20 20H60V60H20ZM100 100H150"), paint), 60 * 60 - 40 * 40 + 500, 0.02);
}

TEST(Stroke, WeightsScaleWithTheObjectOrDoNot) {
    Paint paint = Lined(Style(4));
    auto const draw = [&paint](Transform const& base, Transform const& object) {
        auto options = Size(200, 200);
        options.documentToPixels = base;
        RasterRenderTarget target(options);
        target.PushTransform(object);
        target.DrawCurves(Path("M10 10H30"), paint, WindingOrderMode::NonZero);
        return Pixels(target).GetArea();
    };
    EXPECT_NEAR(draw(Transform::Scale(2, 2), Transform::Scale(3, 3)), 120 * 24, 0.05);
    // The pen is stretched with its object.
    EXPECT_NEAR(draw({}, Transform::Scale(5, 2)), 100 * 8, 0.05);
    LineStyleDescriptor line(paint.lineStyle);
    line.SetScaleWithObject(false);
    paint.lineStyle = line;
    EXPECT_NEAR(draw(Transform::Scale(2, 2), Transform::Scale(3, 3)), 120 * 8, 0.05);
    EXPECT_NEAR(draw({}, Transform::Scale(5, 2)), 100 * 4, 0.05);
}

TEST(Stroke, EffectiveWeightFollowsTheFlag) {
    LineStyleDescriptor line(Consolidate(Style(4)));
    auto const transform = Transform::Scale(2, 8).GetParams();
    EXPECT_DOUBLE_EQ(line.GetEffectiveWeight(transform, 3), 16);
    line.SetScaleWithObject(false);
    EXPECT_DOUBLE_EQ(line.GetEffectiveWeight(transform, 3), 12);
    EXPECT_DOUBLE_EQ(LineStyleDescriptorConst().GetEffectiveWeight(transform, 3), 0);
}

TEST(Stroke, PressureChangesTheWidthAlongTheLine) {
    Paint paint = Lined(Style(20));
    LineStyleDescriptor line(paint.lineStyle);
    line.SetPressure(Path("M0 0L1 1")->GetCurves().front());
    paint.lineStyle = line;
    // A wedge from nothing to the full weight.
    EXPECT_NEAR(GetDrawnArea(Path("M20 100H180"), paint), 160 * 20 / 2.0, 2);
}

TEST(Stroke, ArrowHeadsTakeTheirPlaceAtTheEnds) {
    Paint paint = Lined(Style(5));
    LineStyleDescriptor line(paint.lineStyle);
    line.SetBackArrowHead(MakeCounted<LineStyleArrowHead>(Path("M0 0L-4 2L-4 -2Z"), 1.0, 1.0));
    paint.lineStyle = line;
    // The head is 20 by 20 and lies over the last 20 units of the line, without holes.
    EXPECT_NEAR(GetDrawnArea(Path("M20 100H180"), paint), 160 * 5 + 200 - 20 * 5 + (5 * 5) / 4.0, 8);
    line.SetArrowHeadsBeyondEnds(true);
    line.SetFrontArrowHead(MakeCounted<LineStyleArrowHead>(Path("M0 -2L4 -2L4 2L0 2Z"), 1.0, 1.0));
    paint.lineStyle = line;
    RasterRenderTarget target(Size(200, 200));
    target.DrawCurves(Path("M60 100H160"), paint, WindingOrderMode::NonZero);
    Pixels const pixels(target);
    EXPECT_EQ(pixels.Alpha(41, 92), 1);
    EXPECT_EQ(pixels.Alpha(61, 92), 0);
}

// Where there is no direction heads have none to point to: what is drawn stays within their reach.
TEST(Stroke, ArrowHeadsOfAPathOfNoLengthAreDrawnNearItOrNotAtAll) {
    Paint paint = Lined(Style(5));
    LineStyleDescriptor line(paint.lineStyle);
    for (bool const beyond : {false, true}) {
        line.SetFrontArrowHead(MakeCounted<LineStyleArrowHead>(Path("M0 0L-4 2L-4 -2Z"), 1.0, 1.0));
        line.SetBackArrowHead(MakeCounted<LineStyleArrowHead>(Path("M0 0L-4 2L-4 -2Z"), 1.0, 1.0));
        line.SetArrowHeadsBeyondEnds(beyond);
        paint.lineStyle = line;
        for (auto const* const path : {"M100 100", "M100 100H100", "M100 100C100 100 100 100 100 100", "M100 100Z"}) {
            RasterRenderTarget target(Size(200, 200));
            target.DrawCurves(Path(path), paint, WindingOrderMode::NonZero);
            Pixels const pixels(target);
            for (int y = 0; y != 200; ++y) {
                for (int x = 0; x != 200; ++x) {
                    bool const isNear = x >= 70 && x < 130 && y >= 70 && y < 130;
                    ASSERT_TRUE(isNear || pixels.Alpha(x, y) == 0) << path;
                }
            }
            EXPECT_LE(GetDrawnArea(Path(path), paint), 2 * 200 + 25) << path;
        }
    }
}

} // namespace
