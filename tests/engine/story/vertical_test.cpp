// SPDX-License-Identifier: Apache-2.0
// Lines that run from top to bottom.
#include "engine/story/broken_lines.h"
#include "platform/geometry/shapes.h"
#include "platform/story/drop_cap.h"
#include "platform/story/text_renderer.h"
#include "tests/engine/story/composing.h"

#include <gtest/gtest.h>

namespace {

using namespace Composing;
using Kernel::MakeCounted;

constexpr double c_em = 20;

StoryPtr MakeVertical(std::u32string_view text, char const* family = "IPAGothic") {
    auto const story = MakeStory(text, c_em, family);
    story->FormatText(*MakeDelta(WritingMode::Vertical));
    return story;
}
// A frame of a node as wide and as high, in the turned text space.
FrameGeometry MakeVerticalFrame(double width, double height) {
    FrameGeometry frame;
    frame.columns.push_back({0, -width, height, 0});
    frame.renderScale = c_verticalTurn;
    return frame;
}
// Bounds of what a text draws, where it draws it.
Geometry::RectDbl InkOf(ComposedFramePtr const& frame) { return *GetTextOutline(*frame)->GetBounds(); }
Geometry::RectDbl InkOf(std::u32string_view text, char const* family = "IPAGothic") {
    return InkOf(Compose(MakeVertical(text, family), MakeVerticalFrame(200, 200)));
}
Geometry::RectDbl HorizontalInkOf(std::u32string_view text, char const* family = "IPAGothic") {
    return InkOf(Compose(MakeStory(text, c_em, family), MakeFrame(200, 200)));
}
std::vector<LinePart> PartsOf(ComposedFramePtr const& frame) {
    return {frame->GetColumn(0).begin(), frame->GetColumn(0).end()};
}

TEST(VerticalWriting, LinesRunDownwardsAndTheNextOneIsOnTheLeft) {
    auto const frame = Compose(MakeVertical(std::u32string(15, U'\u56FD')), MakeVerticalFrame(100, 10.5 * c_em));
    auto const lines = PartsOf(frame);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(LineText(lines[0]).size(), 10u);
    EXPECT_NEAR(lines[0].GetWidth(), 10 * c_em, 1e-3);
    // The middle of the first line is half an em from the right side, the next one a leading on.
    auto const turn = c_verticalTurn;
    EXPECT_NEAR(turn.Apply(lines[0].GetOrigin()).x, 100 - c_em / 2, 1e-3);
    EXPECT_NEAR(turn.Apply(lines[0].GetOrigin()).y, 0, 1e-3);
    EXPECT_NEAR(turn.Apply(lines[1].GetOrigin()).x, 100 - c_em / 2 - 1.2 * c_em, 1e-3);
    auto const ink = InkOf(frame);
    EXPECT_GE(ink.right, 97);
    EXPECT_LE(ink.right, 100);
    EXPECT_GE(ink.bottom, 10 * c_em - 2.5);
    EXPECT_LE(ink.bottom, 10 * c_em);
}

TEST(VerticalWriting, IdeographsStandUprightAndLatinLiesOnItsSide) {
    auto const kanji = InkOf(U"\u6F22"), flatKanji = HorizontalInkOf(U"\u6F22");
    EXPECT_NEAR(kanji.GetWidth(), flatKanji.GetWidth(), 1e-6);
    EXPECT_NEAR(kanji.GetHeight(), flatKanji.GetHeight(), 1e-6);
    auto const latin = InkOf(U"Hello", "Liberation Serif"), flat = HorizontalInkOf(U"Hello", "Liberation Serif");
    EXPECT_NEAR(latin.GetWidth(), flat.GetHeight(), 1e-6);
    EXPECT_NEAR(latin.GetHeight(), flat.GetWidth(), 1e-6);
    // Upside is on the right: the H begins at the top, and its foot is left of its head.
    auto const l = InkOf(U"L", "Liberation Serif");
    EXPECT_LT(l.left, 200 - c_em / 2);
    // Both are centred on their line.
    EXPECT_NEAR((kanji.left + kanji.right) / 2, 200 - c_em / 2, 0.6);
}

TEST(VerticalWriting, PunctuationHasItsVerticalForms) {
    // A full stop of ideographs stands in the upper right of its square, not in the lower left.
    auto const stop = InkOf(U"\u3002"), flat = HorizontalInkOf(U"\u3002");
    EXPECT_GT((stop.left + stop.right) / 2, 200 - c_em / 2);
    EXPECT_LT((stop.top + stop.bottom) / 2, c_em / 2);
    EXPECT_LT((flat.left + flat.right) / 2, c_em / 2);
    // A bracket opens downwards: it is wider than high.
    auto const bracket = InkOf(U"\u300C"), flatBracket = HorizontalInkOf(U"\u300C");
    EXPECT_GT(flatBracket.GetHeight(), flatBracket.GetWidth());
    EXPECT_GT(bracket.GetWidth(), bracket.GetHeight());
    // The long vowel mark runs along the line.
    auto const mark = InkOf(U"\u30FC");
    EXPECT_GT(mark.GetHeight(), 2 * mark.GetWidth());
    // A bracket of a face without such forms lies on its side.
    auto const dash = InkOf(U"\u2014", "Liberation Serif");
    EXPECT_GT(dash.GetHeight(), 2 * dash.GetWidth());
}

TEST(VerticalWriting, MarksStandAsTheirLetterDoes) {
    auto const story = MakeVertical(U"\u304B\u3099a\u0301\u6F22");
    auto const line = PartsOf(Compose(story, MakeVerticalFrame(200, 200)))[0];
    auto const& runs = line.GetParagraph().GetRuns();
    for (auto const& run : runs) {
        if (run.begin == 0) {
            EXPECT_TRUE(run.isUpright);
            EXPECT_EQ(run.end, 2u);
        }
        if (run.begin <= 2 && run.end > 2) {
            EXPECT_FALSE(run.isUpright);
            EXPECT_GE(run.end, 4u);
        }
    }
}

TEST(VerticalWriting, CharactersHaveTheirPlacesAlongTheLine) {
    auto const line = PartsOf(Compose(MakeVertical(U"\u6F22ab\u5B57\u3002"), MakeVerticalFrame(200, 200)))[0];
    auto const cells = line.GetCells();
    ASSERT_EQ(cells.size(), 5u);
    EXPECT_NEAR(cells[0].advance, c_em, 1e-3);
    EXPECT_NEAR(cells[1].x, c_em, 1e-3);
    EXPECT_NEAR(cells[3].x, c_em + cells[1].advance + cells[2].advance, 1e-3);
    EXPECT_NEAR(cells[4].x + cells[4].advance, line.GetWidth(), 1e-3);
    EXPECT_EQ(line.GetRange(), (StoryRange{0, 6}));
}

TEST(VerticalWriting, JustifiedLinesFillTheColumn) {
    auto const story = MakeVertical(U"\u541B\u3068\u50D5\u306F Tokyo \u3067\u4F1A\u3063\u305F\u3002\u305D\u308C\u304B"
                                    U"\u3089\u4E8C\u4EBA\u306F\u6BCE\u65E5\u6B69\u3044\u305F\u306E\u3067\u3042\u308B");
    story->FormatText(*MakeDelta(ParagraphAtt::Enum::Alignment, static_cast<int>(Alignment::Justify)));
    auto const lines = PartsOf(Compose(story, MakeVerticalFrame(200, 165)));
    ASSERT_GE(lines.size(), 3u);
    for (std::size_t i = 0; i + 1 != lines.size(); ++i)
        EXPECT_NEAR(lines[i].GetWidth(), 165, 0.01);
    // No line begins with a full stop.
    for (auto const& line : lines)
        EXPECT_NE(LineText(line).front(), U'\u3002');
}

TEST(VerticalWriting, OutlinesOfOneModeAreNotTakenForTheOther) {
    auto const story = MakeStory(U"\u300C\u6F22\u5B57\u300D", c_em, "IPAGothic");
    auto const before = MakeCounted<ComposedStory>(StoryRef(story->Clone()), nullptr, std::vector{MakeFrame(200, 200)});
    before->GetFrame(0);
    story->FormatText(*MakeDelta(WritingMode::Vertical));
    EXPECT_EQ(story->GetWritingMode(), WritingMode::Vertical);
    auto const after = MakeCounted<ComposedStory>(
        StoryRef(story->Clone()), nullptr, std::vector{MakeVerticalFrame(200, 200)}, FieldDataSourceRef(), before);
    auto const anew = Compose(story, MakeVerticalFrame(200, 200));
    EXPECT_EQ(InkOf(after->GetFrame(0)), InkOf(anew));
    story->FormatText({0, 1}, *MakeDelta(GlyphAtt::Double::Weight, 700.0));
    EXPECT_EQ(story->GetWritingMode(), WritingMode::Vertical);
    story->FormatText({2, 2}, *MakeDelta(WritingMode::Horizontal));
    EXPECT_EQ(story->GetWritingMode(), WritingMode::Horizontal);
}

TEST(VerticalWriting, IsPartOfWhatAStoryIs) {
    auto const story = MakeVertical(U"\u6F22");
    auto const other = story->Clone();
    EXPECT_TRUE(*story == *other);
    other->SetWritingMode(WritingMode::Horizontal);
    EXPECT_FALSE(*story == *other);
}

TEST(VerticalWriting, ADropCapIsAsWideAsItsLines) {
    auto const story = MakeVertical(std::u32string(40, U'\u56FD'));
    story->FormatText(*MakeDelta(ParagraphAtt::Object::DropCap,
                                 MakeCounted<DropCapAtt>(DropCapAtt::Values{.lines = 2, .characters = 1, .gap = 0})));
    auto const lines = PartsOf(Compose(story, MakeVerticalFrame(200, 150)));
    ASSERT_GT(lines.size(), 3u);
    EXPECT_NEAR(lines[0].GetScale(), 2.2, 1e-4);
    EXPECT_NEAR(lines[0].GetOrigin().y, (lines[1].GetOrigin().y + lines[2].GetOrigin().y) / 2, 1e-4);
    EXPECT_NEAR(lines[1].GetOrigin().x, 2.2 * c_em, 1e-3);
    EXPECT_EQ(lines[3].GetOrigin().x, 0);
}

TEST(VerticalWriting, TinyFramesEndInADefinedWay) {
    for (double const size : {0.0, 1e-9, 1.0, 19.0}) {
        auto const frame = Compose(MakeVertical(U"\u6F22\u5B57 and Latin"), MakeVerticalFrame(size, size));
        EXPECT_EQ(frame->GetRange().begin, 0u);
    }
    // As wide as a line and lower than a letter: a letter a line.
    auto const frame = Compose(MakeVertical(U"\u6F22\u5B57"), MakeVerticalFrame(100, 1));
    EXPECT_EQ(PartsOf(frame).size(), 2u);
}

} // namespace
