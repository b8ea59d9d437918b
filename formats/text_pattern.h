// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Story {
class Story;
}

namespace Formats {

// A regular expression for text, in the syntax of RE2. It is looked for in each paragraph by itself; `^` and `$` stand
// at the ends of lines. One search takes time in proportion to the paragraph, whatever the expression.
class REDRAFT_API TextPattern {
public:
    // Throws Kernel::Exception, in one line that goes on from the expression's name, for a text that is none.
    explicit TextPattern(std::string_view expression);
    TextPattern(TextPattern const&) = delete;
    TextPattern& operator=(TextPattern const&) = delete;
    ~TextPattern();

    // In characters, half-open.
    struct Match {
        std::size_t begin = 0;
        std::size_t end = 0;
        friend bool operator==(Match const&, Match const&) = default;
    };
    // The name of the first named group that takes part in the first match in a paragraph, or "" where none does. Empty
    // where nothing matches.
    std::optional<std::string> FindGroup(std::u32string_view paragraph) const;
    // The matches in a whole story, from the left, none of which overlaps another. `abort`, which may be null, is
    // looked at between them. Throws Kernel::AbortException, and Kernel::Exception where the search takes longer than
    // any sensible one would: many matches, each of which looks at all that follows.
    std::vector<Match> FindAll(Story::Story const& story, bool const* abort = nullptr) const;

private:
    struct Compiled;
    std::unique_ptr<Compiled const> m_compiled;
};

} // namespace Formats
