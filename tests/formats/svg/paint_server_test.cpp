// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/paint_server.h"

#include <gtest/gtest.h>

using namespace Formats::Svg;

namespace {

struct Fixture {
    explicit Fixture(std::string const& content)
        : drawing("<svg xmlns='http://www.w3.org/2000/svg' width='200' height='100'>" + content + "</svg>", {}) {}
    Gradient Get(std::string_view id) {
        auto gradient = FindGradient(drawing, id);
        EXPECT_TRUE(gradient) << id;
        return gradient.value_or(Gradient{});
    }
    Drawing drawing;
};

} // namespace

TEST(SvgGradient, DefaultsAreThoseOfTheStandard) {
    Fixture fixture("<linearGradient id='l'/><radialGradient id='r' cx='10%'/>");
    Gradient const linear = fixture.Get("l"), radial = fixture.Get("r");
    EXPECT_EQ(linear.x2, (Length{100, true}));
    EXPECT_EQ(linear.units, Units::ObjectBoundingBox);
    EXPECT_EQ(linear.Resolve(linear.x2, 500), 1);
    EXPECT_EQ(radial.fx, (Length{10, true})) << "the focal point is the centre where it is not given";
    EXPECT_EQ(radial.r, (Length{50, true}));
    EXPECT_TRUE(linear.stops.empty());
}

TEST(SvgGradient, AttributesAndStopsComeFromTheRowOfReferences) {
    Fixture fixture(
        "<radialGradient id='a' r='5' spreadMethod='reflect' gradientTransform='scale(2)'><stop/></radialGradient>"
        "<linearGradient id='b' href='#a' x1='7' gradientUnits='userSpaceOnUse'/>"
        "<radialGradient id='c' href='#b' cx='9'/>");
    Gradient const gradient = fixture.Get("c");
    EXPECT_TRUE(gradient.isRadial);
    EXPECT_EQ(gradient.r, (Length{5, false}));
    EXPECT_EQ(gradient.spread, SpreadMethod::Reflect);
    EXPECT_EQ(gradient.units, Units::UserSpaceOnUse);
    EXPECT_EQ(gradient.transform, (Matrix{2, 0, 0, 0, 2, 0}));
    EXPECT_EQ(gradient.stops.size(), 1u);
}

TEST(SvgGradient, PlacesComeFromTemplatesOfTheSameKindOnly) {
    Fixture fixture(
        "<linearGradient id='a' x1='1' y1='2'/><radialGradient id='b' href='#a' y2='7' x1='8' r='3' cx='4'/>"
        "<linearGradient id='c' href='#b' cy='5'/><radialGradient id='d' href='#c'/>");
    Gradient const linear = fixture.Get("c"), radial = fixture.Get("d");
    EXPECT_EQ(linear.y2, (Length{0, true}));
    EXPECT_EQ(linear.x1, (Length{1, false})) << "the row goes on behind a template of the other kind";
    EXPECT_EQ(linear.y1, (Length{2, false}));
    EXPECT_EQ(radial.cx, (Length{4, false}));
    EXPECT_EQ(radial.cy, (Length{50, true}));
    EXPECT_EQ(radial.r, (Length{3, false}));
}

TEST(SvgGradient, StopsAreStyledAndTheirOffsetsNeverFall) {
    Fixture fixture("<style>.s{stop-color:#00f}</style><linearGradient id='l' color='red'>"
                    "<stop offset='20%' stop-color='currentColor' stop-opacity='.5'/>"
                    "<stop offset='10%' class='s'/><stop offset='x'/><stop offset='7' style='stop-color:#fff'/>"
                    "</linearGradient>");
    Gradient const gradient = fixture.Get("l");
    ASSERT_EQ(gradient.stops.size(), 4u);
    EXPECT_EQ(gradient.stops[0].colour, (Rgba{1, 0, 0, 0.5}));
    EXPECT_EQ(gradient.stops[1].colour, (Rgba{0, 0, 1, 1}));
    EXPECT_EQ(gradient.stops[1].offset, 0.2);
    EXPECT_EQ(gradient.stops[2].offset, 0.2);
    EXPECT_EQ(gradient.stops[3].offset, 1);
    EXPECT_EQ(fixture.drawing.GetReport().GetCount("invalid value of offset"), 1u);
}

TEST(SvgGradient, CyclesAndMissingTemplatesAreCounted) {
    Fixture fixture("<linearGradient id='a' href='#b'/><linearGradient id='b' href='#a'><stop/></linearGradient>"
                    "<linearGradient id='c' href='#c'/><linearGradient id='d' href='#none'/>");
    EXPECT_EQ(fixture.Get("a").stops.size(), 1u);
    fixture.Get("c");
    fixture.Get("d");
    EXPECT_EQ(fixture.drawing.GetReport().GetCount("circular reference"), 2u);
    EXPECT_EQ(fixture.drawing.GetReport().GetCount("missing target of linearGradient"), 1u);
}

TEST(SvgGradient, OtherElementsAreNoGradients) {
    Fixture fixture("<rect id='r'/>");
    EXPECT_FALSE(FindGradient(fixture.drawing, "r"));
    EXPECT_FALSE(FindGradient(fixture.drawing, "none"));
}

TEST(SvgPattern, AttributesAndContentComeFromTheRowOfReferences) {
    Fixture fixture("<pattern id='a' width='10' height='20' patternContentUnits='objectBoundingBox'><rect/></pattern>"
                    "<pattern id='b' href='#a' x='3' height='30' patternUnits='userSpaceOnUse' viewBox='0 0 5 5' "
                    "patternTransform='rotate(90)'/><rect fill='url(#b)'/>");
    Element const user = *fixture.drawing.GetRoot().GetFirstChild();
    auto const pattern = FindPattern(user, "b");
    ASSERT_TRUE(pattern);
    EXPECT_EQ(pattern->units, Units::UserSpaceOnUse);
    EXPECT_EQ(pattern->contentUnits, Units::ObjectBoundingBox);
    EXPECT_EQ(pattern->width, (Length{10, false}));
    EXPECT_EQ(pattern->height, (Length{30, false}));
    EXPECT_EQ(pattern->transform, (Matrix{0, -1, 0, 1, 0, 0}));
    EXPECT_EQ(pattern->content.GetFirstChild()->GetKind(), ElementKind::Rect);
}

TEST(SvgPattern, APatternPaintedWithItselfHasAnEnd) {
    Fixture fixture("<pattern id='a' width='10' height='20'><rect fill='url(#a)'/></pattern><rect fill='url(#a)'/>");
    auto const pattern = FindPattern(*fixture.drawing.GetRoot().GetFirstChild(), "a");
    ASSERT_TRUE(pattern);
    EXPECT_FALSE(FindPattern(*pattern->content.GetFirstChild(), "a"));
}

TEST(SvgPattern, WithoutAreaOrContentThereIsNone) {
    Fixture fixture(
        "<pattern id='a' width='10' height='0'><rect/></pattern><pattern id='b' width='1' height='1'/><g/>");
    Element const user = *fixture.drawing.GetRoot().GetFirstChild();
    EXPECT_FALSE(FindPattern(user, "a"));
    EXPECT_FALSE(FindPattern(user, "b"));
    EXPECT_FALSE(FindPattern(user, "none"));
}
