// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Shell {

// "; did you mean 'NAME'?" for the one of `names` that differs from `word` by the fewest edits; empty when none is
// near.
std::string SuggestNearest(std::string_view word, std::vector<std::string_view> const& names);

} // namespace Shell
