// SPDX-License-Identifier: Apache-2.0
#include "platform/renderer/file_export_options.h"

namespace Renderer {

FileExportOptions::~FileExportOptions() = default;

} // namespace Renderer
