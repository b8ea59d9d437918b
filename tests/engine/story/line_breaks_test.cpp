// SPDX-License-Identifier: Apache-2.0
// The quick way to line breaks against ICU's own.
#include "engine/story/line_breaks.h"
#include "platform/story/paragraph.h"

#include <gtest/gtest.h>
#include <random>

namespace {

std::vector<std::uint8_t> FindBy(decltype(Story::FindLineBreaks) const& find, std::u32string_view text,
                                 std::string const& language) {
    std::vector<std::uint8_t> flags(text.size() + 1, 0);
    find(text, language, flags);
    return flags;
}

// Text of single characters and short strings out of a list, the separator at its end.
std::u32string MakeText(std::mt19937& random, std::vector<std::u32string_view> const& pieces, unsigned spaces) {
    std::u32string text;
    for (unsigned count = 1 + random() % 30; count != 0; --count)
        text += random() % 100 < spaces ? U" " : pieces[random() % pieces.size()];
    if (random() % 4 != 0)
        text.push_back(0x2029);
    return text;
}

void ExpectSame(std::u32string_view text, std::string const& language) {
    ASSERT_EQ(FindBy(Story::FindLineBreaks, text, language), FindBy(Story::FindLineBreaksByIcu, text, language))
        << language << ": " << Story::EncodeUtf8(text);
}

std::string const c_languages[] = {"",
                                   "en",
                                   "de",
                                   "fr",
                                   "fi",
                                   "sv",
                                   "el",
                                   "ru",
                                   "he",
                                   "ar",
                                   "th",
                                   "hi",
                                   "zh",
                                   "ja",
                                   "ko",
                                   "vi",
                                   "ja-u-lb-loose",
                                   "en-u-lb-strict"};

} // namespace

TEST(LineBreaks, WordsAndTheirPunctuationBreakWhereIcuBreaksThem) {
    std::vector<std::u32string_view> const pieces{U"a",  U"word", U"Ä",      U"ß",      U"λ",      U"д",      U"7",
                                                  U"12", U".",    U",",      U":",      U";",      U"!",      U"?",
                                                  U"'",  U"\"",   U"\u2019", U"\u201C", U"\u201D", U"\u2018", U"«"};
    std::mt19937 random(5);
    for (auto const& language : c_languages) {
        for (int i = 0; i != 1500; ++i)
            ExpectSame(MakeText(random, pieces, 25), language);
    }
}

TEST(LineBreaks, EverythingElseBreaksWhereIcuBreaksItToo) {
    std::vector<std::u32string_view> const pieces{
        U"word", U"a",      U"b",      U"3",      U".",      U",",       U"!",      U"\"",     U"\u2019", U"-",
        U"(",    U")",      U"[",      U"]",      U"/",      U"\u2014",  U"\u2013", U"\u2026", U"%",      U"$",
        U"€",    U"\u00A0", U"\u00AD", U"\u0301", U"\u200B", U"\u2060",  U"\u200D", U"\t",     U"\n",     U"\u2028",
        U"日",   U"本",     U"。",     U"「",     U"」",     U"ภาษาไทย", U"한",     U"א",      U"ب",      U"\u25CC",
        U"😀",    U"🇩",      U"\u3000", U"×",      U"§",      U"ー",      U"\uFFFC", U"\u0085", U"\r",     U"|"};
    std::mt19937 random(6);
    for (auto const& language : c_languages) {
        for (int i = 0; i != 1500; ++i)
            ExpectSame(MakeText(random, pieces, 30), language);
    }
}

// Each character that the quick way knows, between others that it knows.
TEST(LineBreaks, EachSmallCharacterBreaksWhereIcuBreaksIt) {
    for (char32_t c = 1; c != 0x2100; ++c) {
        for (std::u32string_view const before : {U"", U"a", U"a ", U"1", U"\u2019", U", ", U"! "}) {
            for (std::u32string_view const behind : {U"", U"a", U" a", U"1", U" \u201C", U".", U" ("}) {
                auto text = std::u32string(before) + c;
                text += behind;
                ExpectSame(text, "en");
            }
        }
    }
}
