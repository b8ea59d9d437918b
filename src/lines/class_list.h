// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/listed_class.h"

#include <vector>

namespace Commands {

// The commands on lines and on what scales with an object.
std::vector<ListedClass> GetLinesClasses();

} // namespace Commands
