// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/export.h"
#include "formats/text_export.h"
#include "shell/session.h"

namespace Shell {

// By the path's ending. Throws Failure for one that is unknown or that cannot be written.
Formats::ExportFormat FindExportFormat(std::string const& path);

// Writes a spread or some nodes as a file of the session, with a bar that shows how far it is, and tells what was left
// out. Control-C stops it. Throws Failure.
void WriteExport(Session& session, DocumentController& document, std::string const& path, Formats::ExportFormat format,
                 Formats::ExportOptions options);

// The same for a text. The file is not called by its temporary name in what is written.
void WriteTextExport(Session& session, DocumentController& document, std::string const& path,
                     Formats::TextFormat format, Formats::TextExportOptions options);

} // namespace Shell
