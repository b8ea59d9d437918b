// SPDX-License-Identifier: Apache-2.0
// Numbers of paragraphs and notes, as composition shows them.
#include "platform/story/composed_range.h"
#include "platform/story/note.h"
#include "platform/story/numberer.h"
#include "tests/engine/story/composing.h"
#include "tests/engine/story/fields.h"

#include <gtest/gtest.h>

namespace {

using namespace Composing;
using Kernel::MakeCounted;
using Texts = std::vector<std::u32string>;

Kernel::Counted<Glyph const> MakeShownNote(StoryPtr const& text) {
    return MakeCounted<NoteGlyph>(NoteGlyph::Kind::Endnote, Kernel::Counted<Story::Story const>(text));
}
void AddNote(StoryPtr const& story, std::uint32_t index, std::u32string_view text) {
    story->ReplaceText({index, index}, GlyphString(MakeShownNote(MakeStory(text))));
}
void NumberAll(StoryPtr const& story, StoryRange range) {
    story->FormatText(range,
                      *MakeDelta(ParagraphAtt::Object::Numbering, MakeCounted<NumberingAtt>(NumberingAtt::Values{})));
}
Kernel::Counted<ComposedStory> ComposeAll(StoryPtr const& story, std::vector<FrameGeometry> frames,
                                          Kernel::Counted<ComposedStory> const& earlier = {}) {
    return MakeCounted<ComposedStory>(StoryRef(story->Clone()), nullptr, std::move(frames), FieldDataSourceRef(),
                                      earlier);
}
Texts Lines(Kernel::Counted<ComposedStory> const& composed, std::size_t frame = 0) {
    return LineTexts(composed->GetFrame(frame)->GetColumn(0));
}

TEST(NumberedComposition, NumbersStandBeforeTheFirstLine) {
    auto const story = MakeStory(U"head\none\ntwo");
    NumberAll(story, {5, 10});
    auto const composed = ComposeAll(story, {MakeFrame(400)});
    EXPECT_EQ(Lines(composed), (Texts{U"head", U"1.\tone", U"2.\ttwo"}));
    auto const frame = composed->GetFrame(0);
    auto const& line = *std::next(frame->GetColumn(0).begin());
    // The number is no part of the story.
    EXPECT_EQ(line.GetRange(), (StoryRange{5, 9}));
    EXPECT_FALSE(line.IsSource(0));
    EXPECT_FALSE(line.IsSource(2));
    EXPECT_TRUE(line.IsSource(3));
    EXPECT_EQ(line.GetGlyph(3)->GetCharacter(), U'o');
    // The tab leads to the next stop, 48 units from the column's side.
    auto const cells = line.GetCells();
    ASSERT_GE(cells.size(), 4u);
    EXPECT_NEAR(cells[3].x, 48, 0.01);
    EXPECT_EQ(composed->FindFrame(5), 0u);
    EXPECT_EQ(frame->GetRange(), (StoryRange{0, 13}));
}

TEST(NumberedComposition, AnEditGivesLaterParagraphsTheirNewNumbers) {
    auto const story = MakeStory(U"a\nb\nc\nd");
    NumberAll(story, story->GetAll());
    auto const before = ComposeAll(story, {MakeFrame(400)});
    EXPECT_EQ(Lines(before), (Texts{U"1.\ta", U"2.\tb", U"3.\tc", U"4.\td"}));
    story->ReplaceText({2, 4}, GlyphString(U""));
    auto const after = ComposeAll(story, {MakeFrame(400)}, before);
    EXPECT_EQ(Lines(after), (Texts{U"1.\ta", U"2.\tc", U"3.\td"}));
    // The earlier version is what it was.
    EXPECT_EQ(Lines(before), (Texts{U"1.\ta", U"2.\tb", U"3.\tc", U"4.\td"}));
    EXPECT_EQ(Lines(ComposeAll(story, {MakeFrame(400)})), Lines(after));
}

TEST(NumberedComposition, AParagraphThatTwoColumnsShareHasItsNumberOnce) {
    auto const story = MakeStory(U"aaaa aaaa aaaa aaaa aaaa aaaa aaaa aaaa");
    NumberAll(story, story->GetAll());
    auto const composed = ComposeAll(story, {MakeFrame(90, 45), MakeFrame(90, 400)});
    auto const first = Lines(composed, 0), second = Lines(composed, 1);
    ASSERT_FALSE(first.empty());
    ASSERT_FALSE(second.empty());
    EXPECT_TRUE(first[0].starts_with(U"1.\t"));
    for (auto const& line : second)
        EXPECT_EQ(line.find(U'1'), line.npos);
    EXPECT_EQ(composed->GetFrame(0)->GetRange().end, composed->GetFrame(1)->GetRange().begin);
    EXPECT_EQ(composed->GetOverflowBegin(), story->GetLength());
}

TEST(NumberedComposition, FieldsBehindANumberKeepTheirPlaces) {
    auto const story = MakeStory(U"x and y");
    story->ReplaceText({1, 1}, GlyphString(Kernel::Counted<Glyph const>(MakeCounted<FillerTextGlyph>(2u))));
    NumberAll(story, story->GetAll());
    auto const composed = ComposeAll(story, {MakeFrame(400)});
    EXPECT_EQ(Lines(composed), (Texts{U"1.\txLorem ipsum and y"}));
    auto const frame = composed->GetFrame(0);
    auto const& line = *frame->GetColumn(0).begin();
    EXPECT_EQ(line.GetRange(), (StoryRange{0, 9}));
    std::u32string own;
    for (std::uint32_t i = 0; i != line.GetSize(); ++i) {
        if (line.IsSource(i) && line.GetGlyph(i)->IsCharacter())
            own += line.GetGlyph(i)->GetCharacter();
    }
    EXPECT_EQ(own, U"x and y\u2029");
}

TEST(NumberedComposition, RangesOfShownTextHaveNumbersAndNotes) {
    auto const story = MakeStory(U"one\ntwo");
    NumberAll(story, {4, 5});
    AddNote(story, 3, U"n");
    AddNote(story, 8, U"m");
    auto const composed = ComposeAll(story, {MakeFrame(400)});
    auto const shown = [&](std::uint32_t begin, std::uint32_t end) {
        StoryPos last(composed->GetStory(), end);
        last.SetIsToComposedForward(true);
        return ComposedRange(ComposedPos(composed, {composed->GetStory(), begin}), ComposedPos(composed, last))
            .GetString(IoFormat::c_plain)
            .ToStdString();
    };
    EXPECT_EQ(shown(0, 9), "one1\n1.\ttwo2");
    EXPECT_EQ(shown(6, 8), "wo");
}

TEST(Endnotes, AreRaisedNumbersInTheTextAndParagraphsBehindIt) {
    auto const story = MakeStory(U"one two\nthree");
    AddNote(story, 13, U"second");
    AddNote(story, 3, U"first\nmore");
    auto const composed = ComposeAll(story, {MakeFrame(400)});
    EXPECT_EQ(Lines(composed), (Texts{U"one1 two", U"three2", U"1\u2002first", U"more", U"2\u2002second"}));
    auto const frame = composed->GetFrame(0);
    EXPECT_EQ(frame->GetRange(), (StoryRange{0, story->GetLength()}));
    EXPECT_FALSE(composed->HasOverflow());
    auto const& column = frame->GetColumn(0);
    auto const& first = *column.begin();
    // The mark in the text, behind the object's own place.
    EXPECT_EQ(first.GetCharacter(4), U'1');
    EXPECT_FALSE(first.IsSource(4));
    EXPECT_LT(first.GetGlyphAtts(4)->Get(GlyphAtt::Double::Size), 16);
    EXPECT_GT(first.GetGlyphAtts(4)->Get(GlyphAtt::Double::BaselineShift), 0);
    EXPECT_EQ(first.GetGlyphAtts(0)->Get(GlyphAtt::Double::BaselineShift), 0);
    for (auto line = column.begin() + 2; line != column.end(); ++line) {
        EXPECT_TRUE(line->IsOfNote());
        EXPECT_EQ(line->GetRange(), (StoryRange{story->GetLength(), story->GetLength()}));
        EXPECT_FALSE(line->IsSource(0));
    }
}

TEST(Endnotes, AnEarlierNoteMovesTheNumbersOfLaterOnes) {
    auto const story = MakeStory(U"one\ntwo");
    AddNote(story, 7, U"b");
    auto const before = ComposeAll(story, {MakeFrame(400)});
    EXPECT_EQ(Lines(before), (Texts{U"one", U"two1", U"1\u2002b"}));
    AddNote(story, 3, U"a");
    auto const after = ComposeAll(story, {MakeFrame(400)}, before);
    EXPECT_EQ(Lines(after), (Texts{U"one1", U"two2", U"1\u2002a", U"2\u2002b"}));
    story->ReplaceText({3, 4}, GlyphString(U""));
    EXPECT_EQ(Lines(ComposeAll(story, {MakeFrame(400)}, after)), Lines(before));
}

TEST(Endnotes, OfOneParagraphCountOn) {
    auto const story = MakeStory(U"head\none two");
    for (std::uint32_t const place : {12u, 8u, 2u})
        AddNote(story, place, U"n");
    auto const composed = ComposeAll(story, {MakeFrame(400)});
    EXPECT_EQ(Lines(composed), (Texts{U"he1ad", U"one2 two3", U"1\u2002n", U"2\u2002n", U"3\u2002n"}));
}

TEST(Endnotes, GoOnInOtherFramesAndOverflow) {
    auto const story = MakeStory(U"text");
    AddNote(story, 4, U"one\ntwo\nthree\nfour");
    auto const small = MakeFrame(400, 40);
    auto const composed = ComposeAll(story, {small, small});
    EXPECT_EQ(Lines(composed, 0), (Texts{U"text1", U"1\u2002one"}));
    EXPECT_EQ(Lines(composed, 1), (Texts{U"two", U"three"}));
    EXPECT_TRUE(composed->HasOverflow());
    EXPECT_EQ(composed->GetOverflowBegin(), story->GetLength());
    EXPECT_EQ(composed->FindFrame(2), 0u);
    EXPECT_TRUE(composed->GetFrame(1)->HasLines());
    EXPECT_TRUE(composed->GetFrame(1)->GetRange().empty());
    auto const more = ComposeAll(story, {small, small, small}, composed);
    EXPECT_EQ(Lines(more, 2), (Texts{U"four"}));
    EXPECT_FALSE(more->HasOverflow());
    EXPECT_GT(more->GetComposedEnd(), composed->GetComposedEnd());
    EXPECT_EQ(CountFrames(*story, StyleSheet::GetEmpty(), small, 10), 3u);
}

TEST(Endnotes, ShowFieldsOfTheirTexts) {
    auto const text = MakeStory(U"see ");
    text->ReplaceText({4, 4}, GlyphString(Kernel::Counted<Glyph const>(MakeCounted<CustomFieldGlyph>("f"))));
    auto const story = MakeStory(U"text");
    story->ReplaceText({4, 4}, GlyphString(MakeShownNote(text)));
    auto const compose = [&](char const* value, Kernel::Counted<ComposedStory> const& earlier) {
        auto const fields = MakeCounted<Fields::Source>();
        fields->values["f"] = value;
        return MakeCounted<ComposedStory>(StoryRef(story), nullptr, std::vector{MakeFrame(400)},
                                          FieldDataSourceRef(fields), earlier);
    };
    auto const first = compose("Ahab", {});
    EXPECT_EQ(Lines(first), (Texts{U"text1", U"1\u2002see Ahab"}));
    EXPECT_EQ(Lines(compose("Ishmael", first)), (Texts{U"text1", U"1\u2002see Ishmael"}));
}

// Every edit leaves the text as composing it afresh would.
TEST(Endnotes, RandomEditsGiveWhatComposingAfreshGives) {
    std::uint32_t seed = 5;
    auto const pick = [&](std::uint32_t count) {
        seed = seed * 1664525 + 1013904223;
        return (seed >> 8) % count;
    };
    auto const story = MakeStory(U"one two\nthree four\nfive\nsix seven eight\nnine");
    std::vector<FrameGeometry> const frames{MakeFrame(60, 60), MakeFrame(90, 60), MakeFrame(200, 2000)};
    auto composed = ComposeAll(story, frames);
    for (int step = 0; step != 150; ++step) {
        auto const at = pick(story->GetLength());
        switch (pick(5)) {
        case 0:
            AddNote(story, at, U"a note");
            break;
        case 1:
            NumberAll(story, {at, at + 1});
            break;
        case 2:
            story->ReplaceText({at, std::min(at + 3, story->GetLength())}, GlyphString(U""));
            break;
        case 3:
            story->ReplaceText({at, at}, GlyphString(U"new\n"));
            break;
        default:
            story->FormatText({at, at + 1}, *MakeDelta(ParagraphAtt::Object::Numbering,
                                                       MakeCounted<NumberingAtt>(NumberingAtt::Values{
                                                           "", pick(3), NumberStyle::LowerRoman, "{1}.{2}", 1})));
        }
        // Some versions are composed in part only.
        composed = ComposeAll(story, frames, composed);
        if (pick(3) == 0)
            composed->GetFrame(0);
        if (pick(3) != 0)
            continue;
        auto const afresh = ComposeAll(story, frames);
        for (std::size_t i = 0; i != frames.size(); ++i) {
            ASSERT_EQ(Lines(composed, i), Lines(afresh, i)) << step << " " << i;
            ASSERT_EQ(composed->GetFrame(i)->GetRange(), afresh->GetFrame(i)->GetRange()) << step;
        }
    }
}

// Time that grew with the square of their number would be minutes.
TEST(Endnotes, AHundredThousandOfOneParagraphAreComposed) {
    auto const story = MakeCounted<Story::Story>();
    auto italic = MakeCounted<GlyphAtts>();
    italic->Set(GlyphAtt::Enum::Italic, 1);
    GlyphSink sink(story);
    auto const text = MakeStory(U"n");
    for (int i = 0; i != 100'000; ++i) {
        sink.SetGlyphAtts(i % 2 == 0 ? GlyphAttsRef(italic) : GlyphAtts::GetDefault());
        sink.Add(U"x ");
        sink.Add(MakeShownNote(text));
    }
    sink.Flush();
    auto const composed = ComposeAll(story, {MakeFrame(400, 100)});
    EXPECT_TRUE(Lines(composed).front().starts_with(U"x 1x 2x 3"));
    EXPECT_TRUE(composed->HasOverflow());
}

} // namespace
