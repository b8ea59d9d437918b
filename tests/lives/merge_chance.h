// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "shell/command_table.h"
#include "tests/lives/random.h"

#include <string>

namespace Lives {

// Whether a command works on sources of data merges.
bool IsOfDataMerge(std::string const& className);
// Arguments for it that fit together: the filter is one of the source, and so on. All data have ten records or more, or
// cannot be read, because rows of filters that the data do not have would not come back by undo; required of the
// command. For the like reason pages are never set to the whole document, and process filters keep their clauses.
std::string MergeArguments(Random& random, DocumentController& document, Shell::CommandEntry const& entry);

} // namespace Lives
