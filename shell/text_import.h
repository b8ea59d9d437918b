// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/story/story.h"

#include <cstddef>
#include <span>
#include <string>

namespace Shell {

// How the lines of a text file become paragraphs.
enum class TextLines {
    // Lines that were broken to a width are joined to paragraphs; those that were not, as of verse, stay lines of one
    // paragraph. Blank lines part paragraphs where any are joined; else each line is one.
    Recognise,
    // Each line is a paragraph.
    Keep,
    // Lines that no blank line parts are one paragraph.
    Join
};

struct TextOptions {
    // "utf-8", "utf-16", "latin-1" or "windows-1252". Empty: by the file's mark, or else UTF-8, or else, where hardly
    // any of it is well-formed, one of the last two.
    std::string encoding;
    // BCP 47.
    std::string language = "en";
    TextLines lines = TextLines::Recognise;
};

struct ImportedText {
    Kernel::Counted<Story::Story> story;
    // Malformed sequences, each of which became U+FFFD.
    std::size_t replaced = 0;
    // The encoding that was taken because the text is not in UTF-8; else empty.
    std::string recognised;
};

// The longest file, in bytes.
inline constexpr std::size_t c_maximumTextBytes = std::size_t{256} << 20;

// Throws Kernel::Exception for an encoding that is not known.
ImportedText ReadText(std::span<std::byte const> bytes, TextOptions const& options);

// A document of as many pages as the text takes, each with a frame of two columns, linked from page to page.
// `description` stands beside the bar that shows how far the pages are counted.
Kernel::Counted<DocumentController> MakeTextDocument(Kernel::Counted<Story::Story const> const& story,
                                                     std::string const& description);

// A frame of the spread's page with the text. True when all of it has a place there.
bool PlaceText(Kernel::Counted<Story::Story const> const& story, SpreadNode& spread);

} // namespace Shell
