// SPDX-License-Identifier: Apache-2.0
#include "formats/text/markdown_notes.h"

#include <algorithm>

namespace Formats {

namespace {

constexpr std::size_t c_codeColumns = 4, c_mostLabelBytes = 200;

bool IsBlank(std::string_view line) { return line.find_first_not_of(" \t") == line.npos; }

std::size_t CountSpaces(std::string_view line) { return std::min(line.find_first_not_of(' '), line.size()); }

// The line without the indent of a paragraph that belongs to a note; none for a line that has less.
std::optional<std::string_view> WithoutIndent(std::string_view line) {
    auto const spaces = CountSpaces(line);
    if (spaces >= c_codeColumns)
        return line.substr(c_codeColumns);
    if (spaces < line.size() && line[spaces] == '\t')
        return line.substr(spaces + 1);
    return std::nullopt;
}

// Code between fences: three or more ` or ~, up to as many of the same sign.
class Fences {
public:
    // Whether the line belongs to such code, its fences too.
    bool Take(std::string_view line) {
        auto const spaces = CountSpaces(line);
        auto const rest = line.substr(spaces);
        char const sign = rest.empty() ? '\0' : rest.front();
        auto const length = sign == '`' || sign == '~' ? std::min(rest.find_first_not_of(sign), rest.size()) : 0;
        bool const isFence = length >= 3 && spaces < c_codeColumns;
        if (m_length == 0) {
            if (!isFence || (sign == '`' && rest.find('`', length) != rest.npos))
                return false;
            m_sign = sign;
            m_length = length;
            return true;
        }
        if (isFence && sign == m_sign && length >= m_length && IsBlank(rest.substr(length)))
            m_length = 0;
        return true;
    }

private:
    char m_sign = '\0';
    // 0 outside of code.
    std::size_t m_length = 0;
};

struct NoteBegin {
    std::string_view label, text;
};

std::optional<NoteBegin> FindNoteBegin(std::string_view line) {
    auto const spaces = CountSpaces(line);
    auto const reference = FindNoteReference(line);
    if (spaces >= c_codeColumns || !reference || reference->begin != spaces ||
        !line.substr(reference->end).starts_with(':'))
        return std::nullopt;
    return NoteBegin{reference->label, line.substr(reference->end + 1)};
}

// The lines of one note, as they come.
class NoteReader {
public:
    explicit NoteReader(MarkdownNotes& result) : m_result(result) {}

    void Begin(NoteBegin const& begin) {
        End();
        m_label = begin.label;
        m_text = begin.text;
        m_isOpen = true;
        m_isBehindBlank = false;
    }
    // False for a line that is not the note's any more.
    bool Take(std::string_view line) {
        if (!m_isOpen)
            return false;
        if (IsBlank(line)) {
            m_isBehindBlank = true;
            m_text += '\n';
            return true;
        }
        auto const inner = WithoutIndent(line);
        if (m_isBehindBlank && !inner) {
            End();
            return false;
        }
        m_isBehindBlank = false;
        m_text += '\n';
        m_text += inner.value_or(line);
        return true;
    }
    void End() {
        if (!m_isOpen)
            return;
        m_isOpen = false;
        m_result.notes.try_emplace(std::move(m_label), std::move(m_text));
        // The texts in front of the note and behind it are two paragraphs.
        m_result.text += '\n';
    }

private:
    MarkdownNotes& m_result;
    std::string m_label, m_text;
    bool m_isOpen = false, m_isBehindBlank = false;
};

} // namespace

MarkdownNotes TakeNotes(std::string_view markdown) {
    MarkdownNotes result;
    result.text.reserve(markdown.size());
    NoteReader note(result);
    Fences fences;
    while (!markdown.empty()) {
        auto const end = std::min(markdown.find('\n'), markdown.size());
        auto const line = markdown.substr(0, end);
        markdown.remove_prefix(std::min(end + 1, markdown.size()));
        bool const isCode = fences.Take(line);
        if (auto const begin = isCode ? std::nullopt : FindNoteBegin(line)) {
            note.Begin(*begin);
            continue;
        }
        if (note.Take(line))
            continue;
        result.text += line;
        result.text += '\n';
    }
    note.End();
    return result;
}

std::optional<NoteReference> FindNoteReference(std::string_view text) {
    for (auto begin = text.find("[^"); begin != text.npos; begin = text.find("[^", begin + 1)) {
        auto const label = begin + 2;
        auto const end = text.find_first_of("[] \t\n", label);
        if (end == text.npos || text[end] != ']' || end == label || end - label > c_mostLabelBytes)
            continue;
        return NoteReference{begin, end + 1, text.substr(label, end - label)};
    }
    return std::nullopt;
}

} // namespace Formats
