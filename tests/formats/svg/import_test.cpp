// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/image_source.h"
#include "formats/svg/import.h"
#include "platform/document/document_controller.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/raster/bitmap_image.h"
#include "platform/renderer/recorded_drawing.h"

#include <gtest/gtest.h>
#include <set>

using namespace Formats::Svg;

namespace {

std::string Wrap(std::string const& content, std::string const& attributes = "width='100' height='50'") {
    return "<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' " + attributes + ">" +
           content + "</svg>";
}

// Names of the types below a node, clipping content in square brackets, hidden nodes with a mark.
std::string Outline(Node const& node) {
    std::string text(node.GetTypeName().substr(0, node.GetTypeName().size() - 4));
    if (auto const* scene = dynamic_cast<SceneNode const*>(&node); scene != nullptr && !scene->IsVisible())
        text += "!";
    auto list = [&](NodeChildListType type, char open, char close) {
        if (!node.HasChildren(type))
            return;
        text += open;
        for (Node const* child = node.GetFirstChild(type); child != nullptr; child = child->GetNextSibling())
            text += (child->GetPreviousSibling() == nullptr ? "" : " ") + Outline(*child);
        text += close;
    };
    list(NodeChildListType::Plain, '(', ')');
    list(NodeChildListType::Clipping, '[', ']');
    return text;
}

struct Imported : ImportedDrawing {
    explicit Imported(std::string const& content, std::string const& attributes = "width='100' height='50'")
        : ImportedDrawing(Import(Wrap(content, attributes), {})) {}
    std::string GetOutline() const {
        std::string text;
        for (auto const& node : nodes)
            text += (text.empty() ? "" : " ") + Outline(*node);
        return text;
    }
    template <class T>
    T& Get(std::size_t index = 0) const {
        return dynamic_cast<T&>(*nodes.at(index));
    }
    CurvesNode& GetCurves(std::size_t index = 0) const { return Get<CurvesNode>(index); }
};

Renderer::Colour FillOf(CurvesNode const& node) {
    return static_cast<Renderer::SolidFill const&>(*node.GetBrushFillDescriptor(true)->GetFill()).GetColour();
}

std::string TinyPng(std::string const& attributes) {
    auto const bitmap = Kernel::MakeCounted<Raster::DynamicBitmap>(4, 2, Raster::FormatRGBA8);
    std::vector<unsigned char> pixels(4 * 2 * 4);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<unsigned char>(i * 7);
    bitmap->WritePixels({0, 0, 4, 2}, pixels.data(), 16);
    std::string png;
    Raster::EncodeBitmap(*bitmap, {}, [&](std::span<std::byte const> bytes) {
        png.append(reinterpret_cast<char const*>(bytes.data()), bytes.size());
    });
    return "<image " + attributes + " xlink:href='data:image/png;base64," + EncodeBase64(png) + "'/>";
}

} // namespace

TEST(SvgImport, TheTreeIsThatOfTheElements) {
    Imported const drawing("<g id='a'><rect width='1' height='1'/><g><circle r='1'/></g></g><path d='M0 0L1 1'/>"
                           "<line x2='4'/><polygon points='0 0 1 1 2 0'/><a><ellipse rx='1' ry='2'/></a>");
    EXPECT_EQ(drawing.GetOutline(), "Group(Shape Group(Shape)) PolyCurve PolyCurve PolyCurve Group(Shape)");
    EXPECT_EQ(drawing.pageSize, (Kernel::SizeT<double>{100, 50}));
    EXPECT_TRUE(drawing.report.IsEmpty());
}

TEST(SvgImport, WhatEnclosesNothingHasNoFillButItsMarkersKnowIt) {
    std::string const marker = "<marker id='m'><circle r='1' fill='context-fill'/></marker>";
    Imported const drawing("<line x2='4' y2='3'/><path d='M0 0L1 1L3 3M4 0L4 9Z'/><path d='M0 0L1 1L3 4'/>"
                           "<path d='M0 0C1 0 2 1 3 0'/><line x2='4' fill='red' marker-end='url(#m)'/>" +
                           marker);
    for (std::size_t i : {0u, 1u})
        EXPECT_FALSE(drawing.GetCurves(i).GetBrushFillDescriptor(true)) << i;
    for (std::size_t i : {2u, 3u})
        EXPECT_TRUE(drawing.GetCurves(i).IsBrushFillVisible(0.01)) << i;
    auto const& group = drawing.Get<GroupNode>(4);
    std::vector<CurvesNode const*> shapes;
    std::vector<Node const*> pending{&group};
    while (!pending.empty()) {
        Node const* const node = pending.back();
        pending.pop_back();
        if (auto const* curves = dynamic_cast<CurvesNode const*>(node))
            shapes.push_back(curves);
        for (Node const* child = node->GetFirstChild(NodeChildListType::Plain); child != nullptr;
             child = child->GetNextSibling())
            pending.push_back(child);
    }
    ASSERT_EQ(2u, shapes.size());
    int filled = 0;
    for (auto const* shape : shapes) {
        bool const isLine = dynamic_cast<PolyCurveNode const*>(shape) != nullptr;
        EXPECT_EQ(!isLine, shape->IsBrushFillVisible(0.01));
        filled += !isLine && FillOf(*shape) == Renderer::Colour::FromRGB(1, 0, 0);
    }
    EXPECT_EQ(1, filled);
}

TEST(SvgImport, EntersADocument) {
    auto const drawing = Import(Wrap("<g><rect width='1' height='1'/></g><symbol id='s'><rect width='2' height='2'/>"
                                     "</symbol><use href='#s'/>"),
                                {});
    auto const document = DocumentController::CreateNew(drawing.pageSize, Raster::FormatRGBA8, 1);
    Place(drawing, *document->GetDocument(), *document->GetCurrentSpread());
    EXPECT_EQ(document->GetCurrentSpread()->CountChildren(NodeChildListType::Plain), 2u);
    EXPECT_EQ(document->GetSymbolCount(), 1);
    EXPECT_EQ(document->GetSymbolAtIndex(0)->GetLinkedNodes().size(), 1u);
    document->GetDocument()->CheckInvariants();
}

TEST(SvgImport, ShapesKeepTheirParameters) {
    Imported const drawing("<rect x='1' y='2' width='30' height='20' rx='3' ry='4'/><circle cx='5' cy='6' r='2'/>");
    auto const rectangle = drawing.Get<ShapeNode>(0).GetShapeDefinition();
    EXPECT_EQ(rectangle->GetBox(), (Kernel::RectT<double>{1, 2, 31, 22}));
    EXPECT_EQ(dynamic_cast<RectangleShape const&>(*rectangle).cornerRadius, (Kernel::PointT<double>{3, 4}));
    auto const circle = drawing.Get<ShapeNode>(1).GetShapeDefinition();
    EXPECT_EQ(circle->GetBox(), (Kernel::RectT<double>{3, 4, 7, 8}));
    EXPECT_NE(dynamic_cast<EllipseShape const*>(circle.get()), nullptr);
}

TEST(SvgImport, CurvesAreThoseOfThePathData) {
    Imported const drawing("<path fill-rule='evenodd' d='M1 2H5V6C1 2 3 4 5 6Z M0 0L1 1'/>");
    auto const outline = drawing.GetCurves().GetOutline();
    ASSERT_EQ(outline->GetCurves().size(), 2u);
    EXPECT_TRUE(outline->GetCurves()[0]->IsClosed());
    EXPECT_FALSE(outline->GetCurves()[1]->IsClosed());
    EXPECT_EQ(drawing.GetCurves().GetWindingOrderMode(), Geometry::WindingOrderMode::Alternating);
}

TEST(SvgImport, PathDataIsReadUpToItsErrorAndThatIsCounted) {
    Imported const drawing("<path id='p' d='M1 2L5 6Lx'/>");
    EXPECT_EQ(drawing.GetCurves().GetOutline()->GetSegmentCount(), 1u);
    EXPECT_EQ(drawing.report.GetLines().at(0), "invalid value of d: 1 (first #p)");
}

TEST(SvgImport, TransformsAreNodeMatricesAndTheViewBoxGoesToTheTopNodes) {
    Imported const drawing("<g transform='translate(1 2)'><rect width='1' height='1' transform='scale(3)'/></g>",
                           "width='100' height='50' viewBox='0 0 10 5'");
    auto& group = drawing.Get<GroupNode>();
    EXPECT_EQ(group.GetMatrix(), (Matrix{10, 0, 10, 0, 10, 20}));
    EXPECT_EQ(dynamic_cast<SceneNode&>(*group.GetFirstChild(NodeChildListType::Plain)).GetMatrix(),
              (Matrix{3, 0, 0, 0, 3, 0}));
}

TEST(SvgImport, SolidPaintsMultiplyTheirOpacities) {
    Imported const drawing("<rect width='1' height='1' fill='rgba(255,0,51,0.5)' fill-opacity='0.5'/>"
                           "<rect width='1' height='1' fill='none'/><rect width='1' height='1' color='lime' "
                           "fill='currentColor'/>");
    Renderer::Colour const colour = FillOf(drawing.GetCurves());
    EXPECT_EQ(colour, Renderer::Colour::FromRGB(1, 0, 0.2f, 0.25f));
    EXPECT_TRUE(drawing.GetCurves(1).IsBrushFillNone());
    EXPECT_EQ(FillOf(drawing.GetCurves(2)), Renderer::Colour::FromRGB(0, 1, 0));
}

TEST(SvgImport, EqualPaintsAreOneObject) {
    Imported const drawing("<g fill='red' stroke='blue'><path d='M0 0h1v1z'/><path d='M0 0h2v1z'/></g>");
    auto* const first = drawing.Get<GroupNode>().GetFirstChild(NodeChildListType::Plain);
    auto const& a = dynamic_cast<CurvesNode&>(*first);
    auto const& b = dynamic_cast<CurvesNode&>(*first->GetNextSibling());
    EXPECT_EQ(a.GetBrushFillDescriptor(true)->GetFill(), b.GetBrushFillDescriptor(true)->GetFill());
    EXPECT_EQ(a.GetLineStyleDescriptor(), b.GetLineStyleDescriptor());
}

TEST(SvgImport, LinesTakeAllStrokeProperties) {
    Imported const drawing("<path d='M0 0h9' stroke='red' stroke-opacity='.5' stroke-width='2' stroke-linecap='square' "
                           "stroke-linejoin='bevel' stroke-miterlimit='7' stroke-dasharray='4 1 3' "
                           "stroke-dashoffset='1' paint-order='stroke' vector-effect='non-scaling-stroke'/>");
    CurvesNode const& node = drawing.GetCurves();
    auto const descriptor = node.GetLineStyleDescriptor();
    ASSERT_TRUE(descriptor);
    Renderer::LineStyle const& style = *descriptor->GetLineStyle();
    EXPECT_EQ(style.GetWeight(), 2);
    EXPECT_EQ(style.GetCap(), Renderer::LineCap::Square);
    EXPECT_EQ(style.GetJoin(), Renderer::LineJoin::Bevel);
    EXPECT_EQ(style.GetMitreLimit(), 7);
    EXPECT_EQ(style.GetType(), Renderer::LineType::Dashed);
    EXPECT_EQ(style.GetDashPattern(), (std::vector<double>{2, 0.5, 1.5, 2, 0.5, 1.5}));
    EXPECT_EQ(style.GetDashPhase(), 0.5);
    EXPECT_FALSE(descriptor->GetScaleWithObject());
    EXPECT_TRUE(node.IsLineBehindFill());
    auto const pen = node.GetPenFillDescriptor();
    EXPECT_EQ(pen->GetFill()->GetRepresentativeColour().GetAlpha(), 0.5f);
}

TEST(SvgImport, LinesWithoutWidthOrPaintAreNone) {
    Imported const drawing("<path d='M0 0h9' stroke='red' stroke-width='0'/><path d='M0 0h9' stroke='none'/>");
    EXPECT_FALSE(drawing.GetCurves(0).GetLineStyleDescriptor());
    EXPECT_FALSE(drawing.GetCurves(1).GetLineStyleDescriptor());
}

TEST(SvgImport, GradientsOfTheBoxAreLaidOverIt) {
    Imported const drawing("<linearGradient id='g' x2='0.5' spreadMethod='reflect'><stop stop-color='red'/><stop "
                           "offset='1' stop-opacity='.5'/></linearGradient><rect x='10' y='20' width='30' height='40' "
                           "fill='url(#g)' fill-opacity='.5'/>");
    auto const fill = drawing.GetCurves().GetBrushFillDescriptor(true);
    auto const& linear = dynamic_cast<Renderer::LinearGradientFill const&>(*fill->GetFill());
    EXPECT_EQ(fill->GetTransform(), (Matrix{30, 0, 10, 0, 40, 20}));
    EXPECT_EQ(linear.GetEnd(), (Kernel::PointT<double>{0.5, 0}));
    EXPECT_EQ(linear.GetSpread(), Renderer::GradientSpread::Reflect);
    ASSERT_EQ(linear.GetStops().size(), 2u);
    EXPECT_EQ(linear.GetStops()[1].opacity, 1);
    EXPECT_EQ(linear.GetStops()[1].colour.GetAlpha(), 0.25f);
}

TEST(SvgImport, RadialGradientsKeepCentreRadiusAndFocus) {
    Imported const drawing(
        "<radialGradient id='g' gradientUnits='userSpaceOnUse' cx='10' cy='20' r='5' fx='12' fy='20' "
        "fr='1' gradientTransform='scale(2)'><stop stop-color='red'/><stop offset='1'/>"
        "</radialGradient><rect width='30' height='40' stroke='url(#g)'/>");
    auto const pen = drawing.GetCurves().GetPenFillDescriptor();
    auto const& radial = dynamic_cast<Renderer::EllipticalGradientFill const&>(*pen->GetFill());
    EXPECT_EQ(pen->GetTransform(), (Matrix{2, 0, 0, 0, 2, 0}));
    EXPECT_EQ(radial.GetCentre(), (Kernel::PointT<double>{10, 20}));
    EXPECT_EQ(radial.GetEnd1(), (Kernel::PointT<double>{15, 20}));
    EXPECT_EQ(radial.GetFocus(), (Kernel::PointT<double>{12, 20}));
    EXPECT_EQ(radial.GetFocalRadius(), 0.2);
}

TEST(SvgImport, AFocusOutsideTheCircleStaysThere) {
    Imported const drawing("<radialGradient id='g' gradientUnits='userSpaceOnUse' cx='10' cy='20' r='5' fx='22' "
                           "fy='20'><stop stop-color='red'/><stop offset='1'/></radialGradient><rect width='30' "
                           "height='40' fill='url(#g)'/>");
    auto const& radial = dynamic_cast<Renderer::EllipticalGradientFill const&>(
        *drawing.GetCurves().GetBrushFillDescriptor(true)->GetFill());
    EXPECT_EQ(radial.GetFocus(), (Kernel::PointT<double>{22, 20}));
}

TEST(SvgImport, PaintsOfTheContextAreToldWhereThereIsNone) {
    Imported const drawing("<rect width='1' height='1' fill='context-stroke' stroke='context-fill'/>");
    EXPECT_TRUE(drawing.GetCurves().GetBrushFillDescriptor(true) == nullptr);
    ASSERT_EQ(drawing.report.GetLines().size(), 1u);
    EXPECT_NE(drawing.report.GetLines()[0].find("paint without a context: 2"), std::string::npos);
}

TEST(SvgImport, PaintsOfAContextAreThoseOfTheUse) {
    Imported const drawing("<defs><rect id='r' width='9' height='9' fill='context-stroke'/>"
                           "<use id='u' href='#r' stroke='context-fill'/></defs>"
                           "<use href='#u' fill='red'/><use href='#u' fill='lime'/>");
    auto const fillOfUse = [&](std::size_t index) {
        Node const* node = drawing.nodes.at(index).get();
        while (Node const* const child = node->GetFirstChild(NodeChildListType::Plain))
            node = child;
        return FillOf(dynamic_cast<CurvesNode const&>(*node));
    };
    EXPECT_EQ(fillOfUse(0), Renderer::Colour::FromRGB(1, 0, 0));
    EXPECT_EQ(fillOfUse(1), Renderer::Colour::FromRGB(0, 1, 0));
    EXPECT_TRUE(drawing.report.IsEmpty());
}

TEST(SvgImport, CompositingIsAskedForByStylesAlone) {
    Imported const drawing("<g isolation='isolate' mix-blend-mode='screen'/><g style='isolation:isolate'/>"
                           "<g style='mix-blend-mode:screen'/>");
    EXPECT_FALSE(drawing.Get<GroupNode>(0).IsIsolated());
    EXPECT_EQ(drawing.Get<GroupNode>(0).GetBlendMode(), Renderer::BlendMode::Normal);
    EXPECT_TRUE(drawing.Get<GroupNode>(1).IsIsolated());
    EXPECT_EQ(drawing.Get<GroupNode>(2).GetBlendMode(), Renderer::BlendMode::Screen);
}

TEST(SvgImport, AClipsTransformMovesWhatItsUnitsHaveScaled) {
    Imported const drawing("<clipPath id='c' clipPathUnits='objectBoundingBox' transform='translate(5 7)'><rect "
                           "width='1' height='1'/></clipPath><rect width='20' height='10' clip-path='url(#c)'/>");
    auto const& clip = dynamic_cast<ShapeNode&>(*drawing.nodes[0]->GetFirstChild(NodeChildListType::Clipping));
    EXPECT_EQ(clip.GetBounds(false), (Kernel::RectT<double>{5, 7, 25, 17}));
}

TEST(SvgImport, DegenerateGradientsAreTheLastColourOrNothing) {
    std::string const defs = "<linearGradient id='none'/><linearGradient id='one'><stop stop-color='red'/>"
                             "</linearGradient><radialGradient id='zero' r='0'><stop/><stop offset='1' "
                             "stop-color='blue'/></radialGradient>";
    auto fill = [&](std::string const& value, std::string const& shape = "<rect width='3' height='4'") {
        Imported const drawing(defs + shape + " fill='" + value + "'/>");
        auto const descriptor = drawing.GetCurves().GetBrushFillDescriptor(true);
        return descriptor ? descriptor->GetFill()->GetRepresentativeColour() : Renderer::Colour().WithAlpha(0);
    };
    EXPECT_EQ(fill("url(#none)").GetAlpha(), 0);
    EXPECT_EQ(fill("url(#one)"), Renderer::Colour::FromRGB(1, 0, 0));
    EXPECT_EQ(fill("url(#zero)"), Renderer::Colour::FromRGB(0, 0, 1));
    EXPECT_EQ(fill("url(#missing) lime"), Renderer::Colour::FromRGB(0, 1, 0));
    EXPECT_EQ(fill("url(#missing)").GetAlpha(), 0);
}

TEST(SvgImport, GroupOpacityAndBlendingIsolate) {
    Imported const drawing("<g opacity='.5'><path d='M0 0h1'/></g><g style='mix-blend-mode:multiply'/>"
                           "<g style='isolation:isolate'/><g/>");
    EXPECT_EQ(drawing.Get<GroupNode>(0).GetOpacity(), 0.5);
    EXPECT_TRUE(drawing.Get<GroupNode>(0).IsIsolated());
    EXPECT_EQ(drawing.Get<GroupNode>(1).GetBlendMode(), Renderer::BlendMode::Multiply);
    EXPECT_TRUE(drawing.Get<GroupNode>(2).IsIsolated());
    EXPECT_FALSE(drawing.Get<GroupNode>(3).IsIsolated());
}

TEST(SvgImport, TheOuterGroupStaysOnlyWhereItActsAsAWhole) {
    EXPECT_EQ(Imported("<path d='M0 0h1'/>").GetOutline(), "PolyCurve");
    EXPECT_EQ(Imported("<path d='M0 0h1'/>", "width='1' height='1' opacity='0.5'").GetOutline(), "Group(PolyCurve)");
}

TEST(SvgImport, HiddenElementsAreHiddenNodes) {
    Imported const drawing(
        "<g display='none'><path d='M0 0h1'/></g><g visibility='hidden'><path d='M0 0h1'/>"
        "<path d='M0 0h1' visibility='visible'/></g><rect width='1' height='1' systemLanguage='xx'/>");
    EXPECT_EQ(drawing.GetOutline(), "Group!(PolyCurve) Group(PolyCurve! PolyCurve) Shape!");
}

TEST(SvgImport, NamesAreTitlesOrLabelsOrIds) {
    Imported const drawing("<g id='i'><title>T</title></g><g id='i2' inkscape:label='L'/><g id='i3'/><g/>");
    std::vector<std::string> names;
    for (auto const& node : drawing.nodes)
        names.push_back(node->GetDescription(false).ToStdString());
    EXPECT_EQ(names, (std::vector<std::string>{"T", "L", "i3", ""}));
}

TEST(SvgImport, ClipPathsBecomeClippingContent) {
    Imported const drawing("<clipPath id='one' transform='scale(2)'><rect width='5' height='5' "
                           "transform='translate(1)'/></clipPath><clipPath id='two'><circle r='1'/><path "
                           "clip-rule='evenodd' d='M0 0h1v1z'/><rect width='1' height='1' display='none'/></clipPath>"
                           "<rect width='9' height='9' clip-path='url(#one)'/><g clip-path='url(#two)'/>");
    EXPECT_EQ(drawing.GetOutline(), "Shape[Shape] Group[Group(Shape PolyCurve)]");
    auto const& clip = dynamic_cast<ShapeNode&>(*drawing.nodes[0]->GetFirstChild(NodeChildListType::Clipping));
    EXPECT_EQ(clip.GetMatrix(), (Matrix{2, 0, 2, 0, 2, 0}));
    EXPECT_TRUE(clip.IsBrushFillVisible(0.01));
    EXPECT_EQ(clip.GetDescription(false), Kernel::String("one"));
    auto const* const pair = drawing.nodes[1]->GetFirstChild(NodeChildListType::Clipping);
    auto const& path = dynamic_cast<CurvesNode&>(*pair->GetLastChild(NodeChildListType::Plain));
    EXPECT_EQ(path.GetWindingOrderMode(), Geometry::WindingOrderMode::Alternating);
}

TEST(SvgImport, ClipsOfTheBoxAreLaidOverTheContent) {
    Imported const drawing(
        "<clipPath id='c' clipPathUnits='objectBoundingBox'><rect width='.5' height='1'/></clipPath>"
        "<g clip-path='url(#c)' transform='translate(7)'><rect x='10' y='20' width='30' height='40'/>"
        "<rect x='40' y='20' width='10' height='10'/></g>");
    auto const& clip = dynamic_cast<ShapeNode&>(*drawing.nodes[0]->GetFirstChild(NodeChildListType::Clipping));
    EXPECT_EQ(clip.GetMatrix(), (Matrix{40, 0, 10, 0, 40, 20}));
}

TEST(SvgImport, ClipsOfClipsNest) {
    Imported const drawing("<clipPath id='a'><circle r='3'/></clipPath><clipPath id='b' clip-path='url(#a)'>"
                           "<rect width='5' height='5'/></clipPath><clipPath id='c'><rect width='5' height='5' "
                           "clip-path='url(#a)'/></clipPath><path d='M0 0h1' clip-path='url(#b)'/>"
                           "<path d='M0 0h1' clip-path='url(#c)'/>");
    EXPECT_EQ(drawing.GetOutline(), "PolyCurve[Group(Shape)[Shape]] PolyCurve[Shape[Shape]]");
}

TEST(SvgImport, AnEmptyClipHidesAndAMissingOneDoesNothing) {
    Imported const drawing("<clipPath id='e'/><path d='M0 0h1' clip-path='url(#e)'/><path d='M0 0h1' "
                           "clip-path='url(#none)'/>");
    EXPECT_EQ(drawing.GetOutline(), "PolyCurve! PolyCurve");
    EXPECT_EQ(drawing.report.GetCount("empty clip path"), 1u);
    EXPECT_EQ(drawing.report.GetCount("missing target of clip-path"), 1u);
}

TEST(SvgImport, ViewportsClipOnlyWhatReachesOutOfThem) {
    EXPECT_EQ(Imported("<svg width='10' height='10'><rect width='5' height='5'/></svg>").GetOutline(), "Group(Shape)");
    EXPECT_EQ(Imported("<svg width='10' height='10'><rect width='15' height='5'/></svg>").GetOutline(),
              "Group(Shape)[Shape]");
}

TEST(SvgImport, UseBecomesALinkedInstance) {
    Imported const drawing("<defs><g id='s'><rect width='1' height='1'/></g></defs><use href='#s' x='3'/>"
                           "<use href='#s' y='4' opacity='.5'/>");
    EXPECT_EQ(drawing.GetOutline(), "Group(Group(Shape)) Group(Group(Shape))");
    ASSERT_EQ(drawing.symbols.size(), 1u);
    EXPECT_EQ(Outline(*drawing.symbols[0]), "Symbol(Group(Shape))");
    for (auto const& node : drawing.nodes)
        EXPECT_EQ(node->GetLinkSource(), drawing.symbols[0]);
    EXPECT_EQ(drawing.Get<GroupNode>(0).GetMatrix(), (Matrix{1, 0, 3, 0, 1, 0}));
    EXPECT_EQ(drawing.Get<GroupNode>(1).GetOpacity(), 0.5);
}

std::set<std::string> GUIDsOf(std::vector<Kernel::Counted<Node>> const& nodes) {
    std::set<std::string> guids;
    for (auto const& top : nodes)
        ForEachNode(*top, [&](Node& node) {
            if (!node.GetGUID().empty())
                guids.insert(node.GetGUID().ToStdString());
        });
    return guids;
}

TEST(SvgImport, EveryGroupOfAnInstanceHasTheGUIDOfItsCounterpart) {
    std::string const content = "<defs><g id='s'><rect width='1' height='1'/><g><circle r='1'/></g></g><g id='t'>"
                                "<use href='#s'/></g></defs><g><use href='#s' x='3'/><use href='#t'/></g>";
    Imported const drawing(content);
    std::size_t groups = 0;
    ForEachNode(*drawing.nodes[0], [&](Node& node) {
        bool const isGroup = dynamic_cast<GroupNode*>(&node) != nullptr;
        EXPECT_EQ(isGroup && node.IsLinked(false), !node.GetGUID().empty());
        if (!node.IsLinked(false) || !isGroup)
            return;
        ++groups;
        EXPECT_EQ(node.GetGUID(), node.GetLinkSource()->GetGUID());
    });
    EXPECT_EQ(groups, 8u);
    std::size_t own = 0;
    for (auto const& symbol : drawing.symbols)
        ForEachNode(*symbol,
                    [&](Node& node) { own += dynamic_cast<GroupNode*>(&node) != nullptr && !node.IsLinked(false); });
    EXPECT_EQ(GUIDsOf(drawing.symbols).size(), own) << "no two groups of symbols have one GUID";
    EXPECT_EQ(GUIDsOf(drawing.symbols), GUIDsOf(Imported(content).symbols));
}

TEST(SvgImport, DrawingsOfOneDocumentAndDrawingsInsideHaveNoGUIDInCommon) {
    std::string const uses = "<defs><g id='s'><rect width='1' height='1'/></g></defs><use href='#s'/>";
    std::string encoded;
    for (char const c : Wrap(uses, "width='9' height='9'"))
        encoded += c == '#' ? "%23" : std::string(1, c);
    std::string const inner = "<image width='9' height='9' href=\"data:image/svg+xml," + encoded + "\"/>";
    Imported const drawing(uses + inner);
    ASSERT_EQ(drawing.symbols.size(), 2u);
    EXPECT_EQ(GUIDsOf(drawing.symbols).size(), 4u);
    EXPECT_EQ(drawing.guids, 4u);
    ReadOptions options;
    options.guids = drawing.guids;
    auto const second = Import(Wrap(uses, "width='9' height='9'"), options);
    auto all = GUIDsOf(drawing.symbols);
    all.merge(GUIDsOf(second.symbols));
    EXPECT_EQ(all.size(), 6u);
}

TEST(SvgImport, EachLookOfATargetIsASymbol) {
    Imported const drawing("<defs><rect id='s' width='1' height='1'/></defs><use href='#s' fill='red'/>"
                           "<use href='#s' fill='blue'/><use href='#s' fill='red' x='1'/>");
    ASSERT_EQ(drawing.symbols.size(), 2u);
    EXPECT_EQ(drawing.nodes[0]->GetLinkSource(), drawing.nodes[2]->GetLinkSource());
    EXPECT_EQ(FillOf(dynamic_cast<CurvesNode&>(*drawing.nodes[1]->GetFirstChild(NodeChildListType::Plain))),
              Renderer::Colour::FromRGB(0, 0, 1));
}

TEST(SvgImport, SymbolsInSymbolsAreInstancesToo) {
    Imported const drawing("<defs><rect id='a' width='1' height='1'/><g id='b'><use href='#a'/><use href='#a' x='2'/>"
                           "</g></defs><use href='#b'/>");
    ASSERT_EQ(drawing.symbols.size(), 2u);
    EXPECT_EQ(Outline(*drawing.symbols[1]), "Symbol(Group(Group(Shape) Group(Shape)))");
    auto const* const group = drawing.symbols[1]->GetFirstChild(NodeChildListType::Plain);
    EXPECT_EQ(group->GetFirstChild(NodeChildListType::Plain)->GetLinkSource(), drawing.symbols[0]);
}

TEST(SvgImport, ExponentialSymbolsAreRefused) {
    std::string content = "<defs><rect id='g0' width='1' height='1'/>";
    for (int i = 1; i < 31; ++i) {
        std::string const inner = "<use href='#g" + std::to_string(i - 1) + "'/>";
        content += "<g id='g" + std::to_string(i) + "'>" + inner + inner + "</g>";
    }
    EXPECT_THROW(Imported(content + "</defs><use href='#g30'/>"), Kernel::Exception);
}

TEST(SvgImport, MarkersStandAtTheVertices) {
    Imported const drawing("<marker id='m' markerWidth='2' markerHeight='2' refX='1' refY='1' orient='auto' "
                           "overflow='visible'><rect width='2' height='2'/></marker>"
                           "<path d='M10 10H20V20' fill='none' stroke='red' stroke-width='3' marker-start='url(#m)' "
                           "marker-mid='url(#m)' marker-end='url(#m)'/>");
    EXPECT_EQ(drawing.GetOutline(), "Group(PolyCurve Group(Shape) Group(Shape) Group(Shape))");
    auto* marker = drawing.nodes[0]->GetFirstChild(NodeChildListType::Plain)->GetNextSibling();
    double const expected[3][3] = {{10, 10, 0}, {20, 10, 45}, {20, 20, 90}};
    for (auto const& [x, y, degrees] : expected) {
        auto const& matrix = dynamic_cast<SceneNode&>(*marker).GetMatrix();
        auto const at = matrix.Apply(Kernel::PointT<double>{1, 1});
        EXPECT_NEAR(at.x, x, 1e-12);
        EXPECT_NEAR(at.y, y, 1e-12);
        EXPECT_NEAR(std::atan2(matrix.c, matrix.a) * 180 / 3.14159265358979, degrees, 1e-9);
        EXPECT_NEAR(std::hypot(matrix.a, matrix.c), 3, 1e-12) << "one unit is the line's width";
        marker = marker->GetNextSibling();
    }
}

TEST(SvgImport, OverflowOfMarkersIsTheirOwnOrOnDemandTheParents) {
    auto const isClipped = [](std::string const& before, std::string const& overflow, std::string const& after) {
        Imported const drawing(before + "<marker id='m' markerWidth='2' markerHeight='2' " + overflow +
                               "><circle r='3'/></marker>" + after +
                               "<path d='M10 10H20' stroke='red' marker-end='url(#m)'/>");
        return drawing.GetOutline().find('[') != std::string::npos;
    };
    for (auto const* overflow :
         {"", "overflow='hidden'", "style='overflow:scroll'", "overflow='clip'", "overflow='inherit-me'"})
        EXPECT_TRUE(isClipped("", overflow, "")) << overflow;
    for (auto const* overflow :
         {"overflow='visible'", "style='overflow:auto'", "overflow='inherit'", "overflow='initial'"})
        EXPECT_FALSE(isClipped("", overflow, "")) << overflow;
    EXPECT_TRUE(isClipped("<g overflow='hidden'>", "overflow='inherit'", "</g>"));
    EXPECT_FALSE(isClipped("<g overflow='hidden'><g>", "overflow='inherit'", "</g></g>"));
    EXPECT_TRUE(isClipped("<symbol>", "overflow='inherit'", "</symbol>"));
}

TEST(SvgImport, PatternsStayVectorsThatBeginAtTheTilesCorner) {
    Imported const drawing(
        "<pattern id='a' x='.1' y='.2' width='.5' height='.25'><rect width='4' height='3' fill='red'/></pattern>"
        "<pattern id='b' x='7' width='10' height='10' patternUnits='userSpaceOnUse' viewBox='0 0 20 20'>"
        "<circle r='4'/></pattern>"
        "<rect x='10' y='20' width='40' height='20' fill='url(#a)'/><rect x='10' width='40' height='40' "
        "fill='url(#a)'/>"
        "<rect width='9' height='9' fill='url(#b)' fill-opacity='.5'/>");
    EXPECT_TRUE(drawing.report.IsEmpty());
    auto const fill = [&](std::size_t index) {
        return Kernel::Cast<Renderer::PatternFill const>(
            drawing.GetCurves(index).GetBrushFillDescriptor(true)->GetFill());
    };
    auto const toUser = [&](std::size_t index) {
        return drawing.GetCurves(index).GetBrushFillDescriptor(true)->GetTransform();
    };
    EXPECT_EQ(fill(0)->GetTileSize(), (Kernel::SizeT<double>{20, 5}));
    EXPECT_EQ(toUser(0), (Matrix{1, 0, 14, 0, 1, 24}));
    ASSERT_EQ(fill(0)->GetDrawing()->GetSteps().size(), 1u);
    EXPECT_TRUE(fill(0)->GetDrawing()->GetSteps()[0].transform.IsIdentity());
    EXPECT_EQ(fill(0)->GetDrawing(), fill(1)->GetDrawing());
    EXPECT_EQ(fill(2)->GetTileSize(), (Kernel::SizeT<double>{20, 20}));
    EXPECT_EQ(toUser(2), (Matrix{0.5, 0, 7, 0, 0.5, 0}));
    EXPECT_EQ(fill(2)->GetOpacity(), 0.5);
}

TEST(SvgImport, PatternsWithoutEndOrSizeComeToAnEnd) {
    std::string nested = "<pattern id='p0' width='.5' height='.5'><rect width='5' height='5'/></pattern>";
    for (int i = 1; i != 40; ++i)
        nested += "<pattern id='p" + std::to_string(i) +
                  "' width='.5' height='.5'><rect width='5' height='5' fill='url(#p" + std::to_string(i - 1) +
                  ")'/><rect width='5' height='4' fill='url(#p" + std::to_string(i - 1) + ")'/></pattern>";
    Imported const drawing(
        nested + "<rect width='50' height='50' fill='url(#p39)'/>"
                 "<pattern id='r' width='1' height='1'><rect width='1' height='1' fill='url(#r) red'/></pattern>"
                 "<rect width='50' height='50' fill='url(#r)'/>"
                 "<pattern id='h' width='1e300' height='1e-300' patternUnits='userSpaceOnUse'><rect width='1' "
                 "height='1'/></pattern><rect width='50' height='50' fill='url(#h)'/>");
    EXPECT_EQ(drawing.nodes.size(), 3u);
    EXPECT_FALSE(drawing.report.IsEmpty());
}

TEST(SvgImport, MarkersTakeTheirTurnInThePaintOrder) {
    auto const outline = [](std::string const& attributes) {
        Imported const drawing("<marker id='m' overflow='visible'><circle r='1'/></marker>"
                               "<path d='M10 10H20V20' marker-end='url(#m)' stroke='red' " +
                               attributes + "/>");
        std::string text;
        for (Node const* child = drawing.nodes[0]->GetFirstChild(NodeChildListType::Plain); child != nullptr;
             child = child->GetNextSibling()) {
            auto const* const shape = dynamic_cast<CurvesNode const*>(child);
            text += shape == nullptr ? "m" : "";
            if (shape == nullptr)
                continue;
            std::string const fill = shape->IsBrushFillVisible(0) ? "f" : "",
                              line = shape->IsLineStyleVisible() ? "s" : "";
            text += '(' + (shape->IsLineBehindFill() ? line + fill : fill + line) + ')';
        }
        return text;
    };
    EXPECT_EQ(outline(""), "(fs)m");
    EXPECT_EQ(outline("paint-order='stroke'"), "(sf)m");
    EXPECT_EQ(outline("paint-order='markers'"), "m(fs)");
    EXPECT_EQ(outline("paint-order='markers stroke'"), "m(sf)");
    EXPECT_EQ(outline("paint-order='fill markers'"), "(f)m(s)");
    EXPECT_EQ(outline("paint-order='stroke markers fill'"), "(s)m(f)");
    EXPECT_EQ(outline("paint-order='fill markers' fill='none'"), "m(s)");
    EXPECT_EQ(outline("paint-order='stroke markers' fill='none'"), "(s)m");
}

TEST(SvgImport, TextInAClipPathClips) {
    Imported const drawing("<clipPath id='c'><text x='5' y='30' font-size='20' fill='none' stroke='red'>Hi</text>"
                           "<rect width='3' height='3'/></clipPath>"
                           "<clipPath id='d'><text x='5' y='30' font-size='20'>Hi</text></clipPath>"
                           "<rect width='50' height='50' clip-path='url(#c)'/>"
                           "<rect width='50' height='50' clip-path='url(#d)'/>");
    EXPECT_EQ(drawing.GetOutline(), "Shape[Group(ArtText Shape)] Shape[ArtText]");
    EXPECT_TRUE(drawing.report.IsEmpty());
}

TEST(SvgImport, ImagesBecomeBitmapsInTheirPlace) {
    Imported const drawing(TinyPng("x='10' y='20' width='8' height='8'"));
    EXPECT_EQ(drawing.GetOutline(), "Raster");
    auto const& raster = drawing.Get<RasterNode>();
    EXPECT_EQ(raster.GetMatrix(), (Matrix{2, 0, 10, 0, 2, 22}));
    EXPECT_EQ(raster.GetBitmap()->GetSize(), (Kernel::SizeT<int>{4, 2}));
    EXPECT_EQ(raster.GetBitmap()->GetFormat(), Raster::FormatRGBA8);
    unsigned char pixels[32];
    raster.GetBitmap()->ReadPixels({0, 0, 4, 2}, pixels, 16);
    EXPECT_EQ(pixels[31], 31 * 7);
}

TEST(SvgImport, ImagesWithoutSizeHaveTheirOwnAndSlicesAreCut) {
    EXPECT_EQ(Imported(TinyPng("")).Get<RasterNode>().GetMatrix(), Matrix{});
    Imported const slice(TinyPng("width='4' height='4' preserveAspectRatio='xMidYMid slice'"));
    EXPECT_EQ(slice.GetOutline(), "Group(Raster)[Shape]");
}

TEST(SvgImport, DrawingsMayBeImagesOfDrawings) {
    std::string const inner = "<svg xmlns='http://www.w3.org/2000/svg' width='10' height='10'><rect width='20' "
                              "height='5'/></svg>";
    Imported const drawing("<image width='20' height='20' href='data:image/svg+xml;base64," + EncodeBase64(inner) +
                           "'/>");
    EXPECT_EQ(drawing.GetOutline(), "Group(Group(Shape))[Shape]");
}

TEST(SvgImport, DrawingsInDrawingsHaveAnEnd) {
    std::string inner = "<rect width='1' height='1'/>";
    for (int i = 0; i < 8; ++i)
        inner = "<image width='9' height='9' href='data:image/svg+xml;base64," + EncodeBase64(Wrap(inner)) + "'/>";
    Imported const drawing(inner);
    EXPECT_EQ(drawing.report.GetCount("drawings in drawings"), 1u);
}

TEST(SvgImport, WhatHasNoCounterpartIsCounted) {
    Imported const drawing("<foreignObject/><filter id='f'><feTurbulence/></filter>"
                           "<rect id='r' width='1' height='1' filter='url(#f)'/>"
                           "<image href='data:image/png;base64,AAAA' width='1' height='1'/>");
    EXPECT_EQ(drawing.report.GetCount("foreignObject"), 1u);
    EXPECT_EQ(drawing.report.GetCount("filter with feTurbulence"), 1u);
    EXPECT_EQ(drawing.GetOutline(), "Shape");
}

TEST(SvgImport, ADrawingWithoutSizeHasThatOfItsContent) {
    Imported const drawing("<rect x='-10' y='5' width='30' height='20'/>", "");
    EXPECT_EQ(drawing.pageSize, (Kernel::SizeT<double>{30, 20}));
    EXPECT_EQ(drawing.Get<ShapeNode>().GetMatrix(), (Matrix{1, 0, 10, 0, 1, -5}));
}

TEST(SvgImport, GiganticPagesAreScaledDown) {
    Imported const drawing("<rect width='1' height='1'/>", "width='1e9' height='5e8' viewBox='0 0 1 0.5'");
    EXPECT_EQ(drawing.pageSize, (Kernel::SizeT<double>{1e6, 5e5}));
    EXPECT_DOUBLE_EQ(drawing.Get<ShapeNode>().GetMatrix().a, 1e6);
    EXPECT_EQ(drawing.report.GetEntries().size(), 1u);
}

TEST(SvgImport, NestingOfAnyDepthBecomesATree) {
    constexpr int c_depth = 100'000;
    std::string content;
    for (int i = 0; i < c_depth; ++i)
        content += "<g>";
    content += "<rect width='1' height='1'/>";
    for (int i = 0; i < c_depth; ++i)
        content += "</g>";
    Imported const drawing(content);
    int depth = 0;
    for (Node const* node = drawing.nodes.at(0).get(); node != nullptr;
         node = node->GetFirstChild(NodeChildListType::Plain))
        ++depth;
    EXPECT_EQ(depth, c_depth + 1);
}
