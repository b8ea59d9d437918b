// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"

#include <string>

namespace Formats {

// From an ICC file. Throws Kernel::Exception, with one line for a person, for a file that cannot be read, is no profile
// or is for colours that no document has.
REDRAFT_API Kernel::Consolidated<Raster::ICCProfile> ReadColourProfile(std::string const& path);

// "RGB", "grey", "CMYK" or "Lab".
REDRAFT_API char const* GetColourModelName(Raster::ColourModel model);

// The profile takes the place of the document's for the colours of its format. Colours and pixels stay the numbers that
// they are. This is no step of the history, and is meant for documents that are being put together. Throws
// Kernel::Exception for a profile that is for other colours.
REDRAFT_API void SetDocumentProfile(DocumentController& document,
                                    Kernel::Consolidated<Raster::ICCProfile> const& profile);

} // namespace Formats
