// SPDX-License-Identifier: Apache-2.0
// Words that are kept must give what shaping gives, glyph by glyph.
#include "engine/story/broken_lines.h"
#include "engine/story/hyphenator.h"
#include "engine/story/shaping.h"
#include "engine/story/word_cache.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"
#include "tests/engine/story/composing.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <random>

namespace {

using namespace Composing;

// Words are on again, and threads what they were, whatever a test does.
class WordCacheTest : public testing::Test {
protected:
    ~WordCacheTest() override {
        WordCache::SetEnabled(true);
        Kernel::Dispatch::SetThreadCount(m_threads);
    }

private:
    unsigned m_threads = Kernel::Dispatch::GetThreadCount();
};

std::vector<std::filesystem::path> FindFonts() {
    std::vector<std::filesystem::path> files;
    for (auto const* folder : {"/usr/share/fonts/truetype/dejavu", "/usr/share/fonts/truetype/liberation2",
                               "/usr/share/fonts/truetype/noto", "/usr/share/fonts/opentype/ipafont-gothic"}) {
        std::error_code error;
        for (auto const& entry : std::filesystem::directory_iterator(folder, error)) {
            auto const name = entry.path().filename().string();
            bool const isOneOfMany = name.find("Bold") != std::string::npos || name.find("Ital") != std::string::npos;
            if (entry.path().extension() == ".ttf" && !isOneOfMany)
                files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

// Letters next to spaces in many pairs, capitals and figures among them, and here and there what words cannot be parted
// at: marks, soft hyphens, joiners, spaces of other kinds, a letter of another script.
std::u32string MakeText(std::mt19937& random, std::size_t length, bool isStrange) {
    std::u32string_view const common = U"AVTWYLPFaeioufjlrtvwy.,;:'\"-1234567()fifl\u2019\u201C\u201D\u2014";
    std::u32string_view const other = U"ÄÖßéñçĐŁøΑΒΓΔαβγσЖИЙбгдїѓ€…‰«»\u2013";
    std::u32string_view const strange = U"\u0301\u0323\u00AD\u200D\u200B\u00A0\u2009\u2044\u0627\u05D0\uFB01\u0483";
    std::u32string text;
    while (text.size() < length) {
        auto const kind = random() % 100;
        if (kind < 25)
            text.push_back(U' ');
        else if (kind < 80)
            text.push_back(common[random() % common.size()]);
        else if (kind < 95 || !isStrange)
            text.push_back(other[random() % other.size()]);
        else
            text.push_back(strange[random() % strange.size()]);
    }
    return text;
}

ShapedRun MakeRun(std::u32string_view text, FontFace const& face, hb_script_t script, TextLookRef look) {
    ShapedRun run;
    run.end = static_cast<std::uint32_t>(text.size());
    run.look = std::move(look);
    run.face = &face;
    run.script = script;
    return run;
}

TextLookRef MakeLook(double size, char const* features, double tracking = 0) {
    auto atts = Kernel::MakeCounted<GlyphAtts>();
    atts->Set(GlyphAtt::Double::Size, size);
    atts->Set(GlyphAtt::Double::Tracking, tracking);
    atts->Set(GlyphAtt::String::FontFeatures, Kernel::String(features));
    return Kernel::MakeCounted<TextLook>(atts);
}

std::vector<ShapedGlyph> Shape(std::u32string_view text, ShapedRun const& run, bool withWords) {
    WordCache::SetEnabled(withWords);
    GlyphBuffer glyphs;
    ShapeText(glyphs, text, 0, static_cast<std::uint32_t>(text.size()), run);
    return {glyphs.begin(), glyphs.end()};
}

} // namespace

TEST_F(WordCacheTest, WordsGiveTheGlyphsOfTheWholeTextInEveryFont) {
    auto const fonts = FindFonts();
    ASSERT_GE(fonts.size(), 5u);
    std::mt19937 random(7);
    std::vector<TextLookRef> const looks{MakeLook(10.7, ""), MakeLook(16, "\"smcp\", \"dlig\", \"onum\", \"frac\""),
                                         MakeLook(9, "\"kern\" 0", 0.02)};
    std::size_t parted = 0;
    for (auto const& file : fonts) {
        auto const face = FontFace::Load(file.string(), 0);
        if (!face)
            continue;
        parted += face->HasSeparableSpaces() ? 1 : 0;
        for (auto const script : {HB_SCRIPT_LATIN, HB_SCRIPT_GREEK, HB_SCRIPT_CYRILLIC}) {
            for (auto const& look : looks) {
                auto const text = MakeText(random, 600, random() % 2 == 0);
                auto const run = MakeRun(text, *face, script, look);
                auto const whole = Shape(text, run, false);
                // The second time all words are known.
                EXPECT_TRUE(Shape(text, run, true) == whole) << file;
                EXPECT_TRUE(Shape(text, run, true) == whole) << file;
            }
        }
    }
    EXPECT_GT(parted, fonts.size() / 2);
}

TEST_F(WordCacheTest, StretchesMayBeginAndEndWithSpacesOrConsistOfThem) {
    auto const look = MakeLook(12, "");
    auto const& face = *look->fonts->GetPrimary();
    for (std::u32string_view const text : {U" ", U"  ", U"   A", U"A   ", U" A ", U"A", U" \u0301A ", U"A \u0301"}) {
        auto const run = MakeRun(text, face, HB_SCRIPT_LATIN, look);
        EXPECT_TRUE(Shape(text, run, true) == Shape(text, run, false)) << EncodeUtf8(text);
    }
}

TEST_F(WordCacheTest, FeaturesOfARangeApplyWhereTheyWereAskedFor) {
    auto const look = MakeLook(12, "");
    auto ranged = Kernel::MakeCounted<TextLook>(look->atts);
    ranged->features.push_back({HB_TAG('l', 'i', 'g', 'a'), 0, 0, 3});
    std::u32string_view const text = U"fi fi fi fi";
    auto const run = MakeRun(text, *look->fonts->GetPrimary(), HB_SCRIPT_LATIN, ranged);
    EXPECT_TRUE(Shape(text, run, true) == Shape(text, run, false));
}

TEST_F(WordCacheTest, WordsTakeABoundedMemory) {
    auto const look = MakeLook(12, "");
    WordCache::Clear();
    std::size_t most = 0;
    std::mt19937 random(3);
    for (int i = 0; i != 40; ++i) {
        std::u32string text;
        for (int word = 0; word != 3000; ++word) {
            for (unsigned letters = 5 + random() % 30; letters != 0; --letters)
                text.push_back(U'a' + random() % 26);
            text.push_back(U' ');
        }
        auto const run = MakeRun(text, *look->fonts->GetPrimary(), HB_SCRIPT_LATIN, look);
        Shape(text, run, true);
        most = std::max(most, WordCache::GetMemoryUse());
    }
    // 120,000 different words were asked for, of which 32,768 are kept at most.
    EXPECT_LT(most, 32'768u * 400);
    EXPECT_GT(most, 1'000'000u);
    WordCache::Clear();
    EXPECT_EQ(WordCache::GetMemoryUse(), 0u);
}

TEST_F(WordCacheTest, AStoryIsTheSameWithoutWordsAndOnAnyNumberOfThreads) {
    std::mt19937 random(11);
    std::u32string text;
    for (int i = 0; i != 150; ++i)
        text += MakeText(random, 50 + random() % 900, i % 3 == 0) + U"\n";
    auto const story = MakeStory(text, 11, "DejaVu Serif");
    story->FormatText(*MakeDelta(ParagraphAtt::Enum::Alignment, static_cast<int>(Alignment::Justify)));
    story->FormatText(*MakeDelta(ParagraphAtt::Enum::Hyphenate, 1));
    auto const compose = [&](bool withWords, unsigned threads) {
        WordCache::SetEnabled(withWords);
        Kernel::Dispatch::SetThreadCount(threads);
        return Compose(story, MakeFrame(240));
    };
    auto const plain = compose(false, 1);
    for (auto const& other : {compose(true, 1), compose(true, 2), compose(false, 2)}) {
        auto const& a = plain->GetColumn(0);
        auto const& b = other->GetColumn(0);
        ASSERT_EQ(a.size(), b.size());
        for (std::size_t i = 0; i != a.size(); ++i) {
            auto const &x = *(a.begin() + static_cast<std::ptrdiff_t>(i)),
                       &y = *(b.begin() + static_cast<std::ptrdiff_t>(i));
            ASSERT_EQ(x.GetOrigin(), y.GetOrigin());
            ASSERT_EQ(x.GetRange().begin, y.GetRange().begin);
            ASSERT_EQ(x.GetWidth(), y.GetWidth());
            ASSERT_EQ(x.GetSpaceExtra(), y.GetSpaceExtra());
            ASSERT_TRUE(x.GetParagraph().GetGlyphs() == y.GetParagraph().GetGlyphs());
            ASSERT_TRUE(x.GetParagraph().GetFlags() == y.GetParagraph().GetFlags());
            ASSERT_TRUE(x.GetData().own == y.GetData().own);
        }
    }
}

// Languages are known by turns, more of them than a thread keeps words of.
TEST_F(WordCacheTest, HyphensStandWhereTheyDidWhenWordsAreKnown) {
    std::u32string_view const text = U"Hyphenation Donaudampfschifffahrt responsabilidad; it\u2019s hyphenation";
    std::vector<std::vector<std::uint32_t>> first;
    std::size_t found = 0;
    for (int round = 0; round != 2; ++round) {
        std::size_t i = 0;
        for (auto const* language : {"en", "de", "es", "fr", "it", "nl", "pt", "sv", "ru", "en-GB", "pl"}) {
            auto* const hyphenator = Hyphenator::Get(language);
            if (hyphenator == nullptr)
                continue;
            std::vector<std::uint32_t> places, again;
            hyphenator->FindPlaces(text, 100, places);
            hyphenator->FindPlaces(text, 100, again);
            EXPECT_EQ(places, again) << language;
            found += places.size();
            if (round == 0)
                first.push_back(places);
            else
                EXPECT_EQ(places, first[i]) << language;
            ++i;
        }
    }
    EXPECT_GT(found, 0u);
}

TEST_F(WordCacheTest, FramesAreCountedAsTheyAreComposed) {
    std::mt19937 random(2);
    std::u32string text;
    for (int i = 0; i != 60; ++i)
        text += MakeText(random, 50 + random() % 900, false) + U"\n";
    auto const story = MakeStory(text, 11, "DejaVu Serif");
    auto const frame = MakeFrame(180, 300);
    auto const composed =
        Kernel::MakeCounted<ComposedStory>(StoryRef(story), nullptr, std::vector<FrameGeometry>(500, frame));
    std::size_t count = 1;
    while (composed->GetFrame(count - 1)->GetRange().end < story->GetLength())
        ++count;
    EXPECT_GT(count, 20u);
    EXPECT_EQ(CountFrames(*story, nullptr, frame, 1000), count);
    EXPECT_EQ(CountFrames(*story, nullptr, frame, count), count);
    EXPECT_EQ(CountFrames(*story, nullptr, frame, count - 1), count);
    EXPECT_EQ(CountFrames(*story, nullptr, frame, 5), 6u);
    bool const abort = true;
    EXPECT_THROW(CountFrames(*story, nullptr, frame, 1000, &abort), Kernel::AbortException);
}
