// SPDX-License-Identifier: Apache-2.0
// Text whose objects show the document's values and the page on which they stand.
#include "platform/story/composed_range.h"
#include "tests/engine/story/composing.h"
#include "tests/engine/story/fields.h"

#include <gtest/gtest.h>
#include <random>

namespace {

using namespace Composing;
using namespace Fields;

using ComposedPtr = Kernel::Counted<ComposedStory>;

ComposedPtr Compose(StoryRef const& story, std::vector<FrameGeometry> frames, FieldDataSourceRef const& fields,
                    ComposedPtr const& earlier = {}) {
    return Kernel::MakeCounted<ComposedStory>(story, nullptr, std::move(frames), fields, earlier);
}

// A star for the field "f", a sharp for the page's number.
StoryPtr MakeFieldStory(std::u32string_view text) {
    auto const story = MakeStory(U"");
    GlyphString glyphs;
    for (char32_t const c : text) {
        if (c == U'*')
            glyphs.Add(MakeField("f"));
        else if (c == U'#')
            glyphs.Add(MakeGlyph<PageNumberGlyph>());
        else
            glyphs.Add(std::u32string_view(&c, 1));
    }
    story->ReplaceText(story->GetClientAll(), glyphs);
    story->FormatText(*MakeDelta(GlyphAtt::String::FontFamily, Kernel::String("Liberation Serif")));
    return story;
}

// The words that a frame shows, lines parted by bars.
std::u32string FrameText(ComposedPtr const& composed, std::size_t frame) {
    std::u32string text;
    for (auto const& column : *composed->GetFrame(frame)) {
        for (auto const& line : *column)
            text += (text.empty() ? U"" : U"|") + LineText(line);
    }
    return text;
}

// All places of all glyphs, which two compositions of one thing have alike.
void ExpectSame(ComposedPtr const& a, ComposedPtr const& b) {
    ASSERT_EQ(a->GetFrameCount(), b->GetFrameCount());
    for (std::size_t i = 0; i != a->GetFrameCount(); ++i) {
        auto const left = a->GetFrame(i), right = b->GetFrame(i);
        ASSERT_EQ(left->GetRange(), right->GetRange()) << i;
        ASSERT_EQ(left->GetColumnCount(), right->GetColumnCount());
        ASSERT_EQ(FrameText(a, i), FrameText(b, i)) << i;
        for (std::size_t c = 0; c != left->GetColumnCount(); ++c) {
            auto const& lines = left->GetColumn(c);
            auto const& others = right->GetColumn(c);
            ASSERT_EQ(lines.size(), others.size());
            for (std::size_t l = 0; l != lines.size(); ++l) {
                auto const& line = lines.begin()[static_cast<std::ptrdiff_t>(l)];
                auto const& other = others.begin()[static_cast<std::ptrdiff_t>(l)];
                ASSERT_EQ(line.GetOrigin(), other.GetOrigin());
                ASSERT_EQ(line.GetWidth(), other.GetWidth());
                ASSERT_EQ(line.GetRange(), other.GetRange());
            }
        }
    }
}

FrameGeometry const c_wide = MakeFrame(400);

} // namespace

TEST(FieldComposition, ShowsTheValueInTheFieldsPlace) {
    auto const story = MakeFieldStory(U"a*b");
    auto const composed = Compose(story, {c_wide}, MakeSource({{"f", "one two"}}));
    EXPECT_EQ(FrameText(composed, 0), U"aone twob");
    auto const& line = *composed->GetFrame(0)->GetColumn(0).begin();
    for (std::uint32_t i = 0; i != line.GetSize(); ++i) {
        // "a", the field's own place, then its text.
        bool const isMade = i >= 2 && i < 9;
        EXPECT_EQ(line.GetCompositionFlags(i) & (CompositionFlag::c_made | CompositionFlag::c_madeText),
                  isMade ? CompositionFlag::c_made | CompositionFlag::c_madeText : 0u)
            << i;
    }
    EXPECT_EQ(line.GetGlyph(1), story->GetGlyph(1));
    EXPECT_EQ(line.GetRange(), story->GetAll());
}

TEST(FieldComposition, ShowsNothingWithoutASourceOrForAnUnknownField) {
    auto const story = MakeFieldStory(U"a*b#c");
    EXPECT_EQ(FrameText(Compose(story, {c_wide}, {}), 0), U"abc");
    EXPECT_EQ(FrameText(Compose(story, {c_wide}, MakeSource({{"other", "x"}})), 0), U"abc");
}

TEST(FieldComposition, AValueOfSeveralParagraphsIsLinesOfOne) {
    auto const story = MakeFieldStory(U"a*b\nc");
    auto const composed = Compose(story, {c_wide}, MakeSource({{"f", "x\ny\xE2\x80\xA9z\r\n"}}));
    EXPECT_EQ(FrameText(composed, 0), U"ax|y|z|b|c");
    EXPECT_EQ(composed->GetFrame(0)->GetRange(), story->GetAll());
}

TEST(FieldComposition, AChangedValueShowsInALaterComposition) {
    auto const story = MakeFieldStory(U"x\ny*\nz");
    auto const first = Compose(story, {c_wide}, MakeSource({{"f", "1"}}));
    EXPECT_EQ(FrameText(first, 0), U"x|y1|z");
    auto const second = Compose(story, {c_wide}, MakeSource({{"f", "2"}}), first);
    EXPECT_EQ(FrameText(second, 0), U"x|y2|z");
    EXPECT_EQ(second->GetReusedFrameCount(), 0u);
    // The first one, which shares what is known of the paragraphs, still shows its own.
    auto const third = Compose(story, {c_wide}, MakeSource({{"f", "2"}}), second);
    EXPECT_EQ(third->GetReusedFrameCount(), 1u);
    EXPECT_EQ(FrameText(third, 0), U"x|y2|z");
    EXPECT_EQ(FrameText(first, 0), U"x|y1|z");
    EXPECT_EQ(FrameText(Compose(story, {c_wide}, {}, third), 0), U"x|y|z");
    EXPECT_EQ(FrameText(Compose(story, {c_wide}, MakeSource({{"f", "3"}}), Compose(story, {c_wide}, {})), 0),
              U"x|y3|z");
}

// Frames in front of the first paragraph that shows something else are taken over, and no more.
TEST(FieldComposition, TakesOverFramesUpToTheFirstChange) {
    std::u32string text;
    for (int i = 0; i != 40; ++i)
        text += i == 25 ? U"field * here\n" : i == 10 ? U"page # here\n" : U"plain line\n";
    auto const story = MakeFieldStory(text);
    std::vector<FrameGeometry> const frames(12, MakeFrame(200, 90));
    std::vector<std::string> pages;
    for (int i = 1; i != 13; ++i)
        pages.push_back(std::to_string(i));
    auto const composed = Compose(story, frames, MakeSource({{"f", "v"}}, pages));
    composed->Compose({});
    auto const place = composed->FindFrame(story->FindObjects(story->GetAll())[1].index);
    auto const pagePlace = composed->FindFrame(story->FindObjects(story->GetAll())[0].index);
    ASSERT_GT(place, pagePlace + 1);
    ASSERT_GT(pagePlace, 0u);
    EXPECT_EQ(FrameText(composed, pagePlace).find(U"page " + DecodeUtf8(pages[pagePlace]).text + U" here") !=
                  std::u32string::npos,
              true);
    auto const expectReused = [&](Kernel::Counted<Source> const& source, std::size_t reused) {
        auto const later = Compose(story, frames, source, composed);
        EXPECT_EQ(later->GetReusedFrameCount(), reused);
        ExpectSame(later, Compose(story, frames, source));
    };
    expectReused(MakeSource({{"f", "v"}}, pages), 12);
    expectReused(MakeSource({{"f", "v"}, {"unused", "x"}}, pages), 12);
    expectReused(MakeSource({{"f", "w"}}, pages), place);
    auto other = pages;
    other[pagePlace] = "ninety";
    expectReused(MakeSource({{"f", "v"}}, other), pagePlace);
    other = pages;
    other[pagePlace + 1] = "ninety";
    expectReused(MakeSource({{"f", "v"}}, other), 12);
}

// Page numbers

TEST(PageNumbers, AreThoseOfTheFrameInWhichTheyStand) {
    // Each line names its page. Three have room in a frame; two of a paragraph stay together.
    auto const story = MakeFieldStory(U"a#\u2028b#\u2028c#\u2028d#\u2028e#\u2028f#\u2028g#\nh#");
    std::vector<FrameGeometry> const frames(4, MakeFrame(200, 60));
    auto const composed = Compose(story, frames, MakeSource({}, {"i", "ii", "iii", "iv"}));
    EXPECT_EQ(FrameText(composed, 0), U"ai|bi|ci");
    EXPECT_EQ(FrameText(composed, 1), U"dii|eii");
    EXPECT_EQ(FrameText(composed, 2), U"fiii|giii|hiii");
}

// Text that is longer on the next page breaks the rest of the paragraph anew, and the page's end with it.
TEST(PageNumbers, BreakWhatIsLeftOfAParagraphAnew) {
    std::u32string text;
    for (int i = 0; i != 60; ++i)
        text += U"word # ";
    auto const story = MakeFieldStory(text);
    std::vector<FrameGeometry> const frames(30, MakeFrame(150, 60));
    std::vector<std::string> pages;
    for (int i = 0; i != 30; ++i)
        pages.push_back(std::string(static_cast<std::size_t>(1 + i * 3 % 7), static_cast<char>('a' + i % 26)));
    auto const source = MakeSource({}, pages);
    for (auto const breaking : {LineBreaking::TotalFit, LineBreaking::Greedy}) {
        story->FormatText(*MakeDelta(ParagraphAtt::Enum::Breaking, static_cast<int>(breaking)));
        story->FormatText(*MakeDelta(ParagraphAtt::Enum::Alignment, static_cast<int>(Alignment::Justify)));
        auto const composed = Compose(story, frames, source);
        std::uint32_t index = 0;
        std::size_t shown = 0;
        for (std::size_t i = 0; i != frames.size(); ++i) {
            auto const frame = composed->GetFrame(i);
            EXPECT_EQ(frame->GetRange().begin, index);
            index = frame->GetRange().end;
            for (auto const& column : *frame) {
                for (auto const& line : *column) {
                    EXPECT_LE(line.GetWidth(), 151);
                    // Each character of a number is this page's letter.
                    for (std::uint32_t at = 0; at != line.GetSize(); ++at) {
                        if (line.IsSource(at))
                            continue;
                        ++shown;
                        EXPECT_EQ(line.GetCharacter(at), static_cast<char32_t>(pages[i].front())) << i;
                    }
                }
            }
        }
        EXPECT_EQ(index, story->GetLength());
        EXPECT_GT(shown, 60u);
        // A later version finds the same, from any of its frames on.
        auto const next = story->Clone();
        next->ReplaceText({200, 205}, GlyphString(U"other words"));
        ExpectSame(Compose(next, frames, source, composed), Compose(next, frames, source));
    }
}

// Each object shows its whole text in one frame, or the part of it that has found room there.
TEST(PageNumbers, ALongLabelMayBeCutByAPagesEnd) {
    auto const story = MakeFieldStory(U"#");
    std::vector<FrameGeometry> const frames(3, MakeFrame(60, 40));
    auto const composed = Compose(story, frames, MakeSource({}, {"one one one one one one one", "two", "three"}));
    EXPECT_EQ(FrameText(composed, 0).substr(0, 3), U"one");
    // Begun on the first page, it stays what it was.
    EXPECT_EQ(FrameText(composed, 1).substr(0, 3), U"one");
    EXPECT_EQ(composed->GetOverflowBegin(), FrameText(composed, 2).empty() ? story->GetLength() : 0u);
}

TEST(PageNumbers, AParagraphThatMovesToTheNextFrameShowsThatOne) {
    // Two lines stay together, so that the paragraph has no room in the first frame.
    auto const story = MakeFieldStory(U"x\ny\n#a\u2028#b");
    std::vector<FrameGeometry> const frames(2, MakeFrame(200, 60));
    auto const composed = Compose(story, frames, MakeSource({}, {"1", "2"}));
    EXPECT_EQ(FrameText(composed, 0), U"x|y");
    EXPECT_EQ(FrameText(composed, 1), U"2a|2b");
}

TEST(PageNumbers, StandBesideShapesToo) {
    std::u32string text;
    for (int i = 0; i != 40; ++i)
        text += U"some words # ";
    auto const story = MakeFieldStory(text);
    FrameGeometry frame = MakeFrame(200, 100);
    frame.wrapShapes.push_back(
        {Kernel::MakeCounted<Geometry::PolyCurveDbl>(Kernel::RectT<double>{60, 20, 110, 70}), {}});
    std::vector<FrameGeometry> const frames(8, frame);
    auto const source = MakeSource({}, {"A", "BB", "CCC", "DDDD", "E", "FF", "GGG", "HHHH"});
    auto const composed = Compose(story, frames, source);
    for (std::size_t i = 0; i != frames.size(); ++i) {
        for (auto const& line : composed->GetFrame(i)->GetColumn(0)) {
            for (std::uint32_t at = 0; at != line.GetSize(); ++at) {
                if (!line.IsSource(at)) {
                    EXPECT_EQ(line.GetCharacter(at), static_cast<char32_t>(U'A' + i));
                }
            }
        }
    }
    EXPECT_FALSE(composed->HasOverflow());
}

TEST(PageNumbers, AreCountedInFramesThatAreOnlyCounted) {
    std::u32string text;
    for (int i = 0; i != 200; ++i)
        text += U"# and words ";
    auto const story = MakeFieldStory(text);
    std::vector<std::string> pages;
    for (int i = 0; i != 100; ++i)
        pages.push_back(std::string(static_cast<std::size_t>(1 + i % 9), 'p'));
    auto const source = MakeSource({}, pages);
    auto const geometry = MakeFrame(150, 60);
    auto const composed = Compose(story, std::vector<FrameGeometry>(100, geometry), source);
    std::size_t used = 0;
    while (composed->GetFrame(used)->GetRange().end < story->GetLength())
        ++used;
    EXPECT_EQ(CountFrames(*story, {}, geometry, 100, nullptr, {}, source), used + 1);
}

// A later version is what it would be without an earlier one, whatever changed: text, values, labels, frames.
TEST(FieldComposition, ALaterVersionIsTheSameWithAndWithoutAnEarlierOne) {
    std::mt19937 random(5);
    std::u32string text;
    for (int i = 0; i != 300; ++i) {
        switch (random() % 12) {
        case 0:
            text += U"*";
            break;
        case 1:
            text += U"#";
            break;
        case 2:
            text += U"\n";
            break;
        default:
            text += U"some words ";
        }
    }
    auto story = MakeFieldStory(text);
    std::map<std::string, std::string> values{{"f", "value"}};
    std::vector<std::string> pages;
    for (int i = 0; i != 14; ++i)
        pages.push_back(std::to_string(i + 1));
    std::vector<FrameGeometry> frames(14, MakeFrame(160, 120));
    auto composed = Compose(story, frames, MakeSource(values, pages));
    composed->Compose({});
    std::size_t reused = 0;
    for (int step = 0; step != 60; ++step) {
        switch (random() % 4) {
        case 0:
            values["f"] = std::string(random() % 12, static_cast<char>('a' + random() % 26));
            break;
        case 1:
            pages[random() % pages.size()] = std::string(random() % 5, 'x');
            break;
        case 2: {
            auto const next = story->Clone();
            auto const at = static_cast<std::uint32_t>(random() % story->GetLength());
            next->ReplaceText({at, at + static_cast<std::uint32_t>(random() % 20)},
                              random() % 2 == 0 ? GlyphString(MakeGlyph<PageNumberGlyph>())
                                                : GlyphString(U"new\ntext"));
            story = next;
            break;
        }
        default:
            frames[random() % frames.size()] = MakeFrame(160, 80 + static_cast<double>(random() % 80));
        }
        auto const source = MakeSource(values, pages);
        auto const later = Compose(story, frames, source, composed);
        later->GetFrame(random() % frames.size());
        ExpectSame(later, Compose(story, frames, source));
        if (HasFatalFailure())
            FAIL() << step;
        reused += later->GetReusedFrameCount();
        composed = later;
    }
    EXPECT_GT(reused, 60u);
}

TEST(FieldComposition, FindsTheFrameOfAGlyph) {
    auto const story = MakeFieldStory(U"a\nb\nc\nd\ne\nf\ng");
    auto const composed = Compose(story, std::vector<FrameGeometry>(2, MakeFrame(100, 60)), {});
    EXPECT_EQ(composed->FindFrame(0), 0u);
    EXPECT_EQ(composed->FindFrame(5), 0u);
    EXPECT_EQ(composed->FindFrame(6), 1u);
    EXPECT_EQ(composed->FindFrame(11), 1u);
    EXPECT_EQ(composed->FindFrame(12), 2u);
    EXPECT_EQ(composed->FindFrame(900), 2u);
    EXPECT_EQ(Compose(story, {}, {})->FindFrame(0), 0u);
}

TEST(ComposedRange, NamesThePageOnWhichAFieldStands) {
    auto const story = MakeFieldStory(U"a#\u2028b#\u2028c#\u2028d#");
    auto const composed =
        Compose(story, std::vector<FrameGeometry>(2, MakeFrame(200, 60)), MakeSource({}, {"i", "ii"}));
    auto const read = [&](std::uint32_t begin, std::uint32_t end) {
        StoryPos from(story, begin), to(story, end);
        from.SetIsToComposedForward(true);
        to.SetIsToComposedForward(true);
        return ComposedRange(ComposedPos(composed, from), ComposedPos(composed, to)).GetString(0);
    };
    EXPECT_EQ(read(0, 11).ToStdString(), "ai\nbi\ncii\ndii");
    EXPECT_EQ(read(10, 11).ToStdString(), "ii");
    EXPECT_EQ(read(1, 2).ToStdString(), "i");
}

// Bad input

TEST(BadFields, AMillionFieldsInOneParagraph) {
    GlyphString glyphs;
    auto const field = MakeField("f");
    for (int i = 0; i != 1'000'000; ++i)
        glyphs.Add(field);
    auto const story = MakeStory(U"");
    story->ReplaceText({0, 0}, glyphs);
    ASSERT_EQ(story->FindObjects(story->GetAll()).size(), 1'000'000u);
    std::vector<FrameGeometry> const frames(3, MakeFrame(500, 700));
    for (std::string const value : {"", "7"}) {
        auto const composed = Compose(story, frames, MakeSource({{"f", value}}));
        auto const first = FrameText(composed, 0);
        EXPECT_EQ(first.substr(0, 6), DecodeUtf8(value + value + value + value + value + value).text.substr(0, 6));
        auto const changed = Compose(story, frames, MakeSource({{"f", "x"}}), composed);
        EXPECT_EQ(FrameText(changed, 2).substr(0, 3), U"xxx");
    }
    // Each on the page where the paragraph begins: it is too long to be shaped again on each.
    auto const numbered = MakeStory(U"");
    GlyphString numbers;
    auto const number = MakeGlyph<PageNumberGlyph>();
    for (int i = 0; i != 1'000'000; ++i)
        numbers.Add(number);
    numbered->ReplaceText({0, 0}, numbers);
    auto const composed =
        Compose(numbered, std::vector<FrameGeometry>(200, MakeFrame(500, 700)), MakeSource({}, {"1", "2", "3"}));
    EXPECT_EQ(FrameText(composed, 0).substr(0, 3), U"111");
    EXPECT_EQ(FrameText(composed, 199).substr(0, 3), U"111");
}

// The texts of one paragraph's objects have a limit together; nothing of the text is lost.
TEST(BadFields, ManyLongValuesAreCutOff) {
    GlyphString glyphs;
    for (int i = 0; i != 50; ++i) {
        glyphs.Add(MakeField("f"));
        glyphs.Add(U"x");
    }
    auto const story = MakeStory(U"");
    story->ReplaceText({0, 0}, glyphs);
    auto const source = MakeSource({{"f", std::string(200'000, 'a')}});
    auto const composed = Compose(story, {MakeFrame(1e5)}, source);
    std::size_t made = 0, own = 0;
    for (auto const& line : composed->GetFrame(0)->GetColumn(0)) {
        for (std::uint32_t i = 0; i != line.GetSize(); ++i)
            ++(line.IsSource(i) ? own : made);
    }
    EXPECT_EQ(made, c_maximumExpansion);
    EXPECT_EQ(own, 101u);
    auto const later = Compose(story, {MakeFrame(1e5)}, MakeSource({{"f", std::string(200'000, 'a')}}), composed);
    EXPECT_EQ(later->GetReusedFrameCount(), 1u);
}

TEST(BadFields, ValuesMayHoldAnyCharacters) {
    auto const story = MakeFieldStory(U"a*b");
    for (std::string const value : {"\xED\xA0\x80", "\xEF\xBF\xBC",
                                    "\xE2\x80\xAE"
                                    "abc",
                                    "\xCC\x81\xCC\x81", "\t\x01\x7F", "\xF0\x9F\x98\x80\xE2\x80\x8D", "\xFF\xFE"}) {
        auto const composed = Compose(story, {MakeFrame(300)}, MakeSource({{"f", value}}));
        EXPECT_EQ(composed->GetFrame(0)->GetRange(), story->GetAll());
        EXPECT_FALSE(composed->HasOverflow());
    }
}
