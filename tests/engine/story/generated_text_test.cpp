// SPDX-License-Identifier: Apache-2.0
#include "platform/story/field_glyphs.h"
#include "platform/story/generated_text.h"

#include <gtest/gtest.h>
#include <random>

namespace {

using namespace Story;

Kernel::Counted<Story::Story> MakeGeneratedTextStory(std::u32string_view text) {
    auto story = Kernel::MakeCounted<Story::Story>();
    story->ReplaceText(story->GetClientAll(), GlyphString(text));
    return story;
}
std::u32string Shown(Story::Story const& story) {
    auto text = story.GetText(story.GetAll());
    std::replace(text.begin(), text.end(), c_paragraphSeparator, U'|');
    return text;
}
std::vector<GeneratedParagraph> Paragraphs(std::initializer_list<std::u32string_view> texts) {
    std::vector<GeneratedParagraph> paragraphs;
    for (auto const text : texts)
        paragraphs.push_back({GlyphString(text), {}, {}});
    return paragraphs;
}
ParagraphAttsRef Aligned(Alignment alignment) {
    auto atts = Kernel::MakeCounted<ParagraphAtts>();
    atts->Set(ParagraphAtt::Enum::Alignment, static_cast<int>(alignment));
    return atts;
}
GlyphAttsRef Heavy(double weight) {
    auto atts = Kernel::MakeCounted<GlyphAtts>();
    atts->Set(GlyphAtt::Double::Weight, weight);
    return atts;
}

TEST(GeneratedText, WholeParagraphsTakeThePlaceOfThoseThatTheRangeTouches) {
    auto const story = MakeGeneratedTextStory(U"one\ntwo\nthree\nfour");
    EXPECT_EQ(ReplaceWithParagraphs(*story, {5, 9}, Paragraphs({U"A", U"", U"BC"})), StoryRange(4, 10));
    EXPECT_EQ(Shown(*story), U"one|A||BC|four|");
    EXPECT_EQ(ReplaceWithParagraphs(*story, {4, 10}, Paragraphs({U"x"})), StoryRange(4, 6));
    EXPECT_EQ(Shown(*story), U"one|x|four|");
    EXPECT_EQ(ReplaceWithParagraphs(*story, {6, 10}, Paragraphs({U"last"})), StoryRange(6, 11));
    EXPECT_EQ(Shown(*story), U"one|x|last|");
}

TEST(GeneratedText, AnEmptyRangeInsertsParagraphsOfTheirOwn) {
    auto const at = [](std::uint32_t place) {
        auto const story = MakeGeneratedTextStory(U"one\ntwo");
        auto const range = ReplaceWithParagraphs(*story, {place, place}, Paragraphs({U"A", U"B"}));
        EXPECT_EQ(story->GetText(range), U"A\u2029B\u2029");
        return Shown(*story);
    };
    EXPECT_EQ(at(0), U"A|B|one|two|");
    EXPECT_EQ(at(1), U"o|A|B|ne|two|");
    EXPECT_EQ(at(3), U"one|A|B|two|");
    EXPECT_EQ(at(4), U"one|A|B|two|");
    EXPECT_EQ(at(7), U"one|two|A|B|");
    EXPECT_EQ(at(8), U"one|two|A|B|");
    EXPECT_EQ(at(1000), U"one|two|A|B|");
}

TEST(GeneratedText, ParagraphsCanGoWithoutOthersComing) {
    auto const story = MakeGeneratedTextStory(U"one\ntwo\nthree");
    EXPECT_EQ(ReplaceWithParagraphs(*story, {4, 8}, {}), StoryRange(4, 4));
    EXPECT_EQ(Shown(*story), U"one|three|");
    EXPECT_EQ(ReplaceWithParagraphs(*story, {4, 5}, {}), StoryRange(4, 4));
    EXPECT_EQ(Shown(*story), U"one|");
    story->FormatText(*MakeDelta(ParagraphAtt::Enum::Alignment, static_cast<int>(Alignment::Centre)));
    EXPECT_EQ(ReplaceWithParagraphs(*story, story->GetAll(), {}), StoryRange(0, 0));
    EXPECT_TRUE(story->empty());
    EXPECT_EQ(story->GetParagraphAtts(0)->Get(ParagraphAtt::Enum::Alignment), static_cast<int>(Alignment::Centre));
    EXPECT_EQ(ReplaceWithParagraphs(*story, {0, 0}, {}), StoryRange(0, 0));
}

TEST(GeneratedText, TheRestOfTheStoryKeepsItsParagraphs) {
    auto const story = MakeGeneratedTextStory(U"one\ntwo\nthree");
    auto const before = story->Clone();
    ReplaceWithParagraphs(*story, {4, 8}, Paragraphs({U"A", U"B"}));
    EXPECT_EQ(story->GetParagraph(0), before->GetParagraph(0));
    EXPECT_EQ(story->GetParagraph(3), before->GetParagraph(2));
    EXPECT_EQ(Shown(*before), U"one|two|three|");
}

TEST(GeneratedText, APartedParagraphKeepsItsLookOnBothSides) {
    auto const story = MakeGeneratedTextStory(U"abcdef");
    story->FormatText({0, 6}, *MakeDelta(ParagraphAtt::Enum::Alignment, static_cast<int>(Alignment::End)));
    story->FormatText({2, 5}, *MakeDelta(GlyphAtt::Double::Weight, 700));
    GlyphString field{Kernel::Counted<Glyph const>(Kernel::MakeCounted<PageNumberGlyph>())};
    story->ReplaceText({5, 5}, field);
    EXPECT_EQ(ReplaceWithParagraphs(*story, {4, 4}, Paragraphs({U"new"})), StoryRange(5, 9));
    EXPECT_EQ(Shown(*story), U"abcd|new|e\uFFFCf|");
    EXPECT_EQ(story->GetGlyphAtts(3)->Get(GlyphAtt::Double::Weight), 700);
    EXPECT_EQ(story->GetGlyphAtts(5)->Get(GlyphAtt::Double::Weight), 400);
    EXPECT_EQ(story->GetGlyphAtts(9)->Get(GlyphAtt::Double::Weight), 700);
    EXPECT_EQ(story->GetGlyphAtts(11)->Get(GlyphAtt::Double::Weight), 400);
    EXPECT_EQ(story->GetParagraphAtts(0)->Get(ParagraphAtt::Enum::Alignment), static_cast<int>(Alignment::End));
    EXPECT_EQ(story->GetParagraphAtts(6)->Get(ParagraphAtt::Enum::Alignment), 0);
    EXPECT_EQ(story->GetParagraphAtts(9)->Get(ParagraphAtt::Enum::Alignment), static_cast<int>(Alignment::End));
    auto const objects = story->FindObjects(story->GetAll());
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(objects[0].index, 10u);
}

TEST(GeneratedText, RunsFormatTheirGlyphsAndEqualAttributesAreOneObject) {
    auto const story = MakeGeneratedTextStory(U"old");
    std::vector<GeneratedParagraph> paragraphs(2);
    GlyphString text(U"0123");
    text.Add(Kernel::MakeCounted<PageNumberGlyph>());
    // In the second run the first two places belong to the first one already.
    paragraphs[0] = {text, Aligned(Alignment::Centre), {{0, 2, Heavy(700)}, {1, 3, Heavy(300)}, {4, 90, Heavy(700)}}};
    paragraphs[1] = {GlyphString(), Aligned(Alignment::Centre), {{0, 0, Heavy(700)}}};
    ReplaceWithParagraphs(*story, {0, 3}, paragraphs);
    EXPECT_EQ(Shown(*story), U"0123\uFFFC||");
    auto const weight = [&](std::uint32_t index) { return story->GetGlyphAtts(index)->Get(GlyphAtt::Double::Weight); };
    EXPECT_EQ(weight(0), 700);
    EXPECT_EQ(weight(1), 700);
    EXPECT_EQ(weight(2), 300);
    EXPECT_EQ(weight(3), 400);
    EXPECT_EQ(weight(4), 700);
    EXPECT_EQ(weight(5), 700); // the separator
    EXPECT_EQ(weight(6), 700);
    EXPECT_EQ(story->GetGlyphAtts(0), story->GetGlyphAtts(4));
    EXPECT_EQ(story->GetGlyphAtts(0), story->GetGlyphAtts(6));
    EXPECT_EQ(story->GetParagraphAtts(0), story->GetParagraphAtts(6));
    EXPECT_EQ(story->GetParagraphAtts(0)->Get(ParagraphAtt::Enum::Alignment), static_cast<int>(Alignment::Centre));
    EXPECT_EQ(story->FindObjects(story->GetAll()).size(), 1u);
}

TEST(GeneratedText, AParagraphStaysOneAndOneThatIsTooLongGoesOn) {
    auto const story = MakeGeneratedTextStory(U"");
    ReplaceWithParagraphs(*story, story->GetAll(), Paragraphs({U"a\nb\u2029c\xD800"}));
    EXPECT_EQ(Shown(*story), U"a\u2028b\u2028c\uFFFD|");
    std::u32string const text(Paragraph::c_maximumLength + 10, U'x');
    std::vector<GeneratedParagraph> paragraphs{{GlyphString(text), {}, {}}};
    paragraphs[0].runs.push_back({Paragraph::c_maximumLength, Paragraph::c_maximumLength + 10, Heavy(700)});
    EXPECT_EQ(ReplaceWithParagraphs(*story, story->GetAll(), paragraphs).end, text.size() + 2);
    ASSERT_EQ(story->GetParagraphCount(), 2u);
    EXPECT_EQ(story->GetParagraph(0)->GetLength(), Paragraph::c_maximumLength);
    EXPECT_EQ(story->GetGlyphAtts(Paragraph::c_maximumLength)->Get(GlyphAtt::Double::Weight), 400);
    EXPECT_EQ(story->GetGlyphAtts(Paragraph::c_maximumLength + 1)->Get(GlyphAtt::Double::Weight), 700);
}

TEST(GeneratedText, AnyReplacementEqualsTheSameOnAList) {
    std::mt19937 random(14);
    auto const story = MakeGeneratedTextStory(U"");
    std::vector<std::u32string> expected{U""};
    for (int step = 0; step != 400; ++step) {
        std::size_t const first = random() % (expected.size() + 1);
        std::size_t const count =
            random() % 8 == 0 ? 0 : random() % (expected.size() - std::min(first, expected.size()) + 1);
        std::vector<GeneratedParagraph> paragraphs(random() % (step % 10 == 0 ? 300 : 4));
        std::vector<std::u32string> texts;
        for (auto& paragraph : paragraphs) {
            texts.emplace_back(random() % 4, static_cast<char32_t>(U'a' + random() % 26));
            paragraph.text = GlyphString(texts.back());
        }
        StoryRange const range{story->GetParagraphBegin(first), story->GetParagraphBegin(first + count)};
        auto const added = ReplaceWithParagraphs(*story, range, paragraphs);
        expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(first),
                       expected.begin() + static_cast<std::ptrdiff_t>(first + count));
        expected.insert(expected.begin() + static_cast<std::ptrdiff_t>(first), texts.begin(), texts.end());
        std::u32string addedText;
        for (auto const& text : texts)
            addedText += text + c_paragraphSeparator;
        ASSERT_EQ(story->GetText(added), addedText) << step;
        if (expected.empty())
            expected.emplace_back();
        ASSERT_EQ(story->GetParagraphCount(), expected.size()) << step;
        for (std::size_t i = 0; i != expected.size(); ++i)
            ASSERT_EQ(story->GetParagraph(i)->GetText(), expected[i] + c_paragraphSeparator) << step << ' ' << i;
    }
}

} // namespace
