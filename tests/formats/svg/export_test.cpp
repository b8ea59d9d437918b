// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/export.h"
#include "formats/svg/import.h"
#include "formats/svg/xml_writer.h"
#include "platform/document/document_controller.h"
#include "platform/document/document_renderer.h"
#include "platform/document/generated_image_node.h"
#include "platform/geometry/path_data.h"
#include "platform/raster/buffer.h"
#include "platform/renderer/recorded_drawing.h"

#include <gtest/gtest.h>
#include <pugixml.hpp>
#include <random>

using namespace Formats::Svg;

namespace {

Kernel::Counted<DocumentController> MakeDocument(ImportedDrawing const& drawing) {
    auto document = DocumentController::CreateNew(drawing.pageSize, Raster::FormatRGBA8, 1);
    Place(drawing, *document->GetDocument(), *document->GetCurrentSpread());
    return document;
}

std::string ExportOf(DocumentController& document) {
    ExportedDrawing const drawing = ExportSpread(*document.GetCurrentSpread());
    EXPECT_TRUE(drawing.report.IsEmpty());
    pugi::xml_document parsed;
    EXPECT_TRUE(parsed.load_string(drawing.text.c_str())) << drawing.text;
    return drawing.text;
}

// Reads a drawing, writes it, reads that and writes it again: the documents must be one by their hash, and the texts.
std::string ExpectRoundTrip(std::string const& content, std::string const& attributes = "width='100' height='50'") {
    auto const first = Import("<svg xmlns='http://www.w3.org/2000/svg' " + attributes + ">" + content + "</svg>", {});
    auto const firstDocument = MakeDocument(first);
    std::string const text = ExportOf(*firstDocument);
    auto const second = Import(text, {});
    EXPECT_TRUE(second.report.IsEmpty()) << second.report.GetLines().front();
    auto const secondDocument = MakeDocument(second);
    EXPECT_EQ(ExportOf(*secondDocument), text);
    EXPECT_EQ(firstDocument->GetHash(false), secondDocument->GetHash(false)) << text;
    return text;
}

} // namespace

TEST(SvgExport, ShapesComeBack) {
    ExpectRoundTrip("<rect x='0.1' y='0.2' width='0.7' height='10' rx='0.05' ry='3'/><rect width='3' height='4' rx='1' "
                    "ry='0'/><circle cx='0.3' cy='1e-9' r='0.7'/><ellipse cx='1e6' cy='.1' rx='0.333' ry='17.77'/>"
                    "<path d='M.1.2C1 2 3 4 5 6.7Z m3 3 l 1 1'/><path fill-rule='evenodd' d='M0 0h1v1z'/>"
                    "<line x2='3'/><polyline points='1 2 3 4 5 6.6'/><polygon points='1 2 3 4 5 6.6'/>");
}

TEST(SvgExport, BoxesComeBackExactlyWhateverTheirNumbers) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> number(-1000, 1000), size(1e-3, 1000);
    std::string content;
    for (int i = 0; i < 300; ++i)
        content += "<rect x='" + FormatNumber(number(random)) + "' y='" + FormatNumber(number(random)) + "' width='" +
                   FormatNumber(size(random)) + "' height='" + FormatNumber(size(random)) + "'/><ellipse cx='" +
                   FormatNumber(number(random)) + "' cy='" + FormatNumber(number(random)) + "' rx='" +
                   FormatNumber(size(random)) + "' ry='" + FormatNumber(size(random)) + "'/>";
    ExpectRoundTrip(content);
}

TEST(SvgExport, GroupsTransformsAndVisibilityComeBack) {
    ExpectRoundTrip("<g transform='rotate(33 4 5) skewX(7)' opacity='.3'><g><path d='M0 0h1' display='none'/></g>"
                    "<g style='mix-blend-mode:color-dodge;opacity:0.7'/><g style='isolation:isolate'/></g>",
                    "width='10cm' height='7in' viewBox='3 4 100 71'");
}

TEST(SvgExport, PaintsComeBack) {
    ExpectRoundTrip("<linearGradient id='l' x1='.1' gradientTransform='rotate(12)'><stop stop-color='#123456'/>"
                    "<stop offset='.3' stop-color='rgb(10.3%,20.7%,33.33%)' stop-opacity='.3'/></linearGradient>"
                    "<radialGradient id='r' fx='.3' fr='.1' spreadMethod='repeat'><stop/><stop offset='1' "
                    "stop-color='red'/></radialGradient>"
                    "<rect width='3' height='4' fill='url(#l)' stroke='url(#r)' stroke-width='.3'/>"
                    "<rect width='3' height='4' fill='hsl(33.3,44%,55%)' fill-opacity='.123'/>"
                    "<rect width='3' height='4' fill='none'/><rect width='30' height='4' fill='url(#l)'/>");
}

TEST(SvgExport, LinesComeBack) {
    ExpectRoundTrip("<path d='M0 0h9' stroke='red' stroke-opacity='.5' stroke-width='.3' stroke-linecap='square' "
                    "stroke-linejoin='bevel' stroke-miterlimit='7' stroke-dasharray='.1 .7 1.3' "
                    "stroke-dashoffset='-.1' paint-order='stroke' vector-effect='non-scaling-stroke'/>"
                    "<path d='M0 0h9' stroke='#ff0' stroke-linecap='round' stroke-linejoin='round'/>");
}

TEST(SvgExport, ClipsComeBack) {
    ExpectRoundTrip("<clipPath id='a'><circle r='3'/></clipPath><clipPath id='b' clip-path='url(#a)' "
                    "transform='scale(2)'><rect width='5' height='5' transform='rotate(3)'/><path clip-rule='evenodd' "
                    "d='M0 0h1v1z'/></clipPath><clipPath id='c'><rect width='5' height='5' clip-path='url(#a)' "
                    "transform='translate(3)'/></clipPath><path d='M0 0h1' clip-path='url(#b)'/><g "
                    "clip-path='url(#c)'/><path d='M0 0h1' clip-path='url(#a)'/>"
                    "<svg width='3' height='3'><rect width='9' height='9'/></svg>");
}

// A file has one clip for an element: several are a chain of clips that clip each other.
TEST(SvgExport, SeveralClipsOfOneShapeShowWhatLiesInAll) {
    auto const box = [](double left, double top, double right, double bottom) {
        auto shape = Kernel::MakeCounted<RectangleShape>();
        shape->box = {left, top, right, bottom};
        auto node = Kernel::MakeCounted<ShapeNode>(shape);
        node->SetBrushFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromRGB(1, 0, 0)));
        return node;
    };
    auto const picture = [](DocumentController& document) {
        auto const target = MakeSpreadPicture(*document.GetCurrentSpread(), {});
        return Kernel::Cast<Raster::BufferRGBA8>(target->Render({0, 0, 60, 60}));
    };
    auto const group = Kernel::MakeCounted<GroupNode>();
    group->InsertChild(NodeChildListType::Plain, box(0, 0, 40, 12), nullptr);
    group->InsertChild(NodeChildListType::Plain, box(0, 20, 40, 50), nullptr);
    group->SetTransform({1, 0.25, 3, 0, 1, 5}, false);
    auto const hidden = box(0, 0, 1, 1), unfilled = box(0, 0, 60, 60);
    hidden->SetVisible(false);
    unfilled->SetBrushFillDescriptor({});
    std::vector<std::pair<std::vector<Kernel::Counted<Node>>, bool>> const cases = {
        {{box(5, 0, 30, 60), box(0, 10, 60, 30)}, true},
        {{box(5, 0, 30, 60), hidden, group}, true},
        {{group, box(5, 0, 30, 60)}, true},
        {{hidden}, true},
        {{box(5, 0, 30, 60), unfilled}, false}};
    for (auto const& [clips, isSeen] : cases) {
        auto const document = DocumentController::CreateNew({60, 60}, Raster::FormatRGBA8, 1);
        auto const shape = box(2, 2, 50, 50);
        CloneContext context(CloneType::Copy);
        for (auto const& clip : clips)
            shape->InsertChild(NodeChildListType::Clipping, clip->Clone(context), nullptr);
        document->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, shape, nullptr);
        auto const imported = MakeDocument(Import(ExportOf(*document), {}));
        auto const before = picture(*document), after = picture(*imported);
        int seen = 0;
        for (int y = 0; y != 60; ++y) {
            for (int x = 0; x != 60; ++x) {
                EXPECT_EQ(before->GetRow(1, y)[x], after->GetRow(1, y)[x]) << x << "," << y;
                seen += before->GetRow(1, y)[x] < 128;
            }
        }
        EXPECT_EQ(isSeen, seen > 0);
        EXPECT_LT(seen, isSeen && clips.size() > 1 ? 1300 : 48 * 48 + 1);
    }
}

TEST(SvgExport, CirclesOfGradientsComeBackThoughTheirEndsAreRounded) {
    std::string content;
    for (int i = 0; i != 40; ++i)
        content += "<radialGradient id='g" + std::to_string(i) + "' gradientUnits='userSpaceOnUse' cx='" +
                   FormatNumber(1.1 * i) + "' cy='" + FormatNumber(64.03 / (i + 1)) + "' r='" +
                   FormatNumber(0.1 + 0.37 * i) + "'><stop/><stop offset='1' stop-color='red'/></radialGradient>" +
                   "<rect width='3' height='4' fill='url(#g" + std::to_string(i) + ")'/>";
    std::string const text = ExpectRoundTrip(content);
    EXPECT_NE(text.find("r=\"0.47\""), std::string::npos) << text;
}

TEST(SvgExport, LinesThatLeadBackToTheStartComeBack) {
    ExpectRoundTrip("<path d='M1 2L3 4L1 2L1 2Z'/><path d='M1 2L3 4L1 2Z'/><path d='M1 2L1 2Z'/><path d='M1 2Z'/>"
                    "<path d='M1 2L3 4L5 0L1 2'/><path d='M1 2L3 4C5 6 7 8 1 2Z'/><path d='M1 2C5 6 7 8 1 2L1 2Z'/>");
}

TEST(SvgExport, ZerosComeBackWithoutASign) {
    ExpectRoundTrip("<g transform='scale(-1 1) translate(-0 0)'><path transform='rotate(180)' d='M-0 0h-1v-0Z'/></g>"
                    "<linearGradient id='l' x1='-0' gradientTransform='scale(-1)'><stop/><stop offset='1' "
                    "stop-color='red'/></linearGradient><rect width='3' height='4' x='-0' fill='url(#l)'/>");
}

TEST(SvgExport, SymbolsComeBackAsReferences) {
    std::string const text = ExpectRoundTrip(
        "<defs><rect id='leaf' width='1' height='1'/><g id='twig'><use href='#leaf'/><use id='second' href='#leaf' "
        "x='2'/></g><symbol id='branch' viewBox='0 0 9 9'><title>A branch</title><use id='low' href='#twig'/><use "
        "href='#twig' y='4' opacity='.5'/></symbol></defs><use id='left' href='#branch' width='9' height='9'/><use "
        "id='right' href='#branch' x='20' width='9' height='9'/><use href='#leaf' fill='red'/><use id='chain' "
        "href='#low2'/><use id='low2' href='#low3'/><use id='low3' href='#leaf'/>");
    auto const count = [&](std::string_view what) {
        std::size_t found = 0;
        for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
            ++found;
        return found;
    };
    // Each content stands once for every look, here red, black, and black where percentages mean something else; what
    // shows it refers to it.
    EXPECT_EQ(count("<rect"), 3u) << text;
    EXPECT_EQ(count("<use"), 12u) << text;
    for (std::string_view const id : {"leaf", "twig", "second", "low", "left", "right", "chain", "low2", "low3"})
        EXPECT_EQ(count("id=\"" + std::string(id) + "\""), 1u) << id << text;
    EXPECT_EQ(count("<title>A branch</title>"), 1u) << text;
}

TEST(SvgExport, AnInstanceThatDiffersFromItsSymbolIsWrittenOut) {
    auto const drawing = Import("<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'><defs><rect id='a' "
                                "width='1' height='1'/></defs><use href='#a'/><use href='#a'/></svg>",
                                {});
    auto const document = MakeDocument(drawing);
    dynamic_cast<SceneNode&>(*drawing.nodes[1]->GetFirstChild(NodeChildListType::Plain)).SetOpacity(0.5);
    std::string const text = ExportOf(*document);
    EXPECT_EQ(text.find("<use"), text.rfind("<use"));
    EXPECT_NE(text.find("opacity=\"0.5\""), std::string::npos);
}

TEST(SvgExport, NamesComeBackWhateverTheyHold) {
    std::string const text = ExpectRoundTrip(
        "<g id='plain'/><g><title>two words</title></g><g id='x'><title>plain</title></g><g><title>plain</title></g>"
        "<g><title>&lt;/title>&lt;script>&amp;\"'&#10;]]&gt;&#x1F4A9;</title></g><g id='a&quot;b'/><g id='1'/>"
        "<path id='../../x' d='M0 0h1'/><g><title>clip1</title></g><clipPath id='c'><circle r='1'/></clipPath>"
        "<path d='M0 0h1' clip-path='url(#c)'/><path d='M0 0h1' clip-path='url(#c2)'/><clipPath "
        "id='c2'><title/><circle "
        "r='1'/></clipPath>");
    EXPECT_NE(text.find("<g id=\"plain\">"), std::string::npos);
    EXPECT_EQ(text.find("<script"), std::string::npos);
}

TEST(SvgExport, ControlCharactersInNamesAreReplaced) {
    auto const drawing = Import("<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'><g/></svg>", {});
    auto const document = MakeDocument(drawing);
    drawing.nodes[0]->SetUserDescription(Kernel::String("a\x01\x1B"
                                                        "b\xEF\xBF\xBF"));
    EXPECT_NE(ExportOf(*document).find("<title>a\xEF\xBF\xBD\xEF\xBF\xBD"
                                       "b\xEF\xBF\xBD</title>"),
              std::string::npos);
}

TEST(SvgExport, BitmapsComeBack) {
    auto const bitmap = Kernel::MakeCounted<Raster::DynamicBitmap>(5, 3, Raster::FormatIA16);
    std::vector<std::uint16_t> pixels(5 * 3 * 2);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<std::uint16_t>(i * 2000 + 123);
    bitmap->WritePixels({0, 0, 5, 3}, pixels.data(), 20);
    auto const node = Kernel::MakeCounted<RasterNode>();
    node->SetBitmap(bitmap);
    node->SetTransform({3, 1, 10, 0, 2, 20}, false);
    ImportedDrawing drawing;
    drawing.pageSize = {100, 50};
    drawing.nodes.push_back(node);
    auto const document = MakeDocument(drawing);
    auto const second = Import(ExportOf(*document), {});
    ASSERT_EQ(second.nodes.size(), 1u);
    auto const& raster = dynamic_cast<RasterNode&>(*second.nodes[0]);
    EXPECT_EQ(raster.GetMatrix(), node->GetMatrix());
    EXPECT_EQ(raster.GetBitmap()->GetFormat(), Raster::FormatIA16);
    EXPECT_TRUE(raster.GetBitmap()->GetBase()->HasEqualPixels(*bitmap->GetBase()));
}

// As pictures: the chosen one, with what hides a part of it in its alpha.
TEST(SvgExport, GeneratedPicturesAreWrittenAsTheyShow) {
    auto const makeBitmap = [](int width, int height, Raster::Format format, double value) {
        auto const bitmap = Kernel::MakeCounted<Raster::DynamicBitmap>(width, height, format);
        Raster::DynamicPixel pixel(format);
        for (int c = 0; c != Raster::GetFormatInfo(format).channelCount; ++c)
            pixel.SetSample(c, value);
        bitmap->Clear(pixel);
        return bitmap;
    };
    auto const profile = Raster::ICCProfileSet().Get(Raster::ColourModel::RGB);
    auto const node = Kernel::MakeCounted<GeneratedImageNode>();
    node->SetGenerations({{"one", makeBitmap(9, 9, Raster::FormatRGBA8, 80), profile, {}},
                          {"two", makeBitmap(5, 3, Raster::FormatRGBA8, 255), profile, {2, 0, 1, 0, 2, 0}}});
    node->SetChosenGeneration(1);
    node->SetGenerationMask(makeBitmap(2, 3, Raster::FormatA8, 100));
    node->SetTransform({1, 0, 10, 0, 1, 20}, false);
    ImportedDrawing drawing;
    drawing.pageSize = {100, 50};
    drawing.nodes.push_back(node);
    auto const document = MakeDocument(drawing);
    auto const second = Import(ExportOf(*document), {});
    ASSERT_EQ(second.nodes.size(), 1u);
    auto const& raster = dynamic_cast<RasterNode&>(*second.nodes[0]);
    EXPECT_EQ(raster.GetMatrix(), (Matrix{2, 0, 11, 0, 2, 20}));
    EXPECT_EQ(raster.GetBitmap()->GetSize(), (Kernel::SizeT<int>{5, 3}));
    EXPECT_EQ(raster.GetBitmap()->GetBase()->GetPixel(1, 1).GetSample(3), 100);
    EXPECT_EQ(raster.GetBitmap()->GetBase()->GetPixel(2, 1).GetSample(3), 255);
}

TEST(SvgExport, SelectedNodesAreWrittenWhereTheyStand) {
    auto const drawing = Import("<svg xmlns='http://www.w3.org/2000/svg' width='90' height='90'><g "
                                "transform='translate(10 20)'><rect width='5' height='6'/><rect/></g></svg>",
                                {});
    auto const document = MakeDocument(drawing);
    Kernel::Counted<Node> const inner(drawing.nodes[0]->GetFirstChild(NodeChildListType::Plain));
    std::string const text = ExportNodes({inner}).text;
    EXPECT_NE(text.find("width=\"5\" height=\"6\" viewBox=\"10 20 5 6\""), std::string::npos) << text;
    EXPECT_NE(text.find("transform=\"matrix(1 0 0 1 10 20)\""), std::string::npos) << text;
    EXPECT_NE(ExportNodes({}).text.find("width=\"1\""), std::string::npos);
}

TEST(SvgExport, WhatHasNoCounterpartIsCounted) {
    auto const drawing =
        Import("<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'><rect width='1' height='1' "
               "stroke='red' id='r'/></svg>",
               {});
    auto const document = MakeDocument(drawing);
    auto& node = dynamic_cast<CurvesNode&>(*drawing.nodes[0]);
    auto const line = node.GetLineStyleDescriptor()->Clone();
    line->SetStrokeAlignment(Renderer::StrokeAlignment::Inside);
    node.SetLineStyleDescriptor(line);
    node.SetBlendMode(Renderer::BlendMode::HardMix);
    node.SetBrushFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromCMYK(1, 0, 0, 0)));
    Report const report = ExportSpread(*document->GetCurrentSpread()).report;
    EXPECT_EQ(report.GetCount("line alignment"), 1u);
    EXPECT_EQ(report.GetCount("blend mode"), 1u);
    EXPECT_EQ(report.GetCount("colour outside RGB"), 1u);
    EXPECT_EQ(report.GetEntries().front().first, "r");
}

// Heads, pressure and nibs leave as outlines that paint the same pixels.
TEST(SvgExport, LinesWithoutAFormLookTheSame) {
    auto const drawing = Import(
        "<svg xmlns='http://www.w3.org/2000/svg' width='60' height='60'><g transform='rotate(10) scale(1.5 1)'>"
        "<path d='M8 8C20 0 30 20 36 6' fill='#fd0' stroke='#00f' stroke-width='3' opacity='.5' id='heads'/></g>"
        "<rect x='10' y='24' width='20' height='14' rx='3' fill='#0c0' stroke='#808' stroke-width='5' id='nib'/>"
        "<path d='M34 30L54 54' fill='none' stroke='#000' stroke-width='6' stroke-dasharray='6 3' id='pressure'/>"
        "<path d='M8 54H30' stroke='#000' vector-effect='non-scaling-stroke' transform='scale(.8)' id='fixed'/></svg>",
        {});
    auto const document = MakeDocument(drawing);
    auto const change = [&](std::string_view name, auto const& set) {
        for (auto const& root : drawing.nodes) {
            bool const isGroup = root->GetFirstChild(NodeChildListType::Plain) != nullptr;
            auto& curves = dynamic_cast<CurvesNode&>(isGroup ? *root->GetFirstChild(NodeChildListType::Plain) : *root);
            if (curves.GetDescription(false).ToStdString() != name)
                continue;
            auto const line = curves.GetLineStyleDescriptor()->Clone();
            set(*line, curves);
            curves.SetLineStyleDescriptor(line);
        }
    };
    auto const setNib = [](Renderer::LineStyleDescriptor& line, CurvesNode& node) {
        auto const style = line.GetLineStyle()->Clone();
        style->SetBrush({0.3, 0.7});
        line.SetLineStyle(Kernel::Consolidated<Renderer::LineStyle>(style));
        node.SetLineBehindFill(true);
    };
    auto const triangle = Geometry::ReadPathData("M0,0 L-4,2 L-4,-2 Z").curves;
    auto const setHeads = [&](Renderer::LineStyleDescriptor& line, CurvesNode&) {
        line.SetBackArrowHead(Kernel::MakeCounted<Renderer::LineStyleArrowHead const>(triangle, 0.8, 0.8));
    };
    change("heads", setHeads);
    change("fixed", setHeads);
    change("nib", setNib);
    change("pressure", [](Renderer::LineStyleDescriptor& line, CurvesNode&) {
        line.SetPressure(Geometry::ReadPathData("M0 1L1 .2").curves->GetCurves().front());
    });
    auto const draw = [](DocumentController& from) {
        auto const target = MakeSpreadPicture(*from.GetCurrentSpread(), {});
        return Kernel::Cast<Raster::BufferRGBA8>(target->Render({0, 0, 60, 60}));
    };
    auto const exported = ExportSpread(*document->GetCurrentSpread());
    EXPECT_EQ(exported.report.GetCount("line drawn as an outline"), 4u);
    EXPECT_EQ(exported.report.GetCount("arrow head") + exported.report.GetCount("line pressure"), 0u);
    auto const again = MakeDocument(Import(exported.text, {}));
    auto const before = draw(*document), after = draw(*again);
    int farthest = 0;
    for (int channel = 0; channel != 4; ++channel) {
        for (int y = 0; y != 60; ++y) {
            for (int x = 0; x != 60; ++x)
                farthest = std::max(farthest, std::abs(before->GetRow(channel, y)[x] - after->GetRow(channel, y)[x]));
        }
    }
    // Each edge of a line is within 1/64 pixel of the true one in the file, and within 1/32 in a picture.
    EXPECT_LE(farthest, 2 * 255 * 3 / 64) << exported.text;
}

TEST(SvgExport, NestingOfAnyDepthIsWritten) {
    constexpr int c_depth = 50'000;
    ImportedDrawing drawing;
    drawing.pageSize = {10, 10};
    Kernel::Counted<Node> node = Kernel::MakeCounted<GroupNode>();
    for (int i = 1; i < c_depth; ++i) {
        auto const outer = Kernel::MakeCounted<GroupNode>();
        outer->InsertChild(NodeChildListType::Plain, node, nullptr);
        node = outer;
    }
    drawing.nodes.push_back(node);
    auto const document = MakeDocument(drawing);
    std::string const text = ExportOf(*document);
    EXPECT_EQ(MakeDocument(Import(text, {}))->GetHash(false), document->GetHash(false));
}

TEST(SvgExport, TextComesBackAsText) {
    std::string const text = ExpectRoundTrip(
        "<text x='3.1' y='20' font-family='DejaVu Sans, serif' font-size='12.3' font-weight='700' font-style='italic' "
        "fill='#f08' fill-opacity='.5' letter-spacing='.7'>One &lt;line&gt;</text>"
        "<text id='named' x='50' y='30' text-anchor='middle' transform='rotate(30) scale(2 1)' "
        "opacity='.3'>Middle</text>"
        "<text x='50' y='30' text-anchor='end' font-stretch='75%' font-variant='small-caps' text-decoration='underline "
        "line-through' xml:lang='de' stroke='red' stroke-width='.3' paint-order='stroke'>End</text>"
        "<text x='5' y='40' xml:space='preserve'>  two  <tspan fill='none' stroke='#00f'>looks </tspan>"
        "<tspan font-size='20' baseline-shift='3'>here</tspan><title>A title</title></text>"
        "<text y='9' style='font-kerning:none;font-feature-settings:&quot;onum&quot; 1'>AVA 123</text>"
        "<text y='9' display='none'>away</text><text y='9'>\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D abc</text>"
        "<text x='90' y='9' direction='rtl'>\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D 12 abc</text>");
    EXPECT_EQ(text.find("<path"), std::string::npos) << text;
    EXPECT_NE(text.find("One &lt;line&gt;</text>"), std::string::npos) << text;
}

TEST(SvgExport, TextFromTopToBottomComesBack) {
    auto const text =
        ExpectRoundTrip("<text x='90' y='5' font-family='IPAGothic' font-size='10' writing-mode='vertical-rl'>"
                        "\u300C\u6F22\u5B57\u300D\u3002ab</text>");
    EXPECT_NE(text.find("writing-mode=\"vertical-rl\""), text.npos) << text;
    EXPECT_NE(text.find("x=\"90\" y=\"5\""), text.npos) << text;
}

TEST(SvgExport, PiecesOfTextComeBack) {
    ExpectRoundTrip(
        "<linearGradient id='l'><stop stop-color='red'/><stop offset='1' stop-color='blue'/></linearGradient>"
        "<path id='p' d='M5 20C20 0 40 40 60 20'/><g fill='url(#l)'>"
        "<text x='5 30 45' y='9' dy='0 1 2'>apart</text><text x='5' y='30' rotate='0 20 40'>turned</text>"
        "<text><textPath href='#p'>along a path</textPath></text>"
        "<text x='5' y='40' textLength='60'>spaced out</text><text x='5' y='40' textLength='60' "
        "lengthAdjust='spacingAndGlyphs'>stretched</text>"
        "<text x='5' y='10'>two<tspan x='5' y='25'>lines</tspan></text></g>");
}

TEST(SvgExport, TextInClipsComesBack) {
    std::string const text =
        ExpectRoundTrip("<clipPath id='c'><text x='5' y='30' font-size='20' transform='rotate(3)'>Hi</text>"
                        "<rect width='3' height='3'/></clipPath><clipPath id='d'><title>named</title>"
                        "<text x='5' y='30' font-size='20'>Hi</text></clipPath>"
                        "<rect width='50' height='50' clip-path='url(#c)'/>"
                        "<rect width='50' height='50' clip-path='url(#d)'/>");
    EXPECT_NE(text.find(">Hi</text>"), std::string::npos) << text;
}

TEST(SvgExport, PatternsComeBack) {
    std::string const text = ExpectRoundTrip(
        "<clipPath id='c'><circle cx='3' cy='3' r='3'/></clipPath>"
        "<clipPath id='e'><circle cx='3' cy='3' r='3'/><rect width='2' height='2'/></clipPath>"
        "<pattern id='i' width='2' height='2' patternUnits='userSpaceOnUse'><path d='M0 0h1v1z'/></pattern>"
        "<pattern id='p' x='3' y='4' width='.25' height='7' patternTransform='rotate(20)' viewBox='1 1 9 9'>"
        "<rect width='5' height='4' rx='1' fill='red' stroke='#00f' stroke-width='.5' transform='rotate(7)'/>"
        "<g opacity='.5' clip-path='url(#c)'><circle r='4' fill='url(#i)'/><ellipse rx='3' ry='1' opacity='.3'/></g>"
        "<g clip-path='url(#e)' style='mix-blend-mode:multiply'><path fill-rule='evenodd' d='M0 0h9v9z'/></g></pattern>"
        "<pattern id='q' width='.25' height='.5' patternContentUnits='objectBoundingBox'>"
        "<circle cx='.1' cy='.1' r='.1' fill='#0f0'/></pattern>"
        "<rect x='5' y='5' width='40' height='30' fill='url(#p)' fill-opacity='.5' stroke='url(#q)'/>"
        "<rect x='55' y='5' width='40' height='30' fill='url(#p)'/><circle r='20' fill='url(#q)'/>");
    EXPECT_EQ(text.find("<image"), std::string::npos);
}

TEST(SvgExport, PatternsInPatternsAreWrittenOnceHoweverOftenTheyAreUsed) {
    auto const outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>(Kernel::RectT<double>{0, 0, 5, 5});
    Renderer::Paint paint;
    paint.mainFill = Renderer::FillDescriptorConst(Renderer::Colour());
    // Each tile shows the next pattern twice: written at each use, the last would be counted 2^8 times.
    for (int depth = 0; depth != 9; ++depth) {
        auto const recorder = Kernel::MakeCounted<Renderer::DrawingRecorder>();
        recorder->DrawCurves(outline, paint, Geometry::WindingOrderMode::NonZero);
        recorder->DrawCurves(outline, paint, Geometry::WindingOrderMode::NonZero);
        paint.mainFill = Renderer::FillDescriptorConst(
            Kernel::MakeConsolidated<Renderer::PatternFill>(recorder->GetDrawing(), Kernel::SizeT<double>{10, 10}));
    }
    auto const node = Kernel::MakeCounted<PolyCurveNode>();
    node->SetCurves(outline);
    node->SetBrushFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(paint.mainFill));
    ImportedDrawing drawing;
    drawing.pageSize = {10, 10};
    drawing.nodes.push_back(node);
    Report const report = ExportSpread(*MakeDocument(drawing)->GetCurrentSpread()).report;
    EXPECT_EQ(report.GetCount("patterns within patterns beyond 8 deep"), 2u);
}
