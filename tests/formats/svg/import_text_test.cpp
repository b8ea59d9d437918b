// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/import.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"

#include <gtest/gtest.h>

using namespace Formats::Svg;
using Kernel::CastPointer;

namespace {

ImportedDrawing Read(std::string const& content) {
    return Import("<svg xmlns='http://www.w3.org/2000/svg' width='400' height='200'>" + content + "</svg>", {});
}

ArtTextNode const& TextAt(ImportedDrawing const& drawing, std::size_t index = 0) {
    auto const* const text = CastPointer<ArtTextNode const>(drawing.nodes.at(index).get());
    if (text == nullptr)
        throw std::runtime_error("no art text");
    return *text;
}

std::string TextOf(ArtTextNode const& node) {
    return node.GetStory()->GetString(node.GetStory()->GetClientAll()).ToStdString();
}

std::vector<ArtTextNode const*> PiecesOf(ImportedDrawing const& drawing) {
    std::vector<ArtTextNode const*> pieces;
    Node const& group = *drawing.nodes.at(0);
    for (Node const* child = group.GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling())
        pieces.push_back(CastPointer<ArtTextNode const>(child));
    return pieces;
}

Kernel::RectT<double> Bounds(ArtTextNode const& node) { return node.GetOwnBounds({}, false); }

TEST(ImportText, ATextStandsAtItsPlaceInItsFont) {
    auto const drawing = Read("<text x='30' y='50' font-family='DejaVu Sans, sans-serif' font-size='20' "
                              "font-weight='bold' font-style='italic' fill='#f00'>Hello &amp; good day</text>");
    auto const& text = TextAt(drawing);
    EXPECT_EQ(TextOf(text), "Hello & good day");
    EXPECT_EQ(text.GetOrigin(), (Kernel::PointT<double>{30, 50}));
    auto const atts = text.GetStory()->GetGlyphAtts(0);
    using Story::GlyphAtt;
    EXPECT_EQ(atts->Get(GlyphAtt::Double::Size), 20);
    EXPECT_EQ(atts->Get(GlyphAtt::Double::Weight), 700);
    EXPECT_EQ(atts->Get(GlyphAtt::Enum::Italic), 1);
    EXPECT_EQ(atts->Get(GlyphAtt::String::FontFamily), Kernel::String("DejaVu Sans, sans-serif"));
    auto const* const fill = CastPointer<Renderer::FillDescriptor const>(atts->Get(GlyphAtt::Object::Fill).get());
    ASSERT_NE(fill, nullptr);
    EXPECT_EQ(fill->GetFill()->GetRepresentativeColour(), Renderer::Colour::FromRGB(1, 0, 0));
    EXPECT_NEAR(Bounds(text).left, 30, 1e-6);
    EXPECT_TRUE(drawing.report.GetLines().empty());
}

TEST(ImportText, WhiteSpaceIsCollapsed) {
    EXPECT_EQ(TextOf(TextAt(Read("<text>\n  one\n  <tspan> two </tspan>\n three  </text>"))), "one two three");
    EXPECT_EQ(TextOf(TextAt(Read("<text xml:space='preserve'> a  b </text>"))), " a  b ");
    EXPECT_TRUE(Read("<text>   </text>").nodes.empty());
}

TEST(ImportText, SpansKeepTheirOwnLook) {
    auto const drawing = Read("<text y='20' font-size='10'>a<tspan font-size='30'>b</tspan>c</text>");
    auto const& story = *TextAt(drawing).GetStory();
    EXPECT_EQ(TextOf(TextAt(drawing)), "abc");
    EXPECT_EQ(story.GetGlyphAtts(0)->Get(Story::GlyphAtt::Double::Size), 10);
    EXPECT_EQ(story.GetGlyphAtts(1)->Get(Story::GlyphAtt::Double::Size), 30);
    EXPECT_EQ(story.GetGlyphAtts(2)->Get(Story::GlyphAtt::Double::Size), 10);
}

TEST(ImportText, AnchorsAlignTheText) {
    auto const drawing =
        Read("<text x='200' y='20'>middle</text><text x='200' y='40' text-anchor='middle'>middle</text>"
             "<text x='200' y='60' text-anchor='end'>middle</text>");
    double const width = Bounds(TextAt(drawing, 0)).GetWidth();
    EXPECT_NEAR(Bounds(TextAt(drawing, 0)).left, 200, 1e-3);
    EXPECT_NEAR(Bounds(TextAt(drawing, 1)).left, 200 - width / 2, 1e-3);
    EXPECT_NEAR(Bounds(TextAt(drawing, 2)).right, 200, 1e-3);
}

TEST(ImportText, ListsPlaceCharactersOneByOne) {
    auto const drawing = Read("<text x='10 50 90' y='20 30'>abcd</text>");
    auto const pieces = PiecesOf(drawing);
    ASSERT_EQ(pieces.size(), 3u);
    EXPECT_EQ(TextOf(*pieces[0]), "a");
    EXPECT_EQ(pieces[0]->GetOrigin(), (Kernel::PointT<double>{10, 20}));
    EXPECT_EQ(TextOf(*pieces[1]), "b");
    EXPECT_EQ(pieces[1]->GetOrigin(), (Kernel::PointT<double>{50, 30}));
    EXPECT_EQ(TextOf(*pieces[2]), "cd");
    EXPECT_EQ(pieces[2]->GetOrigin(), (Kernel::PointT<double>{90, 30}));
}

TEST(ImportText, OffsetsMoveFromWhereThePenIs) {
    auto const drawing = Read("<text x='10' y='20'>ab <tspan dx='5' dy='-3'>cd</tspan></text>");
    auto const pieces = PiecesOf(drawing);
    ASSERT_EQ(pieces.size(), 2u);
    auto const whole = Bounds(TextAt(Read("<text>ab cd</text>"))).GetWidth();
    auto const tail = Bounds(TextAt(Read("<text>cd</text>"))).GetWidth();
    EXPECT_NEAR(pieces[1]->GetOrigin().x, 10 + whole - tail + 5, 0.3);
    EXPECT_EQ(pieces[1]->GetOrigin().y, 17);
}

TEST(ImportText, AMiddleAnchorTakesTheWholeChunk) {
    auto const drawing = Read("<text x='200' y='20' text-anchor='middle'>aaaa<tspan dx='20'>bbbb</tspan></text>");
    auto const pieces = PiecesOf(drawing);
    ASSERT_EQ(pieces.size(), 2u);
    double const left = Bounds(*pieces[0]).left, right = Bounds(*pieces[1]).right;
    EXPECT_NEAR((left + right) / 2, 200, 1e-2);
    EXPECT_NEAR(Bounds(*pieces[1]).left - Bounds(*pieces[0]).right, 20, 1e-2);
}

TEST(ImportText, WhatIsNotTakenOverIsNamed) {
    auto const drawing =
        Read("<text>a<textPath href='#missing'>along</textPath></text>"
             "<path id='p' d='M0 0H99'/><text writing-mode='tb'><textPath href='#p'>b</textPath></text>");
    std::string lines;
    for (auto const& line : drawing.report.GetLines())
        lines += line + "\n";
    EXPECT_NE(lines.find("text on a missing path"), lines.npos);
    EXPECT_NE(lines.find("vertical text on a path"), lines.npos);
}

TEST(ImportText, LinesRunFromTopToBottomWhereTheWritingModeSaysSo) {
    auto const drawing = Read("<text x='100' y='20' font-size='20' writing-mode='vertical-rl'>\u6F22\u5B57</text>");
    auto const& text = TextAt(drawing);
    EXPECT_EQ(text.GetStory()->GetWritingMode(), Story::WritingMode::Vertical);
    EXPECT_EQ(text.GetOrigin(), (Kernel::PointT<double>{100, 20}));
    EXPECT_NEAR((Bounds(text).left + Bounds(text).right) / 2, 100, 0.01);
    EXPECT_NEAR(Bounds(text).top, 20, 0.01);
    EXPECT_NEAR(Bounds(text).bottom, 60, 0.01);
    // A place of its own moves the letters behind it, an anchor the whole.
    auto const parted = Read("<text x='100 50' y='20' font-size='20' writing-mode='tb'>\u6F22\u5B57</text>");
    auto const pieces = PiecesOf(parted);
    ASSERT_EQ(pieces.size(), 2u);
    EXPECT_NEAR(pieces[1]->GetOrigin().x, 50, 1e-6);
    EXPECT_NEAR(pieces[1]->GetOrigin().y, 40, 1e-3);
    auto const ended =
        Read("<text x='100' y='90' text-anchor='end' font-size='20' writing-mode='tb-rl'>\u6F22\u5B57</text>");
    EXPECT_NEAR(Bounds(TextAt(ended)).bottom, 90, 0.01);
}

TEST(ImportText, TransformsAndOpacityAreThoseOfTheElement) {
    auto const drawing = Read("<text transform='translate(5 6) scale(2)' opacity='0.5' id='title'>x</text>");
    auto const& text = TextAt(drawing);
    EXPECT_EQ(text.GetMatrix(), (Raster::AffineTransform::Params{2, 0, 5, 0, 2, 6}));
    EXPECT_EQ(text.GetOpacity(), 0.5);
    EXPECT_EQ(text.GetDescription(false), Kernel::String("title"));
}

} // namespace
