// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/epub/export_settings.h"

namespace Commands {

enum class ReadingOrderFormat { EPub, Html, Text, Rtf };

// Writes the texts and pictures of a document in its reading order: an article is a part of the publication, and so is
// each run of objects that stand in no article. Hidden entries and hidden objects are left out; a text stands where the
// order names it first. Plain text has no pictures. `options` may be null.
//
// False when the file could not be written; it may then hold a part. Throws Kernel::Exception for an empty reading
// order, and for a picture that cannot be made.
REDRAFT_API bool ExportReadingOrder(Kernel::Counted<DocumentController> const& document, Kernel::String const& path,
                                    ReadingOrderFormat format,
                                    Kernel::Counted<EPub::FlowingEPubOptions const> const& options);

} // namespace Commands
