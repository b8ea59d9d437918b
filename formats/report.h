// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace Formats {

// One difference between a file and the document that it was made into, or the reverse.
struct Note {
    enum class Kind {
        // There is no counterpart for it, so it is missing.
        NotTakenOver,
        // It is damaged and could not be read, so it is missing.
        Damaged,
        // It is there, but not exactly as it was: samples were rounded.
        Changed,
        // The text does not say which encoding it is in, and is not in UTF-8. ImportOptions can name one.
        GuessedEncoding,
        // Malformed sequences of a text became U+FFFD. ImportOptions may name the encoding that it is in.
        MalformedText
    };
    Kind kind;
    // One line for a person, such as `filter: 12 (first #f3)`.
    std::string text;
};

// The text with its kind in front: `not taken over: filter: 12 (first #f3)`.
REDRAFT_API std::string Describe(Note const& note);

// The account of an import or export. It is complete up to the failure when the call throws.
struct Report {
    std::vector<Note> notes;
    // The files that were read: the one that was imported, and those that it refers to.
    std::vector<std::string> files;
    // Of a text in which headings were looked for: the paragraphs that are.
    std::optional<std::size_t> headings;
};

} // namespace Formats
