// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Formats::Svg {

// The parts of a drawing that could not be represented: one entry a kind, in the order in which the kinds were first
// met.
class Report {
public:
    struct Entry {
        std::string kind;
        std::size_t count = 0;
        // The first element concerned: `#id`, or `<name>` where it has no id; empty where no element is meant.
        std::string first;
    };

    void Add(std::string_view kind, std::string_view first = {}, std::size_t count = 1);
    bool IsEmpty() const { return m_entries.empty(); }
    std::size_t GetCount(std::string_view kind) const;
    std::vector<Entry> const& GetEntries() const { return m_entries; }
    // One line an entry, such as `filter: 12 (first #f3)`. Without control characters, whatever the source holds.
    std::vector<std::string> GetLines() const;

private:
    std::vector<Entry> m_entries;
    std::unordered_map<std::string, std::size_t> m_index;
};

// A piece of the source for a message to a person: control characters replaced, and cut after maxBytes.
std::string Printable(std::string_view text, std::size_t maxBytes = 60);

} // namespace Formats::Svg
