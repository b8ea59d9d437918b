// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/report.h"

namespace Formats::Svg {

namespace {

// Kinds may hold a piece of the source; a source must not fill the memory with kinds.
constexpr std::size_t c_maxKinds = 200;
constexpr std::string_view c_otherKinds = "others";

} // namespace

void Report::Add(std::string_view kind, std::string_view first, std::size_t count) {
    auto found = m_index.find(std::string(kind));
    if (found == m_index.end()) {
        if (m_entries.size() >= c_maxKinds && kind != c_otherKinds)
            return Add(c_otherKinds, first, count);
        found = m_index.emplace(kind, m_entries.size()).first;
        m_entries.push_back({std::string(kind), 0, std::string(first)});
    }
    m_entries[found->second].count += count;
}

std::size_t Report::GetCount(std::string_view kind) const {
    auto const found = m_index.find(std::string(kind));
    return found == m_index.end() ? 0 : m_entries[found->second].count;
}

std::vector<std::string> Report::GetLines() const {
    std::vector<std::string> lines;
    for (Entry const& entry : m_entries) {
        std::string line = Printable(entry.kind, 120) + ": " + std::to_string(entry.count);
        if (!entry.first.empty())
            line += " (first " + Printable(entry.first) + ")";
        lines.push_back(std::move(line));
    }
    return lines;
}

std::string Printable(std::string_view text, std::size_t maxBytes) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto const byte = static_cast<unsigned char>(text[i]);
        bool const startsCharacter = (byte & 0xC0) != 0x80;
        if (startsCharacter && result.size() >= maxBytes)
            return result + "...";
        // U+0080 to U+009F are control characters to a terminal; in UTF-8 they are C2 80 to C2 9F.
        bool const isC1 = byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
        if (isC1) {
            result += '?';
            ++i;
        } else {
            result += byte < 0x20 || byte == 0x7F ? '?' : text[i];
        }
    }
    return result;
}

} // namespace Formats::Svg
