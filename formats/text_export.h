// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/export.h"

#include <cstdint>

// Texts of a document in formats that have no pages.
namespace Formats {

enum class TextFormat { Rtf, Text, EPub, Html };

// By the path's ending, as it is written: .rtf, .txt, .epub or .htm.
REDRAFT_API std::optional<TextFormat> FindTextFormat(std::string const& path);

struct TextExportOptions {
    // The text of the first frame among these; null: of the first frame of the current spread, or else of the document.
    Kernel::Counted<Selection const> selection;
    // All texts and pictures in the reading order of the document, instead of one text.
    bool isInReadingOrder = false;
    // Of e-books and HTML.
    std::string title, creator;
    // Seconds since 1970 at which the e-book says that it was last changed. None: a fixed time, so that the same
    // document gives the same file.
    std::optional<std::int64_t> modified;
};

// Writes a text. Throws Kernel::Exception, as where there is no frame of text, and whatever the output throws.
REDRAFT_API void ExportText(DocumentController& document, TextFormat format, Output& output,
                            TextExportOptions const& options);

// The same into a file, which appears whole or not at all and replaces one of that name. The ending tells the format.
// Without a title, e-books and HTML are called as the file is.
REDRAFT_API void ExportText(DocumentController& document, std::string const& path,
                            TextExportOptions const& options = {});

} // namespace Formats
