// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/cast.h"
#include "platform/kernel/hash_accumulator.h"
#include "platform/kernel/object_graph.h"
#include "platform/story/story.h"

#include <gtest/gtest.h>
#include <random>

namespace {

using namespace Story;
using StoryPtr = Kernel::Counted<Story::Story>;

StoryPtr MakeStory(std::u32string_view text) {
    auto story = Kernel::MakeCounted<Story::Story>();
    story->ReplaceText(story->GetClientAll(), GlyphString(text));
    return story;
}

std::u32string ClientText(Story::Story const& story) { return story.GetText(story.GetClientAll()); }

TEST(Story, ANewStoryHasOneParagraphThatIsNotItsUsers) {
    Story::Story const story;
    EXPECT_TRUE(story.empty());
    EXPECT_EQ(story.GetLength(), 1u);
    EXPECT_EQ(story.GetParagraphCount(), 1u);
    EXPECT_EQ(story.GetText(story.GetAll()), U"\u2029");
    EXPECT_EQ(story.GetClientAll(), StoryRange(0, 0));
}

TEST(Story, EveryKindOfParagraphEndPartsParagraphs) {
    auto const story = MakeStory(U"one\ntwo\r\nthree\rfour\u2029five\u0085six\u2028still six");
    EXPECT_EQ(story->GetParagraphCount(), 6u);
    EXPECT_EQ(ClientText(*story), U"one\u2029two\u2029three\u2029four\u2029five\u2029six\u2028still six");
    EXPECT_EQ(story->GetParagraphBegin(2), 8u);
}

TEST(Story, ReplacementGivesTheRangeOfTheNewText) {
    auto const story = MakeStory(U"Hello world");
    EXPECT_EQ(story->ReplaceText({6, 11}, GlyphString(U"big\nplanet")), StoryRange(6, 16));
    EXPECT_EQ(ClientText(*story), U"Hello big\u2029planet");
    EXPECT_EQ(story->ReplaceText({4, 12}, {}), StoryRange(4, 4));
    EXPECT_EQ(ClientText(*story), U"Hellanet");
    EXPECT_EQ(story->GetParagraphCount(), 1u);
}

// Edits in one go are the same as one by one from the last on.
TEST(Story, SeveralReplacementsAreAsOneByOne) {
    std::mt19937 random(11);
    auto const below = [&](std::uint32_t bound) { return static_cast<std::uint32_t>(random() % bound); };
    std::u32string_view const texts[] = {U"", U"x", U"two words", U"\n", U"a\nb", U"\n\nend", U"tail\n"};
    for (int round = 0; round != 400; ++round) {
        auto const story =
            MakeStory(U"The first paragraph.\nThe second is a little longer than that.\n\nA fourth.\nEnd");
        for (int i = 0; i != 5; ++i) {
            std::uint32_t const begin = below(story->GetLength());
            story->FormatText({begin, begin + below(20)}, *MakeDelta(GlyphAtt::Double::Size, 5.0 + i));
            story->FormatText({begin, begin}, *MakeDelta(ParagraphAtt::Double::SpaceAfter, 1.0 + i));
        }
        std::vector<TextReplacement> replacements;
        for (std::uint32_t at = below(12); at < story->GetLength(); at += below(30)) {
            std::uint32_t const end = at + (below(3) == 0 ? below(40) : below(4));
            GlyphString const text =
                below(4) == 0 ? GlyphString(Kernel::Counted<Glyph const>(Kernel::MakeCounted<FillerTextGlyph>(3u)))
                              : GlyphString(texts[below(std::size(texts))]);
            replacements.push_back({{at, end}, text, {}, {}});
            at = end;
        }
        auto const together = story->Clone(), single = story->Clone();
        auto const ranges = together->ReplaceTexts(replacements);
        std::vector<StoryRange> expected(replacements.size());
        for (std::size_t i = replacements.size(); i-- != 0;)
            expected[i] = single->ReplaceText(replacements[i].range, replacements[i].text);
        std::int64_t shift = 0;
        for (std::size_t i = 0; i != expected.size(); ++i) {
            auto const& old = replacements[i].range;
            auto const inside =
                std::min(old.end, story->GetClientAll().end) - std::min(old.begin, story->GetClientAll().end);
            auto const size = expected[i].GetSize();
            EXPECT_EQ(ranges[i], StoryRange(static_cast<std::uint32_t>(expected[i].begin + shift),
                                            static_cast<std::uint32_t>(expected[i].end + shift)))
                << round << ' ' << i;
            shift += std::int64_t{size} - inside;
        }
        EXPECT_TRUE(*together == *single) << round;
    }
}

// The time of each used to grow with the length of the paragraph that it was in.
TEST(Story, VeryManyReplacementsInOneParagraph) {
    auto const story = MakeStory(std::u32string(200'000, U'a'));
    std::vector<TextReplacement> replacements;
    for (std::uint32_t at = 0; at < 200'000; at += 2)
        replacements.push_back({{at, at + 1}, GlyphString(U"bcd"), {}, {}});
    auto const ranges = story->ReplaceTexts(replacements);
    EXPECT_EQ(story->GetLength(), 400'001u);
    EXPECT_EQ(ranges.back(), StoryRange(399'996, 399'999));
    EXPECT_EQ(story->GetText({0, 8}), U"bcdabcda");
}

TEST(Story, TheLastSeparatorOutlivesEveryEdit) {
    auto const story = MakeStory(U"a\nb");
    story->ReplaceText({0, 1000}, GlyphString());
    EXPECT_TRUE(story->empty());
    EXPECT_EQ(story->GetText(story->GetAll()), U"\u2029");
}

TEST(Story, ACopyKeepsItsTextAndSharesUntouchedParagraphs) {
    auto const story = MakeStory(U"one\ntwo\nthree");
    auto const before = story->Clone();
    story->ReplaceText({4, 7}, GlyphString(U"2"));
    EXPECT_EQ(ClientText(*before), U"one\u2029two\u2029three");
    EXPECT_EQ(ClientText(*story), U"one\u20292\u2029three");
    EXPECT_EQ(story->GetParagraph(0), before->GetParagraph(0));
    EXPECT_EQ(story->GetParagraph(2), before->GetParagraph(2));
    EXPECT_EQ(story->CountCommonPrefix(*before), 1u);
}

TEST(Story, TypedTextTakesTheLookOfWhatStandsBeforeIt) {
    auto const story = MakeStory(U"plainbold");
    story->FormatText({5, 9}, *MakeDelta(GlyphAtt::Double::Weight, 700));
    story->ReplaceText({9, 9}, GlyphString(U"er"));
    EXPECT_EQ(story->GetGlyphAtts(10)->Get(GlyphAtt::Double::Weight), 700);
    story->ReplaceText({5, 5}, GlyphString(U"er"));
    EXPECT_EQ(story->GetGlyphAtts(6)->Get(GlyphAtt::Double::Weight), 400);
}

TEST(Story, FormattingReachesTheWholeOfTouchedParagraphs) {
    auto const story = MakeStory(U"one\ntwo\nthree");
    story->FormatText({5, 5}, *MakeDelta(ParagraphAtt::Enum::Alignment, static_cast<int>(Alignment::Centre)));
    EXPECT_EQ(story->GetParagraphAtts(0)->Get(ParagraphAtt::Enum::Alignment), 0);
    EXPECT_EQ(story->GetParagraphAtts(4)->Get(ParagraphAtt::Enum::Alignment), 1);
    EXPECT_EQ(story->GetParagraphAtts(8)->Get(ParagraphAtt::Enum::Alignment), 0);
}

TEST(Story, EqualAttributesAreOneObject) {
    auto const story = MakeStory(U"abcd");
    story->FormatText({0, 1}, *MakeDelta(GlyphAtt::Double::Size, 20));
    story->FormatText({3, 4}, *MakeDelta(GlyphAtt::Double::Size, 20));
    EXPECT_EQ(story->GetGlyphAtts(0), story->GetGlyphAtts(3));
    story->FormatText({0, 1}, *MakeDelta(GlyphAtt::Double::Size, 21));
    EXPECT_FALSE(story->GetGlyphAtts(0) == story->GetGlyphAtts(3));
}

TEST(Story, AScaleMultipliesLengthsThatStylesGiveToo) {
    auto const story = MakeStory(U"ab");
    story->FormatText(*TransformDelta({4, 0, 7, 0, 2, 9}, true));
    auto const atts = story->GetGlyphAtts(0);
    EXPECT_EQ(atts->Get(GlyphAtt::Double::LengthScale), 2);
    EXPECT_EQ(atts->Get(GlyphAtt::Double::HorizontalScale), 2);
    EXPECT_EQ(story->GetParagraphAtts(0)->Get(ParagraphAtt::Double::LengthScale), 2);
}

TEST(Story, ObjectsKeepTheirIdentityThroughEdits) {
    auto const story = MakeStory(U"xy");
    auto const filler = Kernel::MakeCounted<FillerTextGlyph>(3u);
    story->ReplaceText({1, 1}, GlyphString(Kernel::Counted<Glyph const>(filler)));
    story->ReplaceText({0, 0}, GlyphString(U"long text\n"));
    EXPECT_EQ(story->GetGlyph(11).get(), static_cast<Glyph const*>(filler.get()));
    EXPECT_EQ(story->GetGlyph(11)->Expand({}), U"Lorem ipsum dolor");
    std::vector<StoryPos> found;
    story->gbegin().BaseCollectIf(found, story->gend(), GlyphPredicateAdaptor<IsFillerTextGlyph>());
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].GetIndex(), 11u);
    story->ReplaceText({11, 12}, {});
    EXPECT_EQ(ClientText(*story), U"long text\u2029xy");
}

TEST(Story, SurrogatesDoNotEnter) {
    char32_t const bad[] = {0xD800, U'a', 0x110000};
    auto const story = MakeStory({bad, 3});
    EXPECT_EQ(ClientText(*story), U"\uFFFDa\uFFFD");
}

TEST(Story, WordsAreThoseOfUnicode) {
    auto const story = MakeStory(U"It can't be, 3.14!");
    StoryPos const at(story, 4);
    EXPECT_TRUE(at.IsInWord());
    EXPECT_EQ(at.GetWordBegin().GetIndex(), 3u);
    EXPECT_EQ(at.GetWordEnd().GetIndex(), 8u);
    EXPECT_EQ(at.GetNextWordBegin().GetIndex(), 9u);
    EXPECT_FALSE(StoryPos(story, 8).IsInWord());
    EXPECT_TRUE(StoryPos(story, 13).IsWordBegin());
    EXPECT_EQ(StoryPos(story, 13).GetWordEnd().GetIndex(), 17u);
}

TEST(GlyphSink, BuildsWhatWasAdded) {
    auto const story = Kernel::MakeCounted<Story::Story>();
    GlyphSink sink(story);
    auto centred = Kernel::MakeCounted<ParagraphAtts>();
    centred->Set(ParagraphAtt::Enum::Alignment, 1);
    auto big = Kernel::MakeCounted<GlyphAtts>();
    big->Set(GlyphAtt::Double::Size, 40);
    sink.SetParagraphAtts(centred);
    sink.SetGlyphAtts(big);
    sink.Add(std::u32string_view(U"Title"));
    sink.Add(Kernel::MakeCounted<CharacterGlyph>(c_paragraphSeparator));
    sink.SetParagraphAtts({});
    sink.SetGlyphAtts({});
    sink.Add(std::u32string_view(U"body"));
    EXPECT_TRUE(story->empty());
    sink.Flush();
    EXPECT_EQ(ClientText(*story), U"Title\u2029body");
    EXPECT_EQ(story->GetGlyphAtts(0)->Get(GlyphAtt::Double::Size), 40);
    EXPECT_EQ(story->GetGlyphAtts(6)->Get(GlyphAtt::Double::Size), 16);
    EXPECT_EQ(story->GetParagraphAtts(0)->Get(ParagraphAtt::Enum::Alignment), 1);
    EXPECT_EQ(story->GetParagraphAtts(6)->Get(ParagraphAtt::Enum::Alignment), 0);
    sink.Add(std::u32string_view(U" and more"));
    sink.Flush();
    EXPECT_EQ(ClientText(*story), U"Title\u2029body and more");
}

// The story against a plain string with one number a character.
TEST(Story, ManyRandomEditsGiveWhatAPlainStringGives) {
    std::mt19937 random(7);
    auto const below = [&](std::uint32_t count) { return static_cast<std::uint32_t>(random() % count); };
    auto const story = Kernel::MakeCounted<Story::Story>();
    std::u32string text;
    std::vector<double> sizes;
    std::vector<std::pair<Kernel::Counted<Story::Story>, std::u32string>> versions;
    for (int step = 0; step != 4000; ++step) {
        auto const length = static_cast<std::uint32_t>(text.size());
        std::uint32_t const begin = below(length + 1);
        std::uint32_t const end = std::min(length, begin + below(20));
        if (below(3) == 0) {
            double const size = 8 + below(4);
            story->FormatText({begin, end}, *MakeDelta(GlyphAtt::Double::Size, size));
            std::fill(sizes.begin() + begin, sizes.begin() + end, size);
        } else {
            std::u32string added;
            for (std::uint32_t i = below(length > 3000 ? 6 : 24); i != 0; --i)
                added.push_back(below(5) == 0 ? c_paragraphSeparator : U'a' + below(26));
            auto atts = Kernel::MakeCounted<GlyphAtts>();
            double const size = 8 + below(4);
            atts->Set(GlyphAtt::Double::Size, size);
            story->ReplaceText({begin, end}, GlyphString(added), atts);
            text.replace(begin, end - begin, added);
            sizes.erase(sizes.begin() + begin, sizes.begin() + end);
            sizes.insert(sizes.begin() + begin, added.size(), size);
        }
        if (step % 500 == 0)
            versions.emplace_back(story->Clone(), text);
        ASSERT_EQ(story->GetLength(), text.size() + 1);
        std::uint32_t const probe = below(static_cast<std::uint32_t>(text.size()) + 1);
        if (probe < text.size()) {
            ASSERT_EQ(story->GetGlyphAtts(probe)->Get(GlyphAtt::Double::Size), sizes[probe]) << step;
        }
        ASSERT_EQ(story->GetText({probe, probe + 50}),
                  (text + c_paragraphSeparator).substr(probe, std::min<std::size_t>(50, text.size() + 1 - probe)));
    }
    ASSERT_EQ(ClientText(*story), text);
    for (std::size_t i = 0; i != text.size(); ++i)
        ASSERT_EQ(story->GetGlyphAtts(static_cast<std::uint32_t>(i))->Get(GlyphAtt::Double::Size), sizes[i]);
    std::size_t paragraphs = 1;
    for (char32_t const c : text)
        paragraphs += c == c_paragraphSeparator;
    EXPECT_EQ(story->GetParagraphCount(), paragraphs);
    for (auto const& [version, versionText] : versions)
        EXPECT_EQ(ClientText(*version), versionText);
}

Kernel::Counted<Story::Story> SaveAndLoad(Story::Story const& story) {
    Kernel::MemoryChunkStorage storage;
    Kernel::ObjectGraph graph;
    Kernel::Counted<Kernel::Serialisable const> const root(&story);
    graph.Save({&root, 1}, storage);
    Kernel::ObjectGraph loaded;
    Kernel::FileStore files;
    auto const roots = loaded.Load(storage, files);
    return Kernel::Cast<Story::Story>(roots.at(0));
}

Kernel::Hash128 Hash(Story::Story const& story) {
    Kernel::HashAccumulator hash;
    hash.AddObject(story);
    return hash.GetHash();
}

TEST(StoryPersistence, WhatIsLoadedIsWhatWasSaved) {
    auto const story = MakeStory(U"one\ntwo \U0001F600\nthree");
    story->FormatText({0, 2}, *MakeDelta(GlyphAtt::String::FontFamily, Kernel::String("DejaVu Sans")));
    story->FormatText({5, 8}, *MakeDelta(GlyphAtt::Enum::Italic, 1));
    story->FormatText({5, 8}, *MakeDelta(ParagraphAtt::Object::TabStops,
                                         Kernel::MakeCounted<TabStops>(std::vector<TabStop>{
                                             {40, TabStop::Kind::End}, {20, TabStop::Kind::Decimal}})));
    story->ReplaceText({3, 3}, GlyphString(Kernel::Counted<Glyph const>(Kernel::MakeCounted<FillerTextGlyph>(9u))));
    auto const loaded = SaveAndLoad(*story);
    ASSERT_TRUE(loaded);
    EXPECT_EQ(Hash(*loaded), Hash(*story));
    EXPECT_TRUE(*loaded == *story);
    EXPECT_EQ(Hash(*loaded), Hash(*story));
    EXPECT_EQ(loaded->GetGlyph(3)->Expand({}), story->GetGlyph(3)->Expand({}));
}

// A forged file may have any object in the attributes, and one that leads back to the story would never be hashed.
TEST(StoryPersistence, AttributesOfAnotherClassAreLeftOut) {
    auto const story = MakeStory(U"one\ntwo");
    auto const stranger = MakeStory(U"other");
    story->FormatText({0, 2}, *MakeDelta(GlyphAtt::Object::Fill, stranger));
    story->FormatText({0, 2}, *MakeDelta(GlyphAtt::Object::LineStyle, stranger));
    story->FormatText({0, 2}, *MakeDelta(ParagraphAtt::Object::TabStops, stranger));
    ASSERT_TRUE(story->GetGlyphAtts(0)->IsSet(GlyphAtt::Object::Fill));
    auto const loaded = SaveAndLoad(*story);
    ASSERT_TRUE(loaded);
    EXPECT_FALSE(loaded->GetGlyphAtts(0)->IsSet(GlyphAtt::Object::Fill));
    EXPECT_FALSE(loaded->GetGlyphAtts(0)->IsSet(GlyphAtt::Object::LineStyle));
    EXPECT_FALSE(loaded->GetParagraph(0)->GetAtts()->IsSet(ParagraphAtt::Object::TabStops));
}

// Edits after a reload meet the attributes that were loaded: equal ones are one object again.
TEST(StoryPersistence, EditsGoOnAfterAReloadAsIfThereHadBeenNone) {
    auto const story = MakeStory(U"one\ntwo");
    story->FormatText({0, 2}, *MakeDelta(GlyphAtt::Double::Size, 33));
    auto const loaded = SaveAndLoad(*story);
    for (auto const& each : {story, loaded}) {
        each->FormatText({5, 6}, *MakeDelta(GlyphAtt::Double::Size, 33));
        each->ReplaceText({0, 1}, GlyphString(U"O"));
    }
    EXPECT_EQ(Hash(*loaded), Hash(*story));
    EXPECT_EQ(loaded->GetGlyphAtts(0), loaded->GetGlyphAtts(5));
}

TEST(StoryText, MalformedUtf8IsReplacedByMaximalSubparts) {
    // The example of The Unicode Standard, section 3.9, table 3-8 and its neighbours.
    auto const decoded = DecodeUtf8("\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64");
    EXPECT_EQ(decoded.text, U"a\uFFFD\uFFFD\uFFFDb\uFFFDc\uFFFD\uFFFDd");
    EXPECT_EQ(decoded.replaced, 6u);
    EXPECT_EQ(DecodeUtf8("\xED\xA0\x80").replaced, 3u);
    EXPECT_EQ(DecodeUtf8("\xC0\xAF").replaced, 2u);
    EXPECT_EQ(DecodeUtf8("\xF0\x9F\x98\x80").text, U"\U0001F600");
    EXPECT_EQ(DecodeUtf8("\xF0\x9F\x98").replaced, 1u);
}

// Letters of ASCII are decoded many at a time, and others one by one.
TEST(StoryText, Utf8IsDecodedAlikeBehindAndInFrontOfAnyNumberOfAsciiLetters) {
    for (std::size_t before = 0; before != 20; ++before) {
        for (std::size_t behind = 0; behind != 20; ++behind) {
            std::u32string const first(before, U'a'), last(behind, U'\x7F');
            std::string const firstBytes(before, 'a'), lastBytes(behind, '\x7F');
            EXPECT_EQ(DecodeUtf8(firstBytes + "\xC3\xA9" + lastBytes).text, first + U"\u00E9" + last);
            auto const broken = DecodeUtf8(firstBytes + "\xE2\x80" + lastBytes);
            EXPECT_EQ(broken.text, first + c_replacementCharacter + last);
            EXPECT_EQ(broken.replaced, 1u);
        }
    }
}

TEST(StoryText, EveryCharacterSurvivesUtf8) {
    std::u32string all;
    for (char32_t c = 0; c != 0x110000; ++c) {
        if (c < 0xD800 || c >= 0xE000)
            all.push_back(c);
    }
    auto const decoded = DecodeUtf8(EncodeUtf8(all));
    EXPECT_EQ(decoded.text, all);
    EXPECT_EQ(decoded.replaced, 0u);
}

TEST(StoryText, Utf16KnowsPairsAndLoneSurrogates) {
    std::string const bytes("\x61\x00\x3D\xD8\x00\xDE\x00\xDC\x3D\xD8", 10);
    auto const decoded = DecodeUtf16(bytes, false);
    EXPECT_EQ(decoded.text, U"a\U0001F600\uFFFD\uFFFD");
    EXPECT_EQ(decoded.replaced, 2u);
    EXPECT_EQ(DecodeUtf16(std::string("\x00\x61\x00", 3), true).text, U"a\uFFFD");
}

} // namespace
