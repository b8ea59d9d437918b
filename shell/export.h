// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "shell/session.h"

#include <optional>
#include <vector>

namespace Shell {

// The part of a document that is exported.
struct ExportOptions {
    Kernel::Counted<SpreadNode> spread;
    // Only these, where there are any; else the whole spread.
    std::vector<Kernel::Counted<Node>> nodes;
    // Pixels a unit; empty: those of the pictures in it, or else one.
    std::optional<double> scale;
};

// Writes a spread or some nodes as a file of the session.
using Exporter = void (*)(Session& session, DocumentController& document, std::string const& path,
                          ExportOptions const& options);

// By the path's ending. Throws Failure for one that is unknown or that cannot be written.
Exporter FindExporter(std::string const& path);

} // namespace Shell
