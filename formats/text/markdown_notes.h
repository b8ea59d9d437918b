// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace Formats {

// Notes are no part of CommonMark. They are written as many programs read them: `[^label]` in the text stands for the
// note, and a paragraph that begins with `[^label]:` is its text, with the lines up to the next blank one and the
// paragraphs behind it that are indented by four columns or a tab.
struct MarkdownNotes {
    // The Markdown without the notes' texts.
    std::string text;
    // Of each label the note's own Markdown; the first of a label has it.
    std::map<std::string, std::string, std::less<>> notes;
};

// Takes the notes out. Lines end with \n. Code blocks between fences stay as they are.
MarkdownNotes TakeNotes(std::string_view markdown);

// Where `[^label]` stands in a text, the first of them.
struct NoteReference {
    std::size_t begin = 0, end = 0;
    std::string_view label;
};
std::optional<NoteReference> FindNoteReference(std::string_view text);

} // namespace Formats
