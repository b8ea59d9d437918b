// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/document/slice_page.h"

#include <string>
#include <string_view>
#include <vector>

namespace Shell {

// The slice of a spread, and the file that an export of slices writes it to.
struct Slice {
    // The spread's, from 1, as the commands on slices count.
    std::size_t number;
    Kernel::Counted<SpreadNode> spread;
    Kernel::Counted<SlicePage> page;
    // Without folder and ending: the name that was set, or else the default one. Empty where the spread has no page
    // either. As the document has it, which may be no name that a file can have.
    std::string filename;
};

// In the order of the spreads; a spread without a slice is left out.
std::vector<Slice> FindSlices(DocumentController& document);

// The slices that are included in the export. Throws Failure where there are none, and where a file cannot have one of
// the names with this ending behind it, or two have the same.
std::vector<Slice> FindExportedSlices(DocumentController& document, std::string_view ending);

// Whether a file in any folder can be called so: neither a path nor a name of a folder, and no control characters.
bool IsPlainFilename(std::string_view name);

} // namespace Shell
