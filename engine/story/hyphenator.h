// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Story {

// Finds where words may be split, by the patterns of their language (Liang, "Word Hy-phen-a-tion by Com-put-er", 1983)
// as the system's dictionaries have them. Safe from any thread.
class Hyphenator {
public:
    // Null when the system has no dictionary for the language. `language` is BCP 47.
    static Hyphenator* Get(std::string const& language);
    ~Hyphenator();

    // Appends the places in the text, which counts from `base`, before which a word may go on in the next line: at
    // letters only, two before it at least and three behind.
    void FindPlaces(std::u32string_view text, std::uint32_t base, std::vector<std::uint32_t>& places);

private:
    struct State;
    explicit Hyphenator(std::unique_ptr<State> state);
    std::vector<std::uint8_t> HyphenateWord(std::u32string const& word);
    std::unique_ptr<State> m_state;
};

} // namespace Story
