// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/story/story.h"

#include <cstddef>
#include <span>
#include <string>

namespace Shell {

struct TextOptions {
    // "utf-8" and "utf-16" are told by their marks, and UTF-8 is meant without one; "latin-1" only when it is asked
    // for.
    std::string encoding;
    // BCP 47.
    std::string language = "en";
    // Each line is a paragraph. Otherwise lines that a blank line does not part are one, where the text looks as if its
    // lines had been broken to a width.
    bool keepLines = false;
};

struct ImportedText {
    Kernel::Counted<Story::Story> story;
    // Malformed sequences, each of which became U+FFFD.
    std::size_t replaced = 0;
};

// The longest file, in bytes.
inline constexpr std::size_t c_maximumTextBytes = std::size_t{256} << 20;

// Throws Kernel::Exception for an encoding that is not known.
ImportedText ReadText(std::span<std::byte const> bytes, TextOptions const& options);

// A document of as many pages as the text takes, each with a frame of two columns, linked from page to page.
Kernel::Counted<DocumentController> MakeTextDocument(Kernel::Counted<Story::Story const> const& story);

// A frame of the spread's page with the text. True when all of it has a place there.
bool PlaceText(Kernel::Counted<Story::Story const> const& story, SpreadNode& spread);

} // namespace Shell
