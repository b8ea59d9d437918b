// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/drawing.h"
#include "platform/kernel/exception.h"

#include <gtest/gtest.h>

using namespace Formats::Svg;

namespace {

std::string Wrap(std::string const& content, std::string const& attributes = "width='100' height='50'") {
    return "<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' " + attributes + ">" +
           content + "</svg>";
}

std::string Refusal(std::string const& source, ReadOptions const& options = {}) {
    try {
        Drawing drawing(source, options);
        // Walk everything, for some limits are met only then.
        std::vector<Element> row{drawing.GetRoot()};
        while (!row.empty()) {
            if (auto const child = row.back().GetFirstChild()) {
                row.push_back(*child);
                continue;
            }
            std::optional<Element> next;
            while (!row.empty() && !next) {
                next = row.back().GetNextSibling();
                row.pop_back();
            }
            if (next)
                row.push_back(*next);
        }
    } catch (Kernel::Exception const& refused) {
        return refused.what();
    }
    return "accepted";
}

// A drawing with one element to look at, the first child of the root.
struct Single {
    explicit Single(std::string const& content, std::string const& attributes = "width='100' height='50'")
        : drawing(Wrap(content, attributes), {}), element(*drawing.GetRoot().GetFirstChild()) {}
    Drawing drawing;
    Element element;
};

std::string Outline(Drawing& drawing) {
    std::string out;
    std::vector<Element> row{drawing.GetRoot()};
    out += "svg";
    while (!row.empty()) {
        auto next = row.back().GetFirstChild();
        if (next) {
            out += "(";
        } else {
            while (!row.empty() && !next) {
                next = row.back().GetNextSibling();
                row.pop_back();
                if (!next && !row.empty())
                    out += ")";
            }
            if (next)
                out += " ";
        }
        if (next) {
            out += GetElementName(next->GetKind());
            row.push_back(*next);
        }
    }
    return out;
}

} // namespace

TEST(SvgDrawing, PageSizeComesFromSizeOrViewBoxOrBoth) {
    auto size = [](std::string const& attributes) { return Drawing(Wrap("", attributes), {}).GetPageSize(); };
    using Size = Kernel::SizeT<double>;
    EXPECT_EQ(size("width='1in' height='50'"), (Size{96, 50}));
    EXPECT_EQ(size("viewBox='0 0 30 20'"), (Size{30, 20}));
    EXPECT_EQ(size("viewBox='0 0 30 20' width='60'"), (Size{60, 40}));
    EXPECT_EQ(size("viewBox='0 0 30 20' height='100%'"), (Size{30, 20}));
    EXPECT_EQ(size("viewBox='0 0 30 20' width='60' height='60'"), (Size{60, 60}));
    EXPECT_EQ(size(""), (Size{300, 150}));
    EXPECT_FALSE(Drawing(Wrap("", ""), {}).HasPageSize());
    EXPECT_TRUE(Drawing(Wrap("", "viewBox='0 0 30 20'"), {}).HasPageSize());
}

TEST(SvgDrawing, ADrawingWithoutAreaIsRefused) {
    EXPECT_EQ(Refusal(Wrap("", "viewBox='0 0 0 0'")), "the drawing has no area");
    EXPECT_EQ(Refusal(Wrap("", "width='0' height='5'")), "the drawing has no area");
}

TEST(SvgDrawing, WhatIsNotWellFormedSvgIsRefusedWithItsLine) {
    EXPECT_EQ(Refusal("<svg>\n<g\n</svg>"), "line 3: Error parsing start element tag");
    EXPECT_EQ(Refusal("<svg><g></svg>"), "line 1: Start-end tags mismatch");
    EXPECT_EQ(Refusal("<svg/><svg/>"), "there is more than one root element");
    EXPECT_EQ(Refusal("<html/>"), "the root element is not svg");
    EXPECT_EQ(Refusal("<svg xmlns='http://www.w3.org/1999/xhtml'/>"),
              "the root element is svg of an unknown namespace");
    EXPECT_EQ(Refusal("<svg width='1' height='1' width='2'/>"), "an attribute of <svg> is given twice");
    EXPECT_EQ(Refusal(""), "line 1: No document element found");
}

TEST(SvgDrawing, ElementsOfOtherNamespacesAreNotDrawnAndPrefixesAreResolved) {
    Drawing drawing("<s:svg xmlns:s='http://www.w3.org/2000/svg' xmlns:o='other' width='1' height='1'>"
                    "<s:g><o:rect/><rect/><s:rect/></s:g><g xmlns='http://www.w3.org/2000/svg'><path/></g></s:svg>",
                    {});
    // Without a declaration the plain prefix counts as SVG's.
    EXPECT_EQ(Outline(drawing), "svg(g(rect rect) g(path))");
}

TEST(SvgDrawing, ElementsThatAreNotRenderedInPlaceAreSteppedOver) {
    Drawing drawing(
        Wrap("<title/><defs><rect/></defs><symbol/><linearGradient/><clipPath/><rect/><nonsense/><metadata/>"), {});
    EXPECT_EQ(Outline(drawing), "svg(rect)");
}

TEST(SvgDrawing, StylesAreInherited) {
    Drawing drawing(Wrap("<g fill='red' opacity='0.5' stroke-width='2em' font-size='10' color='blue'>"
                         "<rect stroke='currentColor' font-size='20'/></g>"),
                    {});
    Element const rect = *drawing.GetRoot().GetFirstChild()->GetFirstChild();
    InheritedStyle const& style = rect.GetStyle();
    EXPECT_EQ(style.fill.colour, (Rgba{1, 0, 0, 1}));
    EXPECT_EQ(style.strokeWidth, (Length{20, false})) << "an em is taken where it is written";
    EXPECT_EQ(style.stroke.kind, PaintKind::CurrentColour);
    EXPECT_EQ(style.colour, (Rgba{0, 0, 1, 1}));
    EXPECT_EQ(rect.GetOwnStyle().opacity, 1);
}

TEST(SvgDrawing, InheritAndInitialAreKeywordsOfEveryInheritedProperty) {
    Drawing drawing(Wrap("<g fill='red' stroke='blue'><rect style='fill:initial;stroke:inherit'/></g>"), {});
    Element const rect = *drawing.GetRoot().GetFirstChild()->GetFirstChild();
    EXPECT_EQ(rect.GetStyle().fill.colour, (Rgba{0, 0, 0, 1}));
    EXPECT_EQ(rect.GetStyle().stroke.colour, (Rgba{0, 0, 1, 1}));
}

TEST(SvgDrawing, InvalidValuesAreIgnoredAndCounted) {
    Single single("<rect id='r' stroke-width='-1' opacity='--5' fill-opacity='NaN' stroke-miterlimit='0.5' x='1e400' "
                  "width='10' height='5' stroke-dasharray='1 -1' stroke-linejoin='x'/>");
    EXPECT_EQ(single.element.GetStyle().strokeWidth, (Length{1, false}));
    EXPECT_EQ(single.element.GetOwnStyle().opacity, 1);
    EXPECT_EQ(single.element.GetStyle().mitreLimit, 4);
    ASSERT_TRUE(single.element.GetRect());
    Report const& report = single.drawing.GetReport();
    for (std::string const property :
         {"stroke-width", "opacity", "fill-opacity", "stroke-miterlimit", "x", "stroke-dasharray", "stroke-linejoin"})
        EXPECT_EQ(report.GetCount("invalid value of " + property), 1u) << property;
    EXPECT_EQ(report.GetLines().front(), "invalid value of stroke-width: 1 (first #r)");
}

TEST(SvgDrawing, PaintsKnowServersAndFallbacks) {
    auto fill = [](std::string const& value) { return Single("<rect fill='" + value + "'/>").element.GetStyle().fill; };
    EXPECT_EQ(fill("none").kind, PaintKind::None);
    EXPECT_EQ(fill("url(#a)").kind, PaintKind::Server);
    EXPECT_EQ(fill("url(#a)").fallback, PaintKind::None);
    EXPECT_EQ(fill("url( \"#a\" ) red").fallback, PaintKind::Colour);
    EXPECT_EQ(fill("url(#a) currentColor").fallback, PaintKind::CurrentColour);
    EXPECT_EQ(fill("url(other.svg#a) red").kind, PaintKind::Server);
    EXPECT_EQ(fill("nonsense").kind, PaintKind::Colour);
    Single single("<rect fill='url(#a)'/>");
    EXPECT_EQ(single.element.GetStyle().fill.server, "a");
}

TEST(SvgDrawing, DashesOfOddCountAreRepeatedAndZeroSumsAreSolid) {
    auto dashes = [](std::string const& value) {
        return Single("<rect stroke-dasharray='" + value + "'/>").element.GetStyle().dashes;
    };
    EXPECT_EQ(dashes("5 10%,1mm").size(), 6u);
    EXPECT_EQ(dashes("5,10").size(), 2u);
    EXPECT_TRUE(dashes("0 0").empty());
    EXPECT_TRUE(dashes("none").empty());
}

TEST(SvgDrawing, PaintOrderIsCompleted) {
    Single single("<rect paint-order='stroke'/>");
    EXPECT_EQ(single.element.GetStyle().paintOrder,
              (std::array{PaintLayer::Stroke, PaintLayer::Fill, PaintLayer::Markers}));
}

TEST(SvgDrawing, TransformsApplyAboutTheirOrigin) {
    Single single("<rect transform='scale(2)' transform-origin='10 20'/>");
    EXPECT_EQ(*single.element.GetTransform(), (Matrix{2, 0, -10, 0, 2, -20}));
    Single singular("<rect transform='scale(0)'/>");
    EXPECT_FALSE(singular.element.GetTransform());
    Single sheet("<rect transform='scale(3)' style='transform:translate(10%)'/>");
    EXPECT_EQ(*sheet.element.GetTransform(), (Matrix{1, 0, 10, 0, 1, 0}));
}

TEST(SvgDrawing, RectRadiiFollowTheRules) {
    auto rect = [](std::string const& attributes) {
        return *Single("<rect width='20' height='10' " + attributes + "/>").element.GetRect();
    };
    EXPECT_EQ(rect("rx='3'").ry, 3);
    EXPECT_EQ(rect("ry='3'").rx, 3);
    EXPECT_EQ(rect("rx='-1' ry='3'").rx, 3);
    EXPECT_EQ(rect("rx='50' ry='50'").rx, 10);
    EXPECT_EQ(rect("rx='50' ry='50'").ry, 5);
    EXPECT_EQ(rect("rx='10%'").rx, 10);
    EXPECT_FALSE(Single("<rect width='-1' height='5'/>").element.GetRect());
    EXPECT_FALSE(Single("<rect width='1'/>").element.GetRect());
}

TEST(SvgDrawing, EllipsesAndCirclesResolvePercentages) {
    auto const circle = *Single("<circle cx='10%' cy='10%' r='10%'/>", "viewBox='0 0 30 40'").element.GetEllipse();
    EXPECT_DOUBLE_EQ(circle.cx, 3);
    EXPECT_DOUBLE_EQ(circle.cy, 4);
    EXPECT_DOUBLE_EQ(circle.rx, std::sqrt(1250.0) * 0.1);
    auto const ellipse = *Single("<ellipse rx='5'/>").element.GetEllipse();
    EXPECT_EQ(ellipse.ry, 5);
    EXPECT_FALSE(Single("<circle r='0'/>").element.GetEllipse());
}

TEST(SvgDrawing, GeometryMayComeFromAStyleSheet) {
    Drawing drawing(Wrap("<style>rect{width:10px;height:5px;rx:2px}</style><rect width='1'/>"), {});
    auto const rect = *drawing.GetRoot().GetFirstChild()->GetRect();
    EXPECT_EQ(rect.width, 10);
    EXPECT_EQ(rect.rx, 2);
}

TEST(SvgDrawing, PointsEndAtTheFirstError) {
    EXPECT_EQ(Single("<polygon points='1,2 3 4-5-6'/>").element.GetPoints().size(), 3u);
    EXPECT_EQ(Single("<polygon points='1,2 3 4 5'/>").element.GetPoints().size(), 2u);
    EXPECT_EQ(Single("<polygon points='1,2 x 3 4'/>").element.GetPoints().size(), 1u);
    EXPECT_TRUE(Single("<polygon/>").element.GetPoints().empty());
}

TEST(SvgDrawing, UseMakesItsTargetAChildThatInheritsFromIt) {
    Drawing drawing(Wrap("<defs fill='red'><rect id='r' width='1' height='1'/></defs>"
                         "<use xlink:href='#r' x='3' y='4' fill='blue' transform='scale(2)'/>"),
                    {});
    Element const use = *drawing.GetRoot().GetFirstChild();
    EXPECT_EQ(*use.GetTransform(), (Matrix{2, 0, 6, 0, 2, 8}));
    Element const rect = *use.GetFirstChild();
    EXPECT_EQ(rect.GetKind(), ElementKind::Rect);
    EXPECT_EQ(rect.GetStyle().fill.colour, (Rgba{0, 0, 1, 1}));
    EXPECT_FALSE(rect.GetNextSibling());
}

TEST(SvgDrawing, UseGivesItsSizeToASymbol) {
    Drawing drawing(Wrap("<symbol id='s' viewBox='0 0 10 10'><rect width='100%' height='100%'/></symbol>"
                         "<use href='#s' x='5' width='20' height='40'/>"),
                    {});
    Element const symbol = *drawing.GetRoot().GetFirstChild()->GetFirstChild();
    EXPECT_EQ(*symbol.GetTransform(), (Matrix{2, 0, 0, 0, 2, 10}));
    EXPECT_EQ(*symbol.GetOverflowClip(), (Kernel::RectT<double>{0, -5, 10, 15}));
    EXPECT_EQ(symbol.GetFirstChild()->GetRect()->width, 10);
}

TEST(SvgDrawing, NestedSvgMakesAViewport) {
    Single single("<svg x='10' y='5' width='50%' height='20' viewBox='0 0 5 2'><rect width='50%' height='1'/></svg>");
    EXPECT_EQ(*single.element.GetTransform(), (Matrix{10, 0, 10, 0, 10, 5}));
    EXPECT_EQ(single.element.GetFirstChild()->GetRect()->width, 2.5);
    EXPECT_TRUE(single.element.GetOverflowClip());
    Single visible("<svg width='5' height='5' overflow='visible'/>");
    EXPECT_FALSE(visible.element.GetOverflowClip());
    Single empty("<svg width='0' height='5'/>");
    EXPECT_FALSE(empty.element.GetTransform());
}

TEST(SvgDrawing, ReferencesWithoutEndAreCutAndCounted) {
    for (std::string const content :
         {"<use id='u' href='#u'/>", "<g id='a'><g><use href='#a'/></g></g>",
          "<defs><g id='a'><use href='#b'/></g><g id='b'><use href='#a'/></g></defs><use href='#a'/>"}) {
        Drawing drawing(Wrap(content), {});
        Outline(drawing);
        EXPECT_GE(drawing.GetReport().GetCount("circular reference"), 1u) << content;
    }
}

TEST(SvgDrawing, ExponentialUseIsRefused) {
    std::string content = "<defs><rect id='g0'/>";
    for (int i = 1; i < 31; ++i) {
        std::string const inner = "<use href='#g" + std::to_string(i - 1) + "'/>";
        content += "<g id='g" + std::to_string(i) + "'>" + inner + inner + "</g>";
    }
    EXPECT_EQ(Refusal(Wrap(content + "</defs><use href='#g30'/>")), "references make more than 500000 elements");
}

TEST(SvgDrawing, MissingAndExternalReferencesAreCounted) {
    Drawing drawing(Wrap("<use href='#none'/><use href='other.svg#x'/><use href='#lg'/><linearGradient id='lg'/>"), {});
    EXPECT_EQ(Outline(drawing), "svg(use use use)");
    EXPECT_EQ(drawing.GetReport().GetCount("missing target of use"), 1u);
    EXPECT_EQ(drawing.GetReport().GetCount("external reference"), 1u);
    EXPECT_EQ(drawing.GetReport().GetCount("reference of use to linearGradient"), 1u);
}

TEST(SvgDrawing, SwitchTakesTheFirstChildWhoseConditionsHold) {
    Drawing drawing(Wrap("<switch><rect systemLanguage='ru'/><circle requiredExtensions='x'/><foreignObject "
                         "requiredExtensions='y'/><path systemLanguage='fr, en-GB'/><g/></switch>"),
                    {});
    EXPECT_EQ(Outline(drawing), "svg(switch(path))");
}

TEST(SvgDrawing, LanguagesMatchByPrefix) {
    auto displayed = [](std::string const& language) {
        return Single("<rect systemLanguage='" + language + "'/>").element.IsDisplayed();
    };
    EXPECT_TRUE(displayed("en"));
    EXPECT_TRUE(displayed("en-GB"));
    EXPECT_TRUE(displayed("ru, en-US"));
    EXPECT_FALSE(displayed("eng"));
    EXPECT_FALSE(displayed(""));
}

TEST(SvgDrawing, TitlesAreTitleThenLabelThenId) {
    EXPECT_EQ(Single("<g id='i'><title> A &amp; B </title></g>").element.GetTitle(), "A & B");
    EXPECT_EQ(Single("<g id='i' inkscape:label='L'/>").element.GetTitle(), "L");
    EXPECT_EQ(Single("<g id='i'/>").element.GetTitle(), "i");
    EXPECT_EQ(Single("<g/>").element.GetTitle(), "");
}

TEST(SvgDrawing, AReferenceIsComputedWhereItStands) {
    Drawing drawing(Wrap("<g clip-rule='evenodd'><clipPath id='c'><path/></clipPath></g>"
                         "<rect clip-path='url(#c)' clip-rule='nonzero'/>"),
                    {});
    Element const rect = *drawing.GetRoot().GetFirstChild()->GetNextSibling();
    auto const clip = rect.Follow(rect.GetOwnStyle().clipPath, {ElementKind::ClipPath}, "clip-path");
    ASSERT_TRUE(clip);
    EXPECT_EQ(clip->GetFirstChild()->GetStyle().clipRule, FillRule::EvenOdd);
    EXPECT_FALSE(rect.Follow("c", {ElementKind::Mask}, "mask"));
    EXPECT_EQ(drawing.GetReport().GetCount("missing target of mask"), 1u);
}

TEST(SvgDrawing, AClipThatClipsItselfHasAnEnd) {
    Drawing drawing(Wrap("<clipPath id='c' clip-path='url(#c)'><rect/></clipPath><rect clip-path='url(#c)'/>"), {});
    Element const rect = *drawing.GetRoot().GetFirstChild();
    auto const clip = rect.Follow("c", {ElementKind::ClipPath}, "clip-path");
    ASSERT_TRUE(clip);
    EXPECT_FALSE(clip->Follow("c", {ElementKind::ClipPath}, "clip-path"));
    EXPECT_EQ(drawing.GetReport().GetCount("circular reference"), 1u);
}

TEST(SvgDrawing, NestingOfAnyDepthIsWalked) {
    constexpr int c_depth = 100'000;
    std::string content;
    for (int i = 0; i < c_depth; ++i)
        content += "<g fill='#010203'>";
    content += "<clipPath id='c'><rect/></clipPath><rect clip-path='url(#c)'/>";
    for (int i = 0; i < c_depth; ++i)
        content += "</g>";
    Drawing drawing(Wrap(content), {});
    auto element = drawing.GetRoot().GetFirstChild();
    int depth = 0;
    for (; element->GetKind() == ElementKind::G; ++depth)
        element = element->GetFirstChild();
    EXPECT_EQ(depth, c_depth);
    EXPECT_TRUE(element->Follow("c", {ElementKind::ClipPath}, "clip-path"));
}

TEST(SvgDrawing, TooManyElementsAreRefused) {
    ReadOptions options;
    options.limits.elements = 100;
    std::string content;
    for (int i = 0; i < 100; ++i)
        content += "<g/>";
    EXPECT_EQ(Refusal(Wrap(content), options), "the source has more than 100 elements");
}

TEST(SvgDrawing, NestingBeyondTheLimitIsRefused) {
    ReadOptions options;
    options.limits.depth = 3;
    EXPECT_EQ(Refusal(Wrap("<g><g><g/></g></g><g><g><g/></g></g>"), options), "accepted");
    EXPECT_EQ(Refusal(Wrap("<g><g><g><g/></g></g></g>"), options), "elements are nested more than 3 deep");
}

TEST(SvgReport, LinesHoldNoControlCharactersAndAreCut) {
    Report report;
    report.Add("kind", "#a\x1B[31m\n\xC2\x9B" + std::string(100, 'x'));
    report.Add("kind", "#other", 4);
    auto const lines = report.GetLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "kind: 5 (first #a?[31m??" + std::string(51, 'x') + "...)");
}

TEST(SvgReport, KindsAreLimited) {
    Report report;
    for (int i = 0; i < 1000; ++i)
        report.Add("kind " + std::to_string(i));
    EXPECT_EQ(report.GetEntries().size(), 201u);
    EXPECT_EQ(report.GetCount("others"), 800u);
}
