// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/string.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unicode/coll.h>
#include <vector>

namespace Records {

// How a collation orders texts of ASCII characters alone, where it compares them character by character: first by the
// ranks of all characters, then by their cases.
struct AsciiOrder {
    // 0: the character counts for nothing. Below 128.
    std::array<std::uint8_t, 128> ranks{};
    // Of two characters of one rank the one that comes later has 1.
    std::array<std::uint8_t, 128> cases{};
};

// The order of texts in a language. May be used on any thread.
class Collation {
public:
    // As ICU names locales; empty, or none: English. Throws Kernel::Exception where ICU has no data.
    explicit Collation(Kernel::String const& locale);

    // None where the language knows pairs of ASCII characters that count as one, or settings that compare otherwise.
    std::optional<AsciiOrder> const& GetAsciiOrder() const { return m_asciiOrder; }
    // Less than, equal to or greater than 0, as a comes before, with or after b.
    int Compare(std::string_view a, std::string_view b) const;
    // Appends the key whose bytes compare as the text does, without zeros.
    void AppendKey(std::string_view text, std::string& to) const;

private:
    std::unique_ptr<icu::Collator const> m_collator;
    std::optional<AsciiOrder> m_asciiOrder;
};

// The one of a locale; making it takes some milliseconds, so that the last one is kept.
std::shared_ptr<Collation const> GetCollation(Kernel::String const& locale);

// The beginning of a field by which it is sorted: the whole of all but very long ones.
std::string_view CutToSortedLength(std::string_view text);

// The order of texts: their numbers, first to last; texts that count as equal keep the order that they have here.
std::vector<std::uint32_t> SortTexts(std::vector<std::string_view> const& texts, Collation const& collation,
                                     bool const* abort);

} // namespace Records
