// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/drawing.h"

#include <gtest/gtest.h>

using namespace Formats::Svg;

namespace {

// The fill of the element with id "t", as six hexadecimal digits.
std::string FillOf(std::string const& content) {
    Drawing drawing("<svg xmlns='http://www.w3.org/2000/svg' width='10' height='10'>" + content + "</svg>", {});
    Element const element = drawing.MakeElement(drawing.GetTree().FindId("t"), nullptr);
    Rgba const& colour = element.GetStyle().fill.colour;
    char text[8];
    std::snprintf(text, sizeof text, "%02x%02x%02x", static_cast<int>(colour.red * 255),
                  static_cast<int>(colour.green * 255), static_cast<int>(colour.blue * 255));
    return text;
}

std::string FillWith(std::string const& css, std::string const& content = "<g><rect id='t' class='a b'/></g>") {
    return FillOf("<style>" + css + "</style>" + content);
}

} // namespace

TEST(SvgStyleSheet, SimpleSelectorsMatch) {
    EXPECT_EQ(FillWith("rect{fill:#010203}"), "010203");
    EXPECT_EQ(FillWith("*{fill:#010203}"), "010203");
    EXPECT_EQ(FillWith(".b{fill:#010203}"), "010203");
    EXPECT_EQ(FillWith("#t{fill:#010203}"), "010203");
    EXPECT_EQ(FillWith("rect.a.b#t{fill:#010203}"), "010203");
    EXPECT_EQ(FillWith("svg|rect{fill:#010203}"), "010203");
    EXPECT_EQ(FillWith("circle,.c , rect {fill:#010203}"), "010203");
    EXPECT_EQ(FillWith(".c{fill:#010203}"), "000000");
    EXPECT_EQ(FillWith("rect.a.c{fill:#010203}"), "000000");
}

TEST(SvgStyleSheet, CombinatorsMatch) {
    EXPECT_EQ(FillWith("svg rect{fill:#010203}"), "010203");
    EXPECT_EQ(FillWith("svg>g>rect{fill:#010203}"), "010203");
    EXPECT_EQ(FillWith("svg>rect{fill:#010203}"), "000000");
    EXPECT_EQ(FillWith("rect:first-child{fill:#010203}"), "010203");
    EXPECT_EQ(FillWith("rect:first-child{fill:#010203}", "<g><g/><rect id='t'/></g>"), "000000");
    EXPECT_EQ(FillWith("g + rect{fill:#010203}", "<g><g/><rect id='t'/></g>"), "010203");
    EXPECT_EQ(FillWith(":root rect{fill:#010203}"), "010203");
}

TEST(SvgStyleSheet, ADescendantIsSoughtBeyondTheNearestCandidate) {
    EXPECT_EQ(FillWith(".x > g rect{fill:#010203}", "<g class='x'><g><g><rect id='t'/></g></g></g>"), "010203");
    EXPECT_EQ(FillWith(".x g .y > rect{fill:#010203}", "<g class='x'><g><g class='y'><rect id='t'/></g></g></g>"),
              "010203");
    EXPECT_EQ(FillWith(".x g g .y > rect{fill:#010203}", "<g class='x'><g><g class='y'><rect id='t'/></g></g></g>"),
              "000000");
}

TEST(SvgStyleSheet, AttributeSelectorsMatch) {
    std::string const rect = "<rect id='t' x='one two' y='en-GB'/>";
    for (std::string const selector :
         {"[x]", "[x='one two']", "[x~=two]", "[y|=en]", "[x^=one]", "[x$=\"two\"]", "[x*='e t']", "rect[x][y]"})
        EXPECT_EQ(FillWith(selector + "{fill:#010203}", rect), "010203") << selector;
    for (std::string const selector : {"[z]", "[x=one]", "[x~=on]", "[y|=e]", "[x^=two]", "[x$=one]", "[x*=three]"})
        EXPECT_EQ(FillWith(selector + "{fill:#010203}", rect), "000000") << selector;
}

TEST(SvgStyleSheet, SpecificityThenOrderDecides) {
    EXPECT_EQ(FillWith("#t{fill:#010101}.a.b{fill:#020202}rect{fill:#030303}"), "010101");
    EXPECT_EQ(FillWith(".a{fill:#010101}.b{fill:#020202}"), "020202");
    EXPECT_EQ(FillWith("g .a{fill:#010101}.b{fill:#020202}"), "010101");
    EXPECT_EQ(FillWith("rect{fill:#010101!important}#t{fill:#020202}"), "010101");
}

TEST(SvgStyleSheet, AttributesYieldToSheetsAndSheetsToTheStyleAttribute) {
    EXPECT_EQ(FillWith("rect{fill:#010101}", "<rect id='t' fill='#020202'/>"), "010101");
    EXPECT_EQ(FillWith("rect{fill:#010101}", "<rect id='t' style='fill:#020202'/>"), "020202");
    EXPECT_EQ(FillWith("rect{fill:#010101 ! important}", "<rect id='t' style='fill:#020202'/>"), "010101");
    EXPECT_EQ(FillWith("rect{fill:#010101!important}", "<rect id='t' style='fill:#020202!important'/>"), "020202");
}

TEST(SvgStyleSheet, AnInvalidDeclarationLeavesTheOneBelow) {
    EXPECT_EQ(FillWith("rect{fill:#010101}rect{fill:nonsense}"), "010101");
    EXPECT_EQ(FillWith("rect{fill:#010101;fill:}"), "010101");
}

TEST(SvgStyleSheet, CommentsQuotesAndEscapesAreRead) {
    EXPECT_EQ(FillWith("/* .a{} */rect/**/{/*x*/fill/* */:#010203/*}*/}"), "010203");
    EXPECT_EQ(FillWith("[id=\"}\"]{fill:#010203}rect{fill:#040506}"), "040506");
    EXPECT_EQ(FillWith("#\\31 x{fill:#010203}", "<rect id='1x'/><g id='t'/>"), "000000");
    EXPECT_EQ(FillWith(".\\31 x{fill:#010203}", "<rect id='t' class='1x'/>"), "010203");
    EXPECT_EQ(FillWith("<![CDATA[ rect > * , rect {fill:#010203} ]]>"), "010203");
    EXPECT_EQ(FillOf("<rect id='t' style='/*a*/fill:#010203/*b*/'/>"), "010203");
}

TEST(SvgStyleSheet, AtRulesAndOtherSelectorsAreLeftOutAndCounted) {
    Drawing drawing("<svg xmlns='http://www.w3.org/2000/svg' width='10' height='10'><style>@import url(x.css);"
                    "@media print{rect{fill:red}}@font-face{a:b} rect:hover{fill:red} rect ~ g{fill:red}"
                    "rect{fill:#010203}</style><rect id='t'/></svg>",
                    {});
    Element const rect = *drawing.GetRoot().GetFirstChild();
    EXPECT_NEAR(rect.GetStyle().fill.colour.blue, 3 / 255.0, 1e-12);
    EXPECT_EQ(drawing.GetReport().GetCount("style rule @import"), 1u);
    EXPECT_EQ(drawing.GetReport().GetCount("style rule @media"), 1u);
    EXPECT_EQ(drawing.GetReport().GetCount("style selector"), 2u);
}

TEST(SvgStyleSheet, MatchingEndsWhenItsStepsAreSpent) {
    ReadOptions options;
    options.limits.matchSteps = 100;
    std::string source = "<svg xmlns='http://www.w3.org/2000/svg' width='10' height='10'><style>";
    for (int i = 0; i < 1000; ++i)
        source += "rect{fill:red}";
    source += "</style><rect/><rect/></svg>";
    Drawing drawing(source, options);
    Element const first = *drawing.GetRoot().GetFirstChild();
    EXPECT_TRUE(first.GetNextSibling());
    EXPECT_EQ(drawing.GetReport().GetCount("style sheets that take too long to match"), 1u);
}

TEST(SvgStyleSheet, ManyRulesCostAnElementOnlyThoseThatNameIt) {
    ReadOptions options;
    options.limits.matchSteps = 10'000;
    std::string source = "<svg xmlns='http://www.w3.org/2000/svg' width='10' height='10'><style>";
    for (int i = 0; i < 20'000; ++i)
        source += ".c" + std::to_string(i) + "{fill:#010203}";
    source += "</style>";
    for (int i = 0; i < 100; ++i)
        source += "<rect class='c" + std::to_string(i * 7) + "'/>";
    Drawing drawing(source + "</svg>", options);
    for (auto rect = drawing.GetRoot().GetFirstChild(); rect; rect = rect->GetNextSibling())
        EXPECT_NEAR(rect->GetStyle().fill.colour.blue, 3 / 255.0, 1e-12);
    EXPECT_TRUE(drawing.GetReport().IsEmpty());
}
