// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/listed_class.h"

#include <vector>

namespace Commands {

// The commands on sources of data merges and their filters.
std::vector<ListedClass> GetMergeClasses();

} // namespace Commands
