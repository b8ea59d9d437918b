// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/import.h"
#include "formats/work.h"
#include "platform/document/text_nodes.h"
#include "platform/story/story.h"

#include <cstddef>
#include <span>
#include <string>

namespace Formats {

struct ImportedText {
    Kernel::Counted<Story::Story> story;
    // Malformed sequences, each of which became U+FFFD.
    std::size_t replaced = 0;
    // The encoding that was taken because the text is not in UTF-8; else empty.
    std::string recognised;
};

// Throws Kernel::Exception for an encoding that is not known.
ImportedText ReadText(std::span<std::byte const> bytes, ImportOptions const& options);

// A document of as many pages as the text takes, each with a frame of two columns, linked from page to page. Throws
// Kernel::Exception where it takes more than `maximumPages`.
Kernel::Counted<DocumentController> MakeTextDocument(Kernel::Counted<Story::Story const> const& story,
                                                     std::size_t maximumPages, Work const& work);

// A frame for the spread's page, with the text.
Kernel::Counted<FrameTextNode> MakeTextFrame(Kernel::Counted<Story::Story const> const& story,
                                             SpreadNode const& spread);

} // namespace Formats
