// SPDX-License-Identifier: Apache-2.0
#include "platform/geometry/curve_operations.h"
#include "platform/geometry/path_data.h"
#include "platform/geometry/shapes.h"
#include "platform/kernel/exception.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <random>

namespace {

using namespace Geometry;
using Kernel::Counted;
using Kernel::MakeCounted;

Counted<CurveDbl> RandomCurve(std::mt19937& random, int segments, bool closed) {
    std::uniform_real_distribution<double> coordinate(-100, 100);
    auto const point = [&] { return PointDbl{coordinate(random), coordinate(random)}; };
    auto const curve = MakeCounted<CurveDbl>();
    curve->MoveTo(point());
    for (int i = 0; i != segments; ++i) {
        if (random() % 2 == 0)
            curve->LineTo(point());
        else
            curve->CubicTo(point(), point(), point());
    }
    if (closed)
        curve->Close();
    return curve;
}

TEST(CurveDbl, GivesBackTheSegmentsInOrderAndByIndex) {
    std::mt19937 random(1);
    for (int const count : {1, 2, 63, 64, 65, 130, 1000}) {
        auto const curve = MakeCounted<CurveDbl>();
        std::vector<Segment> expected;
        curve->MoveTo({0, 0});
        PointDbl at{0, 0};
        for (int i = 0; i != count; ++i) {
            double const x = i + 1.0;
            if (random() % 3 == 0) {
                curve->CubicTo({x, 1}, {x, 2}, {x, 3});
                expected.push_back(Segment::Cubic(at, {x, 1}, {x, 2}, {x, 3}));
            } else {
                curve->LineTo({x, 3});
                expected.push_back(Segment::Line(at, {x, 3}));
            }
            at = {x, 3};
        }
        curve->Close();
        expected.push_back(Segment::Line(at, {0, 0}));
        ASSERT_EQ(curve->GetSegmentCount(), expected.size());
        std::vector<Segment> walked;
        for (Segment const& segment : curve->GetSegments())
            walked.push_back(segment);
        EXPECT_EQ(walked, expected);
        curve->ShrinkToFit();
        for (std::size_t i = 0; i != expected.size(); ++i)
            EXPECT_EQ(curve->GetSegment(i), expected[i]) << i;
    }
}

TEST(CurveDbl, TakesLessThanTwoHundredBytesForFourLines) {
    auto const curve = MakeRectangle({0, 0, 1, 1});
    EXPECT_EQ(curve->GetSegmentCount(), 4u);
    EXPECT_LT(curve->GetMemoryUse(), 200u);
}

TEST(CurveDbl, IsEqualHoweverItWasClosed) {
    auto const implicit = MakeCounted<CurveDbl>();
    implicit->MoveTo({0, 0});
    implicit->LineTo({1, 0});
    implicit->LineTo({1, 1});
    auto const explicitly = implicit->Clone();
    EXPECT_EQ(*implicit, *explicitly);
    explicitly->LineTo({0, 0});
    EXPECT_FALSE(*implicit == *explicitly);
    implicit->Close();
    explicitly->Close();
    EXPECT_EQ(*implicit, *explicitly);
    EXPECT_EQ(implicit->GetHash(), explicitly->GetHash());
    EXPECT_EQ(implicit->GetSegmentCount(), 3u);
}

TEST(CurveDbl, EqualValuesHaveEqualHashesAndOthersHardlyEver) {
    std::mt19937 random(2);
    std::vector<std::uint64_t> hashes;
    for (int i = 0; i != 1000; ++i) {
        auto const curve = RandomCurve(random, i % 7, i % 2 == 0);
        EXPECT_EQ(curve->GetHash(), curve->Clone()->GetHash());
        hashes.push_back(curve->GetHash());
    }
    std::sort(hashes.begin(), hashes.end());
    EXPECT_EQ(std::adjacent_find(hashes.begin(), hashes.end()), hashes.end());
    CurveDbl zero, minusZero;
    zero.MoveTo({0.0, 0.0});
    minusZero.MoveTo({-0.0, 0.0});
    EXPECT_EQ(zero, minusZero);
    EXPECT_EQ(zero.GetHash(), minusZero.GetHash());
}

TEST(CurveDbl, RefusesSegmentsWithoutAStartAndAfterClosing) {
    CurveDbl curve;
    EXPECT_THROW(curve.LineTo({1, 1}), Kernel::Exception);
    EXPECT_THROW(curve.Close(), Kernel::Exception);
    EXPECT_TRUE(curve.empty());
    curve.MoveTo({0, 0});
    EXPECT_THROW(curve.MoveTo({0, 0}), Kernel::Exception);
    curve.LineTo({1, 1});
    curve.Close();
    EXPECT_THROW(curve.LineTo({1, 1}), Kernel::Exception);
}

TEST(CurveDbl, RaisesQuadraticsExactly) {
    CurveDbl curve;
    curve.MoveTo({1, 2});
    curve.QuadraticTo({5, 8}, {9, -3});
    Segment const s = curve.GetSegment(0);
    for (double t = 0; t <= 1; t += 0.125) {
        double const u = 1 - t;
        EXPECT_NEAR(Evaluate(s, t).x, u * u * 1 + 2 * u * t * 5 + t * t * 9, 1e-14);
        EXPECT_NEAR(Evaluate(s, t).y, u * u * 2 + 2 * u * t * 8 + t * t * -3, 1e-14);
    }
}

TEST(CurveDbl, BoundsAreThoseOfDenseSamples) {
    std::mt19937 random(3);
    Transform const transform({0.7, -1.3, 5, 0.4, 2.1, -8});
    for (int i = 0; i != 300; ++i) {
        auto const curve = RandomCurve(random, 1 + i % 5, i % 2 == 0);
        RectDbl sampled{1e9, 1e9, -1e9, -1e9};
        for (Segment const& s : curve->GetSegments()) {
            for (int k = 0; k <= 2000; ++k) {
                PointDbl const p = transform.Apply(Evaluate(s, k / 2000.0));
                sampled = {std::min(sampled.left, p.x), std::min(sampled.top, p.y), std::max(sampled.right, p.x),
                           std::max(sampled.bottom, p.y)};
            }
        }
        auto const bounds = curve->GetBounds(transform);
        ASSERT_TRUE(bounds);
        for (auto const side : {&RectDbl::left, &RectDbl::top, &RectDbl::right, &RectDbl::bottom})
            EXPECT_NEAR((*bounds).*side, sampled.*side, 2e-3);
        EXPECT_LE(bounds->left, sampled.left + 1e-9);
        EXPECT_GE(bounds->bottom, sampled.bottom - 1e-9);
    }
}

TEST(CurveDbl, BoundsOfAHorizontalLineAreKeptInUnions) {
    PolyCurveDbl curves;
    curves.AddCurve(ReadPathData("M0 0H10").curves->GetCurves().front());
    curves.AddCurve(ReadPathData("M3 5V9").curves->GetCurves().front());
    EXPECT_EQ(curves.GetBounds(), (RectDbl{0, 0, 10, 9}));
    EXPECT_FALSE(PolyCurveDbl().GetBounds());
}

TEST(CurveDbl, BoundsOfUnfiniteCurvesAreEmpty) {
    double const infinity = std::numeric_limits<double>::infinity();
    for (double const bad : {infinity, -infinity, std::nan("")}) {
        CurveDbl curve;
        curve.MoveTo({0, 0});
        curve.CubicTo({1, 1}, {bad, 2}, {3, 3});
        EXPECT_FALSE(curve.GetBounds());
        EXPECT_FALSE(GetNearestPoint(PolyCurveDbl(), {bad, 0}));
    }
}

TEST(CurveDbl, AreaIsThatOfAFinePolygon) {
    std::mt19937 random(4);
    for (int i = 0; i != 100; ++i) {
        auto curve = RandomCurve(random, 4, true);
        PolyCurveDbl const curves(curve);
        double area = 0;
        for (auto const& polygon : ToPolygons(curves, 1e-6).polygons) {
            for (std::size_t k = 0; k != polygon.size(); ++k) {
                auto const a = polygon[k], b = polygon[(k + 1) % polygon.size()];
                area += (a.x * b.y - a.y * b.x) / 2;
            }
        }
        EXPECT_NEAR(curve->GetArea(), area, 2e-3);
        curve->Reverse();
        EXPECT_NEAR(curve->GetArea(), -area, 2e-3);
    }
    EXPECT_EQ(MakeRectangle({2, 3, 5, 7})->GetArea(), 12);
}

TEST(CurveDbl, LengthOfAParabolaAndOfACuspAreRight) {
    // y = x^2 from 0 to 1: sqrt(5) / 2 + asinh(2) / 4.
    CurveDbl parabola;
    parabola.MoveTo({0, 0});
    parabola.QuadraticTo({0.5, 0}, {1, 1});
    EXPECT_NEAR(parabola.GetLength(), std::sqrt(5.0) / 2 + std::asinh(2.0) / 4, 1e-12);
    // A cubic that runs straight out to its extreme and back.
    CurveDbl back;
    back.MoveTo({0, 0});
    back.CubicTo({4, 0}, {4, 0}, {0, 0});
    EXPECT_NEAR(back.GetLength(), 6, 1e-8);
}

TEST(CurveDbl, ReversingTwiceIsTheSame) {
    std::mt19937 random(5);
    for (int i = 0; i != 20; ++i) {
        auto const curve = RandomCurve(random, 6, i % 2 == 0);
        auto const copy = curve->Clone();
        copy->Reverse();
        EXPECT_FALSE(*copy == *curve);
        EXPECT_EQ(copy->GetStart(), curve->GetEnd());
        copy->Reverse();
        EXPECT_EQ(*copy, *curve);
    }
}

TEST(CurveOperations, PiecesOfASplitCoverTheWhole) {
    std::mt19937 random(6);
    for (int i = 0; i != 50; ++i) {
        Segment const s = RandomCurve(random, 1, false)->GetSegment(0);
        double const t = 0.1 + 0.8 * (i / 50.0);
        auto const [left, right] = Split(s, t);
        EXPECT_EQ(left.end, right.start);
        for (double u = 0; u <= 1; u += 0.25) {
            EXPECT_NEAR(Evaluate(left, u).x, Evaluate(s, u * t).x, 1e-12);
            EXPECT_NEAR(Evaluate(right, u).y, Evaluate(s, t + u * (1 - t)).y, 1e-12);
            EXPECT_NEAR(Evaluate(GetPiece(s, 0.2, 0.7), u).x, Evaluate(s, 0.2 + 0.5 * u).x, 1e-12);
        }
    }
}

TEST(CurveOperations, ParameterAtLengthInvertsLength) {
    std::mt19937 random(7);
    for (int i = 0; i != 40; ++i) {
        Segment const s = RandomCurve(random, 1, false)->GetSegment(0);
        double const total = GetLength(s);
        double const t = GetParameterAtLength(s, total * 0.3);
        EXPECT_NEAR(GetLength(Split(s, t).first), total * 0.3, total * 1e-7);
    }
}

TEST(CurveOperations, NearestPointBeatsEverySample) {
    std::mt19937 random(8);
    std::uniform_real_distribution<double> coordinate(-150, 150);
    for (int i = 0; i != 300; ++i) {
        auto curve = RandomCurve(random, 3, i % 2 == 0);
        PolyCurveDbl const curves(curve);
        PointDbl const p{coordinate(random), coordinate(random)};
        auto const nearest = GetNearestPoint(curves, p);
        ASSERT_TRUE(nearest);
        double sampled = 1e9;
        for (Segment const& s : curve->GetSegments()) {
            for (int k = 0; k <= 500; ++k)
                sampled = std::min(sampled, std::hypot(Evaluate(s, k / 500.0).x - p.x, Evaluate(s, k / 500.0).y - p.y));
        }
        EXPECT_LE(nearest->distance, sampled + 1e-9);
        EXPECT_GE(nearest->distance, sampled - 0.5);
        PointDbl const q = Evaluate(curve->GetSegment(nearest->segment), nearest->t);
        EXPECT_NEAR(std::hypot(q.x - p.x, q.y - p.y), nearest->distance, 1e-9);
    }
}

class MeasuringSink final : public FlattenSink {
public:
    void Begin(PointDbl start, bool) override { points.push_back(start); }
    void Vertex(PointDbl p, bool) override { points.push_back(p); }
    void End() override {}
    std::vector<PointDbl> points;
};

TEST(CurveOperations, FlatteningStaysWithinItsTolerance) {
    std::mt19937 random(9);
    for (double const tolerance : {1.0, 0.1, 0.01}) {
        for (int i = 0; i != 50; ++i) {
            auto const curve = RandomCurve(random, 1, false);
            MeasuringSink sink;
            ASSERT_TRUE(Flatten(*curve, {}, tolerance, {}, sink));
            PolyCurveDbl flat;
            PolyPolygonType<double> polygon({sink.points});
            flat.AddPolyPolygon(polygon);
            Segment const s = curve->GetSegment(0);
            for (int k = 0; k <= 400; ++k)
                EXPECT_LE(GetNearestPoint(flat, Evaluate(s, k / 400.0))->distance, tolerance);
        }
    }
}

TEST(CurveOperations, FlatteningOfGiganticCurvesIsBoundedByWhatIsVisible) {
    for (double const size : {1e6, 1e12, 1e100, 1e300}) {
        CurveDbl curve;
        curve.MoveTo({-size, -size});
        curve.CubicTo({size, -0.5 * size}, {-size, 0.5 * size}, {size, size});
        MeasuringSink sink;
        Flatten(curve, {}, 0.1, RectDbl{0, 0, 1000, 1000}, sink);
        EXPECT_LT(sink.points.size(), 100'000u) << size;
        EXPECT_EQ(sink.points.back(), (PointDbl{size, size}));
    }
}

TEST(CurveOperations, FlatteningLeavesOutContoursThatAreNotFinite) {
    PolyCurveDbl curves(RectDbl{0, 0, 1, 1});
    curves.AddCurve(MakeRectangle({0, 0, 1, 1}));
    auto const bad = MakeCounted<CurveDbl>();
    bad->MoveTo({0, 0});
    bad->LineTo({std::nan(""), 0});
    curves.AddCurve(bad);
    MeasuringSink sink;
    EXPECT_FALSE(Flatten(curves, {}, 0.1, {}, sink));
    EXPECT_EQ(sink.points.size(), 10u);
}

TEST(CurveOperations, ContainsTellsTheTwoWindingRulesApart) {
    PolyCurveDbl curves(RectDbl{0, 0, 10, 10});
    curves.AddCurve(MakeRectangle({2, 2, 8, 8}));
    EXPECT_TRUE(Contains(curves, {5, 5}, WindingOrderMode::NonZero));
    EXPECT_FALSE(Contains(curves, {5, 5}, WindingOrderMode::Alternating));
    EXPECT_TRUE(Contains(curves, {1, 5}, WindingOrderMode::Alternating));
    EXPECT_FALSE(Contains(curves, {11, 5}, WindingOrderMode::NonZero));
    auto circle = MakeEllipse({0, 0, 10, 10});
    PolyCurveDbl const round(circle);
    EXPECT_TRUE(Contains(round, {5, 0.001}, WindingOrderMode::NonZero));
    EXPECT_FALSE(Contains(round, {0.1, 0.1}, WindingOrderMode::NonZero));
}

TEST(CurveOperations, SplittingAClosedCurveOpensIt) {
    auto const square = MakeRectangle({0, 0, 10, 10});
    auto const [opened, nothing] = SplitCurve(*square, 1, 0.5);
    ASSERT_TRUE(opened);
    EXPECT_FALSE(nothing);
    EXPECT_FALSE(opened->IsClosed());
    EXPECT_EQ(opened->GetStart(), (PointDbl{10, 5}));
    EXPECT_EQ(opened->GetEnd(), (PointDbl{10, 5}));
    EXPECT_EQ(opened->GetLength(), 40);
    auto const [atCorner, none] = SplitCurve(*square, 0, 0);
    EXPECT_EQ(atCorner->GetLength(), 40);
    EXPECT_FALSE(none);

    auto const [before, after] = SplitCurve(*opened, 1, 0.5);
    ASSERT_TRUE(before && after);
    EXPECT_EQ(before->GetLength(), 10);
    EXPECT_EQ(after->GetLength(), 30);
}

TEST(PolyCurveDbl, ACopyIsNotMovedWithItsOriginal) {
    auto const original = MakeCounted<PolyCurveDbl>(RectDbl{0, 0, 10, 10});
    auto const copy = original->Clone();
    EXPECT_EQ(*original, *copy);
    original->ApplyTransform(Transform::Translation(5, 0));
    EXPECT_EQ(copy->GetBounds(), (RectDbl{0, 0, 10, 10}));
    EXPECT_EQ(original->GetBounds(), (RectDbl{5, 0, 15, 10}));
    EXPECT_FALSE(*original == *copy);
}

TEST(PolyCurveDbl, PolygonsBecomeClosedCurves) {
    PolyCurveDbl curves;
    curves.AddPolyPolygon(PolyPolygonType<double>({{{0, 0}, {1, 0}, {1, 1}}, {}, {{5, 5}}}));
    ASSERT_EQ(curves.GetCurves().size(), 2u);
    EXPECT_TRUE(curves.HasClosedCurve());
    EXPECT_EQ(curves.GetCurves()[0]->GetSegmentCount(), 3u);
    EXPECT_DOUBLE_EQ(curves.GetArea(), 0.5);
}

TEST(Shapes, ACircleOfCubicsLiesWithinItsStatedError) {
    auto const circle = MakeEllipse({-1, -1, 1, 1});
    double worst = 0;
    for (Segment const& s : circle->GetSegments()) {
        for (int k = 0; k <= 1000; ++k) {
            PointDbl const p = Evaluate(s, k / 1000.0);
            double const error = std::hypot(p.x, p.y) - 1;
            EXPECT_GT(error, -1e-15);
            worst = std::max(worst, error);
        }
    }
    EXPECT_NEAR(worst, 2.73e-4, 1e-6);
    EXPECT_EQ(circle->GetSegmentCount(), 4u);
}

TEST(Shapes, ArcsEndWhereTheyShould) {
    auto const arc = MakeArc({10, 20}, 4, 4, 0.3, 2.0, ArcClosing::Open);
    EXPECT_NEAR(arc->GetEnd().x, 10 + 4 * std::cos(2.3), 1e-14);
    EXPECT_NEAR(arc->GetEnd().y, 20 + 4 * std::sin(2.3), 1e-14);
    EXPECT_NEAR(arc->GetLength(), 8.0, 2e-3);
    auto const pie = MakeArc({0, 0}, 1, 1, 0, std::numbers::pi / 2, ArcClosing::Pie);
    EXPECT_TRUE(pie->IsClosed());
    EXPECT_NEAR(pie->GetArea(), std::numbers::pi / 4, 3e-4);
    EXPECT_THROW(MakeArc({0, 0}, 1, std::nan(""), 0, 1, ArcClosing::Open), Kernel::Exception);
}

TEST(Shapes, OverlappingCornersAreScaledTogether) {
    auto const pill = MakeRoundedRectangle({0, 0, 20, 10}, {{50, 50}, {50, 50}, {50, 50}, {50, 50}});
    EXPECT_NEAR(pill->GetArea(), 100 + std::numbers::pi * 25, 0.03);
    auto const square = MakeRoundedRectangle({0, 0, 20, 10}, {});
    EXPECT_EQ(*square, *MakeRectangle({0, 0, 20, 10}));
    EXPECT_THROW(MakeRoundedRectangle({0, 0, 20, 10}, {{-1, 1}, {}, {}, {}}), Kernel::Exception);
}

TEST(Shapes, PolygonsAndStarsHaveTheirAreas) {
    EXPECT_NEAR(MakeRegularPolygon({3, 3}, 2, 6, 0)->GetArea(), 6 * std::sqrt(3.0), 1e-13);
    auto const star = MakeStar({0, 0}, 2, 1, 5, 0.1);
    EXPECT_EQ(star->GetSegmentCount(), 10u);
    EXPECT_NEAR(std::fabs(star->GetArea()), 10 * 0.5 * 2 * 1 * std::sin(std::numbers::pi / 5), 1e-13);
    EXPECT_THROW(MakeStar({0, 0}, 1, 1, 1, 0), Kernel::Exception);
    EXPECT_THROW(MakeRegularPolygon({0, 0}, 1, 2, 0), Kernel::Exception);
}

} // namespace
