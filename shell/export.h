// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "shell/session.h"

#include <vector>

namespace Shell {

// Writes the document's current spread, or only `nodes` of it where there are any, as a file of the session.
using Exporter = void (*)(Session& session, DocumentController& document, std::string const& path,
                          std::vector<Kernel::Counted<Node>> const& nodes);

// By the path's ending. Throws Failure for one that is unknown or that cannot be written.
Exporter FindExporter(std::string const& path);

} // namespace Shell
