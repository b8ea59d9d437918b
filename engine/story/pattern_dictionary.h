// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <hyphen.h>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace Story {

// The hyphenation patterns of a dictionary file as libhyphen's automaton. The library compiles them, and needs seconds
// for a large dictionary; compiled patterns come back from a cache folder in some milliseconds. Either way it is the
// library that looks words up, so that the places are the same.
class PatternDictionary {
public:
    // Null when the file is no dictionary. Patterns that are not in the folder yet are put there; what keeps them from
    // being read or written there is passed over. An empty folder stands for none.
    static std::unique_ptr<PatternDictionary> Load(std::string const& file, std::string const& cacheFolder);
    ~PatternDictionary();
    PatternDictionary(PatternDictionary const&) = delete;
    PatternDictionary& operator=(PatternDictionary const&) = delete;

    HyphenDict& Get() { return *m_dictionary; }
    // Whether the patterns came from the cache.
    bool IsFromCache() const { return !m_levels.empty(); }

private:
    struct Level;
    PatternDictionary();
    bool Read(std::span<std::byte const> compiled);

    HyphenDict* m_dictionary = nullptr;
    // The memory that a dictionary from the cache points into. Empty when the library owns it.
    std::vector<std::unique_ptr<Level>> m_levels;
};

} // namespace Story
