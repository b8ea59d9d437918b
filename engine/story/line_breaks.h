// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Story {

// Marks with CharacterFlag::c_breakBefore where a line may begin, by Unicode Standard Annex 14 with ICU's tailorings
// for the language. `flags` has an entry for each character and one for the end.
void FindLineBreaks(std::u32string_view text, std::string const& language, std::vector<std::uint8_t>& flags);

// The slow twin of the same: asks ICU about the whole text.
void FindLineBreaksByIcu(std::u32string_view text, std::string const& language, std::vector<std::uint8_t>& flags);

} // namespace Story
