// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/cast.h"
#include "platform/kernel/consolidated.h"
#include "platform/story/toc.h"
#include "tests/engine/story/composing.h"

#include <gtest/gtest.h>

namespace {

using namespace Story;

Kernel::Counted<Style const> MakeTocTestStyle(char const* name, StyleType type = StyleType::Paragraph) {
    return Kernel::MakeCounted<Style>(name, type, Kernel::String(), DeltaRef());
}
Kernel::Counted<TocEntryStyle> MakeTocTestEntry(char const* name, char const* toc, char const* listed) {
    TocEntry entry;
    entry.listedStyle = listed;
    return Kernel::MakeCounted<TocEntryStyle>(name, toc, entry);
}

TEST(Toc, ParagraphsOfATableHaveItsAttributeAndLikeTablesAreTwo) {
    auto const story = Composing::MakeStory(U"one\ntwo\nthree");
    story->FormatText({0, 3}, TocStyleDelta(Kernel::MakeCounted<TocAtt>("Book", 1u)));
    story->FormatText({4, 7}, TocStyleDelta(Kernel::MakeCounted<TocAtt>("Book", 2u)));
    auto const first = TocAtt::Of(*story->GetParagraphAtts(0));
    auto const second = TocAtt::Of(*story->GetParagraphAtts(4));
    ASSERT_TRUE(first && second);
    EXPECT_NE(story->GetParagraphAtts(0), story->GetParagraphAtts(4));
    EXPECT_FALSE(*first == *second);
    EXPECT_FALSE(TocAtt::Of(*story->GetParagraphAtts(8)));
}

TEST(Toc, ADeltaGivesItsTable) {
    auto const toc = Kernel::MakeCounted<TocAtt>("Book", 7u);
    auto const own = Kernel::MakeCounted<TocStyleDelta const>(toc);
    auto const ask = [](DeltaRef const& delta) {
        return GetTocStyleDeltaFromDelta(Kernel::NonCounted<Delta const>(delta.get()));
    };
    EXPECT_EQ(ask(own).get(), own.get());
    auto const plain =
        ask(MakeDelta(ParagraphAtt::Object::Toc, Kernel::Counted<Kernel::Serialisable const>(toc.get())));
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->GetTocAtt()->GetId(), 7u);
    EXPECT_FALSE(ask(MakeDelta(GlyphAtt::Double::Size, 10)));
    EXPECT_FALSE(ask({}));
    EXPECT_EQ(TocStyleDelta({}).GetTocAtt()->GetTocStyleName(), "");
}

TEST(Toc, OnlyEntryStylesNameAStyleOfTables) {
    EXPECT_FALSE(MakeTocTestStyle("Heading 1")->GetTocStyleName());
    auto const entry = MakeTocTestEntry("Book: 1", "Book", "Heading 1");
    EXPECT_EQ(entry->GetTocStyleName(), Kernel::String("Book"));
    auto const clone = entry->Clone();
    EXPECT_TRUE(*clone == *entry);
    clone->Rename("Heading 1", "Chapter");
    EXPECT_FALSE(*clone == *entry);
    auto const* const renamed = Kernel::CastPointer<TocEntryStyle const>(clone.get());
    ASSERT_NE(renamed, nullptr);
    EXPECT_EQ(renamed->GetEntry().listedStyle, "Chapter");
    EXPECT_EQ(renamed->GetTocStyleName(), Kernel::String("Book"));
    // A style is never equal to one of another class.
    EXPECT_FALSE(*MakeTocTestStyle("Book: 1", StyleType::TocEntry) == *entry);
}

TEST(Toc, AStyleWithoutEntriesListsHeadingsAtTheLevelOfTheirNumber) {
    StyleSheet const sheet({MakeTocTestStyle("Heading 1"), MakeTocTestStyle("Heading"), MakeTocTestStyle("Headings 99"),
                            MakeTocTestStyle("Heading 2", StyleType::Character), MakeTocTestStyle("Heading 3a"),
                            MakeTocTestStyle("Heading 0"), MakeTocTestStyle("Body")});
    auto const entries = GetTocEntries(sheet, "Book");
    std::vector<std::pair<std::string, std::uint32_t>> found;
    for (auto const& entry : entries)
        found.emplace_back(entry.listedStyle.ToStdString(), entry.level);
    EXPECT_EQ(found, (std::vector<std::pair<std::string, std::uint32_t>>{
                         {"Heading 1", 1}, {"Heading", 1}, {"Headings 99", 9}, {"Heading 3a", 3}, {"Heading 0", 1}}));
}

TEST(Toc, ARenamedStyleKeepsItsEntries) {
    auto const style = Kernel::MakeCounted<TocStyle>("Book", Kernel::MakeCounted<TocStyleDelta>(TocAttRef()));
    style->Rename("Book", "Novel");
    auto const again = style->Clone();
    again->Rename("Novel", "Story");
    StyleSheet const sheet({MakeTocTestStyle("Heading 1"), Kernel::Counted<Style const>(again),
                            Kernel::Counted<Style const>(MakeTocTestEntry("Book: 1", "Book", "Chapter"))});
    auto const entries = GetTocEntries(sheet, "Story");
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].listedStyle, "Chapter");
}

TEST(Toc, SheetsLookAlikeThatDifferInStylesOfTablesOnly) {
    auto const heading = MakeTocTestStyle("Heading 1");
    StyleSheet const sheet({heading});
    auto const with = sheet.With(Kernel::Counted<Style const>(MakeTocTestEntry("E", "Book", "Heading 1")));
    EXPECT_TRUE(LookAlike(sheet, *with));
    EXPECT_TRUE(LookAlike(*with, sheet));
    EXPECT_FALSE(LookAlike(sheet, *with->With(MakeTocTestStyle("Body"))));
    EXPECT_FALSE(LookAlike(*with, *with->Without("Heading 1")));
}

// Paragraphs that name a style of tables look as if they named none.
TEST(Toc, AStyleOfTablesGivesTextNoLook) {
    StyleSheet const sheet({Kernel::MakeCounted<Style>("Book", StyleType::Toc, Kernel::String(),
                                                       MakeDelta(ParagraphAtt::Double::LeftIndent, 50))});
    auto const atts = Kernel::MakeCounted<ParagraphAtts>();
    atts->Set(ParagraphAtt::String::StyleName, "Book");
    EXPECT_EQ(sheet.Resolve(ParagraphAttsRef(atts))->Get(ParagraphAtt::Double::LeftIndent), 0);
}

Composing::StoryPtr MakeTabbedStory(std::u32string_view text, TabStop const& stop) {
    auto const story = Composing::MakeStory(text);
    story->FormatText(*MakeDelta(
        ParagraphAtt::Object::TabStops,
        Kernel::Counted<Kernel::Serialisable const>(Kernel::MakeCounted<TabStops>(std::vector{stop}).get())));
    return story;
}

TEST(Toc, TextEndsAtATabStopOnTheColumnsSide) {
    auto const story = MakeTabbedStory(U"A line\t123", {200, TabStop::Kind::End, U'.'});
    auto const frame = Composing::Compose(story, Composing::MakeFrame(200));
    ASSERT_EQ(frame->GetColumn(0).size(), 1u);
    EXPECT_NEAR(frame->GetColumn(0).begin()->GetWidth(), 200, 0.01);
}

TEST(Toc, TextIsCentredAtATabStopThatItHasRoomAround) {
    auto const one = MakeTabbedStory(U"A\tfour words in here", {100, TabStop::Kind::Centre, 0});
    EXPECT_EQ(Composing::Compose(one, Composing::MakeFrame(175))->GetColumn(0).size(), 1u);
    EXPECT_EQ(Composing::Compose(one, Composing::MakeFrame(130))->GetColumn(0).size(), 2u);
}

TEST(Toc, ANumberThatHasNoRoomGoesOnWithItsTab) {
    constexpr char32_t c_words[] = U"A line that is rather long";
    auto const words = Composing::Compose(Composing::MakeStory(c_words), Composing::MakeFrame(1000));
    double const width = words->GetColumn(0).begin()->GetWidth() + 10;
    auto const story = MakeTabbedStory(c_words + std::u32string(U"\t123"), {width, TabStop::Kind::End, U'.'});
    auto const end = story->GetClientAll().end;
    story->FormatText({end - 4, end}, *MakeDelta(GlyphAtt::Enum::NoBreak, 1));
    auto const frame = Composing::Compose(story, Composing::MakeFrame(width));
    auto const lines = Composing::LineTexts(frame->GetColumn(0));
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1].substr(0, 4), U"long");
    EXPECT_NEAR(std::next(frame->GetColumn(0).begin())->GetWidth(), width, 0.01);
}

} // namespace
