// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace Shell {

// Whether a file begins as a document does. False for one that is not there or cannot be read.
bool IsDocument(std::string const& path);

// To be asked before the work: unless it is forced, a document replaces only documents without a history. A document's
// name ends in `.redraft`, which is a matter of usage; a file of that name that may not be replaced is one of the
// output. Throws Failure.
void CheckDocumentTarget(std::string const& path, bool isForced);

} // namespace Shell
