// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/document/epub_cover_info.h"
#include "platform/epub/accessibility_metadata.h"
#include "platform/epub/css_file.h"

namespace ExampleDocuments {

Kernel::Counted<EPub::CSSFile const> MakeCssFile(char const* name);
Kernel::Counted<EPubCoverInfo const> MakePictureCover();
Kernel::Counted<EPub::AccessibilityMetadata const> MakeAccessibility();
// Two style sheets, a cover, accessibility metadata, and a slice that was set up.
void Publication(DocumentController& controller);
// Pages behind the first one, each on a spread of its own.
void AddSpreads(DocumentController& controller, int count);

} // namespace ExampleDocuments
