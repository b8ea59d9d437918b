// SPDX-License-Identifier: Apache-2.0
// First letters that are as tall as several lines.
#include "engine/story/broken_lines.h"
#include "engine/story/drop_cap.h"
#include "platform/geometry/shapes.h"
#include "platform/story/drop_cap.h"
#include "platform/story/note.h"
#include "platform/story/numberer.h"
#include "platform/story/text_renderer.h"
#include "tests/engine/story/composing.h"
#include "tests/engine/story/fields.h"

#include <chrono>
#include <gtest/gtest.h>
#include <random>

namespace {

using namespace Composing;
using Kernel::MakeCounted;
using Values = DropCapAtt::Values;

constexpr double c_size = 16, c_leading = 1.2 * c_size;
constexpr std::u32string_view c_told =
    U"Once upon a time there was a word that was followed by many others, so that the paragraph had six lines or more, "
    U"as paragraphs have in which something is told, and nobody who read it knew how it would end but the one who had "
    U"written it down and forgotten about it.";

void SetCap(StoryPtr const& story, StoryRange range, Values const& values) {
    story->FormatText(range, *MakeDelta(ParagraphAtt::Object::DropCap, MakeCounted<DropCapAtt>(values)));
}
StoryPtr MakeCapStory(std::u32string_view text, Values const& values = {}) {
    auto const story = MakeStory(text, c_size);
    SetCap(story, story->GetAll(), values);
    return story;
}
std::vector<LinePart> LinesOf(ComposedFramePtr const& frame, std::size_t column = 0) {
    return {frame->GetColumn(column).begin(), frame->GetColumn(column).end()};
}
bool IsCap(LinePart const& line) { return line.GetScale() != 1; }
bool HasCap(ComposedFramePtr const& frame) {
    auto const lines = LinesOf(frame);
    return std::any_of(lines.begin(), lines.end(), IsCap);
}
// The letters of the first cap; empty where there is none.
std::u32string CapText(ComposedFramePtr const& frame) {
    for (auto const& line : LinesOf(frame)) {
        if (IsCap(line))
            return LineText(line);
    }
    return {};
}
std::u32string AllText(std::vector<LinePart> const& lines) {
    std::u32string all;
    for (auto const& line : lines)
        all += LineText(line);
    return all;
}
// Of the ink of one letter set by itself, baseline at 0.
Geometry::RectDbl InkOf(std::u32string_view letter, double size, char const* family = "Liberation Serif") {
    FrameGeometry art;
    art.artOrigin = Kernel::PointT<double>{0, 0};
    return *GetTextOutline(*Compose(MakeStory(letter, size, family), art))->GetBounds();
}

TEST(DropCap, ReachesFromTheCapLineOfTheFirstLineToTheBaselineOfTheLastOne) {
    auto const frame = Compose(MakeCapStory(U"H" + std::u32string(c_told)), MakeFrame(300));
    auto const lines = LinesOf(frame);
    ASSERT_GT(lines.size(), 5u);
    ASSERT_TRUE(IsCap(lines[0]));
    EXPECT_EQ(LineText(lines[0]), U"H");
    EXPECT_FALSE(lines[0].IsWholeLineBack());
    EXPECT_DOUBLE_EQ(lines[0].GetOrigin().y, lines[3].GetOrigin().y);
    EXPECT_NEAR(lines[3].GetOrigin().y - lines[1].GetOrigin().y, 2 * c_leading, 1e-4);
    // The ink of the letter, against that of a capital of the text.
    auto const capital = InkOf(U"H", c_size), cap = InkOf(U"H", c_size * lines[0].GetScale());
    EXPECT_NEAR(-cap.top, 2 * c_leading - capital.top, 0.05);
    // Lines beside it begin behind it, the fourth one at the column's side.
    for (std::size_t i = 1; i != 4; ++i)
        EXPECT_NEAR(lines[i].GetOrigin().x, lines[0].GetWidth(), 1e-4);
    EXPECT_EQ(lines[4].GetOrigin().x, 0);
    EXPECT_EQ(AllText(lines), U"H" + std::u32string(c_told));
}

TEST(DropCap, PlacesLeadToTheirFramesAndBack) {
    auto const story = MakeCapStory(c_told);
    auto const frame = Compose(story, MakeFrame(300));
    auto const lines = LinesOf(frame);
    EXPECT_EQ(lines[0].GetRange(), (StoryRange{0, 1}));
    EXPECT_EQ(lines[1].GetRange().begin, 1u);
    std::uint32_t at = 0;
    for (auto const& line : lines) {
        EXPECT_EQ(line.GetRange().begin, at);
        at = line.GetRange().end;
    }
    EXPECT_EQ(at, story->GetLength());
    auto const cells = lines[0].GetCells();
    ASSERT_EQ(cells.size(), 1u);
    EXPECT_NEAR(cells[0].advance, lines[0].GetWidth(), 1e-4);
    EXPECT_TRUE(lines[0].IsSource(0));
    // Its box is that of the lines beside it.
    EXPECT_NEAR(lines[0].GetOrigin().y - lines[0].GetAscent(), lines[1].GetOrigin().y - lines[1].GetAscent(), 1e-4);
    EXPECT_NEAR(lines[0].GetDescent(), lines[3].GetDescent(), 1e-4);
}

TEST(DropCap, JustifiedLinesBesideItAreAsWideAsTheRoom) {
    for (auto const breaking : {LineBreaking::TotalFit, LineBreaking::Greedy}) {
        auto const story = MakeCapStory(c_told, {.gap = 7});
        story->FormatText(*MakeDelta(ParagraphAtt::Enum::Alignment, static_cast<int>(Alignment::Justify)));
        story->FormatText(*MakeDelta(ParagraphAtt::Enum::Breaking, static_cast<int>(breaking)));
        auto const lines = LinesOf(Compose(story, MakeFrame(250)));
        ASSERT_GT(lines.size(), 6u);
        for (std::size_t i = 1; i + 1 != lines.size(); ++i) {
            double const left = i <= 3 ? lines[0].GetWidth() + 7 : 0;
            EXPECT_NEAR(lines[i].GetOrigin().x, left, 1e-3) << i;
            EXPECT_NEAR(lines[i].GetOrigin().x + lines[i].GetWidth(), 250, 1e-2) << i;
        }
        EXPECT_EQ(AllText(lines), c_told);
    }
}

TEST(DropCap, StandsAtTheRightInRightToLeftText) {
    std::u32string text;
    for (int i = 0; i != 40; ++i)
        text += U"\u05D0\u05D1\u05D2 ";
    auto const story = MakeStory(text, c_size, "Noto Sans Hebrew");
    SetCap(story, story->GetAll(), {.lines = 2});
    auto const lines = LinesOf(Compose(story, MakeFrame(300)));
    ASSERT_TRUE(IsCap(lines[0]));
    EXPECT_NEAR(lines[0].GetOrigin().x + lines[0].GetWidth(), 300, 1e-3);
    for (std::size_t i = 1; i != 3; ++i)
        EXPECT_NEAR(lines[i].GetOrigin().x + lines[i].GetWidth(), 300 - lines[0].GetWidth(), 1e-3);
    EXPECT_NEAR(lines[3].GetOrigin().x + lines[3].GetWidth(), 300, 1e-3);
}

TEST(DropCap, TakesLettersWithTheirMarksAndAQuotationMarkInFront) {
    auto const capOf = [](std::u32string_view text, std::uint32_t characters = 1) {
        return CapText(Compose(MakeCapStory(text, {.characters = characters}), MakeFrame(400)));
    };
    EXPECT_EQ(capOf(U"A\u0301rbol que crece"), U"A\u0301");
    EXPECT_EQ(capOf(U"\u201CWho is it?\u201D"), U"\u201CW");
    EXPECT_EQ(capOf(U"\u201E\u201AWer?\u2018"), U"\u201E\u201AW");
    EXPECT_EQ(capOf(U"\u00AB\u00A0Qui ?"), U"\u00AB\u00A0Q");
    EXPECT_EQ(capOf(U"\u201CWho is it?\u201D", 2), U"\u201CW");
    EXPECT_EQ(capOf(U"In the beginning", 2), U"In ");
    EXPECT_EQ(capOf(U"In the beginning", 4), U"In t");
    // One emoji of several characters.
    EXPECT_EQ(capOf(U"\U0001F469\u200D\U0001F469\u200D\U0001F467family"),
              U"\U0001F469\u200D\U0001F469\u200D\U0001F467");
    EXPECT_EQ(capOf(U"\U0001F1E9\U0001F1EAflag"), U"\U0001F1E9\U0001F1EA");
}

TEST(DropCap, ASpaceBehindItBeginsNoLine) {
    auto const lines =
        LinesOf(Compose(MakeCapStory(U"In the beginning", {.lines = 2, .characters = 2}), MakeFrame(400)));
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(LineText(lines[1]), U"the beginning");
    // It leaves the room of a space in the text's size.
    EXPECT_NEAR(lines[1].GetOrigin().x - lines[0].GetWidth(), c_size / 4, 1e-3);
    EXPECT_EQ(lines[0].GetRange(), (StoryRange{0, 3}));
}

TEST(DropCap, OfAWholeParagraphLeavesAnEmptyLine) {
    auto const frame = Compose(MakeCapStory(U"Abc", {.characters = 100}), MakeFrame(400));
    auto const lines = LinesOf(frame);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(LineText(lines[0]), U"Abc");
    EXPECT_EQ(LineText(lines[1]), U"");
    EXPECT_EQ(frame->GetRange().end, 4u);
}

TEST(DropCap, IsLeftOutWhereThereIsNothingToShow) {
    for (auto const* text : {U"", U" begins with a space", U"\tbegins with a tab", U"\u2028begins with a line's end"})
        EXPECT_FALSE(HasCap(Compose(MakeCapStory(text), MakeFrame(400)))) << std::u32string_view(text).size();
    // A hundred letters end where the line or a tab does.
    EXPECT_EQ(CapText(Compose(MakeCapStory(U"ab\u2028cd", {.characters = 9}), MakeFrame(400))), U"ab");
    EXPECT_EQ(CapText(Compose(MakeCapStory(U"ab\tcd", {.characters = 9}), MakeFrame(400))), U"ab");
}

TEST(DropCap, ValuesBeyondTheirRangesAreBroughtIntoThem) {
    EXPECT_EQ(DropCapAtt(Values{.lines = 1000, .characters = 0, .gap = -3}).GetValues(),
              (Values{.lines = 25, .characters = 1, .gap = 0}));
    EXPECT_EQ(DropCapAtt(Values{.characters = 1000, .gap = std::numeric_limits<double>::quiet_NaN()}).GetValues(),
              (Values{.characters = 100}));
    for (std::uint32_t const lines : {0u, 1u})
        EXPECT_FALSE(HasCap(Compose(MakeCapStory(c_told, {.lines = lines}), MakeFrame(300))));
    // As high as the column, and higher than it.
    EXPECT_TRUE(HasCap(Compose(MakeCapStory(c_told, {.lines = 1000}), MakeFrame(1500, 25 * c_leading))));
    EXPECT_FALSE(HasCap(Compose(MakeCapStory(c_told, {.lines = 1000}), MakeFrame(1500, 24 * c_leading))));
}

TEST(DropCap, TheNextParagraphBeginsBelowTheCapOfAShortOne) {
    auto const story = MakeStory(U"Short.\nNext.", c_size);
    SetCap(story, {0, 1}, {.lines = 4});
    auto const lines = LinesOf(Compose(story, MakeFrame(300)));
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_NEAR(lines[0].GetOrigin().y - lines[1].GetOrigin().y, 3 * c_leading, 1e-4);
    EXPECT_NEAR(lines[2].GetOrigin().y - lines[0].GetOrigin().y, c_leading, 1e-4);
    EXPECT_EQ(lines[2].GetOrigin().x, 0);
    // It counts for the room that the text needs.
    auto const frame = Compose(story, MakeFrame(300));
    EXPECT_GE(frame->GetTextBounds().bottom, lines[2].GetOrigin().y);
}

TEST(DropCap, LinesBesideItStayInItsColumn) {
    auto const story = MakeStory(U"One line.\n" + std::u32string(c_told), c_size);
    SetCap(story, {11, 12}, {.lines = 3});
    auto const linesFor = [&](double height) {
        FrameGeometry frame = MakeFrame(300, height);
        frame.columns.push_back({320, 0, 620, 1000});
        return Compose(story, frame);
    };
    // There is room for the first paragraph and two lines more.
    auto const narrow = linesFor(3.2 * c_leading);
    EXPECT_EQ(LinesOf(narrow, 0).size(), 1u);
    EXPECT_TRUE(IsCap(LinesOf(narrow, 1)[0]));
    auto const wide = linesFor(4.2 * c_leading);
    ASSERT_EQ(LinesOf(wide, 0).size(), 5u);
    EXPECT_TRUE(IsCap(LinesOf(wide, 0)[1]));
    EXPECT_FALSE(IsCap(LinesOf(wide, 1)[0]));
    EXPECT_EQ(LinesOf(wide, 1)[0].GetOrigin().x, 320);
    EXPECT_EQ(AllText(LinesOf(wide, 0)) + AllText(LinesOf(wide, 1)), U"One line." + std::u32string(c_told));
}

TEST(DropCap, IsPlainTextWhereItHasNoRoom) {
    auto const plain = MakeStory(c_told, c_size);
    auto const check = [&](double width, double height) {
        auto const capped = LinesOf(Compose(MakeCapStory(c_told, {.lines = 5}), MakeFrame(width, height)));
        auto const expected = LinesOf(Compose(plain, MakeFrame(width, height)));
        ASSERT_EQ(capped.size(), expected.size());
        for (std::size_t i = 0; i != capped.size(); ++i) {
            EXPECT_EQ(LineText(capped[i]), LineText(expected[i]));
            EXPECT_EQ(capped[i].GetOrigin(), expected[i].GetOrigin());
            EXPECT_EQ(capped[i].GetWidth(), expected[i].GetWidth());
        }
    };
    check(60, 1000);
    check(300, 4 * c_leading);
    check(1, 1);
    check(0.5, 1e6);
    // A later column that has the room shows it all the same.
    FrameGeometry frame = MakeFrame(300, 5);
    frame.columns.push_back({320, 0, 620, 1000});
    auto const composed = Compose(MakeCapStory(c_told), frame);
    EXPECT_TRUE(LinesOf(composed, 0).empty());
    EXPECT_TRUE(IsCap(LinesOf(composed, 1)[0]));
}

TEST(DropCap, IsAsTallAsTheLinesBesideItMakeIt) {
    // A large letter in the second line.
    auto const story = MakeCapStory(c_told);
    auto const second = LinesOf(Compose(story, MakeFrame(300)))[2].GetRange();
    story->FormatText({second.begin + 3, second.begin + 4}, *MakeDelta(GlyphAtt::Double::Size, 30.0));
    auto const lines = LinesOf(Compose(story, MakeFrame(300)));
    double const depth = lines[3].GetOrigin().y - lines[1].GetOrigin().y;
    EXPECT_GT(depth, 2 * c_leading + 10);
    EXPECT_NEAR(-InkOf(U"H", c_size * lines[0].GetScale()).top, depth - InkOf(U"H", c_size).top, 0.05);
    // On a grid.
    auto onGrid = MakeFrame(300);
    onGrid.gridSpacing = 25;
    auto const gridded = LinesOf(Compose(MakeCapStory(c_told), onGrid));
    EXPECT_NEAR(gridded[0].GetOrigin().y, 75, 1e-9);
    EXPECT_NEAR(-InkOf(U"H", c_size * gridded[0].GetScale()).top, 50 - InkOf(U"H", c_size).top, 0.05);
}

TEST(DropCap, StaysWithItsLinesWhereAColumnIsSpreadOut) {
    auto const story = MakeStory(std::u32string(c_told) + U"\n" + std::u32string(c_told), c_size);
    SetCap(story, {0, 1}, {});
    auto frame = MakeFrame(300, 190);
    frame.verticalAlignment = VerticalAlignment::Justify;
    auto const lines = LinesOf(Compose(story, frame));
    ASSERT_GT(lines.size(), 5u);
    EXPECT_NEAR(lines[3].GetOrigin().y - lines[1].GetOrigin().y, 2 * c_leading, 1e-4);
    EXPECT_DOUBLE_EQ(lines[0].GetOrigin().y, lines[3].GetOrigin().y);
    EXPECT_NEAR(lines.back().GetOrigin().y + lines.back().GetDescent(), 190, 1e-6);
    EXPECT_GT(lines[4].GetOrigin().y - lines[3].GetOrigin().y, c_leading + 0.1);
}

TEST(DropCap, TextRunsAroundShapesBesideIt) {
    auto frame = MakeFrame(400);
    WrapShape shape;
    shape.outline = MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{250, 0, 400, 45});
    frame.wrapShapes.push_back(shape);
    auto const lines = LinesOf(Compose(MakeCapStory(c_told), frame));
    ASSERT_TRUE(IsCap(lines[0]));
    EXPECT_EQ(lines[0].GetOrigin().x, 0);
    EXPECT_DOUBLE_EQ(lines[0].GetOrigin().y, lines[3].GetOrigin().y);
    for (std::size_t i = 1; i != 4; ++i) {
        EXPECT_NEAR(lines[i].GetOrigin().x, lines[0].GetWidth(), 1e-4) << i;
        bool const isBesideShape = lines[i].GetOrigin().y - lines[i].GetAscent() < 45;
        EXPECT_LE(lines[i].GetOrigin().x + lines[i].GetWidth(), isBesideShape ? 250.001 : 400.001) << i;
    }
    EXPECT_EQ(lines[4].GetOrigin().x, 0);
    EXPECT_EQ(AllText(lines), c_told);
    // A shape in its way: it stands behind, or below.
    frame.wrapShapes[0].outline = MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{0, 30, 100, 60});
    auto const behind = LinesOf(Compose(MakeCapStory(c_told), frame));
    EXPECT_NEAR(behind[0].GetOrigin().x, 100, 1e-6);
    EXPECT_GT(behind[1].GetOrigin().x, 100);
    EXPECT_EQ(AllText(behind), c_told);
    frame.wrapShapes[0].outline = MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{0, 0, 390, 60});
    auto const below = LinesOf(Compose(MakeCapStory(c_told), frame));
    ASSERT_TRUE(IsCap(below[0]));
    EXPECT_GE(below[1].GetOrigin().y - below[1].GetAscent(), 60 - 1e-6);
    EXPECT_EQ(AllText(below), c_told);
    // No room anywhere: plain text.
    frame.columns[0].right = 70;
    frame.wrapShapes[0].outline = MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{500, 0, 600, 60});
    EXPECT_FALSE(HasCap(Compose(MakeCapStory(c_told, {.lines = 5}), frame)));
}

TEST(DropCap, ShowsTheBeginningOfAField) {
    auto const source = MakeCounted<Fields::Source>();
    source->values["g"] = "Pequod";
    auto const story = MakeStory(U" sailed away from all that anybody had known before it came.", c_size);
    story->ReplaceText({0, 0}, GlyphString(MakeCounted<CustomFieldGlyph>("g")));
    SetCap(story, story->GetAll(), {.lines = 2});
    auto const composed =
        MakeCounted<ComposedStory>(StoryRef(story), nullptr, std::vector{MakeFrame(300)}, FieldDataSourceRef(source));
    auto const lines = LinesOf(composed->GetFrame(0));
    ASSERT_TRUE(IsCap(lines[0]));
    EXPECT_EQ(LineText(lines[0]), U"P");
    EXPECT_TRUE(AllText(lines).starts_with(U"Pequod sailed"));
    EXPECT_EQ(composed->GetFrame(0)->GetRange(), (StoryRange{0, story->GetLength()}));
}

TEST(DropCap, StandsNeitherBehindANumberNorTakesThatOfANote) {
    auto const numbered = MakeCapStory(c_told);
    numbered->FormatText(
        *MakeDelta(ParagraphAtt::Object::Numbering, MakeCounted<NumberingAtt>(NumberingAtt::Values{})));
    EXPECT_FALSE(HasCap(Compose(numbered, MakeFrame(300))));
    auto const noted = MakeCapStory(c_told, {.characters = 5});
    noted->ReplaceText({2, 2}, GlyphString(MakeCounted<NoteGlyph>(
                                   NoteGlyph::Kind::Endnote, Kernel::Counted<Story::Story const>(MakeStory(U"x")))));
    EXPECT_EQ(CapText(Compose(noted, MakeFrame(300))), U"On");
}

TEST(DropCap, LettersHaveTheCharacterStyleThatItNames) {
    auto const bold = MakeCounted<Style>("Initial", StyleType::Character, Kernel::String(),
                                         MakeDelta(GlyphAtt::Double::Weight, 700.0));
    auto const sheet = StyleSheet::GetEmpty()->With(bold);
    auto const story = MakeCapStory(c_told, {.characterStyle = "Initial"});
    auto const frame = MakeCounted<ComposedStory>(StoryRef(story), sheet, std::vector{MakeFrame(300)})->GetFrame(0);
    auto const lines = LinesOf(frame);
    EXPECT_EQ(lines[0].GetGlyphAtts(0)->Get(GlyphAtt::String::StyleName), "Initial");
    EXPECT_EQ(lines[1].GetGlyphAtts(0)->Get(GlyphAtt::String::StyleName), "");
    auto const plain = LinesOf(Compose(MakeCapStory(c_told), MakeFrame(300)));
    EXPECT_NE(lines[0].GetWidth(), plain[0].GetWidth());
}

TEST(DropCap, ArtTextShowsPlainLetters) {
    FrameGeometry art;
    art.artOrigin = Kernel::PointT<double>{0, 0};
    auto const composed = Compose(MakeCapStory(c_told), art);
    EXPECT_FALSE(HasCap(composed));
    EXPECT_EQ(composed->GetColumn(0).size(), 1u);
}

TEST(DropCap, IdeographsFillTheSquareOfTheLines) {
    auto const story = MakeStory(std::u32string(60, U'\u6F22'), c_size, "IPAGothic");
    SetCap(story, story->GetAll(), {.lines = 2});
    auto const lines = LinesOf(Compose(story, MakeFrame(200)));
    ASSERT_TRUE(IsCap(lines[0]));
    EXPECT_NEAR(lines[0].GetWidth(), c_leading + c_size, 1e-3);
    // Their squares end at the same height.
    EXPECT_NEAR(lines[0].GetOrigin().y + 0.12 * (c_leading + c_size), lines[2].GetOrigin().y + 0.12 * c_size, 1e-3);
}

// Every letter stands in exactly one place, for all settings, and composition ends.
TEST(DropCap, NoLetterIsLost) {
    std::mt19937 random(5);
    for (int round = 0; round != 400; ++round) {
        auto const story = MakeStory(std::u32string(c_told) + U"\n" + std::u32string(c_told.substr(0, random() % 80)) +
                                         U"\n" + std::u32string(c_told),
                                     c_size);
        for (int i = 0; i != 2; ++i) {
            auto const at = static_cast<std::uint32_t>(random() % story->GetLength());
            SetCap(story, {at, at + 1},
                   {.lines = static_cast<std::uint32_t>(random() % 8),
                    .characters = static_cast<std::uint32_t>(1 + random() % 12),
                    .gap = static_cast<double>(random() % 10)});
        }
        if (random() % 3 == 0)
            story->FormatText(*MakeDelta(ParagraphAtt::Enum::KeepWithNext, 1));
        story->FormatText(*MakeDelta(ParagraphAtt::Enum::Alignment, static_cast<int>(random() % 6)));
        std::vector<FrameGeometry> frames;
        for (int i = 0; i != 30; ++i) {
            auto frame = MakeFrame(40 + static_cast<double>(random() % 300), 20 + static_cast<double>(random() % 140));
            if (random() % 3 == 0) {
                WrapShape shape;
                double const left = static_cast<double>(random() % 200), top = static_cast<double>(random() % 90);
                shape.outline = MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{left, top, left + 60, top + 40});
                frame.wrapShapes.push_back(shape);
            }
            frame.verticalAlignment = static_cast<VerticalAlignment>(random() % 4);
            frames.push_back(frame);
        }
        frames.push_back(MakeFrame(400));
        auto const composed = MakeCounted<ComposedStory>(StoryRef(story), nullptr, frames);
        std::uint32_t at = 0;
        for (std::size_t i = 0; i != frames.size(); ++i) {
            auto const frame = composed->GetFrame(i);
            EXPECT_EQ(frame->GetRange().begin, at);
            for (auto const& line : LinesOf(frame)) {
                EXPECT_EQ(line.GetRange().begin, at) << round;
                at = line.GetRange().end;
            }
            EXPECT_EQ(frame->GetRange().end, at);
        }
        ASSERT_EQ(at, story->GetLength()) << round;
    }
}

} // namespace
