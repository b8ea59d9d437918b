// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/import.h"
#include "formats/work.h"
#include "platform/document/text_nodes.h"
#include "platform/story/story.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Formats {

// A picture that stands in a text. The text has a character of its height for it, alone on a line.
struct TextPicture {
    // Where that character is in the story.
    std::uint32_t place = 0;
    // Outside of any tree, at the origin, in the size that it is shown in.
    Kernel::Counted<SceneNode> node;
    Kernel::SizeT<double> size;
};

struct ImportedText {
    Kernel::Counted<Story::Story> story;
    // The styles that the text uses, if any.
    Kernel::Counted<Story::StyleSheet const> styles;
    std::vector<TextPicture> pictures;
    // Paragraphs that are headings; empty where headings were not looked for.
    std::optional<std::size_t> headings;
    // Malformed sequences, each of which became U+FFFD.
    std::size_t replaced = 0;
    // The encoding that was taken because the text is not in UTF-8; else empty.
    std::string recognised;
};

// The characters of a text file.
struct DecodedFile {
    std::u32string text;
    std::size_t replaced = 0;
    std::string recognised;
};
// Throws Kernel::Exception for an encoding that is not known.
DecodedFile DecodeFile(std::span<std::byte const> bytes, std::string const& encoding);

// Throws Kernel::Exception for an encoding that is not known, and for headings that are no regular expression.
ImportedText ReadText(std::span<std::byte const> bytes, ImportOptions const& options);

// A column of the pages that MakeTextDocument makes.
Kernel::SizeT<double> GetTextColumnSize();

// A document of as many pages as the text takes, each with a frame of two columns, linked from page to page. Throws
// Kernel::Exception where it takes more than `maximumPages`.
Kernel::Counted<DocumentController> MakeTextDocument(ImportedText const& text, std::size_t maximumPages,
                                                     Work const& work);

// Puts the text into one frame for the spread's page. False where it has no room for all of it.
bool PlaceText(ImportedText const& text, DocumentNode& document, SpreadNode& spread);

} // namespace Formats
