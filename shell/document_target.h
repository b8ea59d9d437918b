// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace Shell {

// Whether a file begins as a document does. False for one that is not there or cannot be read.
bool IsDocument(std::string const& path);

// The files that a document may replace.
enum class Replaces {
    // Other documents: what is saved is a document and was asked for under this name.
    Documents,
    // Only documents without a history: what is made knows nothing of the old one.
    DocumentsWithoutHistory,
    Everything
};

// To be asked before the work. A document's name ends in `.redraft`, which is a matter of usage; a file of that name
// that may not be replaced is one of the output. Throws Failure.
void CheckDocumentTarget(std::string const& path, Replaces replaces);

} // namespace Shell
