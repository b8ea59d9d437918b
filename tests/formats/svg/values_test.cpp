// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/colour.h"
#include "formats/svg/scanner.h"
#include "formats/svg/transform.h"

#include <gtest/gtest.h>

using namespace Formats::Svg;

namespace {

void ExpectColour(std::string_view text, double red, double green, double blue, double alpha = 1) {
    auto const colour = ParseColour(text);
    ASSERT_TRUE(colour) << text;
    EXPECT_NEAR(colour->red, red, 1e-12) << text;
    EXPECT_NEAR(colour->green, green, 1e-12) << text;
    EXPECT_NEAR(colour->blue, blue, 1e-12) << text;
    EXPECT_NEAR(colour->alpha, alpha, 1e-12) << text;
}

void ExpectTransform(std::string_view text, Matrix const& expected) {
    auto const matrix = ParseTransform(text, {0, 0, 200, 100}, {});
    ASSERT_TRUE(matrix) << text;
    for (auto const member : {&Matrix::a, &Matrix::b, &Matrix::c, &Matrix::d, &Matrix::tx, &Matrix::ty})
        EXPECT_NEAR((*matrix).*member, expected.*member, 1e-12) << text;
}

} // namespace

TEST(SvgNumber, TakesWhatTheGrammarAllows) {
    EXPECT_EQ(ParseNumber("12"), 12);
    EXPECT_EQ(ParseNumber(" -.5 "), -0.5);
    EXPECT_EQ(ParseNumber("+1e2"), 100);
    EXPECT_EQ(ParseNumber("5."), 5);
    EXPECT_EQ(ParseNumber("1e-400"), 0);
    EXPECT_EQ(ParseNumber("0.000e999"), 0);
}

TEST(SvgNumber, RefusesGarbageInfinityAndOverflow) {
    for (std::string_view const text : {"", ".", "-", "1e", "1,5", "--5", "NaN", "nan", "inf", "-Infinity", "1e400",
                                        "3.5e38", "0x10", "1 2", "e5", "+-1"})
        EXPECT_FALSE(ParseNumber(text)) << text;
}

TEST(SvgNumber, UnitIntervalIsClampedAndTakesPercentages) {
    EXPECT_EQ(ParseUnitInterval("50%"), 0.5);
    EXPECT_EQ(ParseUnitInterval("-3"), 0);
    EXPECT_EQ(ParseUnitInterval("7"), 1);
    EXPECT_FALSE(ParseUnitInterval("--5"));
}

TEST(SvgLength, UnitsAreThoseOf96PixelsAnInch) {
    FontSizes const sizes{20, 10};
    auto pixels = [&](std::string_view text) { return ParseLength(text, sizes).value_or(Length{-1, true}).value; };
    EXPECT_DOUBLE_EQ(pixels("1in"), 96);
    EXPECT_DOUBLE_EQ(pixels("72pt"), 96);
    EXPECT_DOUBLE_EQ(pixels("6pc"), 96);
    EXPECT_DOUBLE_EQ(pixels("25.4mm"), 96);
    EXPECT_DOUBLE_EQ(pixels("2.54cm"), 96);
    EXPECT_DOUBLE_EQ(pixels("101.6Q"), 96);
    EXPECT_DOUBLE_EQ(pixels("2EM"), 40);
    EXPECT_DOUBLE_EQ(pixels("2ex"), 20);
    EXPECT_DOUBLE_EQ(pixels("2rem"), 20);
    EXPECT_EQ(ParseLength("12%", sizes), (Length{12, true}));
    EXPECT_EQ((Length{12, true}).Resolve(50), 6);
}

TEST(SvgLength, UnknownUnitsAndFunctionsAreRefused) {
    for (std::string_view const text : {"12q2", "5 px", "calc(1px + 2em)", "1e39in", "", "px"})
        EXPECT_FALSE(ParseLength(text, {})) << text;
}

TEST(SvgColour, HexadecimalFormsOfEveryLength) {
    ExpectColour("#f80", 1, 136 / 255.0, 0);
    ExpectColour("#f808", 1, 136 / 255.0, 0, 136 / 255.0);
    ExpectColour(" #FF8800 ", 1, 136 / 255.0, 0);
    ExpectColour("#ff880080", 1, 136 / 255.0, 0, 128 / 255.0);
    for (std::string_view const text : {"#", "#f", "#ff", "#fffff", "#ggg", "#fffffffff", "#fff x"})
        EXPECT_FALSE(ParseColour(text)) << text;
}

TEST(SvgColour, FunctionsWithCommasSpacesAndPercentages) {
    ExpectColour("rgb(255, 0, 51)", 1, 0, 0.2);
    ExpectColour("rgb(100%,0%,20%)", 1, 0, 0.2);
    ExpectColour("rgba(0,127,0,2)", 0, 127 / 255.0, 0, 1);
    ExpectColour("rgb(0 0 255 / 50%)", 0, 0, 1, 0.5);
    ExpectColour("rgb(300,-5,0)", 1, 0, 0);
    ExpectColour("hsl(120,100%,25%)", 0, 0.5, 0);
    ExpectColour("hsla(-240, 100%, 50%, 0.25)", 0, 1, 0, 0.25);
    ExpectColour("hsl(0.5turn 100% 50%)", 0, 1, 1);
    for (std::string_view const text : {"rgb(1,2)", "rgb(1,2,3", "rgb(1,2,3,4,5)", "hsl(red,1%,1%)", "rgb()"})
        EXPECT_FALSE(ParseColour(text)) << text;
}

TEST(SvgColour, NamesWithoutRegardToCase) {
    ExpectColour("DarkSlateGrey", 0x2f / 255.0, 0x4f / 255.0, 0x4f / 255.0);
    ExpectColour("rebeccapurple", 0.4, 0.2, 0.6);
    ExpectColour("transparent", 0, 0, 0, 0);
    EXPECT_FALSE(ParseColour("noir"));
    EXPECT_FALSE(ParseColour("currentColor"));
}

TEST(SvgColour, AnIccColourIsSteppedOver) {
    ExpectColour("#CD853F icc-color(acmecmyk, 0.11, 0.48, 0.83, 0.00)", 0xcd / 255.0, 0x85 / 255.0, 0x3f / 255.0);
    EXPECT_FALSE(ParseColour("#CD853F url(#x)"));
}

TEST(SvgTransform, ListsMultiplyFromTheLeft) {
    ExpectTransform("translate(10) scale(2,3)", {2, 0, 10, 0, 3, 0});
    ExpectTransform(" matrix ( 1 2,3-4 5 6 ) ", {1, 3, 5, 2, -4, 6});
    ExpectTransform("rotate(90)", {0, -1, 0, 1, 0, 0});
    ExpectTransform("rotate(90 10 20)", {0, -1, 30, 1, 0, 10});
    ExpectTransform("skewX(45),skewY(0)", {1, 1, 0, 0, 1, 0});
    ExpectTransform("", {});
    ExpectTransform("none", {});
}

TEST(SvgTransform, FunctionsOfStyleSheetsTakeUnits) {
    ExpectTransform("translate(10%, 10%)", {1, 0, 20, 0, 1, 10});
    ExpectTransform("translateX(1in) rotate(0.25turn)", {0, -1, 96, 1, 0, 0});
    ExpectTransform("scaleY(50%)", {1, 0, 0, 0, 0.5, 0});
}

TEST(SvgTransform, BrokenListsAreRefused) {
    for (std::string_view const text :
         {"translate(1", "translate(1,2,3)", "matrix(1 2 3 4 5)", "wobble(1)", "scale(1px)", "rotate(1,2)", "1 2",
          "translate(1e400)",
          "scale(1e38) scale(1e38) scale(1e38) scale(1e38) scale(1e38) scale(1e38) scale(1e38) "
          "scale(1e38) scale(1e38)"})
        EXPECT_FALSE(ParseTransform(text, {0, 0, 1, 1}, {})) << text;
}

TEST(SvgTransform, OriginTakesKeywordsInBothOrders) {
    Viewport const viewport{10, 20, 200, 100};
    using Point = Kernel::PointT<double>;
    EXPECT_EQ(ParseTransformOrigin("center", viewport, {}), (Point{110, 70}));
    EXPECT_EQ(ParseTransformOrigin("top left", viewport, {}), (Point{10, 20}));
    EXPECT_EQ(ParseTransformOrigin("right 25%", viewport, {}), (Point{210, 45}));
    EXPECT_EQ(ParseTransformOrigin("5px 6px", viewport, {}), (Point{5, 6}));
    EXPECT_FALSE(ParseTransformOrigin("left right", viewport, {}));
    EXPECT_FALSE(ParseTransformOrigin("", viewport, {}));
}

TEST(SvgViewBox, TakesFourNumbersAndNoNegativeSize) {
    EXPECT_EQ(ParseViewBox("0,0 10 20"), (Viewport{0, 0, 10, 20}));
    EXPECT_EQ(ParseViewBox(" -1-2 0 0"), (Viewport{-1, -2, 0, 0}));
    EXPECT_FALSE(ParseViewBox("0 0 10"));
    EXPECT_FALSE(ParseViewBox("0 0 10 -1"));
    EXPECT_FALSE(ParseViewBox("0 0 10 10 10"));
}

TEST(SvgAspectRatio, FitsInsideAroundAndWithoutRatio) {
    Viewport const from{0, 0, 10, 10}, to{0, 0, 40, 20};
    auto fit = [&](std::string_view text) { return FitTransform(from, to, ParseAspectRatio(text).value()); };
    EXPECT_EQ(fit("xMidYMid"), (Matrix{2, 0, 10, 0, 2, 0}));
    EXPECT_EQ(fit("xMaxYMid meet"), (Matrix{2, 0, 20, 0, 2, 0}));
    EXPECT_EQ(fit("xMidYMax slice"), (Matrix{4, 0, 0, 0, 4, -20}));
    EXPECT_EQ(fit("none"), (Matrix{4, 0, 0, 0, 2, 0}));
    EXPECT_FALSE(ParseAspectRatio("xMidyMid"));
    EXPECT_FALSE(ParseAspectRatio("xMidYMid cover"));
}
