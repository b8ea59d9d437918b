// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "shell/session.h"

namespace Shell {

// Writes index.html into the folder, which is made where it is missing, with a picture of the current spread in every
// state of the history. Leaves the document as it is. Throws Failure.
void WriteFilmStrip(Session& session, DocumentController& document, std::string const& folder);

} // namespace Shell
