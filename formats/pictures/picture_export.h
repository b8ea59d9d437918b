// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/export.h"

namespace Formats {

// Draws a spread, or the nodes that are wanted of it, a few rows at a time; or writes a bitmap that is all there is to
// be seen as it is. Layers that are damaged are left out. Throws Kernel::Exception.
void ExportPicture(DocumentController& document, ExportFormat format, Output& output, ExportOptions const& options,
                   Report& report);

} // namespace Formats
