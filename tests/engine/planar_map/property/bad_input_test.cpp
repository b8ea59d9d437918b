// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/planar_map/property/random_shapes.h"

#include "platform/kernel/exception.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <thread>

using namespace MapTests;
using Result = Graph::Result;

namespace {

constexpr double c_infinity = std::numeric_limits<double>::infinity();
constexpr double c_nan = std::numeric_limits<double>::quiet_NaN();

std::pair<Kernel::Counted<Graph>, Result> TryBuild(std::vector<Graph::Input> const& inputs) {
    return Graph::Create(inputs, Graph::BoolOpMethod::Divide, false, false, nullptr, nullptr, true);
}

class CountingReporter final : public Graph::ProgressReporter {
public:
    void Progress(float value) override {
        ++calls;
        EXPECT_GE(value, last);
        last = value;
        if (abortAt != nullptr && value >= abortFrom)
            *abortAt = true;
    }
    int calls = 0;
    float last = 0;
    bool* abortAt = nullptr;
    float abortFrom = 2;
};

} // namespace

TEST(BadInput, NothingToBuildFromIsToldApart) {
    EXPECT_EQ(TryBuild({}).second, Result::NoCurves);
    EXPECT_EQ(TryBuild({Graph::Input{}}).second, Result::NoCurves);
    Graph::Input null;
    null.curves.push_back({nullptr, {}});
    EXPECT_EQ(TryBuild({null}).second, Result::NoCurves);
    EXPECT_EQ(TryBuild({MakeInput(Kernel::MakeCounted<Geometry::CurveDbl>())}).second, Result::NoCurves);
    EXPECT_EQ(TryBuild({Polyline({{1, 1}}, true, true)}).second, Result::NoCurves);
    EXPECT_EQ(TryBuild({Polyline({{1, 1}, {1, 1}, {1, 1}}, true, true)}).second, Result::NoCurves);
    EXPECT_EQ(TryBuild({Polyline({{c_nan, 0}, {1, 1}, {2, 0}}, true, true)}).second, Result::NotRepresentable);
    EXPECT_EQ(TryBuild({Polyline({{0, 0}, {c_infinity, 1}, {2, 0}}, true, true)}).second, Result::NotRepresentable);
    EXPECT_EQ(TryBuild({Polyline({{0, 0}, {1e300, 1}, {2, 0}}, true, true)}).second, Result::NotRepresentable);
    for (auto const& inputs : {std::vector<Graph::Input>{}, {Polyline({{c_nan, 0}, {1, 1}}, true, true)}})
        EXPECT_FALSE(TryBuild(inputs).first);
}

TEST(BadInput, ContoursThatAreNotFiniteAreLeftOut) {
    auto shape = Rectangle(0, 0, 10, 10);
    shape.curves.push_back(Polyline({{2, 2}, {c_nan, 3}, {4, 4}}, true, true).curves[0]);
    auto const division = Divide({shape, Polyline({{5, -5}, {5, c_infinity}}, false, false)});
    EXPECT_EQ(division.TotalPieces(), 1u);
    EXPECT_DOUBLE_EQ(division.TotalArea(), 100);
    auto transformed = Rectangle(0, 0, 1, 1);
    transformed.transform = Geometry::Transform({c_nan, 0, 0, 0, 1, 0});
    EXPECT_DOUBLE_EQ(Divide({Rectangle(0, 0, 10, 10), transformed}).TotalArea(), 100);
}

TEST(BadInput, SingularTransformsLeaveLinesAndPoints) {
    auto flat = Circle(0, 0, 5), point = Circle(0, 0, 5);
    flat.transform = Geometry::Transform::Scale(1, 0);
    point.transform = Geometry::Transform::Scale(0, 0);
    auto const division = Divide({Rectangle(-20, -20, 20, 20), flat, point});
    EXPECT_NEAR(division.TotalArea(), 1600, 1e-9);
    EXPECT_EQ(division.AreaOf(1), 0);
}

TEST(BadInput, AMillionCoincidentPoints) {
    auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
    curve->MoveTo({3, 3});
    curve->Reserve(1000010, 1000010);
    for (int i = 0; i != 1000000; ++i)
        curve->LineTo({3, 3});
    curve->LineTo({8, 3});
    curve->LineTo({8, 8});
    curve->Close();
    auto const division = Divide({Rectangle(0, 0, 10, 10), MakeInput(curve)});
    EXPECT_EQ(division.TotalPieces(), 2u);
    EXPECT_DOUBLE_EQ(division.AreaOf(1), 12.5);
}

TEST(BadInput, AMillionSegmentsBackAndForthOnOneLine) {
    auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
    curve->MoveTo({0, 0});
    curve->Reserve(1000010, 1000010);
    for (int i = 0; i != 500000; ++i) {
        curve->LineTo({7, 5});
        curve->LineTo({0, 0});
    }
    auto const division = Divide({MakeInput(curve, false)});
    ASSERT_EQ(division.LineCount(0), 1u);
    EXPECT_NEAR(division.LineLength(0), std::sqrt(74.0), 1e-12);
}

TEST(BadInput, ATinyShapeInAHugeSpread) {
    for (bool const nested : {false, true}) {
        auto const huge = nested ? Rectangle(-5e8, -5e8, 5e8, 5e8) : Rectangle(1e9 - 10, 0, 1e9, 10);
        auto const division = Divide({huge, Rectangle(0, 0, 1e-3, 1e-3), Rectangle(5e-4, 5e-4, 1.5e-3, 1.5e-3)});
        EXPECT_EQ(division.TotalPieces(), 4u);
        EXPECT_NEAR(division.AreaOf(1), 0.75e-6, 1e-8);
        EXPECT_NEAR(division.AreaOf(2), 1e-6, 1e-8);
    }
}

TEST(BadInput, ManyLinesThroughOnePoint) {
    std::vector<Graph::Input> inputs;
    for (int i = 0; i != 1000; ++i) {
        double const angle = i * 3.14159 / 1000;
        double const x = 100 * std::cos(angle), y = 100 * std::sin(angle);
        inputs.push_back(Polyline({{-x, -y}, {x, y}}, false, false));
    }
    auto const division = Divide(inputs);
    // Lines at small angles cross some hundred grid units beside the point when their ends are rounded by one.
    std::size_t lines = 0;
    double length = 0;
    for (auto const& [input, result] : division.pieces) {
        for (auto const& line : result.lines) {
            lines += line->GetLength() > 1e-5 ? 1 : 0;
            length += line->GetLength();
        }
    }
    EXPECT_EQ(lines, 2000u);
    EXPECT_NEAR(length, 200000, 1e-3);
}

TEST(BadInput, DegenerateCubics) {
    auto const cubic = [](PointDbl a, PointDbl b, PointDbl c, PointDbl d) {
        auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
        curve->MoveTo(a);
        curve->CubicTo(b, c, d);
        return curve;
    };
    // A cusp, a loop, one that turns back on its own line, one with both controls on its ends, one that is a point.
    std::vector<Graph::Input> inputs = {Rectangle(0, 0, 100, 100)};
    for (auto const& curve :
         {cubic({20, 20}, {80, 80}, {20, 80}, {80, 20}), cubic({50, 10}, {120, 90}, {-20, 90}, {50, 10}),
          cubic({30, 50}, {120, 50}, {-20, 50}, {70, 50}), cubic({5, 5}, {5, 5}, {95, 95}, {95, 95}),
          cubic({50, 50}, {50, 50}, {50, 50}, {50, 50})})
        inputs.push_back(MakeInput(curve));
    auto const division = Divide(inputs);
    EXPECT_NEAR(division.TotalArea(), 10000, 1e-6);
    EXPECT_GT(division.TotalPieces(), 3u);
}

TEST(BadInput, RandomBitsAsCoordinates) {
    for (std::uint32_t seed = 0; seed != 300; ++seed) {
        std::mt19937_64 random(seed);
        std::vector<Graph::Input> inputs;
        for (int i = 0; i != 4; ++i) {
            auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
            auto const number = [&]() -> double {
                switch (random() % 8) {
                case 0:
                    return std::ldexp(1.0, static_cast<int>(random() % 400) - 200);
                case 1:
                    return -std::ldexp(static_cast<double>(random() % 1024), static_cast<int>(random() % 60) - 30);
                case 2:
                    return random() % 50 == 0 ? c_nan : 0;
                case 3:
                    return std::numeric_limits<double>::denorm_min();
                default:
                    return static_cast<double>(random() % 16);
                }
            };
            auto const point = [&] {
                double const x = number();
                return PointDbl{x, number()};
            };
            curve->MoveTo(point());
            for (int k = 0; k != 4; ++k) {
                if (random() % 2 != 0)
                    curve->LineTo(point());
                else
                    curve->CubicTo(point(), point(), point());
            }
            if (random() % 2 != 0)
                curve->Close();
            inputs.push_back(MakeInput(curve, random() % 3 != 0));
        }
        auto const [graph, result] = TryBuild(inputs);
        ASSERT_EQ(static_cast<bool>(graph), result == Result::Success);
        ASSERT_NE(result, Result::Inconsistent) << "seed " << seed;
        if (!graph)
            continue;
        auto const division = Divide(*graph);
        for (auto const& [input, pieces] : division.pieces) {
            for (auto const& area : pieces.areas)
                EXPECT_TRUE(std::isfinite(area->GetArea()));
        }
    }
}

TEST(Abort, SetBeforehandThrows) {
    bool const abort = true;
    EXPECT_THROW(
        Graph::Create({Rectangle(0, 0, 1, 1)}, Graph::BoolOpMethod::Divide, false, false, &abort, nullptr, true),
        Kernel::AbortException);
}

TEST(Abort, SetDuringTheBuildThrows) {
    RandomShapes random(5);
    std::vector<Graph::Input> inputs;
    for (int i = 0; i != 60; ++i)
        inputs.push_back(random.RandomCircle());
    for (float const from : {0.0f, 0.05f, 0.3f, 0.6f, 0.9f}) {
        bool abort = false;
        auto reporter = Kernel::MakeCounted<CountingReporter>();
        reporter->abortAt = &abort;
        reporter->abortFrom = from;
        EXPECT_THROW(Graph::Create(inputs, Graph::BoolOpMethod::Divide, false, false, &abort, reporter, true),
                     Kernel::AbortException)
            << from;
    }
}

TEST(Abort, SetFromAnotherThreadThrows) {
    RandomShapes random(6);
    std::vector<Graph::Input> inputs;
    for (int i = 0; i != 100; ++i)
        inputs.push_back(random.RandomScribble(40));
    bool abort = false;
    std::thread other([&] { std::atomic_ref<bool>(abort).store(true); });
    EXPECT_THROW(
        {
            for (;;)
                Graph::Create(inputs, Graph::BoolOpMethod::Divide, false, false, &abort, nullptr, true);
        },
        Kernel::AbortException);
    other.join();
}

TEST(Abort, DivideThrowsToo) {
    bool abort = false;
    auto const graph = Graph::Create({Rectangle(0, 0, 10, 10), Circle(5, 5, 5)}, Graph::BoolOpMethod::Divide, false,
                                     false, &abort, nullptr, true)
                           .first;
    abort = true;
    std::map<unsigned, Graph::DividedResult> results;
    EXPECT_THROW(graph->Divide(results, true), Kernel::AbortException);
    EXPECT_THROW(graph->GetEnabledOutline(true, true, true, false), Kernel::AbortException);
}

TEST(Progress, GrowsFromNothingToOne) {
    RandomShapes random(7);
    std::vector<Graph::Input> inputs;
    for (int i = 0; i != 60; ++i)
        inputs.push_back(random.RandomCircle());
    auto reporter = Kernel::MakeCounted<CountingReporter>();
    ASSERT_TRUE(Graph::Create(inputs, Graph::BoolOpMethod::Divide, false, false, nullptr, reporter, true).first);
    EXPECT_GE(reporter->calls, 5);
    EXPECT_LE(reporter->calls, 101);
    EXPECT_FLOAT_EQ(reporter->last, 1);
}
