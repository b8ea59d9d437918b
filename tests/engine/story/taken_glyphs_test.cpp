// SPDX-License-Identifier: Apache-2.0
// A paragraph whose objects show something else takes glyphs over from what it was, and must be what it is made afresh.
#include "engine/story/composed_paragraph.h"
#include "engine/story/itemiser.h"
#include "tests/engine/story/composing.h"
#include "tests/engine/story/fields.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using namespace Composing;
using namespace Fields;

// Words whose letters move each other, and each other's spaces, here and there with what cannot be parted or is of
// another script or direction.
std::u32string MakeWords(std::mt19937& random, std::size_t count) {
    std::u32string_view const words[] = {U"AV",         U"To",      U"fi",       U"War,",         U"Ty",     U"office",
                                         U"\u2018Yes",  U"a",       U"P.",       U"1234",         U"VAVA",   U"",
                                         U"no\u00ADon", U"\u00C4h", U"e\u0301t", U"\u0628\u0628", U"\u05D0", U"\u4E00"};
    std::u32string text;
    for (std::size_t i = 0; i != count; ++i) {
        bool const isPlain = random() % 30 != 0;
        text += words[random() % (isPlain ? 11 : std::size(words))];
        if (random() % 12 != 0)
            text.push_back(U' ');
    }
    return text;
}

void ExpectSame(ComposedParagraph const& a, ComposedParagraph const& b, unsigned seed) {
    ASSERT_EQ(a.GetText(), b.GetText()) << seed;
    ASSERT_EQ(a.GetFlags(), b.GetFlags()) << seed;
    ASSERT_EQ(a.GetRuns().size(), b.GetRuns().size()) << seed;
    for (std::size_t i = 0; i != a.GetRuns().size(); ++i) {
        EXPECT_EQ(a.GetRuns()[i].glyphBegin, b.GetRuns()[i].glyphBegin) << seed;
        EXPECT_EQ(a.GetRuns()[i].glyphEnd, b.GetRuns()[i].glyphEnd) << seed;
    }
    ASSERT_TRUE(a.GetGlyphs() == b.GetGlyphs()) << seed;
}

} // namespace

TEST(TakenGlyphs, AreThoseOfAParagraphThatIsMadeAfresh) {
    // Some move letters beside spaces, others do not.
    char const* const families[] = {"DejaVu Sans", "Liberation Serif", "Liberation Sans", "Nimbus Roman"};
    auto const styles = StyleSheet::GetEmpty();
    for (unsigned seed = 0; seed != 600; ++seed) {
        std::mt19937 random(seed);
        auto const story = Composing::MakeStory(U"", 11.3, families[seed % std::size(families)]);
        GlyphString glyphs(MakeWords(random, random() % 12));
        for (auto fields = 1 + random() % 3; fields != 0; --fields) {
            glyphs.Add(MakeField(random() % 2 == 0 ? "f" : "g"));
            glyphs.Add(MakeWords(random, random() % 12));
        }
        story->ReplaceText({0, 0}, glyphs);
        auto const paragraph = story->GetParagraph(0);
        Kernel::Counted<ComposedParagraph const> other;
        for (int step = 0; step != 4; ++step) {
            auto const source = MakeSource({{"f", EncodeUtf8(MakeWords(random, random() % 4))},
                                            {"g", EncodeUtf8(MakeWords(random, random() % 2))}});
            ParagraphContext const context{source.get(), 0};
            auto const afresh = Kernel::MakeCounted<ComposedParagraph>(paragraph, *styles, context);
            auto const taken = Kernel::MakeCounted<ComposedParagraph>(paragraph, *styles, context, other.get());
            ExpectSame(*taken, *afresh, seed);
            if (testing::Test::HasFatalFailure())
                return;
            other = taken;
        }
    }
}

// The quick answer for texts without a right-to-left letter is that of the whole algorithm.
TEST(TakenGlyphs, TextWithQuotesAndObjectsHasOneDirection) {
    std::u32string const text = U"\u201CIt\u2019s 12\u2014or\u2026\uFFFC 3\u201D\u2028\u2010\u2027.\u2029";
    std::vector<std::uint8_t> levels;
    for (auto const direction : {ParagraphDirection::Automatic, ParagraphDirection::LeftToRight}) {
        EXPECT_EQ(ComputeLevels(text, static_cast<int>(direction), levels), 0);
        EXPECT_EQ(std::count(levels.begin(), levels.end(), 0), static_cast<std::ptrdiff_t>(text.size()));
        EXPECT_FALSE(Itemiser(text, static_cast<int>(direction)).IsRightToLeft());
    }
}

// Runs that are made in one go are those of single characters, put together where these are alike.
TEST(TakenGlyphs, RunsOfPlainTextAreThoseOfItsCharacters) {
    std::u32string_view const letters = U"aZ 9.,~\t\u00AD\u00E9\u0001\u00A0\u0100\u00B7";
    auto const look = TextLook::Get(Composing::MakeStory(U"x", 16, "Liberation Serif")->GetGlyphAtts(0));
    for (unsigned seed = 0; seed != 300; ++seed) {
        std::mt19937 random(seed);
        std::u32string text;
        for (auto length = 1 + random() % 40; length != 0; --length)
            text.push_back(letters[random() % (random() % 3 == 0 ? letters.size() : 7)]);
        auto const size = static_cast<std::uint32_t>(text.size());
        std::vector<ShapedRun> all, single, joined;
        std::vector<std::uint8_t> flags(size + 1), singleFlags(size + 1);
        Itemiser(text, 0).Itemise(0, size, look, all, flags);
        Itemiser one(text, 0);
        for (std::uint32_t i = 0; i != size; ++i)
            one.Itemise(i, i + 1, look, single, singleFlags);
        for (auto const& run : single) {
            auto const isTab = [&](std::uint32_t at) { return text[at] == U'\t'; };
            bool const goesOn = !joined.empty() && joined.back().face == run.face &&
                                joined.back().script == run.script && joined.back().level == run.level &&
                                !isTab(run.begin) && !isTab(run.begin - 1);
            if (goesOn)
                joined.back().end = run.end;
            else
                joined.push_back(run);
        }
        EXPECT_EQ(flags, singleFlags) << seed;
        ASSERT_EQ(all.size(), joined.size()) << seed;
        for (std::size_t i = 0; i != all.size(); ++i) {
            EXPECT_EQ(all[i].begin, joined[i].begin) << seed;
            EXPECT_EQ(all[i].end, joined[i].end) << seed;
            EXPECT_EQ(all[i].face, joined[i].face) << seed;
            EXPECT_EQ(all[i].script, joined[i].script) << seed;
        }
    }
}

// Signs of no script of their own take the script of the letter that follows, if one comes within 256 characters.
TEST(TakenGlyphs, FiguresInFrontOfLettersTakeTheirScript) {
    auto const look = TextLook::Get(Composing::MakeStory(U"x", 16, "DejaVu Sans")->GetGlyphAtts(0));
    for (std::u32string_view const letter : {U"a", U"\u0430", U"\u03B1"}) {
        auto const text = std::u32string(300, U'7') + std::u32string(letter);
        std::vector<ShapedRun> runs;
        std::vector<std::uint8_t> flags(text.size() + 1);
        Itemiser(text, 0).Itemise(0, static_cast<std::uint32_t>(text.size()), look, runs, flags);
        ASSERT_EQ(runs.size(), 2u);
        EXPECT_EQ(runs[0].script, HB_SCRIPT_COMMON);
        // 255 characters in front of the letter at 300.
        EXPECT_EQ(runs[1].begin, 45u);
        EXPECT_EQ(runs[1].script, hb_unicode_script(hb_unicode_funcs_get_default(), letter[0]));
    }
}
