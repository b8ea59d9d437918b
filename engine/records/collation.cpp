// SPDX-License-Identifier: Apache-2.0
#include "engine/records/collation.h"

#include "platform/kernel/exception.h"

#include <algorithm>
#include <mutex>
#include <unicode/tblcoll.h>
#include <unicode/ucol.h>
#include <unicode/uset.h>

namespace Records {

namespace {

icu::StringPiece ToPiece(std::string_view text) { return {text.data(), static_cast<std::int32_t>(text.size())}; }

bool HasUsualSettings(icu::Collator const& collator) {
    struct Setting {
        UColAttribute attribute;
        UColAttributeValue value;
    };
    constexpr Setting c_usual[] = {{UCOL_STRENGTH, UCOL_TERTIARY},
                                   {UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE},
                                   {UCOL_FRENCH_COLLATION, UCOL_OFF},
                                   {UCOL_CASE_LEVEL, UCOL_OFF},
                                   {UCOL_NUMERIC_COLLATION, UCOL_OFF}};
    return std::all_of(std::begin(c_usual), std::end(c_usual), [&](auto const& setting) {
        UErrorCode status = U_ZERO_ERROR;
        return collator.getAttribute(setting.attribute, status) == setting.value && U_SUCCESS(status) != 0;
    });
}

bool HasAsciiText(USet const* set) {
    for (std::int32_t item = 0; item != uset_getItemCount(set); ++item) {
        UChar32 first = 0, last = 0;
        UChar text[64];
        UErrorCode status = U_ZERO_ERROR;
        auto const length = uset_getItem(set, item, &first, &last, text, 64, &status);
        // A range of characters where the length is 0, a text otherwise.
        if (length == 0 ? first < 128 : std::all_of(text, text + std::min(length, 64), [](UChar c) { return c < 128; }))
            return true;
    }
    return false;
}

// Whether an ASCII character, or several together, stand for anything else than one character each.
bool HasAsciiGroups(icu::Collator const& collator) {
    UErrorCode status = U_ZERO_ERROR;
    auto* const groups = uset_openEmpty();
    auto* const expansions = uset_openEmpty();
    ucol_getContractionsAndExpansions(collator.toUCollator(), groups, expansions, false, &status);
    bool const has = U_FAILURE(status) != 0 || HasAsciiText(groups) || HasAsciiText(expansions);
    uset_close(groups);
    uset_close(expansions);
    return has;
}

// Compares ASCII characters, down to a level of differences; -1 stands for the empty text.
class CharacterComparison {
public:
    CharacterComparison(icu::Collator const& collator, icu::Collator::ECollationStrength level)
        : m_collator(collator.clone()) {
        m_collator->setStrength(level);
    }
    int operator()(int a, int b) const {
        auto const toText = [](int character) {
            return character < 0 ? icu::UnicodeString() : icu::UnicodeString(static_cast<UChar32>(character));
        };
        UErrorCode status = U_ZERO_ERROR;
        return m_collator->compare(toText(a), toText(b), status);
    }

private:
    std::unique_ptr<icu::Collator> m_collator;
};

std::optional<AsciiOrder> MakeAsciiOrder(icu::Collator const& collator) {
    if (!HasUsualSettings(collator) || HasAsciiGroups(collator))
        return std::nullopt;
    CharacterComparison const byRank(collator, icu::Collator::PRIMARY), byAccent(collator, icu::Collator::SECONDARY),
        byCase(collator, icu::Collator::TERTIARY);
    std::vector<int> characters;
    for (int character = 0; character != 128; ++character) {
        if (byCase(character, -1) == 0)
            continue;
        if (byRank(character, -1) == 0)
            return std::nullopt;
        characters.push_back(character);
    }
    std::stable_sort(characters.begin(), characters.end(), [&](int a, int b) { return byCase(a, b) < 0; });
    AsciiOrder order;
    std::uint8_t rank = 0, place = 0;
    for (std::size_t i = 0; i != characters.size(); ++i) {
        auto const character = static_cast<std::size_t>(characters[i]);
        if (i == 0 || byRank(characters[i - 1], characters[i]) != 0) {
            ++rank;
            place = 0;
        } else if (byAccent(characters[i - 1], characters[i]) != 0) {
            return std::nullopt;
        } else if (byCase(characters[i - 1], characters[i]) != 0) {
            ++place;
        }
        if (place > 1)
            return std::nullopt;
        order.ranks[character] = rank;
        order.cases[character] = place;
    }
    return order;
}

} // namespace

Collation::Collation(Kernel::String const& locale) {
    icu::Locale wanted(locale.empty() ? "en" : locale.c_str());
    if (wanted.isBogus())
        wanted = icu::Locale::getEnglish();
    UErrorCode status = U_ZERO_ERROR;
    m_collator.reset(icu::Collator::createInstance(wanted, status));
    if (U_FAILURE(status) || !m_collator)
        throw Kernel::Exception("texts cannot be sorted: there are no rules of collation");
    m_asciiOrder = MakeAsciiOrder(*m_collator);
}

std::shared_ptr<Collation const> GetCollation(Kernel::String const& locale) {
    struct Kept {
        std::mutex mutex;
        Kernel::String locale;
        std::shared_ptr<Collation const> collation;
    };
    // Never destroyed: ICU may be gone before.
    static auto& s_kept = *new Kept;
    std::lock_guard const lock(s_kept.mutex);
    if (!s_kept.collation || s_kept.locale != locale) {
        s_kept.collation = std::make_shared<Collation const>(locale);
        s_kept.locale = locale;
    }
    return s_kept.collation;
}

int Collation::Compare(std::string_view a, std::string_view b) const {
    UErrorCode status = U_ZERO_ERROR;
    return m_collator->compareUTF8(ToPiece(a), ToPiece(b), status);
}

void Collation::AppendKey(std::string_view text, std::string& to) const {
    auto const converted = icu::UnicodeString::fromUTF8(ToPiece(text));
    auto const begin = to.size();
    for (std::size_t room = 2 * text.size() + 32;;) {
        to.resize(begin + room);
        auto const size = static_cast<std::size_t>(m_collator->getSortKey(
            converted, reinterpret_cast<std::uint8_t*>(to.data() + begin), static_cast<std::int32_t>(room)));
        if (size <= room) {
            // Without the zero at its end.
            to.resize(begin + std::max<std::size_t>(size, 1) - 1);
            return;
        }
        room = size;
    }
}

} // namespace Records
