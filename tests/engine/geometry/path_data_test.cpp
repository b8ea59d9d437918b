// SPDX-License-Identifier: Apache-2.0
#include "platform/geometry/path_data.h"

#include "platform/geometry/curve_operations.h"
#include "platform/kernel/exception.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <random>

namespace {

using namespace Geometry;

std::string Rewritten(std::string_view text) {
    auto const data = ReadPathData(text);
    EXPECT_FALSE(data.error) << text << ": " << data.error->message;
    return WritePathData(*data.curves, 6);
}

struct Reading {
    char const* text;
    char const* same;
};

class PathDataReads : public testing::TestWithParam<Reading> {};

TEST_P(PathDataReads, WhatTheGrammarSays) { EXPECT_EQ(Rewritten(GetParam().text), GetParam().same); }

INSTANTIATE_TEST_SUITE_P(
    All, PathDataReads,
    testing::Values(Reading{"", ""}, Reading{"  \n ", ""}, Reading{"M0 0L1 2", "M0 0 1 2"},
                    Reading{"m1 1 2 2", "M1 1 3 3"}, Reading{"M1,1,2,3", "M1 1 2 3"}, Reading{"M0-1-2-3", "M0-1-2-3"},
                    Reading{"M.5.5.25.75", "M0.5 0.5 0.25 0.75"}, Reading{"M1e1 1E+1L2e-1 3", "M10 10 0.2 3"},
                    Reading{"M5.,6.L6.,7.", "M5 6 6 7"}, Reading{"M0 0H5V6H0Z", "M0 0H5V6H0Z"},
                    Reading{"M0 0h5v6h-5z", "M0 0H5V6H0Z"}, Reading{"M0 0H5 6 7", "M0 0H5 6 7"},
                    Reading{"M0 0L1 1L5 2L0 0Z", "M0 0 1 1 5 2Z"}, Reading{"M0 0l1 1zl3 5", "M0 0 1 1ZM0 0 3 5"},
                    Reading{"M0 0l1 1zz m1 1 l2 3", "M0 0 1 1ZM1 1 3 4"},
                    Reading{"M0 0C1 2 3 4 5 6s3 4 5 6", "M0 0C1 2 3 4 5 6 7 8 8 10 10 12"},
                    Reading{"M0 0S3 4 5 6", "M0 0C0 0 3 4 5 6"}, Reading{"M0 0Q3 3 6 0", "M0 0C2 2 4 2 6 0"},
                    Reading{"M0 0Q3 3 6 0T12 0", "M0 0C2 2 4 2 6 0 8-2 10-2 12 0"},
                    Reading{"M0 0T6 3", "M0 0C0 0 2 1 6 3"}, Reading{"M0 0T3 3 6 0", "M0 0C0 0 1 1 3 3 5 5 6 4 6 0"},
                    Reading{"M0 0A5 0 0 0 0 3 4", "M0 0 3 4"}, Reading{"M2 3A5 5 0 0 0 2 3L9 9", "M2 3 9 9"},
                    Reading{"M0 0M5 5L6 7", "M5 5 6 7"}, Reading{"M5 5Z", "M5 5Z"}, Reading{"M1 1", ""},
                    Reading{"M+1+2L+3-4", "M1 2 3-4"}, Reading{"M1e-400 1L2 3", "M0 1 2 3"},
                    Reading{"M0.000000000000000000001e-310 4L2 3", "M0 4 2 3"}));

struct Refusal {
    char const* text;
    std::size_t offset;
    char const* kept;
};

class PathDataRefuses : public testing::TestWithParam<Refusal> {};

TEST_P(PathDataRefuses, AndKeepsWhatStandsBefore) {
    auto const data = ReadPathData(GetParam().text);
    ASSERT_TRUE(data.error);
    EXPECT_EQ(data.error->offset, GetParam().offset) << data.error->message;
    EXPECT_EQ(WritePathData(*data.curves, 6), GetParam().kept);
}

INSTANTIATE_TEST_SUITE_P(
    All, PathDataRefuses,
    testing::Values(Refusal{"L1 1", 0, ""}, Refusal{"x", 0, ""}, Refusal{"M0", 2, ""},
                    Refusal{"M0 0L1 2 3", 10, "M0 0 1 2"}, Refusal{"M0 0L1 2,", 9, "M0 0 1 2"},
                    Refusal{"M0 0L1 2x", 8, "M0 0 1 2"}, Refusal{"M0 0 1 2C1 1 2 2 3", 18, "M0 0 1 2"},
                    Refusal{"M0 0L1 2A1 1 0 2 0 5 5", 15, "M0 0 1 2"}, Refusal{"M0 0L1 2Linf 3", 9, "M0 0 1 2"},
                    Refusal{"M0 0L1 2L1e999 3", 9, "M0 0 1 2"}, Refusal{"M0 0L1 2L- 3", 9, "M0 0 1 2"},
                    Refusal{"M0 0L1 2L. 3", 9, "M0 0 1 2"}, Refusal{"M0 0L1,,2", 7, ""},
                    Refusal{"M1e308 0l1e308 0", 9, ""}, Refusal{"M0 0L1 2M", 9, "M0 0 1 2"},
                    Refusal{"M0 0L1 2,L3 4", 9, "M0 0 1 2"}, Refusal{"M0 0L1 2Z5", 9, "M0 0 1 2Z"},
                    Refusal{"M0 0L1 2L0x10 3", 10, "M0 0 1 2"}));

TEST(PathData, NumbersAreTheNearestDoubles) {
    std::mt19937_64 random(7);
    auto const digits = [&random](std::size_t count) {
        std::string text;
        for (std::size_t i = 0; i != count; ++i)
            text += static_cast<char>('0' + random() % 10);
        return text;
    };
    for (int i = 0; i != 20'000; ++i) {
        std::string number = random() % 2 == 0 ? "-" : "";
        std::size_t const decimals = random() % 26;
        number += digits(random() % 12 + (decimals == 0 ? 1 : 0));
        if (decimals != 0 || random() % 4 == 0)
            number += "." + digits(decimals);
        if (number.find_first_of("0123456789") == std::string::npos)
            continue;
        if (random() % 5 == 0)
            number += "e" + std::to_string(static_cast<int>(random() % 40) - 20);
        auto const data = ReadPathData("M0 0L" + number + "," + number);
        ASSERT_FALSE(data.error) << number;
        double const expected = std::strtod(number.c_str(), nullptr) + 0.0;
        ASSERT_EQ(data.curves->GetCurves().front()->GetPoints()[1], (PointDbl{expected, expected})) << number;
    }
}

TEST(PathData, ArcFlagsNeedNoSeparators) {
    EXPECT_EQ(Rewritten("M0 0a1 1 0 0110 10"), Rewritten("M0 0a1 1 0 0 1 10 10"));
    EXPECT_EQ(Rewritten("M0 0a1,1,0,1,0,10,10"), Rewritten("M0 0a1 1 0 10 10 10"));
}

TEST(PathData, ArcsGoThroughTheRightPointOfFour) {
    // Half circles of radius 5 from (0, 0) to (10, 0): sweep decides the side.
    auto const below = ReadPathData("M0 0A5 5 0 0 0 10 0").curves;
    auto const above = ReadPathData("M0 0A5 5 0 0 1 10 0").curves;
    EXPECT_NEAR(below->GetBounds()->bottom, 5, 2e-3);
    EXPECT_NEAR(above->GetBounds()->top, -5, 2e-3);
    // Quarter and three quarters of one circle.
    EXPECT_NEAR(ReadPathData("M5 0A5 5 0 0 1 0 5").curves->GetLength(), 2.5 * M_PI, 2e-3);
    EXPECT_NEAR(ReadPathData("M5 0A5 5 0 1 1 0 5").curves->GetLength(), 7.5 * M_PI, 6e-3);
    // Radii too small are grown: the chord becomes the diameter.
    EXPECT_NEAR(ReadPathData("M0 0A1 1 0 0 0 10 0").curves->GetLength(), 5 * M_PI, 4e-3);
    // Every point of a turned ellipse lies on the unit circle that the ellipse is a map of.
    auto const turned = ReadPathData("M10 0A20 8 30 1 1 -3 4").curves;
    EXPECT_EQ(turned->GetCurves().front()->GetEnd(), (PointDbl{-3, 4}));
    turned->ApplyTransform(Transform::Scale(1 / 20.0, 1 / 8.0) * Transform::Rotation(-M_PI / 6));
    auto const& curve = *turned->GetCurves().front();
    PointDbl const p = curve.GetSegment(0).start, q = curve.GetSegment(1).start, r = curve.GetSegment(2).start;
    double const d = 2 * (p.x * (q.y - r.y) + q.x * (r.y - p.y) + r.x * (p.y - q.y));
    double const pp = p.x * p.x + p.y * p.y, qq = q.x * q.x + q.y * q.y, rr = r.x * r.x + r.y * r.y;
    PointDbl const centre{(pp * (q.y - r.y) + qq * (r.y - p.y) + rr * (p.y - q.y)) / d,
                          (pp * (r.x - q.x) + qq * (p.x - r.x) + rr * (q.x - p.x)) / d};
    for (Segment const& s : curve.GetSegments()) {
        for (double t = 0; t <= 1; t += 0.125)
            EXPECT_NEAR(std::hypot(Evaluate(s, t).x - centre.x, Evaluate(s, t).y - centre.y), 1, 3e-4);
    }
}

TEST(PathData, ShortestNumbersReadBackTheSame) {
    std::mt19937_64 random(1);
    for (int i = 0; i != 200; ++i) {
        PolyCurveDbl curves;
        auto const curve = Kernel::MakeCounted<CurveDbl>();
        auto const number = [&] {
            double value;
            do {
                value = std::bit_cast<double>(random());
            } while (!std::isfinite(value));
            return i % 2 == 0 ? value : static_cast<double>(static_cast<int>(random() % 2000)) / 16 - 50;
        };
        auto const point = [&] { return PointDbl{number(), number()}; };
        curve->MoveTo(point());
        for (int k = 0; k != 5; ++k) {
            curve->CubicTo(point(), point(), point());
            curve->LineTo(point());
            curve->LineTo({curve->GetPoints().back().x, number()});
            curve->LineTo({number(), curve->GetPoints().back().y});
            curve->LineTo(curve->GetPoints().back());
        }
        if (i % 3 == 0)
            curve->Close();
        curves.AddCurve(curve);
        auto const text = WritePathData(curves);
        auto const read = ReadPathData(text);
        ASSERT_FALSE(read.error) << text << read.error->message;
        EXPECT_EQ(*read.curves, curves) << text;
    }
}

TEST(PathData, WritingRefusesWhatIsNotFinite) {
    PolyCurveDbl const curves(RectDbl{0, 0, INFINITY, 1});
    EXPECT_THROW(WritePathData(curves), Kernel::Exception);
}

TEST(PathData, RoundsToTheWantedDigits) {
    auto const curves = ReadPathData("M1.23456-.00001L100 2.5").curves;
    EXPECT_EQ(WritePathData(*curves, 2), "M1.23 0 100 2.5");
    EXPECT_EQ(WritePathData(*curves, 0), "M1 0 100 2");
}

TEST(PathData, ReadsTheSameUnderACommaLocale) {
    auto const before = std::string(std::setlocale(LC_NUMERIC, nullptr));
    // The build makes it, as a machine need not have any locale but C.
    ASSERT_EQ(::setenv("LOCPATH", TEST_LOCALES, 1), 0);
    ASSERT_NE(std::setlocale(LC_NUMERIC, "de_DE.UTF-8"), nullptr);
    ASSERT_STREQ(std::localeconv()->decimal_point, ",");
    EXPECT_EQ(Rewritten("M1.5,2.5L3,4"), "M1.5 2.5 3 4");
    std::setlocale(LC_NUMERIC, before.c_str());
    ::unsetenv("LOCPATH");
}

TEST(PathData, GarbageIsRefusedOrReadButNeverMore) {
    std::mt19937 random(2);
    static constexpr char c_alphabet[] = "MmZzLlHhVvCcSsQqTtAa0123456789.,-+eE \n\0x";
    int refused = 0;
    for (int i = 0; i != 20000; ++i) {
        std::string text = i % 2 == 0 ? "M0 0" : "";
        for (std::size_t k = random() % 60; k != 0; --k)
            text += c_alphabet[random() % (sizeof c_alphabet - 1)];
        auto const data = ReadPathData(text);
        ASSERT_TRUE(data.curves);
        if (data.error) {
            ++refused;
            EXPECT_LE(data.error->offset, text.size());
        }
        for (auto const& curve : data.curves->GetCurves()) {
            for (PointDbl const& p : curve->GetPoints())
                ASSERT_TRUE(std::isfinite(p.x) && std::isfinite(p.y)) << text;
        }
    }
    EXPECT_GT(refused, 1000);
}

} // namespace
