// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/listed_class.h"

#include <vector>

namespace Commands {

// The commands on styles of tables of contents.
std::vector<ListedClass> GetContentsClasses();

} // namespace Commands
