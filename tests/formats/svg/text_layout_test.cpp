// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/import.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace Formats::Svg;
using Kernel::CastPointer;
using Story::GlyphAtt;

namespace {

ImportedDrawing Read(std::string const& content, std::string const& attributes = {}) {
    return Import("<svg xmlns='http://www.w3.org/2000/svg' width='400' height='200' font-family='DejaVu Sans' " +
                      attributes + ">" + content + "</svg>",
                  {});
}

// The art texts of the drawing's only text, with their text.
std::vector<ArtTextNode const*> PiecesOf(ImportedDrawing const& drawing) {
    std::vector<ArtTextNode const*> pieces;
    Node const* const node = drawing.nodes.at(0).get();
    if (auto const* const text = CastPointer<ArtTextNode const>(node))
        return {text};
    for (Node const* child = node->GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling())
        pieces.push_back(CastPointer<ArtTextNode const>(child));
    return pieces;
}

ArtTextNode const& Only(ImportedDrawing const& drawing) {
    auto const pieces = PiecesOf(drawing);
    if (pieces.size() != 1)
        throw std::runtime_error("several pieces");
    return *pieces[0];
}

std::string TextOf(ArtTextNode const& node) {
    return node.GetStory()->GetString(node.GetStory()->GetClientAll()).ToStdString();
}

// In the space of the text element.
Kernel::RectT<double> Bounds(ArtTextNode const& node) { return node.GetOwnBounds(node.GetMatrix(), false); }
double WidthOf(std::string const& text) { return Bounds(Only(Read(text))).GetWidth(); }

TEST(TextLayout, LettersStandOnTheirPathAndTurnWithIt) {
    auto const drawing = Read("<path id='p' d='M100 150 V 50'/>"
                              "<text font-size='20'><textPath href='#p' startOffset='10'>ab</textPath></text>");
    ASSERT_EQ(drawing.nodes.size(), 2u);
    auto const* const text = CastPointer<ArtTextNode const>(drawing.nodes[1].get());
    ASSERT_NE(text, nullptr);
    // A straight path leaves the text in one piece: upwards from 10 above the path's beginning.
    EXPECT_EQ(TextOf(*text), "ab");
    auto const matrix = text->GetMatrix();
    EXPECT_NEAR(matrix.a, 0, 1e-9);
    EXPECT_NEAR(matrix.c, -1, 1e-9);
    EXPECT_NEAR(matrix.tx, 100, 1e-6);
    EXPECT_NEAR(matrix.ty, 140, 1e-6);
    EXPECT_TRUE(drawing.report.GetLines().empty());
}

TEST(TextLayout, LettersOnACurveStandWithTheirMiddleOnIt) {
    auto const drawing = Read("<defs><path id='p' d='M50 100 A 50 50 0 0 1 150 100'/></defs>"
                              "<text font-size='12'><textPath href='#p' startOffset='50%' text-anchor='middle'>"
                              "abcdefg</textPath></text>");
    auto const pieces = PiecesOf(drawing);
    ASSERT_EQ(pieces.size(), 7u);
    for (auto const* piece : pieces) {
        double const half =
            Bounds(*piece).IsEmpty() ? 0 : piece->MakeComposedText()->GetColumn(0).begin()->GetWidth() / 2;
        auto const middle = piece->GetMatrix().Apply(Kernel::PointT<double>{half, 0});
        EXPECT_NEAR(std::hypot(middle.x - 100, middle.y - 100), 50, 0.02);
    }
    // The fourth of seven stands about the top, and its neighbours lean away from it.
    EXPECT_LT(pieces.front()->GetMatrix().c, -0.2);
    EXPECT_GT(pieces.back()->GetMatrix().c, 0.2);
}

TEST(TextLayout, WhatHasNoRoomOnItsPathIsNotShown) {
    auto const drawing = Read("<defs><path id='p' d='M0 50 h30'/></defs>"
                              "<text font-size='20'><textPath href='#p'>abcdefgh</textPath>z</text>");
    std::string shown;
    for (auto const* piece : PiecesOf(drawing))
        shown += TextOf(*piece);
    EXPECT_EQ(shown.substr(0, 2), "ab");
    EXPECT_EQ(shown.back(), 'z');
    EXPECT_LT(shown.size(), 5u);
    // Text behind the path goes on at its end.
    EXPECT_NEAR(Bounds(*PiecesOf(drawing).back()).left, 30, 1e-3);
}

TEST(TextLayout, LettersTurnAboutTheirPlaces) {
    auto const drawing = Read("<text x='10 60' y='50' font-size='20' rotate='10 20'>abc</text>");
    auto const pieces = PiecesOf(drawing);
    ASSERT_EQ(pieces.size(), 3u);
    EXPECT_NEAR(std::atan2(pieces[0]->GetMatrix().c, pieces[0]->GetMatrix().a), 10 * M_PI / 180, 1e-9);
    EXPECT_NEAR(std::atan2(pieces[1]->GetMatrix().c, pieces[1]->GetMatrix().a), 20 * M_PI / 180, 1e-9);
    EXPECT_NEAR(std::atan2(pieces[2]->GetMatrix().c, pieces[2]->GetMatrix().a), 20 * M_PI / 180, 1e-9);
    EXPECT_NEAR(pieces[1]->GetMatrix().tx, 60, 1e-9);
    EXPECT_NEAR(pieces[1]->GetMatrix().ty, 50, 1e-9);
}

TEST(TextLayout, SpacingPartsLettersAndWords) {
    double const plain = WidthOf("<text>a b</text>");
    EXPECT_NEAR(WidthOf("<text letter-spacing='5'>a b</text>"), plain + 15, 1e-2);
    EXPECT_NEAR(WidthOf("<text word-spacing='20'>a b</text>"), plain + 20, 1e-2);
    EXPECT_NEAR(WidthOf("<text font-size='10'><tspan letter-spacing='1em'>ab</tspan></text>"),
                WidthOf("<text font-size='10'>ab</text>") + 20, 1e-2);
}

TEST(TextLayout, ALengthIsReachedByRoomBetweenLettersOrWiderLetters) {
    auto const spaced = Read("<text x='10' y='20' font-size='20' textLength='200'>office</text>");
    EXPECT_EQ(TextOf(Only(spaced)), "office");
    // Room is put behind the last letter too, where it shows nothing.
    auto const line = *Only(spaced).MakeComposedText()->GetColumn(0).begin();
    auto const cells = line.GetCells();
    ASSERT_EQ(cells.size(), 6u);
    double const own = WidthOf("<text font-size='20'>e</text>");
    EXPECT_NEAR(cells.back().x + own, 200, 0.1);
    auto const stretched =
        Read("<text x='10' y='20' font-size='20' textLength='200' lengthAdjust='spacingAndGlyphs'>office</text>");
    EXPECT_NEAR(Bounds(Only(stretched)).GetWidth(), 200, 0.01);
    EXPECT_NEAR(Bounds(Only(stretched)).left, 10, 0.01);
    EXPECT_GT(Only(stretched).GetMatrix().a, 1.5);
    EXPECT_NEAR(Only(stretched).GetMatrix().d, 1, 1e-12);
}

TEST(TextLayout, TheFontShorthandSaysAllOfTheFont) {
    auto const drawing =
        Read("<text font-weight='900' style=\"font: italic small-caps bold 30px/2 'Some Font', serif\">"
             "a<tspan style='font: 10px serif'>b</tspan><tspan font-weight='lighter'>c</tspan></text>");
    auto const story = Only(drawing).GetStory();
    auto const first = story->GetGlyphAtts(0), second = story->GetGlyphAtts(1), third = story->GetGlyphAtts(2);
    EXPECT_EQ(first->Get(GlyphAtt::Double::Size), 30);
    EXPECT_EQ(first->Get(GlyphAtt::Double::Weight), 700);
    EXPECT_EQ(first->Get(GlyphAtt::Enum::Italic), 1);
    EXPECT_EQ(first->Get(GlyphAtt::Enum::SmallCaps), 1);
    EXPECT_EQ(first->Get(GlyphAtt::String::FontFamily), Kernel::String("'Some Font', serif"));
    EXPECT_EQ(second->Get(GlyphAtt::Double::Size), 10);
    EXPECT_EQ(second->Get(GlyphAtt::Double::Weight), 400);
    EXPECT_EQ(second->Get(GlyphAtt::Enum::Italic), 0);
    EXPECT_EQ(third->Get(GlyphAtt::Double::Weight), 400);
    EXPECT_FALSE(Read("<text style='font: nothing'>x</text>").report.GetLines().empty());
}

TEST(TextLayout, ShiftsAndDecorationsReachWhatStandsInside) {
    auto const drawing = Read("<text font-size='20' text-decoration='underline'>a<tspan baseline-shift='super' "
                              "text-decoration='line-through'>b<tspan baseline-shift='-2'>c</tspan></tspan>"
                              "<tspan style='text-decoration: overline none'>d</tspan></text>");
    auto const story = Only(drawing).GetStory();
    double const up = story->GetGlyphAtts(1)->Get(GlyphAtt::Double::BaselineShift);
    // Half of what ascent and descent take.
    EXPECT_NEAR(up, 20 * (0.928 + 0.236) / 2, 0.05);
    EXPECT_NEAR(story->GetGlyphAtts(2)->Get(GlyphAtt::Double::BaselineShift), up - 2, 1e-9);
    for (std::uint32_t i = 0; i != 4; ++i)
        EXPECT_EQ(story->GetGlyphAtts(i)->Get(GlyphAtt::Enum::Underline), 1);
    EXPECT_EQ(story->GetGlyphAtts(0)->Get(GlyphAtt::Enum::Strikethrough), 0);
    EXPECT_EQ(story->GetGlyphAtts(2)->Get(GlyphAtt::Enum::Strikethrough), 1);
    EXPECT_EQ(story->GetGlyphAtts(3)->Get(GlyphAtt::Enum::Overline), 1);
}

TEST(TextLayout, TheBaselineThatIsAskedForStandsOnTheLine) {
    auto const shift = [](char const* baseline) {
        auto const drawing = Read("<text font-size='100' dominant-baseline='" + std::string(baseline) + "'>x</text>");
        return Only(drawing).GetStory()->GetGlyphAtts(0)->Get(GlyphAtt::Double::BaselineShift);
    };
    EXPECT_EQ(shift("auto"), 0);
    EXPECT_NEAR(shift("central"), -(92.8 - 23.6) / 2, 0.2);
    EXPECT_NEAR(shift("middle"), -54.7 / 2, 0.3);
    EXPECT_NEAR(shift("text-before-edge"), -92.8, 0.2);
    EXPECT_NEAR(shift("text-after-edge"), 23.6, 0.2);
}

TEST(TextLayout, RightToLeftTextBeginsAtItsAnchor) {
    auto const hebrew = "\u05D0\u05D1\u05D2";
    auto const start = Read(std::string("<text x='200' y='20' direction='rtl'>") + hebrew + "</text>");
    EXPECT_NEAR(Bounds(Only(start)).right, 200, 1e-2);
    auto const end = Read(std::string("<text x='200' y='20' direction='rtl' text-anchor='end'>") + hebrew + "</text>");
    EXPECT_NEAR(Bounds(Only(end)).left, 200, 1e-2);
    // Without a direction of its own, text runs from the left, whatever its letters are.
    auto const mixed = Read(std::string("<text x='10' y='20'>") + hebrew + ".</text>");
    EXPECT_NEAR(Bounds(Only(mixed)).left, 10, 1e-2);
    auto const cells = Only(mixed).MakeComposedText()->GetColumn(0).begin()->GetCells();
    EXPECT_EQ(cells.back().begin, 3u);
}

TEST(TextLayout, OverriddenDirectionsTurnLettersRound) {
    auto const drawing =
        Read("<text x='10' y='20'><tspan direction='rtl' unicode-bidi='bidi-override'>abc</tspan></text>");
    auto const cells = Only(drawing).MakeComposedText()->GetColumn(0).begin()->GetCells();
    std::vector<double> x(8);
    for (auto const& cell : cells)
        x.at(cell.begin) = cell.x;
    // The first character sets the direction.
    EXPECT_GT(x[1], x[2]);
    EXPECT_GT(x[2], x[3]);
}

TEST(TextLayout, WhiteSpaceIsSaidAnywhereAbove) {
    EXPECT_EQ(TextOf(Only(Read("<g><text> a  b</text></g>", "xml:space='preserve'"))), " a  b");
    EXPECT_EQ(TextOf(Only(Read("<text style='white-space:pre'> a  b</text>"))), " a  b");
    EXPECT_EQ(TextOf(Only(Read("<text xml:space='default'> a  b</text>", "xml:space='preserve'"))), "a b");
}

TEST(TextLayout, GradientsLieOverTheWholeText) {
    auto const drawing =
        Read("<defs><linearGradient id='g'><stop stop-color='red'/><stop offset='1' "
             "stop-color='blue'/></linearGradient></defs>"
             "<text x='100' y='50' font-size='20' fill='url(#g)'>abc<tspan dx='30'>def</tspan></text>");
    auto const pieces = PiecesOf(drawing);
    ASSERT_EQ(pieces.size(), 2u);
    double const left = Bounds(*pieces[0]).left, right = Bounds(*pieces[1]).right;
    for (auto const* piece : pieces) {
        auto const atts = piece->GetStory()->GetGlyphAtts(0);
        auto const* const fill = CastPointer<Renderer::FillDescriptor const>(atts->Get(GlyphAtt::Object::Fill).get());
        ASSERT_NE(fill, nullptr);
        EXPECT_NEAR(fill->GetTransform().tx, left, 0.1);
        EXPECT_NEAR(fill->GetTransform().a, right - left, 0.1);
    }
}

TEST(TextLayout, GradientsStayWhereTheyAreUnderTurnedLetters) {
    auto const drawing = Read("<defs><linearGradient id='g' gradientUnits='userSpaceOnUse' x1='0' x2='300'>"
                              "<stop stop-color='red'/><stop offset='1' stop-color='blue'/></linearGradient></defs>"
                              "<text x='100' y='50' rotate='90' fill='url(#g)'>a</text>");
    auto const& text = Only(drawing);
    auto const atts = text.GetStory()->GetGlyphAtts(0);
    auto const* const fill = CastPointer<Renderer::FillDescriptor const>(atts->Get(GlyphAtt::Object::Fill).get());
    ASSERT_NE(fill, nullptr);
    auto const whole = text.GetMatrix() * fill->GetTransform();
    EXPECT_NEAR(whole.a, 1, 1e-9);
    EXPECT_NEAR(whole.b, 0, 1e-9);
    EXPECT_NEAR(whole.tx, 0, 1e-9);
}

TEST(TextLayout, JoiningLettersJoinAcrossPieces) {
    auto const drawing =
        Read("<text x='100' y='50' font-family='Noto Naskh Arabic'>\u0628<tspan dy='1'>\u0628</tspan></text>");
    auto const pieces = PiecesOf(drawing);
    ASSERT_EQ(pieces.size(), 2u);
    EXPECT_EQ(TextOf(*pieces[0]), "\u0628\u200D");
    EXPECT_EQ(TextOf(*pieces[1]), "\u200D\u0628");
}

} // namespace
