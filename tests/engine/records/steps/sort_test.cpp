// SPDX-License-Identifier: Apache-2.0
#include "engine/records/collation.h"
#include "engine/records/entry_sort.h"
#include "tests/engine/records/steps/step_tables.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>
#include <unicode/coll.h>

using namespace Records;
using namespace StepTests;

namespace {

Rows SortNaively(std::vector<std::string_view> const& texts, char const* locale) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Collator> const collator(icu::Collator::createInstance(icu::Locale(locale), status));
    Rows order(texts.size());
    std::iota(order.begin(), order.end(), 0u);
    std::stable_sort(order.begin(), order.end(), [&](auto a, auto b) {
        auto const toPiece = [](std::string_view text) {
            return icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size()));
        };
        return collator->compareUTF8(toPiece(texts[a]), toPiece(texts[b]), status) < 0;
    });
    return order;
}

std::vector<std::string> Sort(std::vector<std::string> const& fields, bool ascending = true, char const* locale = "") {
    Options options;
    options.locale = locale;
    return ListFields(*Take(MakeOneColumn(fields), {SortRecords{"a", ascending}}, options));
}

using Fields = std::vector<std::string>;

TEST(SortStep, GoesByTheCollationOfTheLocale) {
    EXPECT_EQ(Sort({"Zebra", "zebra", "\xC3\xA4hre", "apple", "Apple", "co-op", "coop"}),
              (Fields{"\xC3\xA4hre", "apple", "Apple", "co-op", "coop", "zebra", "Zebra"}));
    EXPECT_EQ(Sort({"z", "\xC3\xA4", "a"}, true, "de"), (Fields{"a", "\xC3\xA4", "z"}));
    EXPECT_EQ(Sort({"z", "\xC3\xA4", "a"}, true, "sv_SE"), (Fields{"a", "z", "\xC3\xA4"}));
    EXPECT_EQ(Sort({"ci", "chi", "hi", "ca"}, true, "cs"), (Fields{"ca", "ci", "hi", "chi"}));
    EXPECT_EQ(Sort({"b", "a"}, true, "no such locale !"), (Fields{"a", "b"}));
}

TEST(SortStep, PutsEmptyFieldsLastEitherWay) {
    EXPECT_EQ(Sort({"b", "", "a"}), (Fields{"a", "b", ""}));
    EXPECT_EQ(Sort({"b", "", "a"}, false), (Fields{"b", "a", ""}));
    EXPECT_EQ(Sort({"2", "", "10"}), (Fields{"2", "10", ""}));
    EXPECT_EQ(Sort({"2", "", "10"}, false), (Fields{"10", "2", ""}));
}

TEST(SortStep, GoesByValueInColumnsOfNumbersAndDates) {
    EXPECT_EQ(Sort({"10", "9", "-1", "1e3", "0.5", "-0", "0"}), (Fields{"-1", "-0", "0", "0.5", "9", "10", "1e3"}));
    EXPECT_EQ(Sort({"31.1.2024", "1.2.2024", "15.12.2023"}), (Fields{"15.12.2023", "31.1.2024", "1.2.2024"}));
    EXPECT_EQ(Sort({"31.1.2024", "1.2.2024", "15.12.2023"}, false), (Fields{"1.2.2024", "31.1.2024", "15.12.2023"}));
}

TEST(SortStep, KeepsTheOrderOfEqualFieldsEitherWay) {
    auto const table = MakeTable({"a", "b"}, {{"x", "1"}, {"y", "2"}, {"x", "3"}, {"x", "4"}, {"y", "5"}});
    EXPECT_EQ(Take(table, {SortRecords{"a", true}})->rows, (Rows{0, 2, 3, 1, 4}));
    EXPECT_EQ(Take(table, {SortRecords{"a", false}})->rows, (Rows{1, 4, 0, 2, 3}));
    EXPECT_EQ(Take(table, {SortRecords{"b", false}, SortRecords{"a", true}})->rows, (Rows{3, 2, 0, 4, 1}));
    // Forms of one number, and texts that differ only in what counts for nothing.
    EXPECT_EQ(Sort({"2", "1.0", "1", "1.00"}), (Fields{"1.0", "1", "1.00", "2"}));
    EXPECT_EQ(Sort({"0", "-0", "0.0", "-1"}), (Fields{"-1", "0", "-0", "0.0"}));
    EXPECT_EQ(Sort({"a\x01", "a",
                    "\x01"
                    "a"}),
              (Fields{"a\x01", "a",
                      "\x01"
                      "a"}));
    EXPECT_EQ(Sort({"e\xCC\x81", "\xC3\xA9", "e\xCC\x81"}), (Fields{"e\xCC\x81", "\xC3\xA9", "e\xCC\x81"}));
}

// So many records of so few different fields that these are sorted and the records counted into their places.
TEST(SortStep, KeepsTheOrderOfEqualFieldsAmongFewDifferentOnes) {
    std::mt19937 random{7};
    std::vector<std::string> fields;
    for (int row = 0; row != 10'000; ++row)
        fields.push_back(Fields{"", "e\xCC\x81", "\xC3\xA9", "z\x01", "z", "a"}[random() % 6]);
    for (bool const ascending : {true, false}) {
        auto expected = fields;
        std::stable_sort(expected.begin(), expected.end(), [&](auto const& a, auto const& b) {
            auto const place = [&](std::string const& text) {
                int const letter = text.empty() ? 4 : text[0] == 'a' ? 0 : text[0] == 'z' ? 2 : 1;
                return letter == 4 || ascending ? letter : 2 - letter;
            };
            return place(a) < place(b);
        });
        EXPECT_EQ(Sort(fields, ascending), expected) << ascending;
    }
}

// Texts of the characters that an alphabet gives, some of them long, with common beginnings, and many equal.
std::vector<std::string> MakeTexts(std::mt19937& random, std::size_t count, std::vector<std::string> const& alphabet) {
    std::vector<std::string> texts;
    for (std::size_t i = 0; i != count; ++i) {
        if (!texts.empty() && random() % 4 == 0) {
            texts.push_back(texts[random() % texts.size()]);
            if (random() % 2 == 0)
                texts.back() += alphabet[random() % alphabet.size()];
            continue;
        }
        std::string text = random() % 3 == 0 ? "Customer No. " : "";
        for (auto length = random() % (random() % 20 == 0 ? 200 : 8); length != 0; --length)
            text += alphabet[random() % alphabet.size()];
        texts.push_back(text);
    }
    return texts;
}

std::vector<std::string> ListAscii() {
    std::vector<std::string> characters;
    for (char character = 0; character != 127; ++character)
        characters.emplace_back(1, character);
    characters.emplace_back(1, char(127));
    return characters;
}

void ExpectSorted(std::vector<std::string> const& texts, char const* locale) {
    std::vector<std::string_view> const views(texts.begin(), texts.end());
    ASSERT_EQ(SortTexts(views, Collation(locale), nullptr), SortNaively(views, locale)) << locale;
}

constexpr char const* c_locales[] = {"en_US",
                                     "en_US_POSIX",
                                     "de",
                                     "de__PHONEBOOK",
                                     "fr_CA",
                                     "sv",
                                     "da",
                                     "nb",
                                     "cs",
                                     "sk",
                                     "hu",
                                     "hr",
                                     "es",
                                     "es__TRADITIONAL",
                                     "lt",
                                     "lv",
                                     "et",
                                     "pl",
                                     "cy",
                                     "tr",
                                     "az",
                                     "vi",
                                     "mt",
                                     "fil",
                                     "haw",
                                     "sq",
                                     "th",
                                     "ja",
                                     "zh",
                                     "ko",
                                     "ru",
                                     "ar",
                                     "fa",
                                     "root",
                                     "en@colNumeric=yes",
                                     "en@colStrength=primary",
                                     "en@colAlternate=shifted",
                                     "en@colCaseFirst=upper",
                                     "en@colCaseLevel=yes",
                                     "en@colReorder=digit-latn",
                                     "en@colStrength=identical"};

TEST(TextSort, DoesWhatTheCollatorSaysOfAsciiInEveryLocale) {
    std::mt19937 random{3};
    for (auto const* const locale : c_locales) {
        for (int turn = 0; turn != 6; ++turn) {
            ASSERT_NO_FATAL_FAILURE(ExpectSorted(MakeTexts(random, 400, ListAscii()), locale));
            ASSERT_NO_FATAL_FAILURE(
                ExpectSorted(MakeTexts(random, 400, {"c", "h", "C", "H", "l", "L", "j", "n", "y", "d", "z"}), locale));
            ASSERT_NO_FATAL_FAILURE(ExpectSorted(MakeTexts(random, 400, {"a", "A", "b", "-", " ", "1"}), locale));
        }
    }
}

TEST(TextSort, DoesWhatTheCollatorSaysOfTextsOfWhichSomeAreNotAscii) {
    std::mt19937 random{4};
    for (auto const* const locale : c_locales) {
        // So few that they are put among the others, and so many that all go by keys.
        for (int const others : {1, 5, 50}) {
            auto texts = MakeTexts(random, 400, {"a", "e", "o", "c", "z", "-", " "});
            auto const foreign = MakeTexts(random, static_cast<std::size_t>(others),
                                           {"a", "e", "\xC3\xA9", "e\xCC\x81", "\xC3\x85", "\xD0\x96", "\xE4\xB8\x80",
                                            "\xF0\x9F\x98\x80", "\xC2\xAD"});
            for (auto const& text : foreign)
                texts.insert(texts.begin() + static_cast<std::ptrdiff_t>(random() % texts.size()), text);
            ASSERT_NO_FATAL_FAILURE(ExpectSorted(texts, locale));
        }
    }
}

TEST(TextSort, KnowsWhereTheQuickWayHolds) {
    for (auto const* const locale : {"en", "en_US", "de", "fr", "es", "it", "ru", "ja", "en@colCaseFirst=upper"})
        EXPECT_TRUE(Collation(locale).GetAsciiOrder()) << locale;
    for (auto const* const locale :
         {"cs", "hu", "cy", "es__TRADITIONAL", "en@colNumeric=yes", "en@colAlternate=shifted"})
        EXPECT_FALSE(Collation(locale).GetAsciiOrder()) << locale;
}

TEST(TextSort, DoesWhatTheCollatorSaysOfManyTexts) {
    std::mt19937 random{5};
    ASSERT_NO_FATAL_FAILURE(ExpectSorted(MakeTexts(random, 60'000, {"a", "b", "c", "A", "B", " "}), "en"));
    ASSERT_NO_FATAL_FAILURE(ExpectSorted(std::vector<std::string>(30'000, "The same text each time"), "en"));
    auto mixed = MakeTexts(random, 30'000, {"a", "b", "c", "A", "B", " "});
    for (std::size_t i = 0; i < mixed.size(); i += 100)
        mixed[i] += "\xC3\xA9";
    ASSERT_NO_FATAL_FAILURE(ExpectSorted(mixed, "en"));
}

TEST(TextSort, GoesByTheBeginningOfVeryLongTexts) {
    std::string const same(16'384, 'x');
    EXPECT_EQ(Sort({same + "b", same + "a", std::string(16'383, 'x') + "a"}),
              (Fields{std::string(16'383, 'x') + "a", same + "b", same + "a"}));
    // A character is not cut in half.
    std::string const shorter(16'383, 'x');
    EXPECT_EQ(Sort({shorter + "\xC3\xA9", shorter + "a", shorter}),
              (Fields{shorter + "\xC3\xA9", shorter, shorter + "a"}));
}

class PairDigits {
public:
    explicit PairDigits(std::vector<std::pair<std::uint64_t, std::uint64_t>> const& pairs) : m_pairs(pairs) {}
    void Next(SortEntry& entry, AbortLook&) const {
        auto const& pair = m_pairs[entry.item];
        entry.key = entry.at++ == 0 ? pair.first * 2 + 1 : pair.second * 2;
    }
    static bool Continues(std::uint64_t key) { return (key & 1) != 0; }

private:
    std::vector<std::pair<std::uint64_t, std::uint64_t>> const& m_pairs;
};

TEST(EntrySort, SortsKeysOfAnyFrequencyAndKeepsEqualOnes) {
    std::mt19937 random{6};
    for (std::uint64_t const range : {1u, 2u, 3u, 100u, 1'000'000u}) {
        for (std::size_t const count : {0u, 1u, 2u, 8192u, 8193u, 100'000u}) {
            std::vector<std::pair<std::uint64_t, std::uint64_t>> pairs(count);
            // Most of one key, so that buckets are of very different size.
            for (auto& pair : pairs)
                pair = {random() % 3 == 0 ? random() % range : 0, random() % range};
            auto const sorted = EntrySorter<PairDigits>(PairDigits(pairs), nullptr).Sort(count);
            Rows expected(count);
            std::iota(expected.begin(), expected.end(), 0u);
            std::stable_sort(expected.begin(), expected.end(), [&](auto a, auto b) { return pairs[a] < pairs[b]; });
            ASSERT_EQ(sorted, expected) << range << ' ' << count;
        }
    }
}

} // namespace
