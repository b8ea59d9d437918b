// SPDX-License-Identifier: Apache-2.0
#include "shell/nearest.h"

#include "shell/failure.h"

#include <algorithm>
#include <numeric>

namespace Shell {

namespace {

constexpr std::size_t c_longestWord = 64;

// How many characters have to be put in, left out or replaced; two that changed places count once. The optimal string
// alignment distance.
std::size_t CountEdits(std::string_view a, std::string_view b) {
    std::vector<std::size_t> beforeLast, last(b.size() + 1), row(b.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
        }
        beforeLast = std::exchange(last, row);
    }
    return last.back();
}

} // namespace

std::string SuggestNearest(std::string_view word, std::vector<std::string_view> const& names) {
    if (word.size() > c_longestWord)
        return {};
    std::string_view nearest;
    // A third of the characters may differ.
    std::size_t fewest = std::max<std::size_t>(1, word.size() / 3) + 1;
    for (auto const name : names) {
        auto const edits = CountEdits(word, name);
        if (edits < fewest) {
            fewest = edits;
            nearest = name;
        }
    }
    return nearest.empty() ? std::string() : "; did you mean " + Quote(nearest) + "?";
}

} // namespace Shell
