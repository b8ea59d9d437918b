// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/text/text_import.h"

#include <functional>
#include <set>

namespace Formats {

// A picture that a text refers to, as large as it stands in the file.
struct LoadedPicture {
    Kernel::Counted<SceneNode> node;
    Kernel::SizeT<double> size;
};

struct MarkdownOptions {
    std::string encoding;
    // In BCP 47.
    std::string language;
    // Returns the picture behind a target, which tells its report why there is none.
    std::function<std::optional<LoadedPicture>(std::string const& target)> loadPicture;
    Work work;
};

struct ImportedMarkdown {
    ImportedText text;
    // Elements of HTML, which are left out, and the first of them.
    std::size_t html = 0;
    std::string firstHtml;
    // Labels of the notes that the text refers to, and of those that it does not.
    std::set<std::string> usedNotes;
    std::vector<std::string> unusedNotes;
};

// Reads CommonMark, with notes as markdown_notes.h has them. Throws Kernel::Exception for an encoding that is not known
// and for text that would take a parser far more time than its length.
ImportedMarkdown ReadMarkdown(std::span<std::byte const> bytes, MarkdownOptions const& options);

} // namespace Formats
