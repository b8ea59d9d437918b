// SPDX-License-Identifier: Apache-2.0
#include "formats/text_pattern.h"

#include "formats/work.h"
#include "platform/story/story.h"

#include <algorithm>
#include <ctime>
#include <re2/re2.h>

namespace Formats {

namespace {

// Of the compiled expression with its tables. A search may fall back to a walk over all states at each character, so
// that this bounds its time as well.
constexpr std::int64_t c_maximumMemory = std::int64_t{1} << 20;
// Processor time of all searches in one story.
constexpr double c_maximumSeconds = 20;

re2::RE2::Options MakeOptions() {
    re2::RE2::Options options;
    options.set_log_errors(false);
    options.set_max_mem(c_maximumMemory);
    return options;
}

// UTF-8 of a paragraph, with the ends of its lines as newlines.
std::string ToUtf8(std::u32string_view paragraph) {
    std::u32string text(paragraph);
    std::replace(text.begin(), text.end(), Story::c_lineSeparator, U'\n');
    return Story::EncodeUtf8(text);
}

std::size_t CountCharacters(std::string_view bytes) {
    std::size_t count = 0;
    for (char const byte : bytes)
        count += (byte & 0xC0) != 0x80 ? 1 : 0;
    return count;
}

} // namespace

struct TextPattern::Compiled {
    explicit Compiled(std::string_view expression) : pattern("(?m)" + std::string(expression), MakeOptions()) {}
    re2::RE2 pattern;
};

TextPattern::TextPattern(std::string_view expression) {
    if (expression.empty())
        throw Kernel::Exception("needs an expression to look for");
    // Alone, so that what is said of an error does not speak of what is put in front.
    re2::RE2 const alone(re2::StringPiece(expression.data(), expression.size()), MakeOptions());
    if (!alone.ok())
        throw Kernel::Exception("is no regular expression: " + alone.error());
    auto compiled = std::make_unique<Compiled>(expression);
    if (!compiled->pattern.ok())
        throw Kernel::Exception("is no regular expression: " + compiled->pattern.error());
    m_compiled = std::move(compiled);
}

TextPattern::~TextPattern() = default;

std::optional<std::string> TextPattern::FindGroup(std::u32string_view paragraph) const {
    auto const& pattern = m_compiled->pattern;
    auto const bytes = ToUtf8(paragraph);
    auto const& names = pattern.CapturingGroupNames();
    // The whole match, and the groups up to the last one with a name.
    std::vector<re2::StringPiece> groups(names.empty() ? 1 : static_cast<std::size_t>(names.rbegin()->first) + 1);
    if (!pattern.Match(bytes, 0, bytes.size(), re2::RE2::UNANCHORED, groups.data(), static_cast<int>(groups.size())))
        return std::nullopt;
    for (auto const& [number, name] : names) {
        if (groups[static_cast<std::size_t>(number)].data() != nullptr)
            return name;
    }
    return std::string();
}

std::vector<TextPattern::Match> TextPattern::FindAll(Story::Story const& story, bool const* abort) const {
    Work const work{{}, abort};
    std::vector<Match> matches;
    auto const start = std::clock();
    std::size_t steps = 0;
    auto const check = [&] {
        work.CheckAbort();
        if (++steps % 64 == 0 &&
            static_cast<double>(std::clock() - start) / static_cast<double>(CLOCKS_PER_SEC) > c_maximumSeconds)
            throw Kernel::Exception("takes too long on this text; make the expression more definite");
    };
    for (std::size_t i = 0; i != story.GetParagraphCount(); ++i) {
        check();
        std::size_t const begin = story.GetParagraphBegin(i);
        auto const end = i + 1 == story.GetParagraphCount() ? story.GetLength() : story.GetParagraphBegin(i + 1);
        // Without the separator.
        auto const bytes = ToUtf8(story.GetText({static_cast<std::uint32_t>(begin), end - 1}));
        // The last byte that was counted, and the characters in front of it.
        std::size_t countedBytes = 0, characters = begin;
        auto const toCharacters = [&](std::size_t byte) {
            characters += CountCharacters(std::string_view(bytes).substr(countedBytes, byte - countedBytes));
            countedBytes = byte;
            return characters;
        };
        re2::StringPiece found;
        for (std::size_t from = 0; from <= bytes.size();) {
            if (!m_compiled->pattern.Match(bytes, from, bytes.size(), re2::RE2::UNANCHORED, &found, 1))
                break;
            check();
            auto const at = static_cast<std::size_t>(found.data() - bytes.data());
            auto const matchBegin = toCharacters(at);
            matches.push_back({matchBegin, toCharacters(at + found.size())});
            from = at + found.size();
            // An empty match is looked for again behind the next character.
            if (found.empty()) {
                do
                    ++from;
                while (from < bytes.size() && (bytes[from] & 0xC0) == 0x80);
            }
        }
    }
    return matches;
}

} // namespace Formats
