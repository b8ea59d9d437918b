// SPDX-License-Identifier: Apache-2.0
#include "engine/story/broken_lines.h"
#include "tests/engine/story/composing.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

namespace {

using namespace Composing;

constexpr std::u32string_view c_text =
    U"In olden times when wishing still helped one, there lived a king whose daughters were all beautiful; and the "
    U"youngest was so beautiful that the sun itself, which has seen so much, was astonished whenever it shone in her "
    U"face. Close by the king's castle lay a great dark forest, and under an old lime-tree in the forest was a well.";

// The text of the parts of each row.
std::vector<std::vector<std::u32string>> RowsOf(ComposedColumn const& column) {
    std::vector<std::vector<std::u32string>> rows(1);
    for (auto const& line : column) {
        rows.back().push_back(LineText(line));
        if (line.IsWholeLineBack())
            rows.emplace_back();
    }
    rows.pop_back();
    return rows;
}

TEST(Composition, TextRunsOnBothSidesOfAShape) {
    auto const story = MakeStory(c_text);
    auto frame = MakeFrame(400);
    WrapShape shape;
    shape.outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{150, 30, 250, 90});
    shape.distances = {10, 0, 10, 0};
    frame.wrapShapes.push_back(shape);
    auto const composed = Compose(story, frame);
    auto const& column = composed->GetColumn(0);
    std::u32string all;
    for (auto const& line : column) {
        all += LineText(line);
        bool const isBeside = line.GetOrigin().y + line.GetDescent() > 30 && line.GetOrigin().y - line.GetAscent() < 90;
        double const left = line.GetOrigin().x, right = left + line.GetWidth();
        if (isBeside) {
            EXPECT_TRUE(right <= 140.001 || left >= 259.999) << left << " " << right;
        }
        EXPECT_GE(left, 0);
        EXPECT_LE(right, 400.001);
    }
    EXPECT_EQ(all, c_text);
    auto const rows = RowsOf(column);
    auto const parted = std::count_if(rows.begin(), rows.end(), [](auto const& row) { return row.size() == 2; });
    EXPECT_GE(parted, 3);
    EXPECT_TRUE(std::all_of(rows.begin(), rows.end(), [](auto const& row) { return row.size() <= 2; }));
    // Parts of one row stand on one baseline.
    for (auto line = column.begin(); line + 1 != column.end(); ++line)
        EXPECT_EQ(line->IsWholeLineBack(), (line + 1)->GetOrigin().y > line->GetOrigin().y);
}

TEST(Composition, RowsOfRightToLeftTextBeginAtTheRightOfAShape) {
    std::u32string text;
    for (int i = 0; i != 40; ++i)
        text += U"\u05D0\u05D1\u05D2 ";
    auto frame = MakeFrame(400);
    WrapShape shape;
    shape.outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{150, 0, 250, 60});
    frame.wrapShapes.push_back(shape);
    auto const composed = Compose(MakeStory(text, 16, "Noto Sans Hebrew"), frame);
    auto const& column = composed->GetColumn(0);
    ASSERT_GE(column.size(), 3u);
    EXPECT_FALSE(column.begin()->IsWholeLineBack());
    EXPECT_GE(column.begin()->GetOrigin().x, 250);
    EXPECT_LE((column.begin() + 1)->GetOrigin().x, 150);
}

TEST(Composition, AWordIsNotPartedWhereAnotherRoomTakesIt) {
    auto const story = MakeStory(U"a bc incomprehensibilities of it");
    auto frame = MakeFrame(300);
    WrapShape shape;
    shape.outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{40, 0, 300, 50});
    frame.wrapShapes.push_back(shape);
    auto const rows = RowsOf(Compose(story, frame)->GetColumn(0));
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0][0], U"a bc ");
    EXPECT_EQ(rows[1][0], U"incomprehensibilities of it");
    // Where no room is wide enough, it is parted all the same.
    frame.wrapShapes[0].outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{40, 0, 300, 1e7});
    frame.columns[0].bottom = 2000;
    auto const narrow = Compose(MakeStory(U"incomprehensibilities of it"), frame);
    EXPECT_EQ(narrow->GetRange().end, narrow->GetColumn(0).begin()->GetParagraph().GetSource()->GetLength());
}

TEST(Composition, RowsBesideAShapeStandOnTheGridAndKeepTogether) {
    auto frame = MakeFrame(300, 100);
    frame.columns.push_back({320, 0, 620, 400});
    frame.gridSpacing = 25;
    WrapShape shape;
    shape.outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{100, 0, 200, 30});
    frame.wrapShapes.push_back(shape);
    auto const composed = Compose(MakeStory(c_text), frame);
    for (auto const& column : *composed) {
        for (auto const& line : *column)
            EXPECT_NEAR(std::remainder(line.GetOrigin().y, 25), 0, 1e-6);
    }
    // Three rows fit beside and below the shape, and four take the text: two go on together.
    auto story = MakeStory(U"one two three four five six seven eight nine ten eleven twelve thirteen fourteen fifteen "
                           U"sixteen seventeen eighteen nineteen twenty twentyone");
    auto tall = frame;
    tall.columns = {{0, 0, 300, 1000}};
    auto const needed = RowsOf(Compose(story, tall)->GetColumn(0)).size();
    ASSERT_GE(needed, 4u);
    auto split = frame;
    split.columns[0].bottom = 25.0 * static_cast<double>(needed - 1) + 10;
    auto const parted = Compose(story, split);
    EXPECT_EQ(RowsOf(parted->GetColumn(0)).size(), needed - 2);
    EXPECT_GE(RowsOf(parted->GetColumn(1)).size(), 2u);
}

TEST(Composition, TabStopsCentreAndFill) {
    auto const story = MakeStory(U"one\t12\nanother\t345\nx\tmid");
    auto const stops = [](std::vector<TabStop> list) {
        return MakeDelta(ParagraphAtt::Object::TabStops, Kernel::MakeCounted<TabStops>(std::move(list)));
    };
    story->FormatText(*stops({{300, TabStop::Kind::End, U'.'}}));
    story->FormatText({20, 21}, *stops({{200, TabStop::Kind::Centre}}));
    auto const frame = Compose(story, MakeFrame(400));
    auto const& column = frame->GetColumn(0);
    ASSERT_EQ(column.size(), 3u);
    std::vector<double> dotsOf[2];
    for (int i = 0; i != 2; ++i) {
        auto const& line = *(column.begin() + i);
        EXPECT_NEAR(line.GetWidth(), 300, 1e-3);
        auto const& face = *line.GetParagraph().GetRuns().front().face;
        for (auto const& run : line.GetData().runs) {
            double x = run.x;
            auto const& glyphs = run.own ? line.GetData().own : line.GetParagraph().GetGlyphs();
            for (auto g = run.glyphBegin; g != run.glyphEnd; ++g) {
                if (glyphs[g].GetId() == face.GetGlyphOfCharacter(U'.'))
                    dotsOf[i].push_back(x);
                x += glyphs[g].advance;
            }
        }
        // The fill is drawn, and is no part of the text.
        EXPECT_EQ(LineText(line).find(U'.'), std::u32string::npos);
    }
    ASSERT_GT(dotsOf[0].size(), 20u);
    ASSERT_GT(dotsOf[0].size(), dotsOf[1].size());
    // Dots of one line stand above those of the other.
    for (double const x : dotsOf[1])
        EXPECT_TRUE(
            std::any_of(dotsOf[0].begin(), dotsOf[0].end(), [&](double other) { return std::fabs(other - x) < 0.01; }));
    auto const cells = (column.begin() + 2)->GetCells();
    ASSERT_EQ(cells.size(), 5u);
    EXPECT_NEAR((cells[2].x + cells[4].x + cells[4].advance) / 2, 200, 1e-3);
}

TEST(Composition, CellsTellWhereLettersStand) {
    auto const story = MakeStory(U"ab \u05D0\u05D1 e\u0301", 20, "DejaVu Sans");
    auto const line = *Compose(story, MakeFrame(400))->GetColumn(0).begin();
    auto const cells = line.GetCells();
    ASSERT_EQ(cells.size(), 7u);
    std::vector<std::uint32_t> begins;
    double x = 0;
    for (auto const& cell : cells) {
        begins.push_back(cell.begin);
        EXPECT_NEAR(cell.x, x, 1e-3);
        x += cell.advance;
    }
    EXPECT_NEAR(x, line.GetWidth(), 1e-3);
    EXPECT_EQ(begins, (std::vector<std::uint32_t>{0, 1, 2, 4, 3, 5, 6}));
    EXPECT_TRUE(cells[3].isRightToLeft);
    EXPECT_EQ(cells[6].end, 8u);
}

TEST(Composition, LeadingHasThreeModes) {
    auto const distance = [](LeadingMode mode, double leading, double size) {
        auto const story = MakeStory(U"one\ntwo", size);
        story->FormatText(*MakeDelta(ParagraphAtt::Enum::LeadingMode, static_cast<int>(mode)));
        story->FormatText(*MakeDelta(ParagraphAtt::Double::Leading, leading));
        auto const frame = Compose(story, MakeFrame(400));
        auto const first = frame->GetColumn(0).begin();
        return (first + 1)->GetOrigin().y - first->GetOrigin().y;
    };
    EXPECT_NEAR(distance(LeadingMode::Automatic, 0, 20), 24, 1e-4);
    EXPECT_NEAR(distance(LeadingMode::Automatic, 1.5, 20), 30, 1e-4);
    EXPECT_NEAR(distance(LeadingMode::Exact, 15, 20), 15, 1e-4);
    EXPECT_NEAR(distance(LeadingMode::AtLeast, 40, 20), 40, 1e-4);
    EXPECT_NEAR(distance(LeadingMode::AtLeast, 15, 20), 24, 1e-4);
}

TEST(Composition, SpacesAndIndentsStandWhereTheParagraphAsks) {
    auto const story = MakeStory(U"one\nsome words of the second paragraph that fill more than one line\nlast");
    StoryRange const second{4, 10};
    story->FormatText(second, *MakeDelta(ParagraphAtt::Double::SpaceBefore, 10));
    story->FormatText(second, *MakeDelta(ParagraphAtt::Double::SpaceAfter, 7));
    story->FormatText(second, *MakeDelta(ParagraphAtt::Double::LeftIndent, 20));
    story->FormatText(second, *MakeDelta(ParagraphAtt::Double::FirstIndent, -12));
    story->FormatText(second, *MakeDelta(ParagraphAtt::Double::RightIndent, 30));
    auto const frame = Compose(story, MakeFrame(200));
    auto const& column = frame->GetColumn(0);
    ASSERT_GE(column.size(), 5u);
    auto const at = [&](std::size_t i) { return *(column.begin() + static_cast<std::ptrdiff_t>(i)); };
    double const leading = 16 * 1.2;
    EXPECT_NEAR(at(1).GetOrigin().y - at(0).GetOrigin().y, leading + 10, 1e-3);
    EXPECT_NEAR(at(2).GetOrigin().y - at(1).GetOrigin().y, leading, 1e-3);
    std::size_t const last = column.size() - 1;
    EXPECT_NEAR(at(last).GetOrigin().y - at(last - 1).GetOrigin().y, leading + 7, 1e-3);
    EXPECT_NEAR(at(1).GetOrigin().x, 8, 1e-3);
    EXPECT_NEAR(at(2).GetOrigin().x, 20, 1e-3);
    for (std::size_t i = 1; i != last; ++i)
        EXPECT_LE(at(i).GetOrigin().x + at(i).GetWidth(), 170.001);
    // At a column's top nothing is left before a paragraph.
    EXPECT_NEAR(at(0).GetOrigin().y, at(0).GetAscent(), 1e-3);
}

TEST(Composition, SmallCapitalsAreMadeWhereTheFontHasNone) {
    auto const story = MakeStory(U"Aa\u00DFe\u0301", 20);
    story->FormatText(*MakeDelta(GlyphAtt::Enum::SmallCaps, 1));
    auto const line = *Compose(story, MakeFrame(400))->GetColumn(0).begin();
    auto const& paragraph = line.GetParagraph();
    auto const& face = *paragraph.GetRuns().front().face;
    ASSERT_FALSE(face.HasSmallCaps());
    ASSERT_GE(paragraph.GetRuns().size(), 3u);
    EXPECT_EQ(paragraph.GetRuns()[0].look->size, 20);
    EXPECT_NEAR(paragraph.GetRuns()[1].look->size, 14, 1e-9);
    auto const& glyphs = paragraph.GetGlyphs();
    EXPECT_EQ(glyphs[0].GetId(), face.GetGlyphOfCharacter(U'A'));
    EXPECT_EQ(glyphs[1].GetId(), face.GetGlyphOfCharacter(U'A'));
    // A letter that has no single capital stays.
    EXPECT_EQ(glyphs[2].GetId(), face.GetGlyphOfCharacter(0xDF));
    EXPECT_EQ(LineText(line), U"Aa\u00DFe\u0301");
}

} // namespace
